// Kernels E and F on the full read-out: sizes that no small group of whole
// columns maps onto (32 columns to 15 or 11 pixels), so each colour is
// interpolated between its nearest samples with weights in quarters, taken
// from tables fixed at compile time.
#include <array>

#include "platform/cpu_features.h"
#include "platform/simd.h"
#include "preview/sensor_kernel_output.h"
#include "preview/sensor_kernel_vector.h"
#include "preview/sensor_kernels.h"

namespace vobrex {

namespace {

// Two samples of one colour and the weight of the second, in quarters.
struct Taps {
  int16_t first;
  int16_t second;
  int16_t weight;
};

// The samples of one colour along a line, and the lines of one field down
// the chip, lie two sensor units apart: sample m covers [2m + offset, 2m +
// offset + 1). Output index p of `count` covers span / count units from
// `start`. The taps are the samples either side of the output centre, or
// with `nearest` the one sample nearest to it; both stay inside 0..samples-1.
constexpr Taps LatticeTaps(int p, int count, double start, double span, int offset, int samples,
                           bool nearest) {
  const double centre = start + (p + 0.5) * span / count;
  const double t = (centre - offset - 0.5) / 2;  // in samples, from the centre of sample 0
  int m = static_cast<int>(t);
  if (m > t) --m;
  int weight = static_cast<int>((t - m) * 4 + 0.5);
  if (nearest) {
    if (weight >= 2) ++m;
    weight = 0;
  }
  if (weight == 4) {
    ++m;
    weight = 0;
  }
  if (m < 0) {
    m = 0;
    weight = 0;
  }
  if (m >= samples - 1) {
    m = samples - 1;
    weight = 0;
  }
  return {static_cast<int16_t>(m), static_cast<int16_t>(weight > 0 ? m + 1 : m),
          static_cast<int16_t>(weight)};
}

// Column taps of the colour at columns of `parity` (blue and the
// second-field green odd, red and the first-field green even).
template <int kWidth>
constexpr std::array<Taps, kWidth> ColumnTaps(int parity) {
  std::array<Taps, kWidth> taps{};
  for (int p = 0; p < kWidth; ++p) {
    Taps t = LatticeTaps(p, kWidth, 0, kFullColumns, parity, kFullColumns / 2, false);
    t.first = static_cast<int16_t>(2 * t.first + parity);
    t.second = static_cast<int16_t>(2 * t.second + parity);
    taps[p] = t;
  }
  return taps;
}

// Line taps of field `field` (sensor rows 2L + field) over the picture rows.
template <int kHeight>
constexpr std::array<Taps, kHeight> LineTaps(int field, bool nearest) {
  std::array<Taps, kHeight> taps{};
  for (int y = 0; y < kHeight; ++y) {
    taps[y] = LatticeTaps(y, kHeight, 2 * kFullFirstPictureLine, 2 * kFullPictureLines, field,
                          kFullFieldLines, nearest);
  }
  return taps;
}

// One colour along a line, four times its value.
inline int Along(const uint8_t* line, const Taps& t) {
  return line[t.first] * (4 - t.weight) + line[t.second] * t.weight;
}

// The four column tables of an output width.
template <int kWidth>
struct ColumnTable {
  std::array<Taps, kWidth> blue = ColumnTaps<kWidth>(1);
  std::array<Taps, kWidth> greenFirst = ColumnTaps<kWidth>(0);
  std::array<Taps, kWidth> greenSecond = ColumnTaps<kWidth>(1);
  std::array<Taps, kWidth> red = ColumnTaps<kWidth>(0);
};

enum class Output { kColour, kGrey };

// One line from the nearest line of each field: each colour between its two
// nearest samples along that line; green averages the greens of both lines.
template <KernelSize kSize, Output kOutput>
void ResampleNearestLines(const uint8_t* raw, uint8_t* rgb, int orientation) {
  static constexpr ColumnTable<kSize.width> kColumns{};
  static constexpr auto kFirstLines = LineTaps<kSize.height>(0, true);
  static constexpr auto kSecondLines = LineTaps<kSize.height>(1, true);
  for (int32_t y = 0; y < kSize.height; ++y) {
    const uint8_t* f1 = raw + kFirstLines[y].first * kFullColumns;
    const uint8_t* f2 = raw + kFullSecondField + kSecondLines[y].first * kFullColumns;
    LineWriter out(rgb, kSize.width, kSize.height, y, orientation, OtherCodes::kAsCode1);
    for (int32_t p = 0; p < kSize.width; ++p) {
      const int green =
          (Along(f1, kColumns.greenFirst[p]) + Along(f2, kColumns.greenSecond[p]) + 4) >> 3;
      if constexpr (kOutput == Output::kGrey) {
        out.PutGrey(green);
      } else {
        out.Put((Along(f1, kColumns.blue[p]) + 2) >> 2, green,
                (Along(f2, kColumns.red[p]) + 2) >> 2);
      }
    }
  }
}

// One colour over a 2 x 2 neighbourhood: along two lines, then between them;
// sixteen times its value.
inline int Across(const uint8_t* upper, const uint8_t* lower, int lineWeight, const Taps& t) {
  return Along(upper, t) * (4 - lineWeight) + Along(lower, t) * lineWeight;
}

template <KernelSize kSize>
void ResampleTwoLines(const uint8_t* raw, uint8_t* rgb, int orientation) {
  static constexpr ColumnTable<kSize.width> kColumns{};
  static constexpr auto kFirstLines = LineTaps<kSize.height>(0, false);
  static constexpr auto kSecondLines = LineTaps<kSize.height>(1, false);
  for (int32_t y = 0; y < kSize.height; ++y) {
    const Taps& l1 = kFirstLines[y];
    const Taps& l2 = kSecondLines[y];
    const uint8_t* f1 = raw + l1.first * kFullColumns;
    const uint8_t* f1Next = raw + l1.second * kFullColumns;
    const uint8_t* f2 = raw + kFullSecondField + l2.first * kFullColumns;
    const uint8_t* f2Next = raw + kFullSecondField + l2.second * kFullColumns;
    LineWriter out(rgb, kSize.width, kSize.height, y, orientation, OtherCodes::kAsCode1);
    for (int32_t p = 0; p < kSize.width; ++p) {
      const int blue = (Across(f1, f1Next, l1.weight, kColumns.blue[p]) + 8) >> 4;
      const int green = (Across(f1, f1Next, l1.weight, kColumns.greenFirst[p]) +
                         Across(f2, f2Next, l2.weight, kColumns.greenSecond[p]) + 16) >>
                        5;
      const int red = (Across(f2, f2Next, l2.weight, kColumns.red[p]) + 8) >> 4;
      out.Put(blue, green, red);
    }
  }
}

// --- ResampleNearestLines with 64-byte vectors ------------------------------
//
// Two merged lines hold every sample a line of E1, E0 or F1 reads: M, the
// greens of both fields (first-field line at even columns, second-field
// line at odd ones), and N, the other colours (second-field red at even,
// first-field blue at odd columns); the taps of each colour fall on its
// columns only. A group of up to 21 output pixels reads a window of 64
// columns of M and N. One byte permute gathers the two taps of each of its
// values into 16-bit lanes and a multiply-add of unsigned bytes by the
// weights (4 - w, w) gives Along() of the scalar kernel exactly (at most
// 4 x 255, no saturation); blue and red take one such gather each, green
// two (one per field) summed before its rounding, as in the scalar kernel.
// The group's pixels then go out as one vector of at most 63 bytes.

constexpr int kMostGroupPixels = 21;  // 63 bytes
constexpr int kWindowColumns = 64;

// One group of output pixels, in output order (right to left for the
// mirrored codes).
struct ResampleGroup {
  // Pairs of window columns and their weights, two bytes a pixel: blue and
  // red in N, the first- and second-field greens in M.
  alignas(64) uint8_t index[4][64] = {};
  alignas(64) int8_t weight[4][64] = {};
  int32_t window = 0;  // first column of the window, even
  int32_t offset = 0;  // of the group's first byte in an output line
  int32_t bytes = 0;   // output bytes of the group
};

template <int kWidth, int kGroupPixels>
struct ResamplePlan {
  static constexpr int kGroups = (kWidth + kGroupPixels - 1) / kGroupPixels;
  ResampleGroup groups[kGroups];
  bool fits = true;  // every tap inside its group's window
};

template <int kWidth, int kGroupPixels>
constexpr ResamplePlan<kWidth, kGroupPixels> MakeResamplePlan(bool reversed) {
  constexpr ColumnTable<kWidth> kColumns{};
  ResamplePlan<kWidth, kGroupPixels> plan{};
  for (int g = 0; g < plan.kGroups; ++g) {
    ResampleGroup& group = plan.groups[g];
    const int first = g * kGroupPixels;
    const int pixels = kWidth - first < kGroupPixels ? kWidth - first : kGroupPixels;
    group.offset = 3 * first;
    group.bytes = 3 * pixels;
    const Taps* tables[4] = {kColumns.blue.data(), kColumns.red.data(), kColumns.greenFirst.data(),
                             kColumns.greenSecond.data()};
    int low = kFullColumns;
    for (int k = 0; k < pixels; ++k) {
      const int p = reversed ? kWidth - 1 - (first + k) : first + k;
      for (const Taps* t : tables) low = t[p].first < low ? t[p].first : low;
    }
    low -= low % 2;
    group.window = low < kFullColumns - kWindowColumns ? low : kFullColumns - kWindowColumns;
    for (int k = 0; k < pixels; ++k) {
      const int p = reversed ? kWidth - 1 - (first + k) : first + k;
      for (int c = 0; c < 4; ++c) {
        const Taps& t = tables[c][p];
        const int a = t.first - group.window, b = t.second - group.window;
        if (a < 0 || b >= kWindowColumns) plan.fits = false;
        group.index[c][2 * k] = static_cast<uint8_t>(a);
        group.index[c][2 * k + 1] = static_cast<uint8_t>(b);
        group.weight[c][2 * k] = static_cast<int8_t>(4 - t.weight);
        group.weight[c][2 * k + 1] = static_cast<int8_t>(t.weight);
      }
    }
  }
  return plan;
}

// The most pixels a group of a line of kWidth can take with every tap in
// its window, in both directions.
template <int kWidth, int kGroupPixels = kMostGroupPixels>
constexpr int GroupPixelsFor() {
  if constexpr (kGroupPixels <= 1) {
    return 1;
  } else {
    if (MakeResamplePlan<kWidth, kGroupPixels>(false).fits &&
        MakeResamplePlan<kWidth, kGroupPixels>(true).fits) {
      return kGroupPixels;
    }
    return GroupPixelsFor<kWidth, kGroupPixels - 1>();
  }
}

#if defined(VOBREX_X86_SIMD)

// Output byte o: blue and green from the pixel's 16-bit lane of BG (blue
// low, green high), red from the low byte of its lane of R (at 64 +).
constexpr std::array<uint8_t, 64> MakePixelOrder() {
  std::array<uint8_t, 64> order{};
  for (int o = 0; o < 3 * kMostGroupPixels; ++o) {
    const int k = o / 3, byte = o % 3;
    order[o] = static_cast<uint8_t>(byte < 2 ? 2 * k + byte : 64 + 2 * k);
  }
  return order;
}

constexpr std::array<uint8_t, 64> kPixelOrder = MakePixelOrder();

// Along() of a group's values: the gathered pairs times their weights.
VOBREX_TARGET_AVX512 inline __m512i AlongGroup(const ResampleGroup& g, int c, __m512i window) {
  const __m512i pairs = _mm512_permutexvar_epi8(_mm512_load_si512(g.index[c]), window);
  return _mm512_maddubs_epi16(pairs, _mm512_load_si512(g.weight[c]));
}

// (v + 2) >> 2 and (v + 4) >> 3 of 16-bit lanes in one rounding multiply:
// mulhrs(v, m) is ((v x m >> 14) + 1) >> 1. With m = 2^13, v x m >> 14 is
// v >> 1, and for v = 4k + r, ((v >> 1) + 1) >> 1 is k + (r >= 2), as is
// (v + 2) >> 2. With m = 2^12 it is ((v >> 2) + 1) >> 1, for v = 8k + r
// k + (r >= 4), as is (v + 4) >> 3. The products stay far inside 32 bits
// for the sums here (0..2040).
VOBREX_TARGET_AVX512 inline __m512i RoundedQuarters(__m512i v) {
  return _mm512_mulhrs_epi16(v, _mm512_set1_epi16(1 << 13));
}

VOBREX_TARGET_AVX512 inline __m512i RoundedEighths(__m512i v) {
  return _mm512_mulhrs_epi16(v, _mm512_set1_epi16(1 << 12));
}

// Line by line: the two field lines stay in the first-level cache while the
// groups read their windows.
template <int kWidth, int kHeight, int kGroupPixels, Output kOutput>
VOBREX_TARGET_AVX512 void RunNearestLines(const ResamplePlan<kWidth, kGroupPixels>& plan,
                                          const std::array<Taps, kHeight>& firstLines,
                                          const std::array<Taps, kHeight>& secondLines,
                                          const uint8_t* raw, uint8_t* rgb, bool topDown) {
  constexpr __mmask64 kOddLanes = 0xAAAAAAAAAAAAAAAAull;
  const __m512i order = _mm512_loadu_si512(kPixelOrder.data());
  const std::ptrdiff_t stride = kWidth * 3;
  for (int y = 0; y < kHeight; ++y) {
    const uint8_t* f1 = raw + firstLines[y].first * kFullColumns;
    const uint8_t* f2 = raw + kFullSecondField + secondLines[y].first * kFullColumns;
    uint8_t* row = rgb + (topDown ? kHeight - 1 - y : y) * stride;
    for (const ResampleGroup& g : plan.groups) {
      const __m512i a = _mm512_loadu_si512(f1 + g.window);
      const __m512i b = _mm512_loadu_si512(f2 + g.window);
      const __m512i m = _mm512_mask_blend_epi8(kOddLanes, a, b);
      const __m512i green16 =
          RoundedEighths(_mm512_add_epi16(AlongGroup(g, 2, m), AlongGroup(g, 3, m)));
      __m512i blueGreen, red;
      if constexpr (kOutput == Output::kGrey) {
        blueGreen = _mm512_or_si512(green16, _mm512_slli_epi16(green16, 8));
        red = green16;
      } else {
        const __m512i n = _mm512_mask_blend_epi8(kOddLanes, b, a);
        const __m512i blue16 = RoundedQuarters(AlongGroup(g, 0, n));
        red = RoundedQuarters(AlongGroup(g, 1, n));
        blueGreen = _mm512_or_si512(blue16, _mm512_slli_epi16(green16, 8));
      }
      _mm512_mask_storeu_epi8(row + g.offset, (~uint64_t{0}) >> (64 - g.bytes),
                              _mm512_permutex2var_epi8(blueGreen, order, red));
    }
  }
}

#endif  // VOBREX_X86_SIMD

// ResampleNearestLines on vectors; false when the processor lacks them.
template <KernelSize kSize, Output kOutput>
bool ResampleNearestLinesVector(const uint8_t* raw, uint8_t* rgb, int orientation) {
#if defined(VOBREX_X86_SIMD)
  static constexpr int kGroupPixels = GroupPixelsFor<kSize.width>();
  static_assert(kGroupPixels >= 16, "groups too small to pay");
  static constexpr ResamplePlan<kSize.width, kGroupPixels> kPlans[2] = {
      MakeResamplePlan<kSize.width, kGroupPixels>(false),
      MakeResamplePlan<kSize.width, kGroupPixels>(true)};
  static_assert(kPlans[0].fits && kPlans[1].fits, "a tap lies outside its window");
  static constexpr auto kFirstLines = LineTaps<kSize.height>(0, true);
  static constexpr auto kSecondLines = LineTaps<kSize.height>(1, true);
  if (ActiveSimdLevel() != SimdLevel::kAvx512) return false;
  int code = orientation;
  if (code < 1 || code > 4) code = 1;  // E and F read other codes as 1
  RunNearestLines<kSize.width, kSize.height, kGroupPixels, kOutput>(
      kPlans[code == 3 || code == 4], kFirstLines, kSecondLines, raw, rgb, code == 2 || code == 4);
  return true;
#else
  static_cast<void>(raw);
  static_cast<void>(rgb);
  static_cast<void>(orientation);
  return false;
#endif
}

// --- The kernels in formula form, for the vector engine ---------------------

// weight x (one colour along a line): its two taps.
void AddAlong(ByteFormula& f, int line, const Taps& t, int weight) {
  f.Add(line, t.first, (4 - t.weight) * weight);
  f.Add(line, t.second, t.weight * weight);
}

// Lines 0 and 1 are the two first-field lines around the output line, 2 and
// 3 the two second-field ones; the line weights make the line type.
template <KernelSize kSize>
KernelShape ShapeTwoLines() {
  static constexpr auto kFirstLines = LineTaps<kSize.height>(0, false);
  static constexpr auto kSecondLines = LineTaps<kSize.height>(1, false);
  KernelShape s;
  s.width = kSize.width;
  s.height = kSize.height;
  s.pixelsPerChunk = 11;
  s.lineTypes = 16;
  s.lineType = [](int y) { return kFirstLines[y].weight * 4 + kSecondLines[y].weight; };
  s.sources = [](int y) {
    return LineSources{{kFirstLines[y].first * kFullColumns, kFirstLines[y].second * kFullColumns,
                        kFullSecondField + kSecondLines[y].first * kFullColumns,
                        kFullSecondField + kSecondLines[y].second * kFullColumns}};
  };
  s.pixel = [](int type, int p, ByteFormula(&bgr)[3]) {
    static constexpr ColumnTable<kSize.width> kColumns{};
    const int w1 = type / 4, w2 = type % 4;
    auto across = [](ByteFormula& f, int upper, int lineWeight, const Taps& t) {
      AddAlong(f, upper, t, 4 - lineWeight);
      AddAlong(f, upper + 1, t, lineWeight);
    };
    ByteFormula b, g, r;
    across(b, 0, w1, kColumns.blue[p]);
    b.round = 8;
    b.shift = 4;
    across(g, 0, w1, kColumns.greenFirst[p]);
    across(g, 2, w2, kColumns.greenSecond[p]);
    g.round = 16;
    g.shift = 5;
    across(r, 2, w2, kColumns.red[p]);
    r.round = 8;
    r.shift = 4;
    bgr[0] = b;
    bgr[1] = g;
    bgr[2] = r;
  };
  return s;
}

// One compiled kernel per shape.
template <KernelShape (*kMake)()>
const VectorKernel* Compiled() {
  static const std::shared_ptr<const VectorKernel> kKernel = CompileVectorKernel(kMake());
  return kKernel.get();
}

}  // namespace

// 4 field lines to 3 output lines: output line y reads the line of each
// field whose rows lie nearest its centre (one line of each, 1024 bytes).
void KernelE1(const uint8_t* raw, uint8_t* rgb, int orientation) {
  if (ResampleNearestLinesVector<kSizeE, Output::kColour>(raw, rgb, orientation)) return;
  ResampleNearestLines<kSizeE, Output::kColour>(raw, rgb, orientation);
}

void KernelE0(const uint8_t* raw, uint8_t* rgb, int orientation) {
  if (ResampleNearestLinesVector<kSizeE, Output::kGrey>(raw, rgb, orientation)) return;
  ResampleNearestLines<kSizeE, Output::kGrey>(raw, rgb, orientation);
}

void KernelF1(const uint8_t* raw, uint8_t* rgb, int orientation) {
  if (ResampleNearestLinesVector<kSizeF, Output::kColour>(raw, rgb, orientation)) return;
  ResampleNearestLines<kSizeF, Output::kColour>(raw, rgb, orientation);
}

void KernelF1Wide(const uint8_t* raw, uint8_t* rgb, int orientation) {
  if (RunVectorKernel(Compiled<ShapeTwoLines<kSizeF>>(), raw, rgb, orientation)) return;
  ResampleTwoLines<kSizeF>(raw, rgb, orientation);
}

}  // namespace vobrex
