#!/usr/bin/env bash
# The benchmarks build in Release against every peer the machine has (timings are not checked
# here: speed is judged from benchmark runs side by side, never in CI).
set -euo pipefail
cd "$(dirname "$0")/../.."
cmake -S . -B build-bench -DCMAKE_BUILD_TYPE=Release -DQORSTL_WERROR=ON -DQORSTL_BUILD_BENCH=ON \
  -DQORSTL_BUILD_TESTS=OFF -DQORSTL_BUILD_EXAMPLES=OFF -DQORSTL_BUILD_TOOLS=OFF
cmake --build build-bench -j2
ls build-bench/bench/*_bench
# Smoke run of the locale benchmark on small texts: each conversion must equal iconv's.
QORSTL_LOCALE_BENCH_BYTES=65536 build-bench/bench/locale_bench --benchmark_min_time=0.01 \
  --benchmark_filter='^(decode|encode)_' 2>&1 | tee build-bench/locale_bench.log
if grep -q "differ from iconv" build-bench/locale_bench.log; then
  echo "FAILED: a conversion by locale name differs from iconv's"
  exit 1
fi
