#!/usr/bin/env bash
# Builds the 32-bit Windows DLL (vobrex32.dll, vobrex32.lib) and its Windows
# test programs: configures the `windows` preset into build/windows, or into
# the directory given, and builds it. Exits 77 (skipped) when the MinGW-w64
# toolchain is missing (scripts/install-windows-toolchain.sh installs it).
set -euo pipefail
cd "$(dirname "$0")/.."

dir=${1:-build/windows}
if [[ ${VOBREX_SKIP_WINDOWS:-0} == 1 ]] || ! command -v i686-w64-mingw32-g++ >/dev/null; then
  echo "build-windows: the MinGW-w64 i686 toolchain is not installed; skipped"
  exit 77
fi

cmake --preset windows -B "$dir"
cmake --build "$dir" -j "$(nproc)"
echo "build-windows: $dir/bin/vobrex32.dll"
