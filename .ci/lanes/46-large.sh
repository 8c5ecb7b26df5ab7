#!/usr/bin/env bash
# Huge inputs: the tests past 2^31 and 2^32 bytes (label `large`), which the normal test run does
# not build. They need about 6 GiB of memory and 2 GiB of free disk in the temporary directory,
# and delete every file they make.
set -euo pipefail
cd "$(dirname "$0")/../.."
jobs=2
cmake -S . -B build-large -G Ninja -DCMAKE_BUILD_TYPE=Release -DQORSTL_WERROR=ON \
  -DQORSTL_LARGE_TESTS=ON -DQORSTL_BUILD_EXAMPLES=OFF
cmake --build build-large -j"$jobs" --target qorstl_large_tests
ctest --test-dir build-large --output-on-failure -L large
