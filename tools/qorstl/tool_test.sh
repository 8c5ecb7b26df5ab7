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
  # Through a locale, by the library: where a character is missing, and what -c and
  # --substitute make of it.
  expect 'character missing from a locale' 2 '' \
    "euro.txt: character U\+20AC \(character 6, line 1\) cannot be written in de_DE.ISO-8859-1" -- \
    env -C "$work" "$tool" convert -t de_DE.ISO-8859-1 euro.txt
  expect 'a locale, -c' 0 '*' '' -- "$tool" convert -c -t de_DE.ISO-8859-1 "$work/euro.txt"
  same 'a locale, -c' "$work/out" <(printf 'caf\xe9 5\n')
  expect 'a locale, --substitute' 0 '*' '' -- \
    "$tool" convert --substitute -t de_DE.ISO-8859-1 "$work/euro.txt"
  same 'a locale, --substitute' "$work/out" <(printf 'caf\xe9 ?5\n')
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
printf 'caf\xc3\xa9\n' >"$work/cafe.txt"
expect 'another spelling of a charset' 0 '*' '' -- "$tool" convert -t windows1252 "$work/cafe.txt"
same 'another spelling of a charset' "$work/out" <(printf 'caf\xe9\n')
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

# Occurrences across the tool's 256 KiB chunks (and a pipe's 64 KiB reads): the earliest is the
# longer pattern that starts first, though a shorter one ends sooner.
{ head -c $((262144 - 3)) /dev/zero | tr '\0' x; printf 'Venus\nus\n'; } >"$work/boundary.txt"
expect 'find across chunks, earliest' 0 '^262141:1:Venus$' '' -- \
  "$tool" find -e us -e Venus "$work/boundary.txt"
cp "$work/boundary.txt" "$work/in"
expect 'find across chunks, earliest, a pipe' 0 '^262141:1:Venus$' '' -- \
  sh -c 'cat | "$0" find -e us -e Venus' "$tool"
rm "$work/in"
expect 'find across chunks, longest' 0 '^262141:1:Venus$' '' -- \
  "$tool" find --mode longest -e us -e Venus "$work/boundary.txt"
expect 'find across chunks, list' 0 '^262146:1:\\nus$' '' -- \
  "$tool" find --mode list -e '\nus' -e Venus "$work/boundary.txt"
expect 'find, a line feed in the argument' 0 '^0:1:$' '' -- \
  "$tool" find --mode list -e $'Mars\n' "$work/boundary.txt"
cp "$work/boundary.txt" "$work/in"
expect 'replace across chunks' 0 '*' '' -- "$tool" replace xVenus '<V>'
same 'replace across chunks' "$work/out" <(sed 's/xVenus/<V>/g' "$work/boundary.txt")
rm "$work/in"
{ printf 'a'; head -c 600000 /dev/zero | tr '\0' ' '; printf 'b  \n   \n  c'; } >"$work/in"
expect 'trim across chunks' 0 '*' '' -- "$tool" trim
same 'trim across chunks' "$work/out" <(sed 's/^ *//; s/ *$//' "$work/in")
rm "$work/in"

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

# --- inputs that cannot seek: read to their end ---
if [ $have_iconv = yes ]; then
  { printf '\xfe\xff'; printf 'hello\n' | iconv -t UTF-16BE; } >"$work/hello.16"
  expect 'process substitution' 0 '*' '' -- "$tool" convert -f utf-8 -t utf-16 <(echo hello)
  same 'process substitution' "$work/out" "$work/hello.16"
  mkfifo "$work/fifo"
  { echo hello >"$work/fifo" & } 2>/dev/null
  expect 'named FIFO' 0 '*' '' -- "$tool" convert -t UTF-16 "$work/fifo"
  same 'named FIFO' "$work/out" "$work/hello.16"
fi
cat /proc/version >"$work/version.txt"
expect '/proc file' 0 '*' '' -- "$tool" convert /proc/version
same '/proc file' "$work/out" "$work/version.txt"
expect 'check a /proc file' 0 '^/proc/version: ASCII$' '' -- "$tool" check /proc/version
expect 'check a pipe' 1 'not UTF-8: malformed sequence at byte 0, line 1 \(byte FF\)' '' -- \
  "$tool" check <(printf '\xff')
printf 'a\xc3\xa9\n' >"$work/in"
expect 'check standard input' 0 '^standard input: UTF-8$' '' -- "$tool" check -
rm "$work/in"
if [ "$(id -u)" != 0 ]; then
  printf 'secret\n' >"$work/unreadable.txt"
  chmod 000 "$work/unreadable.txt"
  expect 'unreadable input' 2 '' '^qorstl: unreadable.txt: Permission denied$' -- \
    env -C "$work" "$tool" convert unreadable.txt
  expect 'find in an unreadable file' 2 '' '^qorstl: unreadable.txt: Permission denied$' -- \
    env -C "$work" "$tool" find secret unreadable.txt
fi

