#!/usr/bin/env bash
# Installs what building and testing the library needs, from Debian's
# packages. Idempotent: does nothing when everything is there already.
set -euo pipefail

packages=(cmake g++ make pkg-config libgtest-dev libgmock-dev libbenchmark-dev libpng-dev libcli11-dev)
if [[ "${VOBREX_WITH_OPENCV:-0}" == 1 ]]; then packages+=(libopencv-dev); fi

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if ((${#missing[@]})); then
  echo "installing: ${missing[*]}"
  SUDO=""
  if [[ $(id -u) -ne 0 ]]; then SUDO=sudo; fi
  $SUDO apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi
