#!/usr/bin/env bash
# Builds the libFuzzer targets of fuzz/ with clang (AddressSanitizer and
# UndefinedBehaviorSanitizer, LeakSanitizer per input) and runs each for a
# bounded time, starting from its seed corpus in fuzz/corpus/<target>.
# Fails on the first finding of any target: a crash, a sanitizer report, a
# leak, a failed check of the harness, an input slower than the time-out or
# an allocation above the memory limit.
#
#   scripts/fuzz.sh [seconds-per-target [target...]]
#
# Default 45 seconds per target, four targets: three minutes of fuzzing,
# five minutes with the build on two cores. A longer run is the same call with a larger number
# (scripts/fuzz.sh 3600). Targets: record_preview, record_still,
# setter_sequences, tone_curve.
#
# What the fuzzers find is kept in build/fuzz/: inputs that add coverage in
# corpus/<target> (reused by the next run), findings in findings/<target>/
# (crash-*, leak-*, timeout-*, oom-*), the output of each run in
# logs/<target>.log. Replay a finding with
#   build/fuzz/fuzz_<target> build/fuzz/findings/<target>/crash-...
set -euo pipefail
cd "$(dirname "$0")/.."

seconds="${1:-45}"
if (($# > 0)); then shift; fi
targets=("$@")
if ((${#targets[@]} == 0)); then targets=(record_preview record_still setter_sequences tone_curve); fi
if ! [[ $seconds =~ ^[0-9]+$ ]] || ((seconds < 1)); then
  echo "usage: $0 [seconds-per-target [target...]]" >&2
  exit 2
fi

scripts/install-fuzz-deps.sh
build=build/fuzz
cmake -S fuzz -B "$build" -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ \
  -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
build_targets=()
for target in "${targets[@]}"; do build_targets+=(--target "fuzz_$target"); done
mkdir -p "$build/logs"
if ! cmake --build "$build" -j "$(nproc)" "${build_targets[@]}" >"$build/logs/build.log" 2>&1; then
  cat "$build/logs/build.log"
  exit 1
fi

# Longest input per target: a record input is a header, the 208-byte record
# and the bytes a frame is tiled from.
max_len() {
  case "$1" in
    record_preview | record_still) echo 512 ;;
    setter_sequences) echo 256 ;;
    *) echo 4096 ;;
  esac
}

export ASAN_OPTIONS="${ASAN_OPTIONS:-detect_leaks=1:abort_on_error=1}"
export UBSAN_OPTIONS="${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}"

failed=()
for target in "${targets[@]}"; do
  corpus="$build/corpus/$target"
  findings="$build/findings/$target"
  log="$build/logs/$target.log"
  mkdir -p "$corpus" "$findings" "$(dirname "$log")"
  echo "fuzzing $target for ${seconds}s"
  # One input may convert a few full frames, the largest of 1,048,576 raw
  # samples, so the per-input limit is generous. A record may ask for
  # ~4 GiB image blocks, which the library may reserve (and refuse); such
  # untouched reservations are not counted as a finding.
  if "$build/fuzz_$target" \
    -max_total_time="$seconds" \
    -timeout=120 \
    -rss_limit_mb=3072 \
    -malloc_limit_mb=8192 \
    -max_len="$(max_len "$target")" \
    -print_final_stats=1 \
    -artifact_prefix="$findings/" \
    "$corpus" "fuzz/corpus/$target" >"$log" 2>&1; then
    grep -E '^(stat::number_of_executed_units|Done )' "$log" || true
  else
    failed+=("$target")
    echo "FINDING in $target (log: $log):"
    grep -E -A30 'ERROR|runtime error|fuzz check failed|Test unit written' "$log" | head -80 || tail -40 "$log"
  fi
done

if ((${#failed[@]})); then
  echo "fuzz: findings in ${failed[*]}"
  exit 1
fi
echo "fuzz: ${#targets[@]} targets, ${seconds}s each, no finding"
