#include "still/widening.h"

#include <algorithm>
#include <bit>
#include <climits>
#include <cmath>
#include <type_traits>

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

// The quotient floor(y / d) of a 16-bit y as the 16-bit lanes form it: the
// high half of y m, shifted right by s, for m = ceil(2^(16 + s) / d). With
// e = m d - 2^(16 + s), y m / 2^(16 + s) = y / d + y e / (d 2^(16 + s)), and
// the fraction of y / d is at most (d - 1) / d, so the product's floor is
// floor(y / d) whenever y e < 2^(16 + s). For d = 3, 5, 15 and 45 (s = 1, 2,
// 3, 5; e = 1, 1, 7, 28) e <= 2^s and every 16-bit y qualifies; for d = 7
// (s = 2, e = 6) y up to 43690 does. A test checks every y the lanes form.
constexpr int QuotientShift(int d) { return d == 3 ? 1 : d == 5 || d == 7 ? 2 : d == 15 ? 3 : 5; }
constexpr uint32_t QuotientMultiplier(int d) {
  return ((uint32_t{1} << (16 + QuotientShift(d))) + static_cast<uint32_t>(d) - 1) /
         static_cast<uint32_t>(d);
}
static_assert(QuotientMultiplier(3) == 43691 && QuotientMultiplier(5) == 52429 &&
              QuotientMultiplier(7) == 37450 && QuotientMultiplier(15) == 34953 &&
              QuotientMultiplier(45) == 46604);

// The quotient x / d truncated toward zero of a signed 16-bit x, as the
// mixed 640-wide lanes form it: floor(x M / 2^(16 + s)) (the high half of
// the signed product, shifted arithmetically), plus 1 where x < 0, for
// M = ceil(2^(16 + s) / d). With e = M d - 2^(16 + s), x M / 2^(16 + s) =
// x / d + x e / (d 2^(16 + s)). For 0 <= x the floor is floor(x / d) while
// x e < 2^(16 + s) (as for the unsigned quotient). For x < 0 the product
// lies below x / d by less than 1/d while |x| e < 2^(16 + s), so its floor
// is the integer below x / d (x / d - 1 when d divides x), and adding 1
// gives the truncated quotient. d = 5 and 7 take s = 1 (e = 3: |x| < 43690),
// d = 3 takes s = 0 (e = 2: |x| < 32768, every 16-bit x).
constexpr int SignedQuotientShift(int d) { return d == 3 ? 0 : 1; }
constexpr int32_t SignedQuotientMultiplier(int d) {
  return static_cast<int32_t>(((int32_t{1} << (16 + SignedQuotientShift(d))) + d - 1) / d);
}
static_assert(SignedQuotientMultiplier(3) == 21846 && SignedQuotientMultiplier(5) == 26215 &&
              SignedQuotientMultiplier(7) == 18725);

// The widest span of samples each resampling takes in 16-bit lanes (see
// BiasedQuotient): d span + d - 1 stays within 65535 for the sixteen-to-
// fifteen sums (d = 45) and the four-to-five ones (d = 5), and within 43690
// for the grey mix of the four-to-five values (d = 7).
constexpr int kFifteenNarrowSpan = 1455;
constexpr int kFifthNarrowSpan = 13106;
constexpr int kFifthMixedNarrowSpan = 6240;
static_assert(45 * kFifteenNarrowSpan + 44 <= 65535 && 5 * kFifthNarrowSpan + 4 <= 65535 &&
              7 * kFifthMixedNarrowSpan + 6 <= 43690);

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

// ---- Sixteen-bit lanes ----
// The planes' samples are 10-bit sensor levels after gains and colour
// differences: nearly every row group spans far less than 16 bits, and its
// resampled sums fit 16-bit lanes. There a vector holds thirty-two values,
// the weights are 16-bit multiplies and each division is the high half of a
// product (QuotientOf) instead of three float steps on sixteen values.
// Rows whose samples span more take the 32-bit forms: the 640-wide ones
// judge the span over the rows a picture row reads, the 480-wide ones per
// source column (see FifteenLaneForm).
//
// Why the lanes give the exact values. Let every sample v of the rows read,
// and 0, satisfy 0 <= v + B <= span for the bias B = max(0, -least sample)
// (so dB <= d span, a 16-bit value too). A resampled value is x / d
// truncated toward zero, x = sum w_i v_i with weights w_i >= 0 summing to
// d; so x + dB = sum w_i (v_i + B) lies in 0 .. d span. The lanes form
// x + dB with multiplies and adds that wrap (modulo 2^16); as the value
// lies in 0 .. 65535 they hold it exactly. For x >= 0 the truncated
// quotient is floor((x + dB) / d) - B; for x < 0 (that is, x + dB < dB) it
// is ceil(x / d) = floor((x + dB + d - 1) / d) - B. So BiasedQuotient adds
// d - 1 where x + dB < dB and takes the floor of a y <= d span + d - 1,
// which the spans above keep within QuotientOf's range. It returns the
// value plus B, again in 0 .. span (a truncated weighted mean of the
// samples lies between the least and the greatest): the mixes weigh three
// such values by weights summing to 3 or 7, the same argument over.
// Groups without negative samples have B = 0 and need no adjustment.

