#!/usr/bin/env bash
# Runs the built qorstl tool on real files and checks its output, messages and exit statuses.
# Conversions are compared with iconv where it is installed (those checks skip otherwise).
# Usage: tool_test.sh TOOL DATA_DIR LOCALE_DIR   (LOCALE_DIR holds de_DE.ISO-8859-1 for LOCPATH)
set -uo pipefail
tool=$(realpath "$1") data=$(realpath "$2") locales=$(realpath -m "$3")
work=$(mktemp -d)
trap 'chmod -R u+w "$work"; rm -rf "$work"' EXIT
failures=0 checks=0
fail() { echo "FAIL: $*"; failures=$((failures + 1)); }

# expect NAME STATUS STDOUT_PATTERN STDERR_PATTERN -- COMMAND...: runs COMMAND (stdin from
# $work/in when it exists), and checks its exit status and that its outputs match the patterns
# (grep -E; an empty pattern: the output must be empty; '*': not examined).
expect() {
  local name=$1 status=$2 out_re=$3 err_re=$4
  shift 5
  checks=$((checks + 1))
  local rc=0
  if [ -e "$work/in" ]; then "$@" <"$work/in" >"$work/out" 2>"$work/err" || rc=$?
  else "$@" </dev/null >"$work/out" 2>"$work/err" || rc=$?; fi
  [ "$rc" = "$status" ] || fail "$name: exit status $rc, expected $status; stderr: $(cat "$work/err")"
  for stream in out err; do
    local re=$out_re
    [ $stream = err ] && re=$err_re
    if [ "$re" = '*' ]; then
      :
    elif [ -z "$re" ]; then
      [ ! -s "$work/$stream" ] || fail "$name: unexpected std$stream: $(head -c 300 "$work/$stream")"
    elif ! grep -Eq -- "$re" "$work/$stream"; then
      fail "$name: std$stream does not match '$re': $(head -c 300 "$work/$stream")"
    fi
  done
}
same() {  # same NAME FILE1 FILE2
  checks=$((checks + 1))
  cmp -s "$2" "$3" || fail "$1: $2 and $3 differ ($(cmp "$2" "$3" 2>&1 | head -n 1))"
}
no_leftovers() {
  checks=$((checks + 1))
  local left
  left=$(find "$work" -name '*.qorstl-*')
  [ -z "$left" ] || fail "$1: partial output left behind: $left"
}

export LOCPATH=$locales
have_latin1=no
[ -e "$locales/de_DE.ISO-8859-1/LC_CTYPE" ] && have_latin1=yes
have_iconv=no
command -v iconv >/dev/null && have_iconv=yes

# --- general ---
expect version 0 '^qorstl [0-9]+\.[0-9]+\.[0-9]+$' '' -- "$tool" --version
expect help 0 'convert' '' -- "$tool" --help
for c in convert check find split trim replace; do
  expect "$c --help" 0 "^Usage: qorstl $c" '' -- "$tool" $c --help
done
expect 'no command' 2 '' 'no command given' -- "$tool"
expect 'unknown command' 2 '' 'unknown command frob' -- "$tool" frob

# --- convert ---
if [ $have_latin1 = yes ] && [ $have_iconv = yes ]; then
  for name in mars-french mars-german; do
    for charset in ISO-8859-1 latin1 de_DE.ISO-8859-1; do
      iconv -f ISO-8859-1 -t UTF-8 "$data/$name.latin1.txt" >"$work/$name.iconv"
      expect "convert $name from $charset" 0 '' '' -- \
        "$tool" convert -f $charset -t utf8 -o "$work/$name.utf8" "$data/$name.latin1.txt"
      same "convert $name from $charset" "$work/$name.utf8" "$work/$name.iconv"
    done
    # and back, through standard input and output
    cp "$work/$name.iconv" "$work/in"
    expect "convert $name to Latin-1" 0 '*' '' -- "$tool" convert -f UTF-8 -t ISO-8859-1
    same "convert $name to Latin-1" "$work/out" "$data/$name.latin1.txt"
    rm "$work/in"
  done
  printf 'caf\xc3\xa9 \xe2\x82\xac5\n' >"$work/euro.txt"
  expect 'character missing from the target' 2 '' \
    "euro.txt: character U\+20AC \(character 6, line 1\) cannot be written in latin1" -- \
    env -C "$work" "$tool" convert -t latin1 euro.txt
  expect 'convert -l' 0 '^ISO-8859-1 \(locale de_DE.ISO-8859-1\)$' '' -- "$tool" convert -l
else
  echo "SKIP: Latin-1 conversions (need iconv and $locales/de_DE.ISO-8859-1)"
