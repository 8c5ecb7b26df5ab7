#!/usr/bin/env bash
# The Debian packages: builds libqorstl0, libqorstl-dev and qorstl with CPack (the deb preset), has
# lintian check them (no error, no warning), installs all three with apt-get, builds and runs a
# program against them through find_package and through pkg-config, runs the tool, reads its man
# page, and purges the packages again.
set -euo pipefail
cd "$(dirname "$0")/../.."
root=$(pwd)
work=$(mktemp -d)
sudo=()
[ "$(id -u)" -eq 0 ] || sudo=(sudo)
apt=("${sudo[@]}" env DEBIAN_FRONTEND=noninteractive apt-get)
packages=(libqorstl0 libqorstl-dev qorstl)
cleanup() {
  local installed=()
  for p in "${packages[@]}"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' && installed+=("$p")
  done
  [ ${#installed[@]} -eq 0 ] || "${apt[@]}" purge -y -qq "${installed[@]}" >/dev/null
  rm -rf "$work"
}
trap cleanup EXIT

rm -f build-deb/*.deb
cmake --workflow --preset deb >/dev/null
debs=()
for p in "${packages[@]}"; do
  debs+=("$(ls build-deb/"${p}"_*.deb)")
  dpkg-deb --field "${debs[-1]}" Package Version Depends
done

echo "---- lintian"
# Errors and warnings fail the lane; lintian's notes on running as root do not.
lintian --fail-on error,warning "${debs[@]}" 2>&1 | grep -v 'running with root privileges' || true
lintian --fail-on error,warning "${debs[@]}" >/dev/null 2>&1

echo "---- install"
"${apt[@]}" install -y -qq "${debs[@]/#/./}" >/dev/null
dpkg-query -W "${packages[@]}"
echo "tool: $(qorstl --version)"
man -w qorstl | grep -q '/usr/share/man/man1/qorstl.1.gz'
MANWIDTH=80 man qorstl 2>/dev/null | grep -q 'qorstl convert'

echo "consumer: find_package(qorstl 0.2) from the packages"
cmake -S tests/consumer -B "$work/app" >/dev/null
cmake --build "$work/app" >/dev/null
"$work/app/consumer"
echo "consumer: pkg-config qorstl from the packages: $(pkg-config --cflags --libs qorstl)"
if pkg-config --cflags --libs qorstl | grep -q '\.\.'; then
  echo "qorstl.pc gives paths that are not normalised" >&2
  exit 1
fi
# shellcheck disable=SC2046
c++ -std=c++17 "$root/tests/consumer/main.cpp" -o "$work/pc-consumer" $(pkg-config --cflags --libs qorstl)
"$work/pc-consumer"

echo "---- purge"
"${apt[@]}" purge -y -qq "${packages[@]}" >/dev/null
for p in "${packages[@]}"; do
  if dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'installed'; then
    echo "$p is still installed" >&2
    exit 1
  fi
done
[ ! -e /usr/include/qor/qorstl.h ] && ! ldconfig -p | grep -q libqorstl
echo "deb lane: passed"
