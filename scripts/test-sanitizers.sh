#!/usr/bin/env bash
# The tests again under AddressSanitizer and UndefinedBehaviorSanitizer.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
cmake --preset asan
cmake --build --preset asan -j "$(nproc)"
ctest --preset asan
