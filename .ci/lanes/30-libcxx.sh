#!/usr/bin/env bash
# The test suite with clang++ and libc++ (GoogleTest built from source against it), warnings as
# errors (the libcxx preset).
set -euo pipefail
cd "$(dirname "$0")/../.."
cmake --workflow --preset libcxx
