#!/usr/bin/env bash
# The library built with only its portable scalar code (the scalar preset, -DQORSTL_SIMD=OFF), as on
# a CPU without the SIMD paths: no unit may include SIMD intrinsics, and the whole test suite passes.
set -euo pipefail
cd "$(dirname "$0")/../.."

cmake --workflow --preset scalar
cmake -DBUILD="$PWD/build-scalar" -DSOURCE="$PWD" -P .ci/lanes/no_intrinsics.cmake
