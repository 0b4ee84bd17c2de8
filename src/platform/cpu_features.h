// Which vector instruction sets the processor offers, so that the hot
// passes can pick their widest code path at run time. The library is built
// for the plain instruction set of its target (SSE2 on 32-bit Windows); the
// wider paths are compiled per function and chosen only where the processor
// and the operating system support them. Every path gives the same bytes.
#pragma once

#include <atomic>

namespace vobrex {

enum class SimdLevel {
  kScalar = 0,  // portable code only
  kAvx2 = 1,    // AVX2 (256-bit integer vectors)
  kAvx512 = 2,  // AVX-512 F/BW/VL with VBMI (byte permutes across 64 bytes)
};

namespace detail {
// The level in use, -1 until it is first asked for or set.
extern std::atomic<int> activeSimdLevel;
SimdLevel SettleActiveSimdLevel();
}  // namespace detail

// The level in use: the best the processor offers, unless lowered by
// SetSimdLevel or by the environment variable VOBREX_SIMD (scalar, avx2).
// Every vector pass asks, row by row, so the answer is one load.
inline SimdLevel ActiveSimdLevel() {
  const int level = detail::activeSimdLevel.load(std::memory_order_relaxed);
  return level >= 0 ? static_cast<SimdLevel>(level) : detail::SettleActiveSimdLevel();
}
// The best level the processor and operating system offer.
SimdLevel SupportedSimdLevel();
// Uses at most `level` from now on (clamped to what is supported); for
// tests that run every path, and for comparing paths.
void SetSimdLevel(SimdLevel level);
const char* SimdLevelName(SimdLevel level);

}  // namespace vobrex