fi
if [ $have_iconv = yes ]; then
  for name in mars-english mars-chinese; do
    iconv -f UTF-16 -t UTF-8 "$data/$name.utf16le-bom.txt" >"$work/$name.iconv"
    expect "convert $name from UTF-16" 0 '' '' -- \
      "$tool" convert -f UTF-16 -t UTF-8 -o "$work/$name.utf8" "$data/$name.utf16le-bom.txt"
    same "convert $name from UTF-16" "$work/$name.utf8" "$work/$name.iconv"
    for order in LE BE; do
      iconv -f UTF-8 -t UTF-16$order "$work/$name.iconv" >"$work/$name.iconv16"
      expect "convert $name to UTF-16$order" 0 '' '' -- \
        "$tool" convert -t UTF-16$order -o "$work/$name.16" "$work/$name.utf8"
      same "convert $name to UTF-16$order" "$work/$name.16" "$work/$name.iconv16"
    done
  done
else
  echo "SKIP: UTF-16 conversions (no iconv)"
fi
# Several files are concatenated; UTF-8-16 on the narrow side is UTF-8.
printf 'a\xf0\x9f\x98\x80' >"$work/one.txt"
printf 'b\n' >"$work/two.txt"
expect 'two files, utf-8-16' 0 '' '' -- "$tool" convert -f utf-8-16 -t utf-8-16 \
  -o "$work/both.txt" "$work/one.txt" "$work/two.txt"
printf 'a\xf0\x9f\x98\x80b\n' >"$work/both.expected"
same 'two files, utf-8-16' "$work/both.txt" "$work/both.expected"

# Bad input: a message naming the file and the reason, status 2, nothing partial left.
printf 'kept\n' >"$work/existing.txt"
printf 'line one\nab\xc3\x28\n' >"$work/bad.txt"
expect 'missing file' 2 '' '^qorstl: nosuch.txt: No such file or directory$' -- \
  env -C "$work" "$tool" convert -f utf-8 -t utf-16 nosuch.txt
expect 'unknown encoding' 2 '' "^qorstl: unknown encoding KLINGON-8 \('qorstl convert -l' lists" -- \
  "$tool" convert -f KLINGON-8 "$work/two.txt"
expect 'misspelled encoding' 2 '' '^qorstl: unknown encoding WINDOWS-125; did you mean WINDOWS-1250, ' -- \
  "$tool" convert -f WINDOWS-125 "$work/two.txt"
expect 'invalid UTF-8' 2 '' \
  '^qorstl: bad.txt: not valid UTF-8 text: malformed sequence at byte 11, line 2$' -- \
  env -C "$work" "$tool" convert -f utf-8 -t utf-16 -o existing.txt bad.txt
same 'invalid UTF-8 keeps the output file' "$work/existing.txt" <(printf 'kept\n')
no_leftovers 'invalid UTF-8'
printf '\xff\xfe\x41' >"$work/odd16.txt"
expect 'odd UTF-16' 2 '' '^qorstl: odd16.txt: not valid UTF-16 text: odd number of bytes at byte 2, line 1$' -- \
  env -C "$work" "$tool" convert -f utf-16 odd16.txt
printf '\xff\xfe\x3d\xd8\x41\x00' >"$work/lone16.txt"
expect 'unpaired surrogate' 2 '' 'lone16.txt: not valid UTF-16 text: unpaired surrogate U\+D83D at byte 2, line 1$' -- \
  "$tool" convert -f utf-16 "$work/lone16.txt"
expect 'output in a missing directory' 2 '' '^qorstl: nodir/out.txt: No such file or directory$' -- \
  env -C "$work" "$tool" convert -o nodir/out.txt two.txt
mkdir "$work/adir"
expect 'output onto a directory' 2 '' '^qorstl: adir: Is a directory$' -- \
  env -C "$work" "$tool" convert -o adir two.txt
no_leftovers 'output onto a directory'
expect 'directory as input' 2 '' '^qorstl: adir: Is a directory$' -- env -C "$work" "$tool" convert adir
expect 'unknown option' 2 '' "unknown option -x" -- "$tool" convert -x
expect 'option without value' 2 '' "option -f needs a value" -- "$tool" convert -f

