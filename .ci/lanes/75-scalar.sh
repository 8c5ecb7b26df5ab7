#!/usr/bin/env bash
# The library built with only its portable scalar code (-DQORSTL_SIMD=OFF), as on a CPU without the
# SIMD paths: no unit may include SIMD intrinsics, and the whole test suite passes.
set -euo pipefail
cd "$(dirname "$0")/../.."
build=build-scalar

cmake -S . -B "$build" -G Ninja -DQORSTL_WERROR=ON -DQORSTL_SIMD=OFF
cmake -DBUILD="$PWD/$build" -DSOURCE="$PWD" -P .ci/lanes/no_intrinsics.cmake
cmake --build "$build" -j2
ctest --test-dir "$build" --output-on-failure -j2
