#!/usr/bin/env bash
# Builds the Debian package with CPack, installs it with apt-get, builds and runs a program against
# the installed package through find_package and pkg-config, runs the installed tool, and removes
# the package again.
set -euo pipefail
root=$(pwd)
work=$(mktemp -d)
sudo=()
[ "$(id -u)" -eq 0 ] || sudo=(sudo)
cleanup() {
  if dpkg-query -W -f='${Status}' qorstl 2>/dev/null | grep -q 'install ok installed'; then
    "${sudo[@]}" env DEBIAN_FRONTEND=noninteractive apt-get purge -y -qq qorstl >/dev/null
  fi
  rm -rf "$work"
}
trap cleanup EXIT
export CMAKE_BUILD_PARALLEL_LEVEL=2

cmake -S . -B build-deb -DCMAKE_BUILD_TYPE=Release -DQORSTL_BUILD_TESTS=OFF \
  -DQORSTL_BUILD_EXAMPLES=OFF >/dev/null
cmake --build build-deb >/dev/null
rm -f build-deb/qorstl_*.deb
(cd build-deb && cpack -G DEB >/dev/null)
deb=$(ls build-deb/qorstl_*.deb)
dpkg-deb --field "$deb" Package Version Architecture Depends
dpkg-deb --contents "$deb" | awk '{print $6}' | grep -E 'libqorstl|qorstl\.h|qorstl\.pc|qorstlConfig|bin/qorstl|man1/qorstl' 

"${sudo[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq "./$deb" >/dev/null
echo "installed: $(dpkg-query -W qorstl)"
echo "tool: $(qorstl --version)"
[ -e /usr/share/man/man1/qorstl.1.gz ] || [ -e /usr/share/man/man1/qorstl.1 ]

echo "consumer: find_package(qorstl 0.2) from the package"
cmake -S tests/consumer -B "$work/app" >/dev/null
cmake --build "$work/app" >/dev/null
"$work/app/consumer"
echo "consumer: pkg-config qorstl from the package"
# shellcheck disable=SC2046
c++ -std=c++17 "$root/tests/consumer/main.cpp" -o "$work/pc-consumer" $(pkg-config --cflags --libs qorstl)
"$work/pc-consumer"
echo "deb lane: passed"
