#!/usr/bin/env bash
# Installs what the 32-bit Windows build of the library and its tests need,
# from Debian's packages: the i686 MinGW-w64 cross compiler and a Wine that
# runs 32-bit programs. Idempotent: does nothing when both are there already.
#
# Wine's 32-bit half comes from the i386 architecture, which is added first.
# The security suite carries amd64 packages only; were it preferred, an amd64
# library could move to a newer version than its i386 twin can follow, and
# the two would conflict. Ranking that suite below the main suite keeps both
# architectures on one version.
set -euo pipefail

SUDO=""
if [[ $(id -u) -ne 0 ]]; then SUDO=sudo; fi

have_toolchain() {
  command -v i686-w64-mingw32-gcc >/dev/null && command -v i686-w64-mingw32-g++ >/dev/null &&
    command -v wine >/dev/null &&
    dpkg-query -W -f='${Status}' wine32:i386 2>/dev/null | grep -q "install ok installed"
}

if have_toolchain; then exit 0; fi

codename=$(. /etc/os-release && echo "${VERSION_CODENAME:-bookworm}")
preferences=/etc/apt/preferences.d/vobrex-security-below-main
if [[ ! -f $preferences ]]; then
  $SUDO tee "$preferences" >/dev/null <<PREF
# The security suite has no i386 packages: keep amd64 libraries on the main
# suite's versions so that their i386 twins can be installed beside them.
Package: *
Pin: release n=${codename}-security
Pin-Priority: 100
PREF
fi

if ! dpkg --print-foreign-architectures | grep -qx i386; then
  $SUDO dpkg --add-architecture i386
fi

# The security suite answers the request for its i386 index with a broken
# file; apt then goes on without that index, which is what the preference
# above asks for anyway. Any other failure of the update stops the install.
update_package_lists() {
  local log
  log=$(mktemp)
  if $SUDO apt-get update -qq 2>"$log"; then
    rm -f "$log"
    return 0
  fi
  cat "$log" >&2
  if grep '^E: Failed to fetch' "$log" | grep -qv -- '-security/.*binary-i386/'; then
    rm -f "$log"
    return 1
  fi
  rm -f "$log"
  echo "install-windows-toolchain: going on without the security suite's i386 index" >&2
}

echo "installing the 32-bit Windows toolchain (MinGW-w64 i686, Wine 32-bit)"
export DEBIAN_FRONTEND=noninteractive
update_package_lists
$SUDO apt-get install -y -qq --no-install-recommends \
  gcc-mingw-w64-i686 g++-mingw-w64-i686 binutils-mingw-w64-i686 wine wine32:i386

have_toolchain || {
  echo "install-windows-toolchain: the toolchain is still incomplete" >&2
  exit 1
}
