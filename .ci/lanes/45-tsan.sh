#!/usr/bin/env bash
# ThreadSanitizer lane (the tsan preset): builds the tests with -fsanitize=thread and runs the
# threads stress test, then the rest of the suite. Any race report fails the lane; tests/tsan.supp lists the only
# reports accepted (from inside the C library's locale code, if any), each with its reason.
set -euo pipefail
cd "$(dirname "$0")/../.."
cmake --workflow --preset tsan