template <int kDivisor>
VOBREX_TARGET_AVX512 inline __m512i QuotientOf(__m512i y) {
  const __m512i m = _mm512_set1_epi16(static_cast<int16_t>(QuotientMultiplier(kDivisor)));
  return _mm512_srli_epi16(_mm512_mulhi_epu16(y, m), QuotientShift(kDivisor));
}

// `biased` holds x + dB (dB in `dBias`): the truncated x / d plus B.
template <int kDivisor, bool kSigned>
VOBREX_TARGET_AVX512 inline __m512i BiasedQuotient(__m512i biased, __m512i dBias) {
  if constexpr (kSigned) {
    const __mmask32 negative = _mm512_cmplt_epu16_mask(biased, dBias);
    biased = _mm512_mask_add_epi16(biased, negative, biased, _mm512_set1_epi16(kDivisor - 1));
  }
  return QuotientOf<kDivisor>(biased);
}

// x / d truncated toward zero for signed 16-bit x (see
// SignedQuotientMultiplier).
template <int kDivisor>
VOBREX_TARGET_AVX512 inline __m512i SignedQuotientOf(__m512i x) {
  const __m512i m = _mm512_set1_epi16(static_cast<int16_t>(SignedQuotientMultiplier(kDivisor)));
  const __m512i floor = _mm512_srai_epi16(_mm512_mulhi_epi16(x, m), SignedQuotientShift(kDivisor));
  const __mmask32 negative = _mm512_movepi16_mask(x);
  return _mm512_mask_sub_epi16(floor, negative, floor, _mm512_set1_epi16(-1));
}

VOBREX_TARGET_AVX512 inline __m512i TimesBias(int d, int bias) {
  return _mm512_set1_epi16(static_cast<int16_t>(static_cast<uint16_t>(d * bias)));
}

// The least and the greatest sample of the rows seen, lane by lane.
struct SampleSpan {
  __m512i least, greatest;
};

VOBREX_TARGET_AVX512 inline SampleSpan EmptySpan() {
  return {_mm512_set1_epi16(INT16_MAX), _mm512_set1_epi16(INT16_MIN)};
}

// Samples row[0 .. count - 1] into the span.
VOBREX_TARGET_AVX512 inline void AddSamples(SampleSpan& span, const int16_t* row, int count) {
  int i = 0;
  for (; i + 32 <= count; i += 32) {
    const __m512i v = _mm512_loadu_si512(row + i);
    span.least = _mm512_min_epi16(span.least, v);
    span.greatest = _mm512_max_epi16(span.greatest, v);
  }
  if (i < count) {
    const __mmask32 lanes = (uint32_t{1} << (count - i)) - 1;
    const __m512i v = _mm512_maskz_loadu_epi16(lanes, row + i);
    span.least = _mm512_mask_min_epi16(span.least, lanes, span.least, v);
    span.greatest = _mm512_mask_max_epi16(span.greatest, lanes, span.greatest, v);
  }
}

// The least and the greatest of the samples seen and 0.
struct SpanBounds {
  int low, high;
};

VOBREX_TARGET_AVX512 inline SpanBounds BoundsOf(const SampleSpan& span) {
  const __m256i least = _mm256_min_epi16(_mm512_castsi512_si256(span.least),
                                         _mm512_extracti64x4_epi64(span.least, 1));
  const __m256i greatest = _mm256_max_epi16(_mm512_castsi512_si256(span.greatest),
                                            _mm512_extracti64x4_epi64(span.greatest, 1));
  return {std::min(_mm512_reduce_min_epi32(_mm512_cvtepi16_epi32(least)), 0),
          std::max(_mm512_reduce_max_epi32(_mm512_cvtepi16_epi32(greatest)), 0)};
}

// The rows of the next picture row or group follow these in the planes
// (kStillSide samples a row): fetching line `line` of a row 512 samples on
// while this one is made overlaps its fetch with the arithmetic. A hint
// only: it reads nothing the caller sees.
VOBREX_TARGET_AVX512 inline void FetchNextRow(const int16_t* row, int line) {
  _mm_prefetch(reinterpret_cast<const char*>(row + 512 + 32 * line), _MM_HINT_T0);
}

// Sixteen to fifteen in 16-bit lanes. Each source column u serves at most
// one output column as its left sample (u = 16q + p, weight 15 - p) and
// the next as right (weight p), so the sums are formed lane by lane on
// source columns: lane u holds output column u - u / 16 (lanes with u % 16
// = 15 serve none), and a byte permute per output vector drops those.
struct FifteenLanes {
  alignas(64) int16_t left[32];
  alignas(64) int16_t right[32];
  alignas(64) uint8_t index[15][64];  // output vector z from source vectors z and z + 1
};

