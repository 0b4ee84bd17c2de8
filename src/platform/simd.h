// The vector intrinsics of the processor's wider instruction sets, for the
// functions that are compiled for them one by one (VOBREX_TARGET_AVX512) and
// called only where ActiveSimdLevel() says the processor runs them.
#pragma once

#include "platform/cpu_features.h"

#if (defined(__GNUC__) || defined(__clang__)) && (defined(__x86_64__) || defined(__i386__))
#define VOBREX_X86_SIMD 1
#define VOBREX_TARGET_AVX512 __attribute__((target("avx512f,avx512bw,avx512vl,avx512vbmi")))
#if defined(__GNUC__) && !defined(__clang__)
// Some of the compiler's own intrinsics start from an undefined register,
// which its flow analysis reports as uninitialised; the reports are about
// the intrinsics, not about this code.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wuninitialized"
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif
#include <immintrin.h>
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic pop
#endif
#endif

// For loops written plainly and compiled twice, for the plain instruction
// set and for AVX-512 (the compiler vectorises each): the body is a
// template forced inline into a wrapper per instruction set.
#if defined(__GNUC__) || defined(__clang__)
#define VOBREX_ALWAYS_INLINE inline __attribute__((always_inline))
#else
#define VOBREX_ALWAYS_INLINE inline
#endif
