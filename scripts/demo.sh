#!/usr/bin/env bash
# Builds the library and its tool and runs the main job on built-in data.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
cmake --preset default >/dev/null
cmake --build --preset default -j "$(nproc)" --target vobrex
exec build/default/tools/vobrex demo "$@"