constexpr FifteenLanes MakeFifteenLanes() {
  FifteenLanes f{};
  for (int t = 0; t < 32; ++t) {
    const int p = t % 16;
    f.left[t] = static_cast<int16_t>(p == 15 ? 0 : 15 - p);
    f.right[t] = static_cast<int16_t>(p == 15 ? 0 : p);
  }
  for (int z = 0; z < 15; ++z) {
    for (int t = 0; t < 32; ++t) {
      const int x = 32 * z + t, u = x + x / 15 - 32 * z;
      f.index[z][2 * t] = static_cast<uint8_t>(2 * u);
      f.index[z][2 * t + 1] = static_cast<uint8_t>(2 * u + 1);
    }
  }
  return f;
}

constexpr FifteenLanes kFifteenLanes = MakeFifteenLanes();

// Line z (and with z = 14 line 15 too) of the next group's four rows.
VOBREX_TARGET_AVX512 inline void FetchAhead(const int16_t* const row[4], int z) {
  for (int k = 0; k < 4; ++k) {
    FetchNextRow(row[k] + 3 * 512, z);
    if (z == 14) FetchNextRow(row[k] + 3 * 512, 15);
  }
}

// Four to five in 16-bit lanes: output pixel 5k + j takes samples 4k + a_j
// and 4k + a_j + 1 (phase 0 the first whole, weight 5 and 0). Output
// vector z of a period of thirty-two groups (pixels 32z .. 32z + 31) reads
// at most 31 consecutive samples from its first, so one load of 32 samples
// there holds them all, and a word permute of that one register gathers
// each side (a two-register byte permute costs more here). A period makes
// five output vectors; each vector's tables stay in registers over the
// periods.
struct FifthLanes {
  int first[5];  // the window of output vector z, from the period's first
  alignas(64) uint16_t index[2][5][2][32];  // [firstShifted][z][left, right sample]
  alignas(64) int16_t weight[2][5][2][32];
  int reach;  // the furthest sample a lane takes from its window's first (32: one before it)
};

constexpr FifthLanes MakeFifthLanes() {
  FifthLanes f{};
  constexpr int kSample[5] = {0, 0, 1, 2, 3}, kLeft[5] = {5, 1, 2, 3, 4};
  for (int z = 0; z < 5; ++z) f.first[z] = 4 * (32 * z / 5);
  f.reach = -1;
  for (int shifted = 0; shifted < 2; ++shifted) {
    for (int z = 0; z < 5; ++z) {
      for (int t = 0; t < 32; ++t) {
        const int x = 32 * z + t, k = x / 5, j = x % 5;
        const int a = 4 * k + (j == 0 && shifted ? 1 : kSample[j]) - f.first[z];
        if (a < 0) f.reach = 32;
        for (int side = 0; side < 2; ++side) {
          f.index[shifted][z][side][t] = static_cast<uint16_t>(a + side);
          f.reach = std::max(f.reach, a + side);
        }
        f.weight[shifted][z][0][t] = static_cast<int16_t>(kLeft[j]);
        f.weight[shifted][z][1][t] = static_cast<int16_t>(5 - kLeft[j]);
      }
    }
  }
  return f;
}

constexpr FifthLanes kFifthLanes = MakeFifthLanes();
// Every lane's samples lie in its window of 32 (and the mixed rows' check
// of the window's samples sees every sample the lanes take).
static_assert(kFifthLanes.reach >= 0 && kFifthLanes.reach < 32);

// One output vector's tables.
struct FifthTables {
  __m512i left, right, leftWeight, rightWeight;
};

VOBREX_TARGET_AVX512 inline FifthTables LoadFifthTables(int shifted, int z) {
  return {_mm512_load_si512(kFifthLanes.index[shifted][z][0]),
          _mm512_load_si512(kFifthLanes.index[shifted][z][1]),
          _mm512_load_si512(kFifthLanes.weight[shifted][z][0]),
          _mm512_load_si512(kFifthLanes.weight[shifted][z][1])};
}

// The weighted sums of one row for an output vector (as 16 bits), from the
// window of 32 samples at the vector's first sample.
VOBREX_TARGET_AVX512 inline __m512i FifthSums(__m512i window, const FifthTables& t) {
  const __m512i a = _mm512_permutexvar_epi16(t.left, window);
  const __m512i b = _mm512_permutexvar_epi16(t.right, window);
  return _mm512_add_epi16(_mm512_mullo_epi16(a, t.leftWeight),
                          _mm512_mullo_epi16(b, t.rightWeight));
}

// How a row's fifths are formed in 16-bit lanes: rows without negative
// samples as unsigned sums; rows of samples within -kFifthSignedReach ..
// kFifthSignedReach as signed sums (|x| <= 5 x 6553 = 32765, no wrap) and
// SignedQuotientOf, exact for |x| < 43690; other rows of a span up to
// kFifthNarrowSpan biased by B (see above), whose quotient takes two more
// steps and the bias taken off.
enum class FifthForm { kUnsigned, kSigned, kBiased };
constexpr int kFifthSignedReach = 6553;
static_assert(5 * kFifthSignedReach <= 32767);

