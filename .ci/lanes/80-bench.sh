#!/usr/bin/env bash
# The benchmarks build in Release against every peer the machine has (timings are not checked
# here: speed is judged from benchmark runs side by side, never in CI).
set -euo pipefail
cd "$(dirname "$0")/../.."
cmake -S . -B build-bench -DCMAKE_BUILD_TYPE=Release -DQORSTL_WERROR=ON -DQORSTL_BUILD_BENCH=ON \
  -DQORSTL_BUILD_TESTS=OFF -DQORSTL_BUILD_EXAMPLES=OFF -DQORSTL_BUILD_TOOLS=OFF
cmake --build build-bench -j2
ls build-bench/bench/*_bench
# Smoke run of the short-input benchmark: every contender's answer is checked before timing (the
# program exits non-zero on a wrong one); the times are too short to mean anything.
build-bench/bench/short_text_bench --benchmark_min_time=0.0001 > /dev/null
