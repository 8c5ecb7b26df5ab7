#!/usr/bin/env bash
# The benchmarks build in Release against every peer the machine has (the bench preset) (timings are not checked
# here: speed is judged from benchmark runs side by side, never in CI).
set -euo pipefail
cd "$(dirname "$0")/../.."
cmake --workflow --preset bench
ls build-bench/bench/*_bench