// The fifths of one row for an output vector (plus B in the biased form).
template <FifthForm kForm>
VOBREX_TARGET_AVX512 inline __m512i FifthsNarrow(const int16_t* window, const FifthTables& t,
                                                 int bias) {
  const __m512i sum = FifthSums(_mm512_loadu_si512(window), t);
  if constexpr (kForm == FifthForm::kBiased) {
    const __m512i bias5 = TimesBias(5, bias);
    return BiasedQuotient<5, true>(_mm512_add_epi16(sum, bias5), bias5);
  } else if constexpr (kForm == FifthForm::kSigned) {
    return SignedQuotientOf<5>(sum);
  } else {
    return QuotientOf<5>(sum);
  }
}

// The fifths of one row of the mixed rows as signed values, noting in
// `reach` the largest v + kMixedBias (as 16 bits) of the window's samples.
constexpr int kMixedBias = 2048;

VOBREX_TARGET_AVX512 inline __m512i SignedFifths(const int16_t* window, const FifthTables& t,
                                                 __m512i& reach) {
  const __m512i samples = _mm512_loadu_si512(window);
  reach = _mm512_max_epu16(reach, _mm512_add_epi16(samples, _mm512_set1_epi16(kMixedBias)));
  return SignedQuotientOf<5>(FifthSums(samples, t));
}

// Rows of whole periods; the last window reaches 4 samples past the row.
// Output vector z of each period in turn, then the next z.
template <FifthForm kForm>
VOBREX_TARGET_AVX512 void WidenNarrow(const int16_t* row, int groups, int shifted, int bias,
                                      uint16_t* line) {
  const __m512i b = _mm512_set1_epi16(static_cast<int16_t>(bias));
  const int periods = groups / 32;
  for (int z = 0; z < 5; ++z) {
    const FifthTables t = LoadFifthTables(shifted, z);
    for (int period = 0; period < periods; ++period) {
      __m512i v = FifthsNarrow<kForm>(row + 128 * period + kFifthLanes.first[z], t, bias);
      if constexpr (kForm == FifthForm::kBiased) v = _mm512_sub_epi16(v, b);
      _mm512_storeu_si512(line + 160 * period + 32 * z, v);
      if (periods * z + period < 16) FetchNextRow(row, periods * z + period);
    }
  }
}

// The mixed rows need no pass over their samples before the arithmetic:
// samples -kMixedBias .. kFifthMixedNarrowSpan - kMixedBias (-2048 .. 4192)
// keep every sum within signed 16 bits and SignedQuotientOf's range (the
// fifths' sums within -10240 .. 20960, the grey sums within -14336 ..
// 29344, the mean ones within -6144 .. 12576), and the samples the lanes
// take are checked as they are loaded. A row with others is made again in
// 32-bit lanes by the caller.
template <WideningMix kMix>
VOBREX_TARGET_AVX512 inline __m512i SignedMix(__m512i r, __m512i g, __m512i b) {
  if constexpr (kMix == WideningMix::kGrey) {
    // 2R + 4G + B as 2 (R + 2G) + B.
    const __m512i half = _mm512_add_epi16(r, _mm512_add_epi16(g, g));
    return SignedQuotientOf<7>(_mm512_add_epi16(_mm512_add_epi16(half, half), b));
  } else {
    return SignedQuotientOf<3>(_mm512_add_epi16(_mm512_add_epi16(r, g), b));
  }
}

// True when the row came out exact (its samples lie within the span).
template <WideningMix kMix>
VOBREX_TARGET_AVX512 bool WidenMixedNarrow(const int16_t* red, const int16_t* green,
                                           const int16_t* blue, int groups, int shifted,
                                           uint16_t* line) {
  const int periods = groups / 32;
  __m512i reach = _mm512_setzero_si512();
  for (int z = 0; z < 5; ++z) {
    const FifthTables t = LoadFifthTables(shifted, z);
    for (int period = 0; period < periods; ++period) {
      const int at = 128 * period + kFifthLanes.first[z];
      const __m512i v =
          SignedMix<kMix>(SignedFifths(red + at, t, reach), SignedFifths(green + at, t, reach),
                          SignedFifths(blue + at, t, reach));
      _mm512_storeu_si512(line + 160 * period + 32 * z, v);
      const int fetched = periods * z + period;
      if (fetched < 16) {
        FetchNextRow(red, fetched);
        FetchNextRow(green, fetched);
        FetchNextRow(blue, fetched);
      }
    }
  }
  return _mm512_cmpgt_epu16_mask(reach, _mm512_set1_epi16(kFifthMixedNarrowSpan)) == 0;
}

