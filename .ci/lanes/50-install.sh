#!/usr/bin/env bash
# Installs the library, shared and static (the install-shared and install-static presets), into a
# prefix chosen at install time, then builds and runs a program against it through
# find_package(qorstl 0.2) and through pkg-config, whose paths must be the prefix's own, normalised;
# moves the installed tree and checks that `pkg-config --define-prefix` finds it there; checks that
# the version file refuses other minor versions and that add_subdirectory() leaves a parent
# project's cache alone.
set -euo pipefail
cd "$(dirname "$0")/../.."
root=$(pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export CMAKE_BUILD_PARALLEL_LEVEL=2

# pkg_consumer PREFIX NAME [pkg-config options]: builds tests/consumer/main.cpp with pkg-config's
# flags, which must name PREFIX/include and PREFIX/lib as they are, and runs it.
pkg_consumer() {
  local prefix=$1 name=$2 pcdir flags
  shift 2
  pcdir=$(dirname "$(find "$prefix" -name qorstl.pc)")
  flags=$(PKG_CONFIG_PATH=$pcdir pkg-config "$@" --cflags --libs qorstl)
  echo "  pkg-config $* --cflags --libs qorstl: $flags"
  for want in "-I$prefix/include" "-L$prefix/lib"; do
    if [[ " $flags " != *" $want "* ]]; then
      echo "qorstl.pc does not give $want" >&2
      exit 1
    fi
  done
  # shellcheck disable=SC2086
  c++ -std=c++17 "$root/tests/consumer/main.cpp" -o "$work/$name" $flags
  LD_LIBRARY_PATH=$prefix/lib "$work/$name"
}

for kind in shared static; do
  echo "---- $kind library"
  cmake --workflow --preset "install-$kind" >/dev/null
  prefix=$work/prefix-$kind
  cmake --install "build-install-$kind" --prefix "$prefix/" >/dev/null

  echo "consumer: find_package(qorstl 0.2)"
  cmake -S tests/consumer -B "$work/app-$kind" -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
  cmake --build "$work/app-$kind" >/dev/null
  "$work/app-$kind/consumer"
  echo "consumer: pkg-config qorstl"
  pkg_consumer "$prefix" "pc-$kind"
  echo "tool: $("$prefix/bin/qorstl" --version)"  # its run path finds the library

  echo "consumer: pkg-config --define-prefix after the installed tree has moved"
  mv "$prefix" "$prefix-moved"
  pkg_consumer "$prefix-moved" "pc-moved-$kind" --define-prefix
done

echo "---- the version file accepts 0.2 and refuses 0.1, 0.3 and 9.0"
for version in 0.2 0.1 0.3 9.0; do
  mkdir -p "$work/want-$version"
  printf 'cmake_minimum_required(VERSION 3.20)\nproject(p LANGUAGES CXX)\nfind_package(qorstl %s CONFIG REQUIRED)\n' \
    "$version" >"$work/want-$version/CMakeLists.txt"
  if cmake -S "$work/want-$version" -B "$work/want-$version/build" \
    -DCMAKE_PREFIX_PATH="$work/prefix-shared-moved" >"$work/want-$version/log" 2>&1; then
    accepted=yes
  else
    accepted=no
  fi
  expected=no
  [ "$version" = 0.2 ] && expected=yes
  if [ "$accepted" != "$expected" ]; then
    cat "$work/want-$version/log" >&2
    echo "find_package(qorstl $version): accepted $accepted, expected $expected" >&2
    exit 1
  fi
done

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
