#!/usr/bin/env bash
# The library and its whole test suite cross-compiled for 64-bit Arm Linux, the tests run under
# qemu-user (the aarch64 preset): the non-x86 code paths are compiled and run on every change. The cross compiler, qemu
# and the arm64 C library's charset modules (multiarch libc6:arm64, which the locale tests need for
# charsets other than UTF-8) come from scripts/setup.sh --ci.
set -euo pipefail
cd "$(dirname "$0")/../.."

installed() { dpkg-query -W -f='${Status}' "$1" 2>/dev/null | grep -q 'install ok installed'; }
for p in g++-aarch64-linux-gnu qemu-user googletest libc6:arm64; do
  installed "$p" || { echo "$p is missing: run scripts/setup.sh --ci" >&2; exit 1; }
done
aarch64-linux-gnu-g++ --version | head -n 1
qemu-aarch64 --version | head -n 1

# Every test runs under the emulator, some ten times slower than natively; the test preset's limit
# of 600 s a test still catches one that hangs.
cmake --workflow --preset aarch64

