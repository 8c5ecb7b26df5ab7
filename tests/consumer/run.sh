#!/usr/bin/env bash
# Installs the library from a fresh build into a temporary prefix, then builds and runs a small
# program against the installed tree twice: through find_package(qorstl) and through pkg-config.
# Usage: tests/consumer/run.sh [extra cmake arguments for the library build]
set -euo pipefail
root=$(cd "$(dirname "$0")/../.." && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

cmake -S "$root" -B "$work/lib" -G Ninja -DCMAKE_BUILD_TYPE=Release -DQORSTL_BUILD_TESTS=OFF \
  -DQORSTL_BUILD_EXAMPLES=OFF -DCMAKE_INSTALL_PREFIX="$work/prefix" "$@" >/dev/null
cmake --build "$work/lib" -j2 >/dev/null
cmake --install "$work/lib" >/dev/null
libdir=$(dirname "$(find "$work/prefix" -name 'libqorstl.*' | head -n 1)")

echo "consumer: find_package(qorstl CONFIG)"
cmake -S "$root/tests/consumer" -B "$work/app" -G Ninja -DCMAKE_PREFIX_PATH="$work/prefix" >/dev/null
cmake --build "$work/app" >/dev/null
LD_LIBRARY_PATH="$libdir" "$work/app/consumer"

echo "consumer: pkg-config qorstl"
export PKG_CONFIG_PATH="$libdir/pkgconfig"
# shellcheck disable=SC2046
${CXX:-c++} -std=c++17 "$root/tests/consumer/main.cpp" -o "$work/pc-consumer" \
  $(pkg-config --cflags --libs qorstl)
LD_LIBRARY_PATH="$libdir" "$work/pc-consumer"
