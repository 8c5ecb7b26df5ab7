#!/usr/bin/env bash
# Fuzz smoke: builds every fuzz/*_fuzz.cpp as a libFuzzer program (the fuzz preset: clang, static
# library, ASan and UBSan, no benchmarks or tests) and fuzzes each for a while from its seed corpus. Fails on any
# crash, sanitizer report or broken property. FUZZ_SECONDS sets the time per target (default 30).
set -euo pipefail
cd "$(dirname "$0")/../.."
seconds=${FUZZ_SECONDS:-30}

cmake --workflow --preset fuzz

# New inputs go to a scratch directory, so the checked-in seeds stay as they are; a crashing input
# is kept in build-fuzz/crashes for the log.
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
mkdir -p build-fuzz/crashes
status=0
for source in fuzz/*_fuzz.cpp; do
  name=$(basename "$source" .cpp)
  seeds=fuzz/corpus/$name
  mkdir -p "$scratch/$name"
  echo "fuzzing $name for ${seconds} s"
  if ! ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 \
      "build-fuzz/fuzz/$name" -max_total_time="$seconds" -max_len=4096 -timeout=25 \
      -print_final_stats=1 -artifact_prefix="build-fuzz/crashes/$name-" \
      "$scratch/$name" $( [ -d "$seeds" ] && echo "$seeds" ) > "$scratch/$name.log" 2>&1; then
    tail -n 40 "$scratch/$name.log"
    echo "FAILED: $name (inputs in build-fuzz/crashes/)"
    status=1
  else
    grep -E '^stat::number_of_executed_units|^Done' "$scratch/$name.log" || true
  fi
done
exit "$status"