# --- check ---
checks=$((checks + 1))
for f in "$data"/*.txt; do
  case $f in
    *.utf16le-bom.txt) want='UTF-16LE with byte-order mark' ;;
    *.latin1.txt) want='not UTF-8: malformed sequence at byte [0-9]+, line [0-9]+ \(byte [0-9A-F]{2}\)' ;;
    *lipsum-latin*) want='ASCII' ;;
    *lipsum-emoji*) want='UTF-8 with byte-order mark' ;;
    *) want='UTF-8' ;;
  esac
  line=$("$tool" check "$f")
  [[ $line =~ ^"$f: "$want$ ]] || fail "check $f: '$line', expected '$want'"
done
# The first Latin-1 byte of the French text, found by grep, is where check reports it.
first=$(LC_ALL=C grep -obaP '[\x80-\xff]' "$data/mars-french.latin1.txt" | head -n 1 | cut -d: -f1)
line_no=$(head -c "$first" "$data/mars-french.latin1.txt" | wc -l)
expect 'check Latin-1 offset' 1 "malformed sequence at byte $first, line $((line_no + 1)) " '' -- \
  "$tool" check "$data/mars-french.latin1.txt"
# A bad byte planted in UTF-8 text is found where it was planted.
cp "$data/mars-greek.utf8.txt" "$work/planted.txt"
printf '\xff' | dd of="$work/planted.txt" bs=1 seek=1000 conv=notrunc status=none
line_no=$(head -c 1000 "$work/planted.txt" | wc -l)
expect 'check planted byte' 1 "planted.txt: not UTF-8: malformed sequence at byte 1000, line $((line_no + 1)) \(byte FF\)" '' -- \
  "$tool" check "$work/planted.txt"
printf '\xe0\x80\x80' >"$work/overlong.txt"
expect 'check overlong, standard rules' 1 'at byte 0' '' -- "$tool" check "$work/overlong.txt"
expect 'check overlong, 31-bit rules' 0 'overlong.txt: UTF-8$' '' -- \
  "$tool" check --31-bit "$work/overlong.txt"
: >"$work/empty.txt"
expect 'check empty file' 0 'empty.txt: ASCII$' '' -- "$tool" check "$work/empty.txt"
expect 'check missing file' 2 'two.txt: ASCII' 'nosuch.txt: No such file' -- \
  "$tool" check "$work/nosuch.txt" "$work/two.txt"
expect 'check nothing' 2 '' 'no file to check' -- "$tool" check

# --- find: grep's command line ---
printf 'xx bc abc\nline two cat dog\n' >"$work/in"
expect 'find earliest' 0 '^3:1:bc$' '' -- "$tool" find -e abc -e bc
expect 'find list' 0 '^6:1:abc$' '' -- "$tool" find --mode list -e abc -e bc
expect 'find shortest' 0 '^3:1:bc$' '' -- "$tool" find --mode shortest -e abc -e bc
expect 'find longest' 0 '^6:1:abc$' '' -- "$tool" find --mode longest -e abc -e bc
expect 'find min' 0 '^6:1:abc$' '' -- "$tool" find --mode=min -e abc -e bc
expect 'find max' 0 '^3:1:bc$' '' -- "$tool" find --mode max -e abc --regexp=bc
expect 'find, one pattern a line' 0 '^3:1:bc$' '' -- "$tool" find $'abc\nbc'
expect 'find on line 2' 0 '^23:2:dog$' '' -- "$tool" find -e dog -e zebra -
expect 'find escape' 0 '^9:1:\\nline$' '' -- "$tool" find '\nline'
expect 'find nothing' 1 '' '' -- "$tool" find zebra
expect 'find bad mode' 2 '' 'unknown mode fastest' -- "$tool" find --mode fastest a
expect 'find no pattern' 2 '' 'no pattern given' -- "$tool" find
cp "$work/in" "$work/hay.txt"
rm "$work/in"
expect 'find in a file' 0 '^19:2:cat$' '' -- "$tool" find cat "$work/hay.txt"
expect 'find -- then a dash pattern' 1 '' '' -- "$tool" find -- -x "$work/hay.txt"
expect 'find names each of several files' 0 "^$work/hay.txt:19:2:cat\$" '' -- \
  "$tool" find cat "$work/hay.txt" "$work/two.txt"
expect 'find in a missing file' 2 '' '^qorstl: nosuch.txt: No such file or directory$' -- \
  env -C "$work" "$tool" find Mars nosuch.txt
expect 'find: a missing file among others' 2 'hay.txt:19:2:cat' 'nosuch.txt: No such file' -- \
  env -C "$work" "$tool" find cat nosuch.txt hay.txt
expect 'find in a directory' 2 '' '^qorstl: adir: Is a directory$' -- env -C "$work" "$tool" find Mars adir

# --- split, trim, replace ---
printf 'a,b;;c,\n' >"$work/in"
expect 'split' 0 '*' '' -- "$tool" split --by ',;\n'
same 'split' "$work/out" <(printf 'a\nb\nc\n')
expect 'split without set' 2 '' 'split needs --by' -- "$tool" split
printf '  x y \t\n\t\n z\n' >"$work/in"
expect 'trim' 0 '*' '' -- "$tool" trim
same 'trim' "$work/out" <(printf 'x y\n\nz\n')
expect 'trim chars' 0 '*' '' -- "$tool" trim --chars ' xz'
same 'trim chars' "$work/out" <(printf 'y \t\n\t\n\n')
printf 'aaa a.b\n' >"$work/in"
expect 'replace' 0 '*' '' -- "$tool" replace aa b
same 'replace' "$work/out" <(printf 'ba a.b\n')
expect 'replace escapes' 0 '*' '' -- "$tool" replace '\x2e' '\t'
same 'replace escapes' "$work/out" <(printf 'aaa a\tb\n')
expect 'replace needs two' 2 '' 'replace needs FROM and TO' -- "$tool" replace a
rm "$work/in"

echo "$checks checks, $failures failed"
[ "$failures" = 0 ]
