#!/usr/bin/env bash
# check-exports.sh DLL EXPECTED: the DLL exports exactly the names listed in
# EXPECTED (one a line, '#' starts a comment) and imports only system DLLs,
# so that it runs without any compiler runtime DLL beside it.
# Exits 77 (skipped) when the DLL or the toolchain's objdump is missing.
set -euo pipefail

dll=$1
expected=$2
objdump=$(command -v i686-w64-mingw32-objdump || true)
if [[ ${VOBREX_SKIP_WINDOWS:-0} == 1 || -z $objdump || ! -f $dll ]]; then
  echo "check-exports: no DLL or no MinGW-w64 objdump; skipped"
  exit 77
fi

headers=$("$objdump" -p "$dll")
table=$(sed -n '/^\[Ordinal\/Name Pointer\] Table/,/^$/p' <<<"$headers" |
  sed -n 's/^[[:space:]]*\[ *[0-9]*\] //p')
exported=$(LC_ALL=C sort <<<"$table")
wanted=$(grep -v '^#' "$expected" | sed '/^[[:space:]]*$/d' | LC_ALL=C sort)

status=0
# The loader finds a name by binary search, so the table must be in byte order.
if [[ $table != "$exported" ]]; then
  echo "check-exports: the name table is not sorted; lookups by name would fail"
  status=1
fi
if [[ $exported != "$wanted" ]]; then
  echo "check-exports: the export table differs (- expected, + exported):"
  diff <(echo "$wanted") <(echo "$exported") | grep '^[<>]' | sed 's/^</-/; s/^>/+/'
  status=1
fi

while read -r imported; do
  case ${imported,,} in
    kernel32.dll | msvcrt.dll | user32.dll | advapi32.dll) ;;
    *)
      echo "check-exports: imports $imported, which is not a system DLL"
      status=1
      ;;
  esac
done < <(sed -n 's/^[[:space:]]*DLL Name: //p' <<<"$headers")

if ((status == 0)); then
  echo "check-exports: $(wc -l <<<"$exported") names as expected; imports only system DLLs"
fi
exit $status
