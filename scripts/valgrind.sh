#!/usr/bin/env bash
# Runs every test executable of a build under valgrind's memcheck and fails
# when any of them shows a memory error or a leak (or fails a test).
#
#   scripts/valgrind.sh [-b build-dir] [-t executable-regex] [-f gtest-filter] [-j jobs]
#
#   -b  the build whose tests/ are run (default build/default, which is
#       configured and built with the default preset when it is missing);
#       it must be built without sanitizers
#   -t  only the executables whose name matches this extended regex, e.g.
#       -t 'test_(still|hires)'
#   -f  a GoogleTest filter handed to every test executable, e.g.
#       -f '-*Hires*' or -f 'AllocationFailures*:*Preview*'
#   -j  executables run at once (default: the number of cores)
#
# Memcheck makes the library 20 to 50 times slower: the whole suite takes
# about four minutes on two cores, most of it in the golden-image and
# high-resolution tests. Use -t and -f to check only the part you changed.
# Logs go to <build-dir>/valgrind/<executable>.log and .out.
set -euo pipefail
cd "$(dirname "$0")/.."

build=build/default
only=""
filter=""
jobs="$(nproc)"
while getopts "b:t:f:j:h" option; do
  case "$option" in
    b) build="$OPTARG" ;;
    t) only="$OPTARG" ;;
    f) filter="$OPTARG" ;;
    j) jobs="$OPTARG" ;;
    *)
      sed -n '2,20p' "$0" >&2
      exit 2
      ;;
  esac
done

scripts/install-fuzz-deps.sh
if [[ ! -d "$build/tests" ]]; then
  if [[ "$build" != build/default ]]; then
    echo "no tests in $build" >&2
    exit 2
  fi
  scripts/install-deps.sh
  cmake --preset default >/dev/null
  cmake --build --preset default -j "$(nproc)"
fi
if grep -q '^VOBREX_SANITIZE:BOOL=ON' "$build/CMakeCache.txt" 2>/dev/null; then
  echo "$build is a sanitizer build; valgrind needs a plain one" >&2
  exit 2
fi

executables=()
while IFS= read -r path; do
  name="$(basename "$path")"
  if [[ -n "$only" && ! "$name" =~ $only ]]; then continue; fi
  # Executables of test files since removed may linger in the build.
  if [[ "$name" != c_interface_test && ! -f "tests/$name.cpp" ]]; then continue; fi
  executables+=("$path")
done < <(find "$build/tests" -maxdepth 1 -type f -perm -u+x \( -name 'test_*' -o -name 'c_interface_test' \) ! -name '*.exe' | sort)
if ((${#executables[@]} == 0)); then
  echo "no test executable selected" >&2
  exit 2
fi

logs="$build/valgrind"
mkdir -p "$logs"

# GoogleTest prints a test parameter without a printer of its own byte by
# byte, padding included, when it names the parameterised cases; that read of
# uninitialised padding is the test framework's, not the library's.
suppressions="$logs/gtest.supp"
cat >"$suppressions" <<'SUPP'
{
   gtest-parameter-bytes-cond
   Memcheck:Cond
   ...
   fun:*PrintBytesInObjectTo*
}
{
   gtest-parameter-bytes-value
   Memcheck:Value8
   ...
   fun:*PrintBytesInObjectTo*
}
SUPP

# One executable under memcheck; its exit status is 0 only when valgrind saw
# no error and no leak and every test passed.
run_one() {
  local path="$1" name args=()
  name="$(basename "$path")"
  if [[ -n "$filter" && "$name" != c_interface_test ]]; then args+=("--gtest_filter=$filter"); fi
  local start=$SECONDS
  if valgrind --quiet --error-exitcode=99 --leak-check=full --show-leak-kinds=definite,indirect,possible \
    --errors-for-leak-kinds=definite,indirect,possible --suppressions="$suppressions" \
    --log-file="$logs/$name.log" \
    "$path" "${args[@]}" >"$logs/$name.out" 2>&1; then
    echo "ok      $name ($((SECONDS - start)) s)"
  else
    local status=$?
    echo "FAILED  $name ($((SECONDS - start)) s, exit $status; $logs/$name.log, $logs/$name.out)"
    return 1
  fi
}

start=$SECONDS
failures=0
running=0
for path in "${executables[@]}"; do
  run_one "$path" &
  running=$((running + 1))
  if ((running >= jobs)); then
    wait -n || failures=$((failures + 1))
    running=$((running - 1))
  fi
done
while ((running > 0)); do
  wait -n || failures=$((failures + 1))
  running=$((running - 1))
done

passed=$((${#executables[@]} - failures))
echo "valgrind took $((SECONDS - start)) s"
echo "valgrind: ${passed} passed, ${failures} failed"
((failures == 0))
