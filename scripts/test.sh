#!/usr/bin/env bash
# Builds everything and runs every test (the README's test command).
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
cmake --preset default
cmake --build --preset default -j "$(nproc)"
ctest --preset default
