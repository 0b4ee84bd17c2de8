#include "still/widening.h"

#include <climits>
#include <cmath>

#include "platform/simd.h"

namespace vobrex {
namespace {

void WidenPortable(const int16_t* row, int groups, int32_t* out, bool firstShifted) {
  for (int k = 0; k < groups; ++k) {
    const int16_t* s = row + 4 * k;
    int32_t* o = out + 5 * k;
    o[0] = firstShifted ? s[1] : s[0];
    o[1] = (s[0] + 4 * s[1]) / 5;
    o[2] = (2 * s[1] + 3 * s[2]) / 5;
    o[3] = (3 * s[2] + 2 * s[3]) / 5;
    o[4] = (4 * s[3] + s[4]) / 5;
  }
}

#if defined(VOBREX_X86_SIMD)

// x / d truncated toward zero in single precision, for d = 5, 15 and 45
// and |x| below 2^18, 2^19 and 2^21 (the weighted sums of 16-bit samples
// these divide): x is exact as a float; x times the float nearest 1/d,
// rounded once (fused multiply-add), is x / d within |x / d| x 2^-23 <
// 32768 x 2^-23 < 0.004 (relative errors of 2^-24 for the constant and for
// the rounding). A bias of 0.01 toward x's sign then lifts an exact multiple
// above its quotient without carrying any other value past the next integer
// (x / d is at least 1/45 > 0.022 away from it), so truncating gives the
// integer quotient. A test checks every x in each range.
VOBREX_TARGET_AVX512 inline __m512i DivideExactly(__m512i x, float reciprocal) {
  const __m512 v = _mm512_cvtepi32_ps(x);
  const __m512i signBit = _mm512_and_si512(x, _mm512_set1_epi32(INT32_MIN));
  const __m512 bias =
      _mm512_castsi512_ps(_mm512_or_si512(signBit, _mm512_castps_si512(_mm512_set1_ps(0.01f))));
  return _mm512_cvttps_epi32(_mm512_fmadd_ps(v, _mm512_set1_ps(reciprocal), bias));
}

VOBREX_TARGET_AVX512 inline __m512i DivideBy5(__m512i x) { return DivideExactly(x, 1.0f / 5); }

// For output vector z of a step of sixteen groups (pixels 16z .. 16z + 15):
// the first group it reads, and for each pixel the byte indices of its two
// samples (a 16-bit pair) in a 64-sample window from that group's first
// sample, with their weights: phase 0 takes sample 0 (or 1) with weight 5
// (5 s / 5 is s exactly), the others their two weighted samples.
struct Spread {
  int firstGroup[5];
  uint8_t index[2][5][64];  // [firstShifted][z]
  int16_t weight[2][5][32];
};

constexpr Spread MakeSpread() {
  Spread sp{};
  constexpr int kSampleA[5] = {0, 0, 1, 2, 3}, kSampleB[5] = {0, 1, 2, 3, 4};
  constexpr int kWeightA[5] = {5, 1, 2, 3, 4}, kWeightB[5] = {0, 4, 3, 2, 1};
  for (int z = 0; z < 5; ++z) sp.firstGroup[z] = 16 * z / 5;
  for (int shifted = 0; shifted < 2; ++shifted) {
    for (int z = 0; z < 5; ++z) {
      for (int t = 0; t < 16; ++t) {
        const int p = 16 * z + t, k = p / 5, j = p % 5;
        const int base = 4 * (k - sp.firstGroup[z]);
        const int a = base + (j == 0 && shifted ? 1 : kSampleA[j]);
        const int b = base + kSampleB[j];
        sp.index[shifted][z][4 * t + 0] = static_cast<uint8_t>(2 * a);
        sp.index[shifted][z][4 * t + 1] = static_cast<uint8_t>(2 * a + 1);
        sp.index[shifted][z][4 * t + 2] = static_cast<uint8_t>(2 * b);
        sp.index[shifted][z][4 * t + 3] = static_cast<uint8_t>(2 * b + 1);
        sp.weight[shifted][z][2 * t] = static_cast<int16_t>(kWeightA[j]);
        sp.weight[shifted][z][2 * t + 1] = static_cast<int16_t>(kWeightB[j]);
      }
    }
  }
  return sp;
}

constexpr Spread kSpread = MakeSpread();

// Sixteen output pixels at a time, each from its pair of samples: a byte
// permute gathers the pairs, a multiply-add weighs them.
VOBREX_TARGET_AVX512 void WidenAvx512(const int16_t* row, int groups, int32_t* line,
                                      bool firstShifted) {
  const int shifted = firstShifted ? 1 : 0;
  __m512i index[5], weight[5];
  for (int z = 0; z < 5; ++z) {
    index[z] = _mm512_loadu_si512(kSpread.index[shifted][z]);
    weight[z] = _mm512_loadu_si512(kSpread.weight[shifted][z]);
  }
  const int pixels = 5 * groups;
  for (int q = 0; 16 * q < groups; ++q) {
    for (int z = 0; z < 5; ++z) {
      const int first = 80 * q + 16 * z;
      if (first >= pixels) break;
      const int16_t* window = row + 4 * (16 * q + kSpread.firstGroup[z]);
      const __m512i pairs = _mm512_permutex2var_epi8(_mm512_loadu_si512(window), index[z],
                                                     _mm512_loadu_si512(window + 32));
      const __m512i v = DivideBy5(_mm512_madd_epi16(pairs, weight[z]));
      const int left = pixels - first;
      const __mmask16 lanes = left >= 16 ? __mmask16(0xFFFF) : __mmask16((1u << left) - 1);
      _mm512_mask_storeu_epi32(line + first, lanes, v);
    }
  }
}

// For output vector z (pixels 16z .. 16z + 15) of the sixteen-to-fifteen
// widening: its first column u and, per pixel, the byte indices of its pair
// (u, u + 1) in a 64-sample window from there, and the weights of the pair
// for each row of each kind.
struct Fifteenths {
  int first[30];
  uint8_t index[30][64];
  int16_t weight[30][5][32];  // 0: a; 1: c, b of kind 1; 3: c, d of kind 2
};

constexpr Fifteenths MakeFifteenths() {
  Fifteenths f{};
  for (int z = 0; z < 30; ++z) {
    const int x0 = 16 * z;
    f.first[z] = x0 + x0 / 15;
    for (int t = 0; t < 16; ++t) {
      const int x = x0 + t, p = x % 15, u = x + x / 15 - f.first[z];
      f.index[z][4 * t + 0] = static_cast<uint8_t>(2 * u);
      f.index[z][4 * t + 1] = static_cast<uint8_t>(2 * u + 1);
      f.index[z][4 * t + 2] = static_cast<uint8_t>(2 * u + 2);
      f.index[z][4 * t + 3] = static_cast<uint8_t>(2 * u + 3);
      const int16_t left = static_cast<int16_t>(15 - p), right = static_cast<int16_t>(p);
      const int16_t pairs[5][2] = {
          {left, right},
          {left, right},
          {static_cast<int16_t>(2 * left), static_cast<int16_t>(2 * right)},
          {left, static_cast<int16_t>(2 * right)},
          {static_cast<int16_t>(2 * left), right}};
      for (int k = 0; k < 5; ++k) {
        f.weight[z][k][2 * t] = pairs[k][0];
        f.weight[z][k][2 * t + 1] = pairs[k][1];
      }
    }
  }
  return f;
}

constexpr Fifteenths kFifteenths = MakeFifteenths();

// The weighted pair sums of one row for sixteen pixels.
VOBREX_TARGET_AVX512 inline __m512i PairSums(const int16_t* row, int z, int weights) {
  const int16_t* window = row + kFifteenths.first[z];
  const __m512i pairs =
      _mm512_permutex2var_epi8(_mm512_loadu_si512(window), _mm512_loadu_si512(kFifteenths.index[z]),
                               _mm512_loadu_si512(window + 32));
  return _mm512_madd_epi16(pairs, _mm512_loadu_si512(kFifteenths.weight[z][weights]));
}

// Kind 1 is c[u] (15 - p) + c[u + 1] p + b[u] 2 (15 - p) + b[u + 1] 2p and
// kind 2 is c[u] (15 - p) + c[u + 1] 2p + d[u] 2 (15 - p) + d[u + 1] p: the
// same integers as the scalar forms, summed in another order.
VOBREX_TARGET_AVX512 void FifteenAvx512(const int16_t* a, const int16_t* b, const int16_t* c,
                                        const int16_t* d, int kind, int32_t* out) {
  for (int z = 0; z < 30; ++z) {
    __m512i v;
    if (kind == 0) {
      v = DivideExactly(PairSums(a, z, 0), 1.0f / 15);
    } else if (kind == 1) {
      v = DivideExactly(_mm512_add_epi32(PairSums(c, z, 1), PairSums(b, z, 2)), 1.0f / 45);
    } else {
      v = DivideExactly(_mm512_add_epi32(PairSums(c, z, 3), PairSums(d, z, 4)), 1.0f / 45);
    }
    _mm512_storeu_si512(out + 16 * z, v);
  }
}

#endif

void FifteenPortable(const int16_t* a, const int16_t* b, const int16_t* c, const int16_t* d,
                     int kind, int32_t* line) {
  switch (kind) {
    case 0:
      for (int q = 0; q < 32; ++q) {
        for (int p = 0; p < 15; ++p) {
          const int u = 16 * q + p;
          line[15 * q + p] = (a[u] * (15 - p) + a[u + 1] * p) / 15;
        }
      }
      break;
    case 1:
      for (int q = 0; q < 32; ++q) {
        for (int p = 0; p < 15; ++p) {
          const int u = 16 * q + p;
          line[15 * q + p] = ((c[u] + 2 * b[u]) * (15 - p) + (c[u + 1] + 2 * b[u + 1]) * p) / 45;
        }
      }
      break;
    default:
      // The right-hand column weights rows c : d as 2 : 1, the left-hand one
      // as 1 : 2; the asymmetry belongs to the design.
      for (int q = 0; q < 32; ++q) {
        for (int p = 0; p < 15; ++p) {
          const int u = 16 * q + p;
          line[15 * q + p] = ((c[u] + 2 * d[u]) * (15 - p) + (d[u + 1] + 2 * c[u + 1]) * p) / 45;
        }
      }
      break;
  }
}

}  // namespace

int32_t WideningDivide(int32_t x, int32_t divisor) {
  // The vector forms' steps on one value: the float product with the bias
  // toward x's sign, fused, then truncated.
  const float bias = x < 0 ? -0.01f : 0.01f;
  return static_cast<int32_t>(
      std::fma(static_cast<float>(x), 1.0f / static_cast<float>(divisor), bias));
}

void WidenSixteenToFifteen(const int16_t* a, const int16_t* b, const int16_t* c, const int16_t* d,
                           int kind, int32_t* out) {
#if defined(VOBREX_X86_SIMD)
  if (ActiveSimdLevel() == SimdLevel::kAvx512) return FifteenAvx512(a, b, c, d, kind, out);
#endif
  FifteenPortable(a, b, c, d, kind, out);
}

void WidenFourToFive(const int16_t* row, int groups, int32_t* out, bool firstShifted) {
#if defined(VOBREX_X86_SIMD)
  if (ActiveSimdLevel() == SimdLevel::kAvx512) return WidenAvx512(row, groups, out, firstShifted);
#endif
  WidenPortable(row, groups, out, firstShifted);
}

}  // namespace vobrex
