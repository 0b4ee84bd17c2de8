#!/usr/bin/env bash
# Installs what building and testing the library needs, from Debian's
# packages, plus any packages named as arguments (the fuzzing and benchmark
# scripts name theirs). Idempotent: does nothing when everything is there.
set -euo pipefail

packages=(cmake g++ make pkg-config libgtest-dev libgmock-dev libbenchmark-dev libpng-dev libcli11-dev)
packages+=("$@")

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
