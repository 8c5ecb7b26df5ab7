#!/usr/bin/env bash
# ThreadSanitizer lane: builds the tests with -fsanitize=thread and runs the threads stress test,
# then the rest of the suite. Any race report fails the lane; tests/tsan.supp lists the only
# reports accepted (from inside the C library's locale code, if any), each with its reason.
set -euo pipefail
cd "$(dirname "$0")/../.."
jobs=2
cmake -S . -B build-tsan -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DQORSTL_WERROR=ON \
  -DQORSTL_SANITIZE=thread -DQORSTL_BUILD_EXAMPLES=OFF
cmake --build build-tsan -j"$jobs"
export TSAN_OPTIONS="halt_on_error=1 exitcode=66 second_deadlock_stack=1 suppressions=$PWD/tests/tsan.supp"
ctest --test-dir build-tsan --output-on-failure -R '^Threads\.'
ctest --test-dir build-tsan --output-on-failure -j"$jobs" -E '^Threads\.'
