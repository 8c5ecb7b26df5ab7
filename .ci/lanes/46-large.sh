#!/usr/bin/env bash
# Huge inputs: the tests past 2^31 and 2^32 bytes (label `large`, the large preset), which the
# normal test run does not build. They need about 6 GiB of memory and 2 GiB of free disk in the temporary directory,
# and delete every file they make.
set -euo pipefail
cd "$(dirname "$0")/../.."
cmake --workflow --preset large
