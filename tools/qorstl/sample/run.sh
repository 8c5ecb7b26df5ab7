#!/usr/bin/env bash
# Shows the qorstl tool at work on a small Latin-1 text: check it, convert it to UTF-8, check the
# result. Without an installed Latin-1 locale, the tool says which localedef command makes one;
# this script then makes it without root, in the build directory, and uses it through LOCPATH.
# Usage: tools/qorstl/sample/run.sh [BUILD_DIR]   (default: build)
set -euo pipefail
root=$(cd "$(dirname "$0")/../../.." && pwd)
build=$(cd "${1:-build}" && pwd)
tool="$build/tools/qorstl/qorstl"
printf 'The qorstl tool on a Latin-1 sample, in %s:\n' "$build/sample"
sample="$root/tools/qorstl/sample/mars.latin1.txt"
out="$build/sample"
mkdir -p "$out"
# Prints a command as a user would type it from the build directory's sample folder, then runs it.
show() { printf '\n$ %s\n' "$*" | sed "s|$tool|qorstl|g; s|$build/|build/|g"; "$@" 2>&1; }

cd "$out"
cp "$sample" mars.latin1.txt
show "$tool" check mars.latin1.txt || true   # exit status 1: the sample is not UTF-8
if ! show "$tool" convert -f ISO-8859-1 -t UTF-8 -o mars.utf8.txt mars.latin1.txt; then
  mkdir -p "$build/locale"
  show localedef -i en_US -f ISO-8859-1 "$build/locale/en_US.ISO-8859-1" ||
    [ -e "$build/locale/en_US.ISO-8859-1/LC_CTYPE" ]  # localedef fails on mere warnings too
  export LOCPATH="$build/locale"
  printf '\n$ export LOCPATH=%s\n' "$LOCPATH"
  show "$tool" convert -f ISO-8859-1 -t UTF-8 -o mars.utf8.txt mars.latin1.txt
fi
show "$tool" check mars.latin1.txt mars.utf8.txt || true
show cat mars.utf8.txt
