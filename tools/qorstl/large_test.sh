#!/usr/bin/env bash
# The qorstl tool on streams of a few hundred MB, made on the fly (nothing on disk): each command
# must give the right answer with a peak memory (resident set, as /usr/bin/time reports it) of at
# most 64 MiB, whatever the input's size. Usage: large_test.sh TOOL
set -uo pipefail
tool=$(realpath "$1")
limit_kb=$((64 * 1024))
size=$((300 * 1000 * 1000))
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failures=0
fail() { echo "FAIL: $*"; failures=$((failures + 1)); }
if [ ! -x /usr/bin/time ]; then
  echo "FAIL: /usr/bin/time is needed to measure peak memory (package time)"
  exit 1
fi

# run NAME STATUS EXPECTED_STDOUT GENERATOR -- TOOL_ARGS...: pipes the generator's output into the
# tool and checks its status, what it prints (through `wc -c` when EXPECTED starts with '#') and
# its peak memory.
run() {
  local name=$1 status=$2 expected=$3 generator=$4
  shift 5
  local rc=0 out
  if [ "${expected:0:1}" = '#' ]; then
    out=$(bash -c "$generator" | /usr/bin/time -o "$work/time" -f %M "$tool" "$@" 2>"$work/err" | wc -c)
    expected=${expected:1}
  else
    out=$(bash -c "$generator" | /usr/bin/time -o "$work/time" -f %M "$tool" "$@" 2>"$work/err")
  fi
  rc=$(grep -o 'exited with non-zero status [0-9]*' "$work/time" | grep -o '[0-9]*$' || echo 0)
  local peak
  peak=$(tail -n 1 "$work/time")
  [ "$rc" = "$status" ] || fail "$name: exit status $rc, expected $status: $(cat "$work/err")"
  [ "$out" = "$expected" ] || fail "$name: printed '$out', expected '$expected'"
  [ "$peak" -le "$limit_kb" ] || fail "$name: peak memory $peak KiB, above $limit_kb KiB"
  echo "$name: peak $peak KiB"
}

# A line of 50 bytes: 47 ASCII, one two-byte character, a line feed.
line=$'Mars, the red planet, seen from Earth at night \xc3\xa9\n'
lines=$((size / 50))
gen_utf8="yes '${line%$'\n'}' | head -n $lines"
run 'UTF-8 to UTF-16LE' 0 "#$((lines * 49 * 2))" "$gen_utf8" -- convert -t UTF-16LE
run 'UTF-16LE to UTF-8' 0 "#$((lines * 50))" "$gen_utf8 | '$tool' convert -t UTF-16LE" -- \
  convert -f UTF-16LE -t UTF-8
run 'Latin-1 to UTF-8' 0 "#$((lines * 50))" "$gen_utf8 | '$tool' convert -t latin1" -- \
  convert -f latin1 -t UTF-8
run 'one bad byte at the end' 2 "#$((lines * 49 * 2))" "$gen_utf8; printf '\\xff'" -- \
  convert -t UTF-16LE
grep -q "not valid UTF-8 text: malformed sequence at byte $((lines * 50)), line $((lines + 1))" \
  "$work/err" || fail "one bad byte at the end: $(cat "$work/err")"
run 'check, one bad byte at the end' 1 \
  "standard input: not UTF-8: malformed sequence at byte $((lines * 50)), line $((lines + 1)) (byte FF)" \
  "$gen_utf8; printf '\\xff'" -- check -
run 'find at the end' 0 "$((lines * 50)):$((lines + 1)):Venus" "$gen_utf8; echo Venus" -- \
  find --mode longest -e Venus -e Phobos
run 'replace' 0 "#$((lines * 54))" "$gen_utf8" -- replace red reddish
run 'trim' 0 "#$((lines * 50))" "$gen_utf8" -- trim
echo "$failures failed"
[ "$failures" = 0 ]
