#!/usr/bin/env bash
# Installs what the reliability checks need beyond the build, from Debian's
# packages: clang with its libFuzzer and sanitizer runtimes and the
# symbolizer for the fuzz targets (scripts/fuzz.sh), and valgrind
# (scripts/valgrind.sh).
set -euo pipefail
exec "$(dirname "$0")/install-deps.sh" clang libclang-rt-14-dev llvm valgrind
