#!/usr/bin/env bash
# Builds and runs the conversion benchmark: every conversion job timed
# against memcpy and against its OpenCV peer in one run, one thread, with the
# peak working memory of each job. Prints a markdown table (the one in
# docs/performance.md comes from here).
#
#   scripts/bench.sh [--rounds N] [--filter TEXT]
#
# Installs OpenCV from Debian's packages first (scripts/install-bench-deps.sh;
# set VOBREX_BENCH_NO_OPENCV=1 to skip that and run without the peers).
# VOBREX_SIMD=scalar (or avx2) caps the library's vector paths.
set -euo pipefail
cd "$(dirname "$0")/.."

if [[ "${VOBREX_BENCH_NO_OPENCV:-0}" == 1 ]]; then
  scripts/install-deps.sh
else
  scripts/install-bench-deps.sh
fi

dir=build/bench
cmake -S . -B "$dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DVOBREX_BUILD_TESTS=OFF \
  -DVOBREX_BUILD_TOOLS=OFF -DVOBREX_BUILD_BENCH=ON >/dev/null
cmake --build "$dir" --target bench_conversions -j "$(nproc)"

echo "Compiler: $(c++ --version | head -n1); CPU flags: $(grep -m1 -o -w -E 'avx512vbmi|avx2' /proc/cpuinfo | sort -u | tr '\n' ' ')"
"$dir/bench/bench_conversions" "$@"
