#!/usr/bin/env bash
# Installs what the benchmarks need beyond the build: OpenCV from Debian's
# packages, whose demosaic and resize are the peers every conversion is
# timed against. Only the benchmarks link it; the library never does.
set -euo pipefail
exec "$(dirname "$0")/install-deps.sh" libopencv-dev