// A row of whole periods in the 16-bit form its samples (the 4 groups + 1
// it takes) allow; false when they and 0 span more than kFifthNarrowSpan
// (or the row has a part period), for the 32-bit form.
VOBREX_TARGET_AVX512 bool WidenNarrowly(const int16_t* row, int groups, uint16_t* line,
                                        bool firstShifted) {
  if (groups % 32 != 0) return false;
  SampleSpan span = EmptySpan();
  AddSamples(span, row, 4 * groups + 1);
  const SpanBounds bounds = BoundsOf(span);
  if (bounds.high - bounds.low > kFifthNarrowSpan) return false;
  const int shifted = firstShifted ? 1 : 0;
  if (bounds.low == 0) {
    WidenNarrow<FifthForm::kUnsigned>(row, groups, shifted, 0, line);
  } else if (bounds.low >= -kFifthSignedReach && bounds.high <= kFifthSignedReach) {
    WidenNarrow<FifthForm::kSigned>(row, groups, shifted, 0, line);
  } else {
    WidenNarrow<FifthForm::kBiased>(row, groups, shifted, -bounds.low, line);
  }
  return true;
}

template <WideningMix kMix>
VOBREX_TARGET_AVX512 bool WidenMixedNarrowly(const int16_t* red, const int16_t* green,
                                             const int16_t* blue, int groups, bool firstShifted,
                                             uint16_t* line) {
  if (groups % 32 != 0) return false;
  return WidenMixedNarrow<kMix>(red, green, blue, groups, firstShifted ? 1 : 0, line);
}

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
  if constexpr (std::is_same_v<Out, uint16_t>) {
    if (WidenNarrowly(row, groups, line, firstShifted)) return;
  }
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
// rows come): each plane's values as PairsToFiveAvx512 makes them (a spread's
// tables for groups of kColumns samples), mixed in registers.
template <int kColumns, WideningMix kMix>
VOBREX_TARGET_AVX512 VOBREX_ALWAYS_INLINE void MixedToFiveAvx512(
    const int16_t* red, const int16_t* green, const int16_t* blue, int groups,
    const uint8_t (&indexTable)[5][64], const int16_t (&weightTable)[5][32],
    const int (&firstGroup)[5], uint16_t* line) {
  const __m512i* index = reinterpret_cast<const __m512i*>(indexTable);
  const __m512i* weight = reinterpret_cast<const __m512i*>(weightTable);
  for (int q = 0; 16 * q < groups; ++q) {
    __m512i v[5];
#pragma GCC unroll 5
    for (int z = 0; z < 5; ++z) {
      const int at = 16 * kColumns * q + kColumns * firstGroup[z];
      const __m512i i = _mm512_loadu_si512(index + z), w = _mm512_loadu_si512(weight + z);
      v[z] = MixValues<kMix>(FifthsOf(red + at, i, w), FifthsOf(green + at, i, w),
                             FifthsOf(blue + at, i, w));
    }
    StoreFive(line + 80 * q, v);
  }
}

template <WideningMix kMix>
VOBREX_TARGET_AVX512 void FourToFiveMixedAvx512(const int16_t* red, const int16_t* green,
                                                const int16_t* blue, int groups, bool firstShifted,
                                                uint16_t* line) {
  if (WidenMixedNarrowly<kMix>(red, green, blue, groups, firstShifted, line)) return;
  const int shifted = firstShifted ? 1 : 0;
  MixedToFiveAvx512<4, kMix>(red, green, blue, groups, kSpread.index[shifted],
                             kSpread.weight[shifted], kSpread.firstGroup, line);
}

