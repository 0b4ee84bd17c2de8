// Automatic white-balance estimates: on the raw working samples, on a
// finished preview image (with its scene checks and fallback history), and
// the normalisation of channel sums into levels.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdlib>

#include "platform/cpu_features.h"
#include "platform/simd.h"
#include "preview/white_balance.h"

namespace vobrex {

namespace {

constexpr int32_t kBlockSamples = 0x40000;
constexpr int32_t kFieldSamples = 0x20000;
constexpr int32_t kLineSamples = 512;

// Raw sums above this wrap in the x 1000 of the normalisation.
constexpr int32_t kRawSumLimit = 4000000;
// Brightness level below which a preview image is too dark to estimate.
constexpr uint32_t kDarkLevel = 204800;

struct RawSums {
  int32_t red = 0;
  int32_t green = 0;
  int32_t blue = 0;
  int32_t count = 0;
};

// A grid of 52 lines x 61 points a block: every fourth line of the fields
// from line 10, every eighth column from column 8. Each point takes a red,
// a green and a blue site that touch one another in the mosaic.
// `samples[i]` reads the working sample at index i.
template <class Source>
RawSums SumRawGrid(const Source& samples, int blocks) {
  RawSums s;
  for (int b = 0; b < blocks; ++b) {
    const std::ptrdiff_t greenBlue = static_cast<std::ptrdiff_t>(b) * kBlockSamples;
    const std::ptrdiff_t redGreen = greenBlue + kFieldSamples;
    for (int32_t line = 10; line <= 10 + 4 * 51; line += 4) {
      for (int32_t column = 8; column <= 8 * 61; column += 8) {
        const int32_t at = line * kLineSamples + column;
        s.red += samples[redGreen + at];
        s.green += samples[redGreen + at + 1];
        s.blue += samples[greenBlue + at + 1];
      }
    }
  }
  s.count = 3172 * blocks;
  return s;
}

#if defined(VOBREX_X86_SIMD)

// The grid of one block with 64-byte vectors, for raw bytes read through a
// widening table whose values all lie in 0..32767. Byte permutes gather the
// grid's bytes of a line (second field: the red and green pair of each
// point, first field: the blue), the table is looked up as two byte tables
// (low and high bytes of each value), and the bytes are summed in 16-bit
// lanes: a lane takes at most two bytes a line, 2 x 52 x 255 < 32768 in
// all, so neither the lanes nor their pairwise sums overflow. Each sum is
// that of the same values as the point-by-point loop; integer sums do not
// depend on their order.
struct SplitTable512 {
  __m512i low[4];
  __m512i high[4];
};

VOBREX_TARGET_AVX512 inline __m512i LookUp512(const __m512i (&t)[4], __m512i x, __mmask64 upper) {
  const __m512i a = _mm512_permutex2var_epi8(t[0], x, t[1]);
  const __m512i b = _mm512_permutex2var_epi8(t[2], x, t[3]);
  return _mm512_mask_blend_epi8(upper, a, b);
}

VOBREX_TARGET_AVX512 inline int32_t SumLanes16(__m512i v) {
  return _mm512_reduce_add_epi32(_mm512_madd_epi16(v, _mm512_set1_epi16(1)));
}

// Sums of 16-bit lanes: the low and the high bytes of the looked-up values.
struct LaneSums {
  __m512i low;
  __m512i high;
};

// The low and high bytes of the values at the valid lanes of `v`.
VOBREX_TARGET_AVX512 inline void LookUpValues(const SplitTable512& t, __m512i v, __mmask64 valid,
                                              __m512i& lo, __m512i& hi) {
  const __mmask64 upper = _mm512_movepi8_mask(v);
  lo = _mm512_maskz_mov_epi8(valid, LookUp512(t.low, v, upper));
  hi = _mm512_maskz_mov_epi8(valid, LookUp512(t.high, v, upper));
}

// Red and green pairs: even bytes to red, odd bytes to green.
VOBREX_TARGET_AVX512 inline void AddPairs(const SplitTable512& t, __m512i v, __mmask64 valid,
                                          LaneSums& red, LaneSums& green) {
  const __m512i lowByte = _mm512_set1_epi16(0x00FF);
  __m512i lo, hi;
  LookUpValues(t, v, valid, lo, hi);
  red.low = _mm512_add_epi16(red.low, _mm512_and_si512(lo, lowByte));
  red.high = _mm512_add_epi16(red.high, _mm512_and_si512(hi, lowByte));
  green.low = _mm512_add_epi16(green.low, _mm512_srli_epi16(lo, 8));
  green.high = _mm512_add_epi16(green.high, _mm512_srli_epi16(hi, 8));
}

// One colour in every byte.
VOBREX_TARGET_AVX512 inline void AddSingles(const SplitTable512& t, __m512i v, __mmask64 valid,
                                            LaneSums& sums) {
  const __m512i lowByte = _mm512_set1_epi16(0x00FF);
  __m512i lo, hi;
  LookUpValues(t, v, valid, lo, hi);
  sums.low = _mm512_add_epi16(
      sums.low, _mm512_add_epi16(_mm512_and_si512(lo, lowByte), _mm512_srli_epi16(lo, 8)));
  sums.high = _mm512_add_epi16(
      sums.high, _mm512_add_epi16(_mm512_and_si512(hi, lowByte), _mm512_srli_epi16(hi, 8)));
}

VOBREX_TARGET_AVX512 inline int32_t Total(const LaneSums& sums) {
  return SumLanes16(sums.low) + 256 * SumLanes16(sums.high);
}

VOBREX_TARGET_AVX512 RawSums SumRawGridBlockAvx512(const uint8_t* block, const int16_t* widen) {
  alignas(64) uint8_t low[256], high[256], pairIndex[64], blueIndex[64];
  for (int v = 0; v < 256; ++v) {
    low[v] = static_cast<uint8_t>(widen[v] & 0xFF);
    high[v] = static_cast<uint8_t>(widen[v] >> 8);
  }
  for (int l = 0; l < 64; ++l) {
    // Of two line vectors (128 bytes, 16 points): red and green of point
    // (l % 32) / 2 side by side; the blue of point l % 16.
    pairIndex[l] = static_cast<uint8_t>(8 * ((l % 32) / 2) + l % 2);
    blueIndex[l] = static_cast<uint8_t>(8 * (l % 16) + 1);
  }
  SplitTable512 t;
  for (int k = 0; k < 4; ++k) {
    t.low[k] = _mm512_load_si512(low + 64 * k);
    t.high[k] = _mm512_load_si512(high + 64 * k);
  }
  const __m512i pairs = _mm512_load_si512(pairIndex);
  const __m512i blues = _mm512_load_si512(blueIndex);
  constexpr __mmask64 kUpperHalf = 0xFFFFFFFF00000000ull;
  // Points 1..61 of the 64 at columns 0, 8, ..., 504.
  constexpr __mmask64 kFirstPairs = ~uint64_t{3};              // not point 0
  constexpr __mmask64 kSecondPairs = (uint64_t{1} << 60) - 1;  // not points 62, 63
  constexpr __mmask64 kBluePoints = ((uint64_t{1} << 62) - 1) & ~uint64_t{1};
  const __m512i zero = _mm512_setzero_si512();
  LaneSums red{zero, zero}, green{zero, zero}, blue{zero, zero};
  for (int32_t line = 10; line <= 10 + 4 * 51; line += 4) {
    const uint8_t* f = block + line * kLineSamples;
    const uint8_t* s = f + kFieldSamples;
    __m512i v[8];
    for (int k = 0; k < 8; ++k) v[k] = _mm512_loadu_si512(s + 64 * k);
    AddPairs(t,
             _mm512_mask_blend_epi8(kUpperHalf, _mm512_permutex2var_epi8(v[0], pairs, v[1]),
                                    _mm512_permutex2var_epi8(v[2], pairs, v[3])),
             kFirstPairs, red, green);
    AddPairs(t,
             _mm512_mask_blend_epi8(kUpperHalf, _mm512_permutex2var_epi8(v[4], pairs, v[5]),
                                    _mm512_permutex2var_epi8(v[6], pairs, v[7])),
             kSecondPairs, red, green);
    for (int k = 0; k < 8; ++k) v[k] = _mm512_loadu_si512(f + 64 * k);
    __m512i blues16 = _mm512_permutex2var_epi8(v[0], blues, v[1]);
    for (int k = 1; k < 4; ++k) {
      blues16 = _mm512_mask_blend_epi8(uint64_t{0xFFFF} << (16 * k), blues16,
                                       _mm512_permutex2var_epi8(v[2 * k], blues, v[2 * k + 1]));
    }
    AddSingles(t, blues16, kBluePoints, blue);
  }
  RawSums sums;
  sums.red = Total(red);
  sums.green = Total(green);
  sums.blue = Total(blue);
  return sums;
}

#endif  // VOBREX_X86_SIMD

// The grid of raw bytes read through a widening table: with vectors where
// the processor has them and the table holds no negative value.
RawSums SumRawGrid(const WidenedBytes& samples, int blocks) {
#if defined(VOBREX_X86_SIMD)
  const bool nonNegative =
      std::all_of(samples.widen, samples.widen + 256, [](int16_t v) { return v >= 0; });
  if (ActiveSimdLevel() == SimdLevel::kAvx512 && nonNegative) {
    RawSums s;
    for (int b = 0; b < blocks; ++b) {
      const RawSums block = SumRawGridBlockAvx512(
          samples.raw + static_cast<std::ptrdiff_t>(b) * kBlockSamples, samples.widen);
      s.red += block.red;
      s.green += block.green;
      s.blue += block.blue;
    }
    s.count = 3172 * blocks;
    return s;
  }
#endif
  return SumRawGrid<WidenedBytes>(samples, blocks);
}

// Scene checks of the raw-domain estimate; false for a frame whose sums
// cannot tell the colour of the light:
// - far too dark: the three channels together average below 128 a point,
//   i.e. each channel below about 43 of the 0..1023 working range (over two
//   stops under a mid-grey exposure), where read noise and the black level
//   decide the ratios;
// - nearly one colour: the strongest channel mean is six times the weakest
//   or more, or a channel is black. No light source pulls the channels that
//   far apart; such a frame is filled by a coloured subject, and balancing
//   it would grey the subject out.
// An ordinary exposure (channel means of a few hundred, within a factor of
// about four of one another under daylight or lamp light) always passes.
bool RawSceneIsFit(const RawSums& s) {
  if (s.count <= 0) return false;
  const int64_t total = static_cast<int64_t>(s.red) + s.green + s.blue;
  if (total < static_cast<int64_t>(s.count) * 128) return false;
  const int32_t means[3] = {s.red / s.count, s.green / s.count, s.blue / s.count};
  const int32_t weakest = std::min({means[0], means[1], means[2]});
  const int32_t strongest = std::max({means[0], means[1], means[2]});
  return weakest >= 1 && strongest / weakest < 6;
}

// Caps the correction of the two channels below the peak: the weakest is set
// to `floor` and the middle one keeps its distance to it. `first` is the
// channel that counts as the weakest on a tie.
void LimitCorrection(uint32_t& first, uint32_t& second, uint32_t weakestLevel, uint32_t floor) {
  const bool firstIsWeakest = first == weakestLevel;
  uint32_t& weakest = firstIsWeakest ? first : second;
  uint32_t& middle = firstIsWeakest ? second : first;
  // A weakest level that truncated to 0 gives no distance to keep.
  if (weakest != 0) middle = middle * floor / weakest;
  weakest = floor;
}

enum class Fitness { kUnfit, kMarginal, kFit };

// Colour state of the sums: dominant and weakest channel (1 red, 2 blue,
// 3 green, ties taken in that order) and their spread in tenths.
void RecordColorState(CameraModes& m, uint32_t red, uint32_t green, uint32_t blue) {
  const uint32_t strongest = std::max({red, green, blue});
  const uint32_t weakest = std::min({red, green, blue});
  if (weakest < 1) return;
  auto channelOf = [&](uint32_t v) -> uint8_t { return v == red ? 1 : v == blue ? 2 : 3; };
  m.wbStatus = channelOf(strongest);
  m.wbStatus2 = channelOf(weakest);
  m.wbMemo = static_cast<int32_t>(strongest * 10u / weakest);
}

// Mean colour distance of every fourth pixel from the image's mean colour:
// a frame of nearly one colour (10 or less) cannot show the light's colour.
Fitness ColourSpread(const uint8_t* rgb, int32_t byteCount) {
  const int64_t n = (static_cast<int64_t>(byteCount) + 11) / 12;
  if (n <= 0) return Fitness::kUnfit;
  // The last pixel may be cut short by the byte count; its missing bytes
  // count as 0 rather than being read past the image.
  auto byteAt = [&](int64_t i) -> int32_t { return i < byteCount ? rgb[i] : 0; };
  int64_t sums[3] = {};
  for (int64_t p = 0; p < n; ++p) {
    for (int c = 0; c < 3; ++c) sums[c] += byteAt(12 * p + c);
  }
  int32_t means[3];
  for (int c = 0; c < 3; ++c) means[c] = static_cast<int32_t>(sums[c] / n);
  double distance = 0.0;
  for (int64_t p = 0; p < n; ++p) {
    int32_t squares = 0;
    for (int c = 0; c < 3; ++c) {
      const int32_t d = byteAt(12 * p + c) - means[c];
      squares += d * d;
    }
    distance += std::sqrt(static_cast<double>(squares));
  }
  const int64_t m = static_cast<int64_t>(distance) / n;
  if (m <= 10) return Fitness::kUnfit;
  if (m <= 20) return Fitness::kMarginal;
  return Fitness::kFit;
}

void PushLevelHistory(WhiteBalanceState& st, uint32_t red, uint32_t green, uint32_t blue) {
  const uint32_t sums[3] = {red, green, blue};
  for (int c = 0; c < 3; ++c) {
    uint32_t* h = st.levelHistory[c];
    std::copy(h + 1, h + kLevelHistoryDepth, h);
    h[kLevelHistoryDepth - 1] = sums[c];
  }
  if (st.levelPushCount < UINT32_MAX) ++st.levelPushCount;
}

// Robust mean of a channel's five history values: the mean of those within
// the mean absolute deviation of the mean. False when fewer than two are.
bool RobustMean(const uint32_t (&h)[kLevelHistoryDepth], uint32_t& result) {
  uint64_t total = 0;
  for (uint32_t v : h) total += v;
  const int64_t mean = static_cast<int64_t>(total / kLevelHistoryDepth);
  int64_t deviationTotal = 0;
  for (uint32_t v : h) deviationTotal += std::llabs(static_cast<int64_t>(v) - mean);
  const int64_t deviation = deviationTotal / kLevelHistoryDepth;
  uint64_t within = 0;
  int count = 0;
  for (uint32_t v : h) {
    if (std::llabs(static_cast<int64_t>(v) - mean) <= deviation) {
      within += v;
      ++count;
    }
  }
  if (count < 2) return false;
  result = static_cast<uint32_t>(within / static_cast<uint64_t>(count));
  return true;
}

// Levels from the last five accepted measurements, for a frame that could
// not be measured. False (with the default levels set) when the history is
// too short, scattered or implausible.
bool ApplyLevelFallback(Camera& cam) {
  CameraModes& m = cam.modes;
  const WhiteBalanceState& st = cam.whiteBalance;
  uint32_t robust[3];
  if (st.levelPushCount < kLevelHistoryDepth) {
    SetDefaultLevels(m);
    return false;
  }
  for (int c = 0; c < 3; ++c) {
    if (!RobustMean(st.levelHistory[c], robust[c])) {
      SetDefaultLevels(m);
      return false;
    }
  }
  const uint32_t weakest = std::min({robust[kRed], robust[kGreen], robust[kBlue]});
  const uint32_t strongest = std::max({robust[kRed], robust[kGreen], robust[kBlue]});
  if (weakest == 0 || strongest / weakest >= 6) {
    SetDefaultLevels(m);
    return false;
  }
  // The products wrap in 32 bits, as those of the normalisation do.
  uint32_t level[3];
  const int top = robust[kRed] == strongest ? kRed : robust[kGreen] == strongest ? kGreen : kBlue;
  for (int c = 0; c < 3; ++c) level[c] = c == top ? 1000u : robust[c] * 1000u / strongest;
  m.ratioR = static_cast<uint16_t>(level[kRed]);
  m.ratioG = static_cast<uint16_t>(level[kGreen]);
  m.ratioB = static_cast<uint16_t>(level[kBlue]);
  return true;
}

template <class Source>
int EstimateRawWhiteBalanceOf(Camera& cam, const Source& samples, int32_t resolutionCode) {
  CameraModes& m = cam.modes;
  WhiteBalanceState& st = cam.whiteBalance;
  const int blocks = ResolutionScale(resolutionCode);
  if (blocks == 0) {
    SetDefaultLevels(m);
    return 0;
  }

  // Automatic mode measures every frame; the semi-automatic mode measures
  // only while a white target is being taken (wbOnly) and otherwise uses
  // that reference.
  RawSums sums;
  if (m.wbMode == 1 || (m.wbMode == 2 && m.wbOnly == 1)) sums = SumRawGrid(samples, blocks);
  if (m.wbOnly == 1) {
    m.semiFactors[3] = sums.red;
    m.semiFactors[4] = sums.green;
    m.semiFactors[5] = sums.blue;
    m.semiFactors[6] = sums.count;
    st.rawSumR = sums.red;
    st.rawSumG = sums.green;
    st.rawSumB = sums.blue;
    st.rawCount = sums.count;
  }
  if (m.wbMode == 2) {
    // One measured entry is enough to take the saved reference.
    if (m.semiFactors[3] != -1 || m.semiFactors[4] != -1 || m.semiFactors[5] != -1) {
      sums = {m.semiFactors[3], m.semiFactors[4], m.semiFactors[5], m.semiFactors[6]};
    } else {
      sums = {st.rawSumR, st.rawSumG, st.rawSumB, st.rawCount};
    }
  }

  // Several blocks of a bright frame would wrap the normalisation; such a
  // frame is taken as neutral.
  bool neutral = false;
  if (blocks > 1 &&
      (sums.red > kRawSumLimit || sums.green > kRawSumLimit || sums.blue > kRawSumLimit)) {
    sums.red = sums.green = sums.blue = 100;
    neutral = true;
  }
  if (sums.red < 0 || sums.green < 0 || sums.blue < 0) {
    SetDefaultLevels(m);
    return 0;
  }
  // Only the automatic mode rejects a frame; the semi-automatic reference was
  // taken from a white target on purpose. The neutral sums of a bright frame
  // are meant as they are and skip the checks.
  if (m.wbMode == 1 && !neutral && !RawSceneIsFit(sums)) return 0;
  NormalizeLevels(cam, static_cast<uint32_t>(sums.red), static_cast<uint32_t>(sums.green),
                  static_cast<uint32_t>(sums.blue));
  return 1;
}

}  // namespace

int EstimateRawWhiteBalance(Camera& cam, const int16_t* samples, int32_t resolutionCode) {
  return EstimateRawWhiteBalanceOf(cam, samples, resolutionCode);
}

int EstimateRawWhiteBalance(Camera& cam, const WidenedBytes& source, int32_t resolutionCode) {
  return EstimateRawWhiteBalanceOf(cam, source, resolutionCode);
}

int EstimateRawWhiteBalance(Camera& cam, const WidenedSamples& source, int32_t resolutionCode) {
  return EstimateRawWhiteBalanceOf(cam, source, resolutionCode);
}

int NormalizeLevels(Camera& cam, uint32_t sumR, uint32_t sumG, uint32_t sumB) {
  CameraModes& m = cam.modes;
  const uint32_t peak = std::max({sumR, sumG, sumB});
  const uint32_t low = std::min({sumR, sumG, sumB});
  if (low < 1) {
    SetDefaultLevels(m);
    return 0;
  }
  const uint32_t spread = peak * 10u / low;
  // x x 1000 in 32 bits: it wraps for sums above 4294967, which is why the
  // raw sums are held to 4000000.
  auto scaled = [peak](uint32_t x) { return x * 25u * 40u / peak; };
  const uint32_t weakestLevel = scaled(low);
  uint32_t r, g, b;
  if (peak == sumR) {
    m.wbStatus = 1;
    r = 1000;
    g = scaled(sumG);
    b = scaled(sumB);
    if (spread >= 36) LimitCorrection(g, b, weakestLevel, 285);
  } else if (peak == sumG) {
    m.wbStatus = 3;
    g = 1000;
    r = scaled(sumR);
    b = scaled(sumB);
    if (spread >= 36) LimitCorrection(r, b, weakestLevel, 285);
  } else {
    // The blue sites are the least sensitive: a blue peak is trusted less.
    m.wbStatus = 2;
    b = 1000;
    r = scaled(sumR);
    g = scaled(sumG);
    if (spread >= 21) LimitCorrection(g, r, weakestLevel, 500);
  }
  m.ratioR = static_cast<uint16_t>(r);
  m.ratioG = static_cast<uint16_t>(g);
  m.ratioB = static_cast<uint16_t>(b);
  return 1;
}

int MeasureColorLevels(Camera& cam, const uint8_t* rgb, int32_t byteCount) {
  CameraModes& m = cam.modes;
  WhiteBalanceState& st = cam.whiteBalance;
  // The large preview modes are sampled on every third pixel; the full-size
  // one also sums a quarter, to keep its sums in the range of the smaller.
  const bool quarter = m.sensorMode == 51;
  const int32_t step = (m.sensorMode == 51 || m.sensorMode == 0) ? 9 : 3;
  const int32_t samples = byteCount / step;

  auto sumPixels = [&](uint32_t(&bgr)[3]) {
    for (int32_t k = 0; k < samples; ++k) {
      const uint8_t* pixel = rgb + static_cast<std::ptrdiff_t>(k) * step;
      for (int c = 0; c < 3; ++c) bgr[c] += pixel[c];
    }
  };

  uint32_t bgr[3] = {};  // blue, green, red, as the pixel bytes
  if (m.wbMode == 1) {
    sumPixels(bgr);
    if (quarter) {
      for (uint32_t& v : bgr) v /= 4;
    }
  } else if (m.wbMode == 2 && m.wbOnly == 1) {
    // A white target is being measured: each frame is folded into the
    // running values of the run.
    if (st.targetRunCount == 0)
      std::fill(std::begin(st.targetLevels), std::end(st.targetLevels), 0u);
    if (st.targetRunCount < INT32_MAX) ++st.targetRunCount;
    uint32_t frame[3] = {};
    sumPixels(frame);
    for (int c = 0; c < 3; ++c) {
      uint32_t v = (st.targetLevels[c] + frame[c]) / static_cast<uint32_t>(st.targetRunCount);
      if (quarter) v /= 4;
      st.targetLevels[c] = v;
      m.semiFactors[c] = static_cast<int32_t>(v);
      bgr[c] = v;
    }
  } else if (m.wbMode == 2 && m.wbOnly == 0) {
    st.targetRunCount = 0;
  }
  if (m.wbMode == 2 && m.semiFactors[0] != -1 && m.semiFactors[1] != -1 && m.semiFactors[2] != -1) {
    for (int c = 0; c < 3; ++c) bgr[c] = static_cast<uint32_t>(m.semiFactors[c]);
  }
  const uint32_t blue = bgr[0], green = bgr[1], red = bgr[2];

  RecordColorState(m, red, green, blue);

  const uint32_t level = (2u * red + 4u * green + blue) / 7u;
  if (level < kDarkLevel && m.wbMode == 1) {
    ApplyLevelFallback(cam);
    return 0;
  }
  // A level below kDarkLevel x 11 / 10 is marginal; it is not acted on.

  const Fitness spread = ColourSpread(rgb, byteCount);
  if (spread == Fitness::kUnfit && m.wbMode == 1) {
    ApplyLevelFallback(cam);
    return 0;
  }
  if (spread != Fitness::kMarginal) PushLevelHistory(st, red, green, blue);
  return NormalizeLevels(cam, red, green, blue);
}

int EstimateWhiteBalance(Camera& cam, const uint8_t* rgb, int32_t byteCount) {
  MeasureColorLevels(cam, rgb, byteCount);
  CameraModes& m = cam.modes;
  uint16_t* const fields[3] = {&m.ratioR, &m.ratioG, &m.ratioB};
  for (int c = 0; c < 3; ++c) {
    uint32_t* h = cam.whiteBalance.estimateHistory[c];
    std::copy(h + 1, h + kEstimateHistoryDepth, h);
    h[kEstimateHistoryDepth - 1] = *fields[c];
    uint32_t sum = 0;
    for (int i = 0; i < kEstimateHistoryDepth; ++i) sum += h[i];
    // Only the proportions of the three sums matter to the gain tables.
    *fields[c] = static_cast<uint16_t>(sum);
  }
  return 1;
}

}  // namespace vobrex
