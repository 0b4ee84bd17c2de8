#!/usr/bin/env bash
# compare-clients.sh WINDOWS_BIN NATIVE_CLIENT NATIVE_LIBRARY WORK_DIR PREFIX
# Runs the test client twice, as a Windows program against vobrex32.dll under
# Wine and as a Linux program against the shared library, each writing its
# result files into a directory of its own under WORK_DIR, and compares the
# two sets byte for byte. Exits 77 (skipped) when the Windows side is missing.
set -euo pipefail

windows_bin=$1
native_client=$2
native_library=$3
work=$4
prefix=$5
here=$(cd "$(dirname "$0")" && pwd)

if [[ ${VOBREX_SKIP_WINDOWS:-0} == 1 ]] || ! command -v wine >/dev/null ||
  [[ ! -f $windows_bin/vobrex_client.exe ]]; then
  echo "compare-clients: no Wine or no Windows client; skipped"
  exit 77
fi

rm -rf "$work/windows" "$work/native"
mkdir -p "$work/windows" "$work/native"

(cd "$work/native" && "$native_client" "$native_library")

set +e
(cd "$work/windows" && "$here/wine-run.sh" "$prefix" "$windows_bin/vobrex_client.exe")
status=$?
set -e
if ((status == 77)); then exit 77; fi
if ((status != 0)); then
  echo "compare-clients: the Windows client failed (exit status $status)"
  exit 1
fi

differ=0
while read -r name; do
  if [[ ! -f $work/windows/$name ]]; then
    echo "compare-clients: $name: missing from the Windows run"
    differ=1
  elif [[ ! -f $work/native/$name ]]; then
    echo "compare-clients: $name: missing from the Linux run"
    differ=1
  elif ! cmp -s "$work/windows/$name" "$work/native/$name"; then
    echo "compare-clients: $name: differs ($(cmp "$work/windows/$name" "$work/native/$name" 2>&1 | head -1))"
    differ=1
  fi
done < <( (ls "$work/windows"; ls "$work/native") | sort -u)

count=$(ls "$work/native" | wc -l)
if ((differ)); then
  echo "compare-clients: the Windows and Linux results differ (files kept in $work)"
  exit 1
fi
echo "compare-clients: $count result files identical on Windows and Linux"
