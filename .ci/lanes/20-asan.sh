#!/usr/bin/env bash
# The test suite under AddressSanitizer and UndefinedBehaviorSanitizer, g++, warnings as errors.
set -euo pipefail
cmake -S . -B build-asan -DCMAKE_BUILD_TYPE=Debug -DQORSTL_WERROR=ON \
  -DQORSTL_SANITIZE=address,undefined -DQORSTL_BUILD_EXAMPLES=OFF
cmake --build build-asan -j2
ASAN_OPTIONS=detect_leaks=1:strict_string_checks=1 UBSAN_OPTIONS=print_stacktrace=1 \
  LSAN_OPTIONS=suppressions=$PWD/.ci/lsan.supp:print_suppressions=0 \
  ctest --test-dir build-asan --output-on-failure -j2 --no-tests=error
