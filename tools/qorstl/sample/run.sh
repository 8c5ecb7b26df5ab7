#!/usr/bin/env bash
# Shows the qorstl tool at work on a small Latin-1 text: check it, convert it to UTF-8 (and to
# UTF-16), check the results.
# Usage: tools/qorstl/sample/run.sh [BUILD_DIR]   (default: build)
set -euo pipefail
root=$(cd "$(dirname "$0")/../../.." && pwd)
build=$(cd "${1:-build}" && pwd)
tool="$build/tools/qorstl/qorstl"
printf 'The qorstl tool on a Latin-1 sample, in %s:\n' "$build/sample"
out="$build/sample"
mkdir -p "$out"
# Prints a command as a user would type it from the build directory's sample folder, then runs it.
show() { printf '\n$ %s\n' "$*" | sed "s|$tool|qorstl|g; s|$build/|build/|g"; "$@" 2>&1; }

cd "$out"
cp "$root/tools/qorstl/sample/mars.latin1.txt" mars.latin1.txt
show "$tool" check mars.latin1.txt || true   # exit status 1: the sample is not UTF-8
show "$tool" convert -f ISO-8859-1 -t UTF-8 -o mars.utf8.txt mars.latin1.txt
show "$tool" convert -f ISO-8859-1 -t UTF-16 -o mars.utf16.txt mars.latin1.txt
show "$tool" check mars.latin1.txt mars.utf8.txt mars.utf16.txt || true
show "$tool" find -e rouge -e planète mars.utf8.txt
show cat mars.utf8.txt
