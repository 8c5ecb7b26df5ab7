#!/usr/bin/env bash
# The manual: Doxygen on the public header, warnings as errors, so that every entity of the header
# is documented and every comment parses. Skipped when Doxygen is not installed.
set -euo pipefail
cd "$(dirname "$0")/../.."
if ! command -v doxygen >/dev/null 2>&1; then
  echo "docs lane: doxygen is not installed, skipped (scripts/setup.sh --ci installs it)"
  exit 0
fi
doxygen --version
cmake -S . -B build-docs -DQORSTL_WERROR=ON -DQORSTL_BUILD_TESTS=OFF -DQORSTL_BUILD_EXAMPLES=OFF \
  -DQORSTL_BUILD_TOOLS=OFF
cmake --build build-docs --target docs
echo "docs lane: passed, every entity of the header documented"
