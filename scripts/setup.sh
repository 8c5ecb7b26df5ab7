#!/usr/bin/env bash
# Installs what building libqorstl needs on Debian or Ubuntu, and nothing that is already there.
# This is the one list of the project's packages: the README's first command and CI both use it.
#   scripts/setup.sh        the build's own needs: compiler, CMake, GoogleTest, locales, iconv
#   scripts/setup.sh --ci   also what CI and development use: clang and libc++, clang-format, the
#                           benchmarks' peers, the aarch64 cross compiler and qemu, Doxygen, the
#                           Debian packaging tools and lintian, the arm64 C library for qemu's tests,
#                           /usr/bin/time for the tool's peak-memory test
# Runs apt-get as root, through sudo otherwise; without either it names the packages to install.
set -euo pipefail

build_packages=(cmake g++ make pkg-config googletest libgtest-dev locales libc-bin binutils)
ci_packages=(ninja-build clang libclang-rt-14-dev libc++-dev libc++abi-dev clang-format
             libbenchmark-dev qemu-user g++-aarch64-linux-gnu libhyperscan-dev libabsl-dev
             libutfcpp-dev libicu-dev doxygen fakeroot dpkg-dev file lintian man-db libc6:arm64
             time)

packages=("${build_packages[@]}")
case "${1:-}" in
  --ci) packages+=("${ci_packages[@]}") ;;
  "") ;;
  -h | --help)
    sed -n '2,8p' "$0" | sed 's/^# \{0,1\}//'
    exit 0
    ;;
  *)
    echo "setup.sh: unknown option $1 (use --ci or nothing)" >&2
    exit 2
    ;;
esac

if ! command -v dpkg-query >/dev/null 2>&1; then
  echo "setup.sh: this is not a Debian-style system; install the equivalents of:" >&2
  echo "  ${packages[*]}" >&2
  exit 1
fi

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done
if [ ${#missing[@]} -eq 0 ]; then
  echo "setup.sh: all ${#packages[@]} packages are installed"
  exit 0
fi

if [ "$(id -u)" -eq 0 ]; then
  as_root=()
elif command -v sudo >/dev/null 2>&1; then
  as_root=(sudo)
else
  echo "setup.sh: not root and no sudo; as root, run:" >&2
  echo "  apt-get update && apt-get install -y ${missing[*]}" >&2
  exit 1
fi
echo "setup.sh: installing ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
# The arm64 C library (its charset modules serve the aarch64 tests under qemu) is a multiarch
# package: its architecture must be known to dpkg before the package lists are read.
if [[ " ${missing[*]} " == *":arm64 "* ]] && ! dpkg --print-foreign-architectures | grep -qx arm64; then
  "${as_root[@]}" dpkg --add-architecture arm64
fi
apt=("${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get)
"${apt[@]}" update -qq
"${apt[@]}" install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
echo "setup.sh: done"
