#!/usr/bin/env bash
# wine-run.sh PREFIX PROGRAM [ARGS...]: runs a 32-bit Windows program under
# Wine, headless and without questions, in the Wine prefix PREFIX (created on
# first use). Exits 77 (skipped) when Wine or the program is missing.
set -euo pipefail

prefix=$1
shift
if [[ ${VOBREX_SKIP_WINDOWS:-0} == 1 ]] || ! command -v wine >/dev/null; then
  echo "wine-run: Wine is not installed (scripts/install-windows-toolchain.sh); skipped"
  exit 77
fi
if [[ ! -f $1 ]]; then
  echo "wine-run: $1 was not built (is the MinGW-w64 toolchain installed?); skipped"
  exit 77
fi

export WINEPREFIX=$prefix
export WINEARCH=win32
export WINEDEBUG=-all
# No Mono or Gecko download prompts while the prefix is created.
export WINEDLLOVERRIDES="mscoree,mshtml="
# No display: console programs need none, and nothing may pop up on a desktop.
unset DISPLAY WAYLAND_DISPLAY

# The first run creates the prefix; concurrent tests wait for it.
mkdir -p "$(dirname "$prefix")"
(
  flock 9
  if [[ ! -f $prefix/system.reg ]]; then
    wineboot --init >/dev/null 2>&1 || true
    wineserver -w
    [[ -f $prefix/system.reg ]] || { echo "wine-run: could not create $prefix" >&2; exit 1; }
  fi
) 9>"$prefix.lock"

wine "$@"
