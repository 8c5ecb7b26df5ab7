#!/usr/bin/env bash
# Installs the library, shared and static, into a prefix chosen at install time, then builds and
# runs a program against it through find_package(qorstl 0.2) and through pkg-config; moves the
# installed tree and checks that qorstl.pc still points into it; checks that add_subdirectory()
# leaves a parent project's cache alone.
set -euo pipefail
root=$(pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export CMAKE_BUILD_PARALLEL_LEVEL=2

# pkg_consumer PREFIX NAME: builds tests/consumer/main.cpp with pkg-config's flags and runs it.
pkg_consumer() {
  local prefix=$1 pcdir
  pcdir=$(dirname "$(find "$prefix" -name qorstl.pc)")
  local includedir
  includedir=$(PKG_CONFIG_PATH=$pcdir pkg-config --variable=includedir qorstl)
  if [ "$(realpath "$includedir")" != "$(realpath "$prefix/include")" ]; then
    echo "qorstl.pc gives includedir $includedir, not under $prefix" >&2
    exit 1
  fi
  # shellcheck disable=SC2046
  c++ -std=c++17 "$root/tests/consumer/main.cpp" -o "$work/$2" \
    $(PKG_CONFIG_PATH=$pcdir pkg-config --cflags --libs qorstl)
  LD_LIBRARY_PATH=$(dirname "$(find "$prefix" -name 'libqorstl.*' | head -n 1)") "$work/$2"
}

for shared in ON OFF; do
  echo "---- BUILD_SHARED_LIBS=$shared"
  cmake -S . -B "$work/lib-$shared" -DCMAKE_BUILD_TYPE=Release -DQORSTL_BUILD_TESTS=OFF \
    -DQORSTL_BUILD_EXAMPLES=OFF -DBUILD_SHARED_LIBS=$shared >/dev/null
  cmake --build "$work/lib-$shared" >/dev/null
  prefix=$work/prefix-$shared
  cmake --install "$work/lib-$shared" --prefix "$prefix" >/dev/null
  grep -q '^prefix=${pcfiledir}/' "$(find "$prefix" -name qorstl.pc)"

  echo "consumer: find_package(qorstl 0.2)"
  cmake -S tests/consumer -B "$work/app-$shared" -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
  cmake --build "$work/app-$shared" >/dev/null
  "$work/app-$shared/consumer"
  echo "consumer: pkg-config qorstl"
  pkg_consumer "$prefix" "pc-$shared"
  echo "tool: $("$prefix/bin/qorstl" --version)"  # its run path finds the library

  echo "consumer: pkg-config after the installed tree has moved"
  mv "$prefix" "$prefix-moved"
  pkg_consumer "$prefix-moved" "pc-moved-$shared"
done

echo "---- find_package(qorstl 9.0) is refused by the version file"
mkdir "$work/too-new"
printf 'cmake_minimum_required(VERSION 3.20)\nproject(p LANGUAGES CXX)\nfind_package(qorstl 9.0 CONFIG REQUIRED)\n' \
  >"$work/too-new/CMakeLists.txt"
if cmake -S "$work/too-new" -B "$work/too-new/build" -DCMAKE_PREFIX_PATH="$work/prefix-ON-moved" \
  >"$work/too-new/log" 2>&1; then
  echo "find_package(qorstl 9.0) was accepted" >&2
  exit 1
fi
grep -q 'version' "$work/too-new/log"

echo "---- add_subdirectory() writes neither BUILD_SHARED_LIBS nor CMAKE_BUILD_TYPE to the parent's cache"
mkdir "$work/parent"
printf 'cmake_minimum_required(VERSION 3.20)\nproject(parent LANGUAGES CXX)\nadd_subdirectory(%s qorstl)\nadd_executable(app %s/tests/consumer/main.cpp)\ntarget_link_libraries(app PRIVATE qorstl::qorstl)\n' \
  "$root" "$root" >"$work/parent/CMakeLists.txt"
cmake -S "$work/parent" -B "$work/parent/build" >/dev/null
if grep -E '^BUILD_SHARED_LIBS:|^CMAKE_BUILD_TYPE:[A-Z]+=.+' "$work/parent/build/CMakeCache.txt"; then
  echo "the parent's cache was written" >&2
  exit 1
fi
echo "install lane: passed"
