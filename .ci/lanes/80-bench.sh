#!/usr/bin/env bash
# The benchmarks build in Release against every peer the machine has (the bench preset) (timings are not checked
# here: speed is judged from benchmark runs side by side, never in CI).
set -euo pipefail
cd "$(dirname "$0")/../.."
cmake --workflow --preset bench
ls build-bench/bench/*_bench
# Smoke run of the short-input benchmark: it checks every contender's answer before timing and
# exits non-zero when one differs; the timings themselves are not looked at.
build-bench/bench/short_utf8_bench --benchmark_min_time=0.001 > /dev/null
