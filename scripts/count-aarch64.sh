#!/usr/bin/env bash
# Counts the aarch64 instructions that our UTF-8 decoder (filling call), encoder (filling call) and
# validator execute per input byte, next to simdutf's NEON kernel for the same work, on the five
# scripts of the UTF-8 benchmarks. Each contender runs once on a prefix of BYTES and once on one of
# twice that under `qemu-aarch64 -singlestep -d exec` (one trace line per instruction); the
# difference over the difference in bytes leaves start-up and preparation out.
#   scripts/count-aarch64.sh [--ours] [BYTES [OP...]]
# BYTES defaults to 8192, the OPs to decode encode validate; --ours leaves simdutf out. Run from
# anywhere in the checkout; the build goes to build-count-aarch64.
# Needs the aarch64 cross compiler and qemu-user (scripts/setup.sh --ci). simdutf is compiled from
# ../shared/peers/simdutf into the counting program only; the library never sees it.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
with_peer=1
if [[ ${1:-} == --ours ]]; then
  with_peer=0
  shift
fi
bytes=${1:-8192}
shift || true
ops=("$@")
[[ ${#ops[@]} -gt 0 ]] || ops=(decode encode validate)
build=$root/build-count-aarch64
shared=$root/../shared
corpus=$shared/corpus
simdutf=$shared/peers/simdutf
cxx=aarch64-linux-gnu-g++

# The library as a static archive, so that the counting program is one static executable: no
# dynamic loader for the emulator to trace.
cmake -S "$root" -B "$build" -DCMAKE_TOOLCHAIN_FILE="$root/cmake/toolchains/aarch64-linux-gnu.cmake" \
  -DCMAKE_BUILD_TYPE=Release -DBUILD_SHARED_LIBS=OFF -DQORSTL_BUILD_TESTS=OFF \
  -DQORSTL_BUILD_EXAMPLES=OFF -DQORSTL_BUILD_TOOLS=OFF >/dev/null
cmake --build "$build" -j2 --target qorstl >/dev/null

objects=()
defines=()
if [[ $with_peer == 1 && -f $simdutf/simdutf.cpp ]]; then
  if [[ ! -f $build/simdutf.o || $simdutf/simdutf.cpp -nt $build/simdutf.o ]]; then
    $cxx -std=c++17 -O2 -w -c "$simdutf/simdutf.cpp" -I"$simdutf" -o "$build/simdutf.o"
  fi
  objects+=("$build/simdutf.o")
  defines+=(-DQORSTL_COUNT_SIMDUTF -I"$simdutf")
elif [[ $with_peer == 1 ]]; then
  echo "no $simdutf/simdutf.cpp: counting ours only" >&2
fi
$cxx -std=c++17 -O2 -static "${defines[@]}" -I"$root/include" -DQORSTL_STATIC \
  "$root/bench/count/count_driver.cpp" "${objects[@]}" "$build/src/libqorstl.a" -o "$build/count_driver"

# Instructions of one run: the trace goes to a descriptor of its own, the program's output away.
instructions() {
  qemu-aarch64 -singlestep -d exec,nochain -D /dev/fd/3 "$build/count_driver" "$@" 3>&1 >/dev/null |
    grep -c '^Trace'
}

# Instructions per byte of one contender on one text, to two decimals (a ratio of counts near one
# needs them).
per_byte() {
  local who=$1 op=$2 file=$3
  local sizes small large
  sizes=$(qemu-aarch64 "$build/count_driver" "$who" "$op" "$file" "$bytes" small)
  # The two runs side by side: the trace, not the program, takes the time.
  instructions "$who" "$op" "$file" "$bytes" large >"$build/large.count" &
  small=$(instructions "$who" "$op" "$file" "$bytes" small)
  wait $!
  large=$(<"$build/large.count")
  awk -v s="$small" -v l="$large" -v sizes="$sizes" \
    'BEGIN { split(sizes, n, " "); printf "%.2f", (l - s) / (n[2] - n[1]) }'
}

scripts=(ASCII:mars-english Latin:mars-french Cyrillic:mars-russian CJK:mars-chinese
         emoji:lipsum-emoji)
echo "aarch64 instructions per input byte (prefixes of $bytes and $((2 * bytes)) bytes)"
printf '%-9s %-9s %8s %8s %7s\n' op script ours simdutf ratio
for op in "${ops[@]}"; do
  for entry in "${scripts[@]}"; do
    name=${entry%%:*}
    file=$corpus/${entry#*:}.utf8.txt
    ours=$(per_byte ours "$op" "$file")
    if [[ ${#objects[@]} -gt 0 ]]; then
      theirs=$(per_byte simdutf "$op" "$file")
      ratio=$(awk -v a="$ours" -v b="$theirs" 'BEGIN { printf "%.2f", a / b }')
    else
      theirs=- ratio=-
    fi
    printf '%-9s %-9s %8s %8s %7s\n' "$op" "$name" "$ours" "$theirs" "$ratio"
  done
done
