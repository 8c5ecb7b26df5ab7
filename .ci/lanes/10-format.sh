#!/usr/bin/env bash
# Every C++ file of the repository is formatted as .clang-format says.
set -euo pipefail
cd "$(dirname "$0")/../.."
clang-format --version | head -n 1
git ls-files '*.h' '*.cpp' | xargs clang-format --dry-run --Werror
echo "formatting: $(git ls-files '*.h' '*.cpp' | wc -l) files clean"