# --- -o writes into what the path names ---
inode() { stat -L -c %i "$1"; }
printf 'old\n' >"$work/target.txt"
ln -s target.txt "$work/link.txt"
expect '-o through a symlink' 0 '' '' -- "$tool" convert -o "$work/link.txt" "$work/two.txt"
checks=$((checks + 1))
[ -L "$work/link.txt" ] || fail '-o through a symlink: the link was replaced'
same '-o through a symlink' "$work/target.txt" "$work/two.txt"
ln -s new-target.txt "$work/dangling.txt"
expect '-o through a dangling symlink' 0 '' '' -- "$tool" convert -o "$work/dangling.txt" "$work/two.txt"
same '-o through a dangling symlink' "$work/new-target.txt" "$work/two.txt"
printf 'old\n' >"$work/linked.txt"
ln "$work/linked.txt" "$work/other-name.txt"
expect '-o onto a hard link' 0 '' '' -- "$tool" convert -o "$work/linked.txt" "$work/two.txt"
same '-o onto a hard link' "$work/other-name.txt" "$work/two.txt"
expect '-o onto a hard link, bad input' 2 '' 'bad.txt: not valid UTF-8' -- \
  "$tool" convert -o "$work/linked.txt" "$work/bad.txt"
same '-o onto a hard link, bad input, keeps the file' "$work/other-name.txt" "$work/two.txt"
printf 'old\n' >"$work/mode.txt"
chmod 640 "$work/mode.txt"
expect '-o keeps the mode' 0 '' '' -- "$tool" convert -o "$work/mode.txt" "$work/two.txt"
checks=$((checks + 1))
[ "$(stat -c %a "$work/mode.txt")" = 640 ] || fail "-o keeps the mode: $(stat -c %a "$work/mode.txt")"
same '-o keeps the mode' "$work/mode.txt" "$work/two.txt"
cp "$data/mars-french.latin1.txt" "$work/same.txt"
expect '-o onto its own input' 0 '' '' -- \
  "$tool" convert -f latin1 -o "$work/same.txt" "$work/same.txt"
"$tool" convert -f latin1 "$data/mars-french.latin1.txt" >"$work/same.expected"
same '-o onto its own input' "$work/same.txt" "$work/same.expected"
expect '-o /dev/null' 0 '' '' -- "$tool" convert -o /dev/null "$work/two.txt"
expect '-o /dev/full' 2 '' '^qorstl: /dev/full: No space left on device$' -- \
  "$tool" convert -o /dev/full "$work/two.txt"
expect '-o /dev/stdout' 0 '^b$' '' -- "$tool" convert -o /dev/stdout "$work/two.txt"
no_leftovers '-o targets'
if [ "$(id -u)" != 0 ]; then
  mkdir "$work/locked"
  printf 'old\n' >"$work/locked/file.txt"
  chmod a-w "$work/locked"
  expect '-o in a read-only directory' 0 '' '' -- \
    "$tool" convert -o "$work/locked/file.txt" "$work/two.txt"
  same '-o in a read-only directory' "$work/locked/file.txt" "$work/two.txt"
  printf 'old\n' >"$work/readonly.txt"
  chmod 444 "$work/readonly.txt"
  expect '-o onto a read-only file' 2 '' 'readonly.txt: Permission denied$' -- \
    "$tool" convert -o "$work/readonly.txt" "$work/two.txt"
  same '-o onto a read-only file keeps it' "$work/readonly.txt" <(printf 'old\n')
else
  mknod "$work/null" c 1 3 && mknod "$work/full" c 1 7
  expect '-o onto a device node' 0 '' '' -- "$tool" convert -o "$work/null" "$work/two.txt"
  expect '-o onto a full device' 2 '' 'full: No space left on device$' -- \
    "$tool" convert -o "$work/full" "$work/two.txt"
  checks=$((checks + 1))
  [ -c "$work/null" ] && [ -c "$work/full" ] || fail '-o onto a device node: no longer a device'
  printf 'old\n' >"$work/owned.txt"
  chown 12345:12346 "$work/owned.txt"
  expect '-o as root keeps the owner' 0 '' '' -- "$tool" convert -o "$work/owned.txt" "$work/two.txt"
  checks=$((checks + 1))
  [ "$(stat -c %u:%g "$work/owned.txt")" = 12345:12346 ] || fail "-o as root keeps the owner: $(stat -c %u:%g "$work/owned.txt")"
fi

# --- every write to standard output is checked ---
if [ -w /dev/full ]; then
  for cmd in 'check /proc/version' 'find Linux /proc/version' 'convert -l' '--help' \
    'convert --help' 'convert /proc/version'; do
    expect "$cmd into /dev/full" 2 '' '^qorstl: write error: No space left on device$' -- \
      sh -c "exec \"\$0\" $cmd >/dev/full" "$tool"
  done
  printf 'a b\n' >"$work/in"
  for cmd in 'split --by " "' 'trim' 'replace a b'; do
    expect "$cmd into /dev/full" 2 '' 'write error: No space left' -- \
      sh -c "exec \"\$0\" $cmd >/dev/full" "$tool"
  done
  rm "$work/in"
fi

