#!/usr/bin/env bash
# Installs what the reliability checks need beyond scripts/install-deps.sh,
# from Debian's packages: clang with its libFuzzer and sanitizer runtimes and
# the symbolizer for the fuzz targets (scripts/fuzz.sh), and valgrind
# (scripts/valgrind.sh). Idempotent: does nothing when everything is there.
set -euo pipefail

packages=(clang libclang-rt-14-dev llvm valgrind)

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
