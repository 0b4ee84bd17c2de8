#!/usr/bin/env bash
# Installs what the benchmarks need beyond the build: OpenCV from Debian's
# packages, whose demosaic and resize are the peers every conversion is
# timed against. Only the benchmarks link it; the library never does.
# Idempotent: does nothing when everything is there already.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh

packages=(libopencv-dev)
missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if ((${#missing[@]})); then
  echo "installing: ${missing[*]}"
  SUDO=""
  if [[ $(id -u) -ne 0 ]]; then SUDO=sudo; fi
  # A mirror caught mid-sync fails one index; the others still serve the install.
  $SUDO apt-get update -qq || echo "apt-get update reported errors; trying the install anyway"
  DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi
