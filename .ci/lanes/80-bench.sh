#!/usr/bin/env bash
# The benchmarks build in Release against every peer the machine has (the bench preset) (timings are not checked
# here: speed is judged from benchmark runs side by side, never in CI).
set -euo pipefail
cd "$(dirname "$0")/../.."
cmake --workflow --preset bench
ls build-bench/bench/*_bench
# Smoke runs of the short-input benchmarks: every contender's answer is checked before timing (the
# program exits non-zero on a wrong one); the times are too short to mean anything.
build-bench/bench/short_utf8_bench --benchmark_min_time=0.001 > /dev/null
build-bench/bench/short_text_bench --benchmark_min_time=0.0001 > /dev/null
# Smoke run of the locale benchmark on small texts: each conversion must equal iconv's.
QORSTL_LOCALE_BENCH_BYTES=65536 build-bench/bench/locale_bench --benchmark_min_time=0.01 \
  --benchmark_filter='^(decode|encode)_' 2>&1 | tee build-bench/locale_bench.log
if grep -q "differ from iconv" build-bench/locale_bench.log; then
  echo "FAILED: a conversion by locale name differs from iconv's"
  exit 1
fi