template <WideningMix kMix>
VOBREX_TARGET_AVX512 void EightToFiveMixedAvx512(const int16_t* red, const int16_t* green,
                                                 const int16_t* blue, int groups, uint16_t* line) {
  MixedToFiveAvx512<8, kMix>(red, green, blue, groups, kEighthSpread.index, kEighthSpread.weight,
                             kEighthSpread.firstGroup, line);
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

// ---- Sixteen to fifteen, narrow where the samples are ----
// A bright spot widens the span of the whole row group, yet the sums of a
// source column read only its own column and the next. So the span is
// judged per source vector and within it per lane: lane u of the source
// vector at 32s (s = 0..15) reads columns u and u + 1 of rows a..d with
// weights summing to 15 or 45, and takes its own bias B_u from the least
// of those eight samples. The argument of the 16-bit lanes above holds
// lane by lane with B_u for B: when those samples and 0 span at most
// kFifteenNarrowSpan, the lane's biased quotient less B_u is its value.
// Lanes u % 16 = 15 weigh both columns 0 and serve no output (the last
// one's right column is the next row's first): they are left out of the
// check, and whatever they hold is dropped by the permute. A source
// vector with a lane past the limit takes the 32-bit sums and the float
// division (DivideExactly) for all its lanes. Either way each source
// vector ends as the values themselves (16-bit, in the samples' range),
// so the output vectors mix vectors of either form freely.

// Columns at .. at + 31 (u) and at + 1 .. at + 32 (v) of rows a..d.
struct FifteenSource {
  __m512i u[4], v[4];
};

VOBREX_TARGET_AVX512 inline FifteenSource LoadFifteenSource(const int16_t* const row[4], int at) {
  FifteenSource s;
  for (int k = 0; k < 4; ++k) {
    s.u[k] = _mm512_loadu_si512(row[k] + at);
    s.v[k] = _mm512_loadu_si512(row[k] + at + 1);
  }
  return s;
}

// The lanes that serve an output column (u % 16 != 15).
constexpr __mmask32 kServingLanes = 0x7FFF7FFF;

enum class LaneForm { kUnsigned, kBiased, kWide };

// How a source vector's lanes take its sums, and the lanes' biases for
// kBiased. The serving lanes read columns at .. at + 31 (lane 14's right
// column is 15, lane 30's 31), the columns of u: when all of them lie in
// 0 .. kFifteenNarrowSpan (as unsigned values, the negative ones lie far
// above), every lane takes B_u = 0, judged without its neighbours.
VOBREX_TARGET_AVX512 inline LaneForm FifteenLaneForm(const FifteenSource& s, __m512i& bias) {
  const __m512i limit = _mm512_set1_epi16(kFifteenNarrowSpan);
  const __m512i top =
      _mm512_max_epu16(_mm512_max_epu16(s.u[0], s.u[1]), _mm512_max_epu16(s.u[2], s.u[3]));
  if (_mm512_cmpgt_epu16_mask(top, limit) == 0) return LaneForm::kUnsigned;
  __m512i least = _mm512_min_epi16(s.u[0], s.v[0]), greatest = _mm512_max_epi16(s.u[0], s.v[0]);
  for (int k = 1; k < 4; ++k) {
    least = _mm512_min_epi16(least, _mm512_min_epi16(s.u[k], s.v[k]));
    greatest = _mm512_max_epi16(greatest, _mm512_max_epi16(s.u[k], s.v[k]));
  }
  const __m512i zero = _mm512_setzero_si512();
  greatest = _mm512_max_epi16(greatest, zero);
  if ((_mm512_movepi16_mask(least) & kServingLanes) == 0) {
    return (_mm512_cmpgt_epu16_mask(greatest, limit) & kServingLanes) == 0 ? LaneForm::kUnsigned
                                                                           : LaneForm::kWide;
  }
  // 0 - least and greatest - least as unsigned 16-bit values (no wrap:
  // least <= 0 <= greatest).
  bias = _mm512_sub_epi16(zero, _mm512_min_epi16(least, zero));
  const __m512i span = _mm512_add_epi16(greatest, bias);
  return (_mm512_cmpgt_epu16_mask(span, limit) & kServingLanes) == 0 ? LaneForm::kBiased
                                                                     : LaneForm::kWide;
}

// The three kinds' sums of a source vector in 16-bit lanes (wrapping): kind
// 0 a[u] (15 - p) + a[u + 1] p, kind 1 with c + 2b in both columns, kind 2
// with c + 2d on the left and d + 2c on the right.
VOBREX_TARGET_AVX512 inline void FifteenSums(const FifteenSource& s, __m512i sums[3]) {
  const __m512i left = _mm512_load_si512(kFifteenLanes.left);
  const __m512i right = _mm512_load_si512(kFifteenLanes.right);
  const __m512i(&u)[4] = s.u, (&v)[4] = s.v;
  sums[0] = _mm512_add_epi16(_mm512_mullo_epi16(u[0], left), _mm512_mullo_epi16(v[0], right));
  sums[1] = _mm512_add_epi16(
      _mm512_mullo_epi16(_mm512_add_epi16(u[2], _mm512_add_epi16(u[1], u[1])), left),
      _mm512_mullo_epi16(_mm512_add_epi16(v[2], _mm512_add_epi16(v[1], v[1])), right));
  sums[2] = _mm512_add_epi16(
      _mm512_mullo_epi16(_mm512_add_epi16(u[2], _mm512_add_epi16(u[3], u[3])), left),
      _mm512_mullo_epi16(_mm512_add_epi16(v[3], _mm512_add_epi16(v[2], v[2])), right));
}

VOBREX_TARGET_AVX512 inline void UnsignedKinds(const FifteenSource& s, __m512i kinds[3]) {
  __m512i sums[3];
  FifteenSums(s, sums);
  kinds[0] = QuotientOf<15>(sums[0]);
  kinds[1] = QuotientOf<45>(sums[1]);
  kinds[2] = QuotientOf<45>(sums[2]);
}

// Each lane's sums plus d B_u, divided, less B_u.
VOBREX_TARGET_AVX512 inline void BiasedKinds(const FifteenSource& s, __m512i bias,
                                             __m512i kinds[3]) {
  __m512i sums[3];
  FifteenSums(s, sums);
  const __m512i bias15 = _mm512_mullo_epi16(bias, _mm512_set1_epi16(15));
  const __m512i bias45 = _mm512_mullo_epi16(bias, _mm512_set1_epi16(45));
  kinds[0] =
      _mm512_sub_epi16(BiasedQuotient<15, true>(_mm512_add_epi16(sums[0], bias15), bias15), bias);
  kinds[1] =
      _mm512_sub_epi16(BiasedQuotient<45, true>(_mm512_add_epi16(sums[1], bias45), bias45), bias);
  kinds[2] =
      _mm512_sub_epi16(BiasedQuotient<45, true>(_mm512_add_epi16(sums[2], bias45), bias45), bias);
}

// The 32-bit values of half `half` of a source vector's lanes (0: the
// first four of each 128-bit block, 1: the next four, as the unpacks pair
// them; a saturating pack of the two restores the lane order, and as the
// values are truncated means of 16-bit samples it never saturates): the
// pairs (u, v) of each row weighted by madd, the same integers as the
// scalar sums, divided as FifteenVector divides.
VOBREX_TARGET_AVX512 inline __m512i PairLanes(__m512i x, __m512i y, int half) {
  return half == 0 ? _mm512_unpacklo_epi16(x, y) : _mm512_unpackhi_epi16(x, y);
}

VOBREX_TARGET_AVX512 inline void WideKinds(const FifteenSource& s, int half, __m512i kinds[3]) {
  const __m512i left = _mm512_load_si512(kFifteenLanes.left);
  const __m512i right = _mm512_load_si512(kFifteenLanes.right);
  const __m512i twiceLeft = _mm512_add_epi16(left, left),
                twiceRight = _mm512_add_epi16(right, right);
  const __m512i once = PairLanes(left, right, half), twice = PairLanes(twiceLeft, twiceRight, half);
  const __m512i c = PairLanes(s.u[2], s.v[2], half);
  kinds[0] = DivideExactly(_mm512_madd_epi16(PairLanes(s.u[0], s.v[0], half), once), kReciprocal15);
  kinds[1] =
      DivideExactly(_mm512_add_epi32(_mm512_madd_epi16(c, once),
                                     _mm512_madd_epi16(PairLanes(s.u[1], s.v[1], half), twice)),
                    kReciprocal45);
  kinds[2] = DivideExactly(_mm512_add_epi32(_mm512_madd_epi16(c, PairLanes(left, twiceRight, half)),
                                            _mm512_madd_epi16(PairLanes(s.u[3], s.v[3], half),
                                                              PairLanes(twiceLeft, right, half))),
                           kReciprocal45);
}

VOBREX_TARGET_AVX512 inline void WideKinds(const FifteenSource& s, __m512i kinds[3]) {
  __m512i low[3], high[3];
  WideKinds(s, 0, low);
  WideKinds(s, 1, high);
  for (int kind = 0; kind < 3; ++kind) kinds[kind] = _mm512_packs_epi32(low[kind], high[kind]);
}

// The values of the three kinds of the source vector at `at`.
VOBREX_TARGET_AVX512 inline void LocalKinds(const int16_t* const row[4], int at, __m512i kinds[3]) {
  const FifteenSource s = LoadFifteenSource(row, at);
  __m512i bias;
  switch (FifteenLaneForm(s, bias)) {
    case LaneForm::kUnsigned: return UnsignedKinds(s, kinds);
    case LaneForm::kBiased: return BiasedKinds(s, bias, kinds);
    default: return WideKinds(s, kinds);
  }
}

// Output vector z of each kind from the values of source vectors z and
// z + 1.
VOBREX_TARGET_AVX512 inline void StoreLocal(const __m512i (&previous)[3],
                                            const __m512i (&current)[3], int z,
                                            uint16_t* const out[3]) {
  const __m512i index = _mm512_load_si512(kFifteenLanes.index[z]);
  for (int kind = 0; kind < 3; ++kind) {
    _mm512_storeu_si512(out[kind] + 32 * z,
                        _mm512_permutex2var_epi8(previous[kind], index, current[kind]));
  }
}

VOBREX_TARGET_AVX512 void FifteenRowsLocally(const int16_t* const row[4], uint16_t* const out[3]) {
  __m512i previous[3], current[3];
  LocalKinds(row, 0, previous);
  for (int z = 0; z < 15; ++z) {
    LocalKinds(row, 32 * (z + 1), current);
    StoreLocal(previous, current, z, out);
    FetchAhead(row, z);
    for (int kind = 0; kind < 3; ++kind) previous[kind] = current[kind];
  }
}

// The mixes of three planes' values (16-bit, each within -1455 .. 1455 as
// its lane's samples and 0 span at most kFifteenNarrowSpan): the sums 2R +
// 4G + B and R + G + B lie within +-10185 and +-4365, exact in 16-bit
// lanes, and SignedQuotientOf truncates them toward zero as MixGrey and
// MixMean do. Values of lanes without negative samples are not negative:
// there QuotientOf serves (the sums stay below 43690).
template <WideningMix kMix, bool kSigned>
VOBREX_TARGET_AVX512 inline __m512i MixLocal(__m512i r, __m512i g, __m512i b) {
  constexpr int kDivisor = kMix == WideningMix::kGrey ? 7 : 3;
  __m512i sum;
  if constexpr (kMix == WideningMix::kGrey) {
    const __m512i half = _mm512_add_epi16(r, _mm512_add_epi16(g, g));
    sum = _mm512_add_epi16(_mm512_add_epi16(half, half), b);
  } else {
    sum = _mm512_add_epi16(_mm512_add_epi16(r, g), b);
  }
  if constexpr (kSigned) return SignedQuotientOf<kDivisor>(sum);
  return QuotientOf<kDivisor>(sum);
}

VOBREX_TARGET_AVX512 inline void NarrowKinds(const FifteenSource& s, LaneForm form, __m512i bias,
                                             __m512i kinds[3]) {
  if (form == LaneForm::kUnsigned) return UnsignedKinds(s, kinds);
  BiasedKinds(s, bias, kinds);
}

// The mixed values of the source vector at `at`: where a plane's lanes
// span past the limit, all three planes take the 32-bit sums and the mix
// as MixValues forms it.
template <WideningMix kMix>
VOBREX_TARGET_AVX512 inline void LocalMixedKinds(const int16_t* const red[4],
                                                 const int16_t* const green[4],
                                                 const int16_t* const blue[4], int at,
                                                 __m512i mixed[3]) {
  const FifteenSource s[3] = {LoadFifteenSource(red, at), LoadFifteenSource(green, at),
                              LoadFifteenSource(blue, at)};
  __m512i bias[3];
  const LaneForm form[3] = {FifteenLaneForm(s[0], bias[0]), FifteenLaneForm(s[1], bias[1]),
                            FifteenLaneForm(s[2], bias[2])};
  if (form[0] != LaneForm::kWide && form[1] != LaneForm::kWide && form[2] != LaneForm::kWide) {
    __m512i r[3], g[3], b[3];
    NarrowKinds(s[0], form[0], bias[0], r);
    NarrowKinds(s[1], form[1], bias[1], g);
    NarrowKinds(s[2], form[2], bias[2], b);
    const bool unsigned3 = form[0] == LaneForm::kUnsigned && form[1] == LaneForm::kUnsigned &&
                           form[2] == LaneForm::kUnsigned;
    for (int kind = 0; kind < 3; ++kind) {
      mixed[kind] = unsigned3 ? MixLocal<kMix, false>(r[kind], g[kind], b[kind])
                              : MixLocal<kMix, true>(r[kind], g[kind], b[kind]);
    }
    return;
  }
  __m512i halves[2][3];
  for (int half = 0; half < 2; ++half) {
    __m512i r[3], g[3], b[3];
    WideKinds(s[0], half, r);
    WideKinds(s[1], half, g);
    WideKinds(s[2], half, b);
    for (int kind = 0; kind < 3; ++kind)
      halves[half][kind] = MixValues<kMix>(r[kind], g[kind], b[kind]);
  }
  for (int kind = 0; kind < 3; ++kind)
    mixed[kind] = _mm512_packs_epi32(halves[0][kind], halves[1][kind]);
}

// The mixed rows of a group straight from the three planes' rows: the
// resampled values of each plane stay in registers, and the mix takes them
// as MixMean and MixGrey take them from memory.
template <WideningMix kMix>
VOBREX_TARGET_AVX512 void FifteenMixedAvx512(const int16_t* const red[4],
                                             const int16_t* const green[4],
                                             const int16_t* const blue[4], uint16_t* const out[3]) {
  __m512i previous[3], current[3];
  LocalMixedKinds<kMix>(red, green, blue, 0, previous);
  for (int z = 0; z < 15; ++z) {
    LocalMixedKinds<kMix>(red, green, blue, 32 * (z + 1), current);
    StoreLocal(previous, current, z, out);
    FetchAhead(red, z);
    FetchAhead(green, z);
    FetchAhead(blue, z);
    for (int kind = 0; kind < 3; ++kind) previous[kind] = current[kind];
  }
}

// The three picture rows of one group at once: as components in lanes
// sized where the samples are, as values with the lane table loaded once
// for all three.
template <class Out>
VOBREX_TARGET_AVX512 void FifteenRowsAvx512(const int16_t* const row[4], Out* const out[3]) {
  if constexpr (std::is_same_v<Out, uint16_t>) {
    FifteenRowsLocally(row, out);
    return;
  }
  for (int z = 0; z < 30; z += 2) {
    __m512i value[2][3];
    for (int half = 0; half < 2; ++half) {
      FifteenKinds(row, z + half, _mm512_loadu_si512(kFifteenths.index[z + half]), value[half]);
    }
    for (int kind = 0; kind < 3; ++kind) {
      StorePair(out[kind] + 16 * z, value[0][kind], value[1][kind]);
    }
    FetchAhead(row, z / 2);
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

int32_t WideningQuotient(uint16_t y, int32_t divisor) {
  return static_cast<int32_t>((y * QuotientMultiplier(divisor)) >> (16 + QuotientShift(divisor)));
}

int32_t WideningSignedQuotient(int16_t x, int32_t divisor) {
  // The shifts of the product are arithmetic (floors), as in the lanes.
  const int32_t product = x * SignedQuotientMultiplier(divisor);
  return (product >> (16 + SignedQuotientShift(divisor))) + (x < 0 ? 1 : 0);
}

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