# --- charsets of the platform's iconv, -c and --substitute ---
if [ $have_iconv = yes ]; then
  expect 'convert -l lists iconv charsets' 0 '^WINDOWS-1252$' '' -- "$tool" convert -l
  for charset in WINDOWS-1252 UTF-32 UTF-32LE SHIFT_JIS GB18030 KOI8-R ISO-8859-15 UTF-7; do
    for name in mars-french mars-chinese mars-english lipsum-russian lipsum-japanese; do
      src="$data/$name.utf8.txt"
      [ -e "$src" ] || continue
      iconv -f UTF-8 -t $charset "$src" >"$work/ref" 2>/dev/null || continue
      expect "to $charset: $name" 0 '*' '' -- "$tool" convert -t $charset "$src"
      same "to $charset: $name" "$work/out" "$work/ref"
      expect "from $charset: $name" 0 '*' '' -- "$tool" convert -f $charset "$work/ref"
      same "from $charset: $name" "$work/out" "$src"
    done
  done
  # -c leaves out exactly what iconv -c leaves out, on malformed input built from a tiny
  # alphabet of bytes (ASCII, leads, continuations, bytes that never occur in UTF-8).
  alphabet=(41 0a c3 a9 e2 82 ac f0 9f 98 80 ff c0 ed a0 f4 90 bf 81 8e fc 30)
  RANDOM=15
  for round in $(seq 20); do
    bytes=''
    length=$((RANDOM % 40))  # here, not in $(...), whose subshell draws other numbers
    for _ in $(seq $length); do bytes+="\\x${alphabet[RANDOM % ${#alphabet[@]}]}"; done
    bytes+='\x41'
    printf "$bytes" >"$work/random.txt"
    for charset in UTF-16LE ISO-8859-1 WINDOWS-1252; do
      # Where iconv -c fails too (a character cut short at the end), both keep what came before.
      want=2
      iconv -c -f UTF-8 -t $charset "$work/random.txt" >"$work/ref" 2>/dev/null && want=0
      expect "-c to $charset, round $round ($bytes)" $want '*' '*' -- \
        "$tool" convert -c -t $charset "$work/random.txt"
      same "-c to $charset, round $round ($bytes)" "$work/out" "$work/ref"
    done
    # and from charsets that iconv(3) decodes, with their lead and trail bytes
    for charset in SHIFT_JIS GB18030 EUC-JP; do
      want=2
      iconv -c -f $charset -t UTF-8 "$work/random.txt" >"$work/ref" 2>/dev/null && want=0
      expect "-c from $charset, round $round ($bytes)" $want '*' '*' -- \
        "$tool" convert -c -f $charset "$work/random.txt"
      same "-c from $charset, round $round ($bytes)" "$work/out" "$work/ref"
    done
  done
  printf 'A\x00\x00\xd8B\x00\x00\xdc' >"$work/lone.16"
  iconv -c -f UTF-16LE -t UTF-8 "$work/lone.16" >"$work/ref"
  expect '-c from UTF-16LE' 0 '*' '' -- "$tool" convert -c -f UTF-16LE "$work/lone.16"
  same '-c from UTF-16LE' "$work/out" "$work/ref"
  printf 'a\xe2\x82' >"$work/cut.txt"
  expect '-c, cut short at the end' 2 'a' 'cut.txt: not valid UTF-8 text: incomplete character at end at byte 1' -- \
    "$tool" convert -c -t latin1 "$work/cut.txt"
fi
while IFS='|' read -r what input to expected; do
  printf "$input" >"$work/sub.txt"
  expect "--substitute: $what" 0 '*' '' -- "$tool" convert --substitute -t "$to" "$work/sub.txt"
  same "--substitute: $what" "$work/out" <(printf "$expected")
done <<'CASES'
malformed byte to UTF-8|a\xffb|UTF-8|a\xef\xbf\xbdb
lead and continuations, one mark|a\xe2\x82b|UTF-8|a\xef\xbf\xbdb
cut short at the end|a\xe2\x82|UTF-8|a\xef\xbf\xbd
not in Latin-1|\xe2\x82\xac1|latin1|?1
not in KOI8-R, U+FFFD neither|\xc3\xa9|KOI8-R|?
UTF-16 holds U+FFFD|\xff|UTF-16LE|\xfd\xff
CASES

# --- UTF-16: what convert writes, check recognises; both apply the same rules ---
expect 'check what convert -t UTF-16 writes' 0 '^standard input: UTF-16BE with byte-order mark$' '' -- \
  sh -c '"$0" convert -t UTF-16 "$1" | "$0" check -' "$tool" "$data/mars-chinese.utf8.txt"
expect 'check an odd-length UTF-16 file' 1 'odd16.txt: not UTF-16LE: odd number of bytes at byte 2$' '' -- \
  env -C "$work" "$tool" check odd16.txt
expect 'check an unpaired surrogate' 1 'not UTF-16LE: unpaired surrogate U\+D83D at byte 2$' '' -- \
  "$tool" check "$work/lone16.txt"

echo "$checks checks, $failures failed"
[ "$failures" = 0 ]
