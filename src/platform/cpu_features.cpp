#include "platform/cpu_features.h"

#include <atomic>
#include <cstdlib>
#include <cstring>

namespace vobrex {
namespace {

SimdLevel Detect() {
#if (defined(__GNUC__) || defined(__clang__)) && (defined(__x86_64__) || defined(__i386__))
  __builtin_cpu_init();
  // The checks include the operating system's support of the wider
  // registers (XGETBV), as the compiler's processor model tests it.
  if (__builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
      __builtin_cpu_supports("avx512vl") && __builtin_cpu_supports("avx512vbmi")) {
    return SimdLevel::kAvx512;
  }
  if (__builtin_cpu_supports("avx2")) return SimdLevel::kAvx2;
#endif
  return SimdLevel::kScalar;
}

SimdLevel FromEnvironment(SimdLevel supported) {
  const char* v = std::getenv("VOBREX_SIMD");
  if (v == nullptr) return supported;
  SimdLevel wanted = supported;
  if (std::strcmp(v, "scalar") == 0) wanted = SimdLevel::kScalar;
  if (std::strcmp(v, "avx2") == 0) wanted = SimdLevel::kAvx2;
  return static_cast<int>(wanted) < static_cast<int>(supported) ? wanted : supported;
}

}  // namespace

SimdLevel SupportedSimdLevel() {
  static const SimdLevel supported = Detect();
  return supported;
}

namespace detail {

constinit std::atomic<int> activeSimdLevel{-1};

// Two threads asking at once both settle on the same level.
SimdLevel SettleActiveSimdLevel() {
  const SimdLevel level = FromEnvironment(SupportedSimdLevel());
  int unset = -1;
  activeSimdLevel.compare_exchange_strong(unset, static_cast<int>(level),
                                          std::memory_order_relaxed);
  return static_cast<SimdLevel>(activeSimdLevel.load(std::memory_order_relaxed));
}

}  // namespace detail

void SetSimdLevel(SimdLevel level) {
  const int supported = static_cast<int>(SupportedSimdLevel());
  const int wanted = static_cast<int>(level);
  detail::activeSimdLevel.store(wanted < supported ? wanted : supported, std::memory_order_relaxed);
}

const char* SimdLevelName(SimdLevel level) {
  switch (level) {
    case SimdLevel::kScalar: return "scalar";
    case SimdLevel::kAvx2: return "avx2";
    case SimdLevel::kAvx512: return "avx512-vbmi";
  }
  return "?";
}

}  // namespace vobrex
