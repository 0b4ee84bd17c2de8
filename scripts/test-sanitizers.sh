#!/usr/bin/env bash
# The tests again under AddressSanitizer and UndefinedBehaviorSanitizer. The
# Windows DLL tests are left to the plain build: they cross-build and run the
# DLL under Wine, which no sanitizer sees.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
cmake --preset asan
cmake --build --preset asan -j "$(nproc)"
ctest --preset asan -LE windows
