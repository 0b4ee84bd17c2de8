#include "still/widening.h"

#include <bit>
#include <climits>
#include <cmath>

#include "platform/simd.h"

namespace vobrex {
namespace {

// The float at or just above 1/d: the rounded quotient, raised by one unit
// in the last place when it fell below.
constexpr float ReciprocalAbove(int d) {
  const float r = 1.0f / static_cast<float>(d);
  if (static_cast<double>(r) * d >= 1.0) return r;
  return std::bit_cast<float>(std::bit_cast<uint32_t>(r) + 1u);
}

constexpr float kReciprocal3 = ReciprocalAbove(3), kReciprocal5 = ReciprocalAbove(5),
                kReciprocal7 = ReciprocalAbove(7), kReciprocal15 = ReciprocalAbove(15),
                kReciprocal45 = ReciprocalAbove(45);

// Out is int32_t for the values as they are, uint16_t for the components as
// stored (the value modulo 2^16).
template <class Out>
void WidenPortable(const int16_t* row, int groups, Out* out, bool firstShifted) {
  for (int k = 0; k < groups; ++k) {
    const int16_t* s = row + 4 * k;
    Out* o = out + 5 * k;
    o[0] = static_cast<Out>(firstShifted ? s[1] : s[0]);
    o[1] = static_cast<Out>((s[0] + 4 * s[1]) / 5);
    o[2] = static_cast<Out>((2 * s[1] + 3 * s[2]) / 5);
    o[3] = static_cast<Out>((3 * s[2] + 2 * s[3]) / 5);
    o[4] = static_cast<Out>((4 * s[3] + s[4]) / 5);
  }
}

// Eight columns to five at 0, 1.6, 3.2, 4.8 and 6.4.
template <class Out>
void EightToFivePortable(const int16_t* row, int groups, Out* out) {
  for (int g = 0; g < groups; ++g) {
    const int16_t* s = row + 8 * g;
    Out* o = out + 5 * g;
    o[0] = static_cast<Out>(s[0]);
    o[1] = static_cast<Out>((2 * s[1] + 3 * s[2]) / 5);
    o[2] = static_cast<Out>((4 * s[3] + s[4]) / 5);
    o[3] = static_cast<Out>((s[4] + 4 * s[5]) / 5);
    o[4] = static_cast<Out>((3 * s[6] + 2 * s[7]) / 5);
  }
}

#if defined(VOBREX_X86_SIMD)

// x / d truncated toward zero in single precision, for d = 3, 5, 7, 15 and
// 45 and |x| up to 2^17, 2^18, 2^18, 2^19 and 2^21 (the weighted sums of
// 16-bit samples these divide): x is exact as a float, and it is multiplied
// by r, the float at or just above 1/d, rounded once. For x = nd the exact
// product is at least |n| in size and n is a float, so the rounded product
// is too and truncating gives n. Otherwise |x / d| lies at least 1/d below
// the next integer, and the product exceeds it by less than |x / d| x
// 2^-22 < |x| / d x 2^-22 < 1/d (|x| < 2^22): truncating gives the integer
// quotient. A test checks every x in each range.
VOBREX_TARGET_AVX512 inline __m512i DivideExactly(__m512i x, float reciprocal) {
  return _mm512_cvttps_epi32(_mm512_mul_ps(_mm512_cvtepi32_ps(x), _mm512_set1_ps(reciprocal)));
}

VOBREX_TARGET_AVX512 inline __m512i DivideBy5(__m512i x) { return DivideExactly(x, kReciprocal5); }

// Sixteen results stored as they are or as 16-bit components.
VOBREX_TARGET_AVX512 inline void StoreLanes(int32_t* out, __mmask16 lanes, __m512i v) {
  _mm512_mask_storeu_epi32(out, lanes, v);
}
// A narrowing store under a mask is slow; full vectors narrow in a
// register and store plainly.
VOBREX_TARGET_AVX512 inline void StoreLanes(uint16_t* out, __mmask16 lanes, __m512i v) {
  if (lanes == 0xFFFF) {
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(out), _mm512_cvtepi32_epi16(v));
  } else {
    _mm512_mask_cvtepi32_storeu_epi16(out, lanes, v);
  }
}

// Two vectors of sixteen results, 32 values from `out`: as they are, or as
// 16-bit components gathered from the low halves of both by one byte
// permute and stored at once.
struct PackLanes {
  alignas(64) uint8_t index[64];
};

constexpr PackLanes MakePackLanes() {
  PackLanes t{};
  for (int k = 0; k < 32; ++k) {
    t.index[2 * k] = static_cast<uint8_t>(4 * k);
    t.index[2 * k + 1] = static_cast<uint8_t>(4 * k + 1);
  }
  return t;
}

constexpr PackLanes kPackLanes = MakePackLanes();

VOBREX_TARGET_AVX512 inline void StorePair(int32_t* out, __m512i first, __m512i second) {
  _mm512_storeu_si512(out, first);
  _mm512_storeu_si512(out + 16, second);
}
VOBREX_TARGET_AVX512 inline void StorePair(uint16_t* out, __m512i first, __m512i second) {
  _mm512_storeu_si512(
      out, _mm512_permutex2var_epi8(first, _mm512_loadu_si512(kPackLanes.index), second));
}

// The five vectors of one step of sixteen groups (80 values): the first
// four in pairs, the fifth alone.
template <class Out>
VOBREX_TARGET_AVX512 inline void StoreFive(Out* out, const __m512i (&v)[5]) {
  StorePair(out, v[0], v[1]);
  StorePair(out + 32, v[2], v[3]);
  StoreLanes(out + 64, __mmask16(0xFFFF), v[4]);
}

VOBREX_TARGET_AVX512 inline __m512i DivideBy3(__m512i x) { return DivideExactly(x, kReciprocal3); }
VOBREX_TARGET_AVX512 inline __m512i DivideBy7(__m512i x) { return DivideExactly(x, kReciprocal7); }

// For output vector z of a step of sixteen groups (pixels 16z .. 16z + 15):
// the first group it reads, and for each pixel the byte indices of its two
// samples (a 16-bit pair) in a 64-sample window from that group's first
// sample, with their weights: phase 0 takes sample 0 (or 1) with weight 5
// (5 s / 5 is s exactly), the others their two weighted samples.
struct Spread {
  int firstGroup[5];
  alignas(64) uint8_t index[2][5][64];  // [firstShifted][z]
  alignas(64) int16_t weight[2][5][32];
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
// permute gathers the pairs, a multiply-add weighs them. A step is sixteen
// groups of kColumns samples (eighty pixels); `index`, `weight` and
// `firstGroup` are a spread's tables for the five output vectors of a step.
template <int kColumns, class Out>
VOBREX_TARGET_AVX512 VOBREX_ALWAYS_INLINE void PairsToFiveAvx512(const int16_t* row, int groups,
                                                                 Out* line,
                                                                 const uint8_t (&index)[5][64],
                                                                 const int16_t (&weight)[5][32],
                                                                 const int (&firstGroup)[5]) {
  if (groups % 16 == 0) {
    // Whole steps only (the still rows): no tail to mask, two vectors a
    // store, and the tables read where they are used.
    for (int q = 0; 16 * q < groups; ++q) {
      const int16_t* step = row + 16 * kColumns * q;
      __m512i v[5];
#pragma GCC unroll 5
      for (int z = 0; z < 5; ++z) {
        const int16_t* window = step + kColumns * firstGroup[z];
        const __m512i pairs =
            _mm512_permutex2var_epi8(_mm512_loadu_si512(window), _mm512_loadu_si512(index[z]),
                                     _mm512_loadu_si512(window + 32));
        v[z] = DivideBy5(_mm512_madd_epi16(pairs, _mm512_loadu_si512(weight[z])));
      }
      StoreFive(line + 80 * q, v);
    }
    return;
  }
  __m512i indices[5], weights[5];
  for (int z = 0; z < 5; ++z) {
    indices[z] = _mm512_loadu_si512(index[z]);
    weights[z] = _mm512_loadu_si512(weight[z]);
  }
  const int pixels = 5 * groups;
  for (int q = 0; 16 * q < groups; ++q) {
    for (int z = 0; z < 5; ++z) {
      const int first = 80 * q + 16 * z;
      if (first >= pixels) break;
      const int16_t* window = row + kColumns * (16 * q + firstGroup[z]);
      const __m512i pairs = _mm512_permutex2var_epi8(_mm512_loadu_si512(window), indices[z],
                                                     _mm512_loadu_si512(window + 32));
      const __m512i v = DivideBy5(_mm512_madd_epi16(pairs, weights[z]));
      const int left = pixels - first;
      const __mmask16 lanes = left >= 16 ? __mmask16(0xFFFF) : __mmask16((1u << left) - 1);
      StoreLanes(line + first, lanes, v);
    }
  }
}

template <class Out>
VOBREX_TARGET_AVX512 void WidenAvx512(const int16_t* row, int groups, Out* line,
                                      bool firstShifted) {
  const int shifted = firstShifted ? 1 : 0;
  PairsToFiveAvx512<4>(row, groups, line, kSpread.index[shifted], kSpread.weight[shifted],
                       kSpread.firstGroup);
}

// The eight-to-five resampling in the same form: for output vector z of a
// step of sixteen groups of eight columns, its first group, the byte
// indices of each pixel's pair in a 64-sample window from there and the
// pair's weights (phase 0 takes sample 0 with weight 5, exact).
struct EighthSpread {
  int firstGroup[5];
  alignas(64) uint8_t index[5][64];
  alignas(64) int16_t weight[5][32];
};

constexpr EighthSpread MakeEighthSpread() {
  EighthSpread sp{};
  constexpr int kSampleA[5] = {0, 1, 3, 4, 6}, kSampleB[5] = {1, 2, 4, 5, 7};
  constexpr int kWeightA[5] = {5, 2, 4, 1, 3}, kWeightB[5] = {0, 3, 1, 4, 2};
  for (int z = 0; z < 5; ++z) {
    sp.firstGroup[z] = 16 * z / 5;
    for (int t = 0; t < 16; ++t) {
      const int p = 16 * z + t, g = p / 5, j = p % 5;
      const int base = 8 * (g - sp.firstGroup[z]);
      const int a = base + kSampleA[j], b = base + kSampleB[j];
      sp.index[z][4 * t + 0] = static_cast<uint8_t>(2 * a);
      sp.index[z][4 * t + 1] = static_cast<uint8_t>(2 * a + 1);
      sp.index[z][4 * t + 2] = static_cast<uint8_t>(2 * b);
      sp.index[z][4 * t + 3] = static_cast<uint8_t>(2 * b + 1);
      sp.weight[z][2 * t] = static_cast<int16_t>(kWeightA[j]);
      sp.weight[z][2 * t + 1] = static_cast<int16_t>(kWeightB[j]);
    }
  }
  return sp;
}

constexpr EighthSpread kEighthSpread = MakeEighthSpread();

// Sixteen groups (eighty pixels) a step; the last window of a 64-group row
// reaches 32 samples past the row.
template <class Out>
VOBREX_TARGET_AVX512 void EightToFiveAvx512(const int16_t* row, int groups, Out* line) {
  PairsToFiveAvx512<8>(row, groups, line, kEighthSpread.index, kEighthSpread.weight,
                       kEighthSpread.firstGroup);
}

// Sixteen values of a line and the mask of those below n.
VOBREX_TARGET_AVX512 inline __mmask16 LanesBelow(int c, int n) {
  const int left = n - c;
  return left >= 16 ? __mmask16(0xFFFF) : __mmask16((1u << left) - 1);
}

VOBREX_TARGET_AVX512 void ComponentsAvx512(const int32_t* value, int n, uint16_t* out) {
  for (int c = 0; c < n; c += 16) {
    const __mmask16 lanes = LanesBelow(c, n);
    StoreLanes(out + c, lanes, _mm512_maskz_loadu_epi32(lanes, value + c));
  }
}

// The sums of the mixes stay far inside the ranges DivideExactly serves:
// the resampled values are weighted means of 16-bit samples, so |value| <=
// 2^15, |R + G + B| <= 3 x 2^15 < 2^17 and |2R + 4G + B| <= 7 x 2^15 < 2^18.
VOBREX_TARGET_AVX512 void MeanAvx512(const int32_t* red, const int32_t* green, const int32_t* blue,
                                     int n, uint16_t* out) {
  for (int c = 0; c < n; c += 16) {
    const __mmask16 lanes = LanesBelow(c, n);
    const __m512i sum =
        _mm512_add_epi32(_mm512_add_epi32(_mm512_maskz_loadu_epi32(lanes, red + c),
                                          _mm512_maskz_loadu_epi32(lanes, green + c)),
                         _mm512_maskz_loadu_epi32(lanes, blue + c));
    StoreLanes(out + c, lanes, DivideBy3(sum));
  }
}

VOBREX_TARGET_AVX512 void GreyAvx512(const int32_t* red, const int32_t* green, const int32_t* blue,
                                     int n, uint16_t* out) {
  for (int c = 0; c < n; c += 16) {
    const __mmask16 lanes = LanesBelow(c, n);
    const __m512i r = _mm512_maskz_loadu_epi32(lanes, red + c);
    const __m512i g = _mm512_maskz_loadu_epi32(lanes, green + c);
    const __m512i b = _mm512_maskz_loadu_epi32(lanes, blue + c);
    const __m512i sum =
        _mm512_add_epi32(_mm512_add_epi32(_mm512_slli_epi32(r, 1), _mm512_slli_epi32(g, 2)), b);
    StoreLanes(out + c, lanes, DivideBy7(sum));
  }
}

// For output vector z (pixels 16z .. 16z + 15) of the sixteen-to-fifteen
// widening: its first column u and, per pixel, the byte indices of its pair
// (u, u + 1) in a 64-sample window from there, and the weights of the pair
// for each row of each kind.
struct Fifteenths {
  int first[30];
  alignas(64) uint8_t index[30][64];
  alignas(64) int16_t weight[30][5][32];  // 0: a; 1: c, b of kind 1; 3: c, d of kind 2
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
VOBREX_TARGET_AVX512 inline __m512i FifteenVector(const int16_t* a, const int16_t* b,
                                                  const int16_t* c, const int16_t* d, int kind,
                                                  int z) {
  if (kind == 0) return DivideExactly(PairSums(a, z, 0), kReciprocal15);
  if (kind == 1) {
    return DivideExactly(_mm512_add_epi32(PairSums(c, z, 1), PairSums(b, z, 2)), kReciprocal45);
  }
  return DivideExactly(_mm512_add_epi32(PairSums(c, z, 3), PairSums(d, z, 4)), kReciprocal45);
}

template <class Out>
VOBREX_TARGET_AVX512 void FifteenAvx512(const int16_t* a, const int16_t* b, const int16_t* c,
                                        const int16_t* d, int kind, Out* out) {
  // One loop per kind, so that no step tests it.
  if (kind == 0) {
    for (int z = 0; z < 30; z += 2) {
      StorePair(out + 16 * z, FifteenVector(a, b, c, d, 0, z), FifteenVector(a, b, c, d, 0, z + 1));
    }
  } else if (kind == 1) {
    for (int z = 0; z < 30; z += 2) {
      StorePair(out + 16 * z, FifteenVector(a, b, c, d, 1, z), FifteenVector(a, b, c, d, 1, z + 1));
    }
  } else {
    for (int z = 0; z < 30; z += 2) {
      StorePair(out + 16 * z, FifteenVector(a, b, c, d, 2, z), FifteenVector(a, b, c, d, 2, z + 1));
    }
  }
}

// The pairs of one row for output vector z, gathered by the lane table
// `index`, and their weighted sums.
VOBREX_TARGET_AVX512 inline __m512i GatherPairs(const int16_t* row, int first, __m512i index) {
  return _mm512_permutex2var_epi8(_mm512_loadu_si512(row + first), index,
                                  _mm512_loadu_si512(row + first + 32));
}
VOBREX_TARGET_AVX512 inline __m512i Weighted(__m512i pairs, int z, int weights) {
  return _mm512_madd_epi16(pairs, _mm512_loadu_si512(kFifteenths.weight[z][weights]));
}

// The mixes of three resampled values as MeanAvx512 and GreyAvx512 form
// them.
template <WideningMix kMix>
VOBREX_TARGET_AVX512 inline __m512i MixValues(__m512i r, __m512i g, __m512i b) {
  if constexpr (kMix == WideningMix::kGrey) {
    return DivideBy7(
        _mm512_add_epi32(_mm512_add_epi32(_mm512_slli_epi32(r, 1), _mm512_slli_epi32(g, 2)), b));
  } else {
    return DivideBy3(_mm512_add_epi32(_mm512_add_epi32(r, g), b));
  }
}

// Sixteen resampled values of one row by a lane table and its weights, the
// weights summing to 5.
VOBREX_TARGET_AVX512 inline __m512i FifthsOf(const int16_t* window, __m512i index, __m512i weight) {
  const __m512i pairs =
      _mm512_permutex2var_epi8(_mm512_loadu_si512(window), index, _mm512_loadu_si512(window + 32));
  return DivideBy5(_mm512_madd_epi16(pairs, weight));
}

// The grey and mean rows of the 640- and 320-wide pictures straight from
// the three planes' rows, whole steps of sixteen groups only (as the still
// rows come): each plane's values as WidenAvx512 and EightToFiveAvx512 make
// them, mixed in registers.
template <WideningMix kMix>
VOBREX_TARGET_AVX512 void FourToFiveMixedAvx512(const int16_t* red, const int16_t* green,
                                                const int16_t* blue, int groups, bool firstShifted,
                                                uint16_t* line) {
  const int shifted = firstShifted ? 1 : 0;
  const __m512i* index = reinterpret_cast<const __m512i*>(kSpread.index[shifted]);
  const __m512i* weight = reinterpret_cast<const __m512i*>(kSpread.weight[shifted]);
  for (int q = 0; 16 * q < groups; ++q) {
    __m512i v[5];
#pragma GCC unroll 5
    for (int z = 0; z < 5; ++z) {
      const int at = 64 * q + 4 * kSpread.firstGroup[z];
      const __m512i i = _mm512_loadu_si512(index + z), w = _mm512_loadu_si512(weight + z);
      v[z] = MixValues<kMix>(FifthsOf(red + at, i, w), FifthsOf(green + at, i, w),
                             FifthsOf(blue + at, i, w));
    }
    StoreFive(line + 80 * q, v);
  }
}

template <WideningMix kMix>
VOBREX_TARGET_AVX512 void EightToFiveMixedAvx512(const int16_t* red, const int16_t* green,
                                                 const int16_t* blue, int groups, uint16_t* line) {
  const __m512i* index = reinterpret_cast<const __m512i*>(kEighthSpread.index);
  const __m512i* weight = reinterpret_cast<const __m512i*>(kEighthSpread.weight);
  for (int q = 0; 16 * q < groups; ++q) {
    __m512i v[5];
#pragma GCC unroll 5
    for (int z = 0; z < 5; ++z) {
      const int at = 128 * q + 8 * kEighthSpread.firstGroup[z];
      const __m512i i = _mm512_loadu_si512(index + z), w = _mm512_loadu_si512(weight + z);
      v[z] = MixValues<kMix>(FifthsOf(red + at, i, w), FifthsOf(green + at, i, w),
                             FifthsOf(blue + at, i, w));
    }
    StoreFive(line + 80 * q, v);
  }
}

// The three kinds of output vector z of one group of four plane rows
// (row[0..3]: a..d): each row's pairs are gathered once (row c serves
// kinds 1 and 2). Each value is the sum FifteenVector forms for its kind.
VOBREX_TARGET_AVX512 inline void FifteenKinds(const int16_t* const row[4], int z, __m512i index,
                                              __m512i kinds[3]) {
  const int first = kFifteenths.first[z];
  const __m512i pc = GatherPairs(row[2], first, index);
  kinds[0] = DivideExactly(Weighted(GatherPairs(row[0], first, index), z, 0), kReciprocal15);
  kinds[1] = DivideExactly(
      _mm512_add_epi32(Weighted(pc, z, 1), Weighted(GatherPairs(row[1], first, index), z, 2)),
      kReciprocal45);
  kinds[2] = DivideExactly(
      _mm512_add_epi32(Weighted(pc, z, 3), Weighted(GatherPairs(row[3], first, index), z, 4)),
      kReciprocal45);
}

// The three picture rows of one group at once, the lane table loaded once
// for all three.
template <class Out>
VOBREX_TARGET_AVX512 void FifteenRowsAvx512(const int16_t* const row[4], Out* const out[3]) {
  for (int z = 0; z < 30; z += 2) {
    __m512i value[2][3];
    for (int half = 0; half < 2; ++half) {
      FifteenKinds(row, z + half, _mm512_loadu_si512(kFifteenths.index[z + half]), value[half]);
    }
    for (int kind = 0; kind < 3; ++kind) {
      StorePair(out[kind] + 16 * z, value[0][kind], value[1][kind]);
    }
  }
}

// The mixed rows of a group straight from the three planes' rows: the
// resampled values of each plane stay in registers, and the mix takes them
// as MeanAvx512 and GreyAvx512 take them from memory.
template <WideningMix kMix>
VOBREX_TARGET_AVX512 void FifteenMixedAvx512(const int16_t* const red[4],
                                             const int16_t* const green[4],
                                             const int16_t* const blue[4], uint16_t* const out[3]) {
  for (int z = 0; z < 30; z += 2) {
    __m512i mixed[2][3];
    for (int half = 0; half < 2; ++half) {
      const __m512i index = _mm512_loadu_si512(kFifteenths.index[z + half]);
      __m512i r[3], g[3], b[3];
      FifteenKinds(red, z + half, index, r);
      FifteenKinds(green, z + half, index, g);
      FifteenKinds(blue, z + half, index, b);
      for (int kind = 0; kind < 3; ++kind) {
        mixed[half][kind] = MixValues<kMix>(r[kind], g[kind], b[kind]);
      }
    }
    for (int kind = 0; kind < 3; ++kind) {
      StorePair(out[kind] + 16 * z, mixed[0][kind], mixed[1][kind]);
    }
  }
}

#endif

template <class Out>
void FifteenPortable(const int16_t* a, const int16_t* b, const int16_t* c, const int16_t* d,
                     int kind, Out* line) {
  switch (kind) {
    case 0:
      for (int q = 0; q < 32; ++q) {
        for (int p = 0; p < 15; ++p) {
          const int u = 16 * q + p;
          line[15 * q + p] = static_cast<Out>((a[u] * (15 - p) + a[u + 1] * p) / 15);
        }
      }
      break;
    case 1:
      for (int q = 0; q < 32; ++q) {
        for (int p = 0; p < 15; ++p) {
          const int u = 16 * q + p;
          line[15 * q + p] =
              static_cast<Out>(((c[u] + 2 * b[u]) * (15 - p) + (c[u + 1] + 2 * b[u + 1]) * p) / 45);
        }
      }
      break;
    default:
      // The right-hand column weights rows c : d as 2 : 1, the left-hand one
      // as 1 : 2; the asymmetry belongs to the design.
      for (int q = 0; q < 32; ++q) {
        for (int p = 0; p < 15; ++p) {
          const int u = 16 * q + p;
          line[15 * q + p] =
              static_cast<Out>(((c[u] + 2 * d[u]) * (15 - p) + (d[u + 1] + 2 * c[u + 1]) * p) / 45);
        }
      }
      break;
  }
}

}  // namespace

int32_t WideningDivide(int32_t x, int32_t divisor) {
  // The vector forms' steps on one value: the float product, truncated.
  const float product = static_cast<float>(x) * ReciprocalAbove(divisor);
  return static_cast<int32_t>(product);
}

namespace {

template <class Out>
void Fifteen(const int16_t* a, const int16_t* b, const int16_t* c, const int16_t* d, int kind,
             Out* out) {
#if defined(VOBREX_X86_SIMD)
  if (ActiveSimdLevel() == SimdLevel::kAvx512) return FifteenAvx512(a, b, c, d, kind, out);
#endif
  FifteenPortable(a, b, c, d, kind, out);
}

template <class Out>
void FifteenRows(const int16_t* const row[4], Out* const out[3]) {
#if defined(VOBREX_X86_SIMD)
  if (ActiveSimdLevel() == SimdLevel::kAvx512) return FifteenRowsAvx512(row, out);
#endif
  for (int kind = 0; kind < 3; ++kind) {
    FifteenPortable(row[0], row[1], row[2], row[3], kind, out[kind]);
  }
}

template <class Out>
void EightToFive(const int16_t* row, int groups, Out* out) {
#if defined(VOBREX_X86_SIMD)
  if (ActiveSimdLevel() == SimdLevel::kAvx512) return EightToFiveAvx512(row, groups, out);
#endif
  EightToFivePortable(row, groups, out);
}

template <class Out>
void FourToFive(const int16_t* row, int groups, Out* out, bool firstShifted) {
#if defined(VOBREX_X86_SIMD)
  if (ActiveSimdLevel() == SimdLevel::kAvx512) return WidenAvx512(row, groups, out, firstShifted);
#endif
  WidenPortable(row, groups, out, firstShifted);
}

}  // namespace

void NarrowComponents(const int32_t* value, int n, uint16_t* out) {
#if defined(VOBREX_X86_SIMD)
  if (ActiveSimdLevel() == SimdLevel::kAvx512) return ComponentsAvx512(value, n, out);
#endif
  for (int c = 0; c < n; ++c) out[c] = static_cast<uint16_t>(value[c]);
}

void MixMean(const int32_t* red, const int32_t* green, const int32_t* blue, int n, uint16_t* out) {
#if defined(VOBREX_X86_SIMD)
  if (ActiveSimdLevel() == SimdLevel::kAvx512) return MeanAvx512(red, green, blue, n, out);
#endif
  for (int c = 0; c < n; ++c) out[c] = static_cast<uint16_t>((red[c] + green[c] + blue[c]) / 3);
}

void MixGrey(const int32_t* red, const int32_t* green, const int32_t* blue, int n, uint16_t* out) {
#if defined(VOBREX_X86_SIMD)
  if (ActiveSimdLevel() == SimdLevel::kAvx512) return GreyAvx512(red, green, blue, n, out);
#endif
  for (int c = 0; c < n; ++c) {
    out[c] = static_cast<uint16_t>((2 * red[c] + 4 * green[c] + blue[c]) / 7);
  }
}

void WidenSixteenToFifteen(const int16_t* a, const int16_t* b, const int16_t* c, const int16_t* d,
                           int kind, int32_t* out) {
  Fifteen(a, b, c, d, kind, out);
}
void WidenSixteenToFifteen(const int16_t* a, const int16_t* b, const int16_t* c, const int16_t* d,
                           int kind, uint16_t* out) {
  Fifteen(a, b, c, d, kind, out);
}
void WidenSixteenToFifteenRows(const int16_t* const row[4], int32_t* const out[3]) {
  FifteenRows(row, out);
}
void WidenSixteenToFifteenRows(const int16_t* const row[4], uint16_t* const out[3]) {
  FifteenRows(row, out);
}
void WidenSixteenToFifteenMixed(const int16_t* const red[4], const int16_t* const green[4],
                                const int16_t* const blue[4], WideningMix mix,
                                uint16_t* const out[3]) {
#if defined(VOBREX_X86_SIMD)
  if (ActiveSimdLevel() == SimdLevel::kAvx512) {
    if (mix == WideningMix::kGrey)
      return FifteenMixedAvx512<WideningMix::kGrey>(red, green, blue, out);
    return FifteenMixedAvx512<WideningMix::kMean>(red, green, blue, out);
  }
#endif
  int32_t values[3][480];
  for (int kind = 0; kind < 3; ++kind) {
    FifteenPortable(red[0], red[1], red[2], red[3], kind, values[0]);
    FifteenPortable(green[0], green[1], green[2], green[3], kind, values[1]);
    FifteenPortable(blue[0], blue[1], blue[2], blue[3], kind, values[2]);
    if (mix == WideningMix::kGrey) {
      MixGrey(values[0], values[1], values[2], 480, out[kind]);
    } else {
      MixMean(values[0], values[1], values[2], 480, out[kind]);
    }
  }
}
namespace {

// One group of each plane at a time, mixed as MixMean and MixGrey mix.
void MixFive(const int32_t* r, const int32_t* g, const int32_t* b, WideningMix mix, uint16_t* out) {
  if (mix == WideningMix::kGrey) return MixGrey(r, g, b, 5, out);
  MixMean(r, g, b, 5, out);
}

}  // namespace

void WidenFourToFiveMixed(const int16_t* red, const int16_t* green, const int16_t* blue, int groups,
                          bool firstShifted, WideningMix mix, uint16_t* out) {
#if defined(VOBREX_X86_SIMD)
  if (ActiveSimdLevel() == SimdLevel::kAvx512 && groups % 16 == 0) {
    if (mix == WideningMix::kGrey) {
      return FourToFiveMixedAvx512<WideningMix::kGrey>(red, green, blue, groups, firstShifted, out);
    }
    return FourToFiveMixedAvx512<WideningMix::kMean>(red, green, blue, groups, firstShifted, out);
  }
#endif
  for (int k = 0; k < groups; ++k) {
    int32_t r[5], g[5], b[5];
    WidenPortable(red + 4 * k, 1, r, firstShifted);
    WidenPortable(green + 4 * k, 1, g, firstShifted);
    WidenPortable(blue + 4 * k, 1, b, firstShifted);
    MixFive(r, g, b, mix, out + 5 * k);
  }
}

void WidenEightToFiveMixed(const int16_t* red, const int16_t* green, const int16_t* blue,
                           int groups, WideningMix mix, uint16_t* out) {
#if defined(VOBREX_X86_SIMD)
  if (ActiveSimdLevel() == SimdLevel::kAvx512 && groups % 16 == 0) {
    if (mix == WideningMix::kGrey) {
      return EightToFiveMixedAvx512<WideningMix::kGrey>(red, green, blue, groups, out);
    }
    return EightToFiveMixedAvx512<WideningMix::kMean>(red, green, blue, groups, out);
  }
#endif
  for (int k = 0; k < groups; ++k) {
    int32_t r[5], g[5], b[5];
    EightToFivePortable(red + 8 * k, 1, r);
    EightToFivePortable(green + 8 * k, 1, g);
    EightToFivePortable(blue + 8 * k, 1, b);
    MixFive(r, g, b, mix, out + 5 * k);
  }
}

void WidenEightToFive(const int16_t* row, int groups, int32_t* out) {
  EightToFive(row, groups, out);
}
void WidenEightToFive(const int16_t* row, int groups, uint16_t* out) {
  EightToFive(row, groups, out);
}
void WidenFourToFive(const int16_t* row, int groups, int32_t* out, bool firstShifted) {
  FourToFive(row, groups, out, firstShifted);
}
void WidenFourToFive(const int16_t* row, int groups, uint16_t* out, bool firstShifted) {
  FourToFive(row, groups, out, firstShifted);
}

}  // namespace vobrex
