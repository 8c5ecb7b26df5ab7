#!/usr/bin/env bash
# The test suite under AddressSanitizer and UndefinedBehaviorSanitizer, g++, warnings as errors
# (the asan preset).
set -euo pipefail
cd "$(dirname "$0")/../.."
cmake --workflow --preset asan
