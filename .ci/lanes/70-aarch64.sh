#!/usr/bin/env bash
# The library and its whole test suite cross-compiled for 64-bit Arm Linux, the tests run under
# qemu-user: the non-x86 code paths are compiled and run on every change. The cross compiler, qemu
# and the arm64 C library's charset modules (multiarch libc6:arm64, which the locale tests need for
# charsets other than UTF-8) come from scripts/setup.sh --ci.
set -euo pipefail
cd "$(dirname "$0")/../.."
build=build-aarch64

installed() { dpkg-query -W -f='${Status}' "$1" 2>/dev/null | grep -q 'install ok installed'; }
for p in g++-aarch64-linux-gnu qemu-user googletest libc6:arm64; do
  installed "$p" || { echo "$p is missing: run scripts/setup.sh --ci" >&2; exit 1; }
done
aarch64-linux-gnu-g++ --version | head -n 1
qemu-aarch64 --version | head -n 1

cmake -S . -B "$build" -DQORSTL_WERROR=ON \
  -DCMAKE_TOOLCHAIN_FILE=cmake/toolchains/aarch64-linux-gnu.cmake \
  -DQORSTL_GTEST_SOURCE_DIR=/usr/src/googletest
cmake --build "$build" -j2
# Every test runs under the emulator, some ten times slower than natively; the limit still catches
# a test that hangs.
ctest --test-dir "$build" --output-on-failure -j2 --timeout 600

