#!/usr/bin/env bash
# The test suite with clang++ and libc++ (GoogleTest built from source against it), warnings as
# errors.
set -euo pipefail
cmake -S . -B build-libcxx -DQORSTL_WERROR=ON -DCMAKE_C_COMPILER=clang \
  -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_CXX_FLAGS=-stdlib=libc++ \
  -DQORSTL_GTEST_SOURCE_DIR=/usr/src/googletest -DQORSTL_BUILD_EXAMPLES=OFF
cmake --build build-libcxx -j2
ctest --test-dir build-libcxx --output-on-failure -j2 --no-tests=error
