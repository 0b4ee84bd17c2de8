#include "hires/hires_resample.h"

#include <algorithm>
#include <cstddef>

#include "platform/simd.h"
#include "still/picture_rows.h"
#include "still/widening.h"

namespace vobrex {
namespace {

constexpr std::ptrdiff_t kRow = kGridSide;  // one grid row down

// Pixels per column phase of the five-phase members (B0, B2 and twins).
struct ColumnPhases {
  int count[5];
};

ColumnPhases FivePhaseCounts(int width) {
  return {{(width + 4) / 5, (width + 3) / 5, (width + 3) / 5, (width + 1) / 5, (width + 1) / 5}};
}

// The highest pixel index a five-phase row writes, or -1 for none.
int FivePhaseLastPixel(const ColumnPhases& phases) {
  int last = -1;
  for (int m = 0; m < 5; ++m) {
    if (phases.count[m] > 0) last = std::max(last, 5 * (phases.count[m] - 1) + m);
  }
  return last;
}

// Where computed row y, pixel x goes, as a component index into the output.
struct Placement {
  int width;
  int height;
  bool firstRowLast;
  bool rightToLeft;

  Placement(int w, int h, int orientation)
      : width(w),
        height(h),
        firstRowLast(orientation != 1 && orientation != 3),
        rightToLeft(orientation != 1 && orientation != 2) {}

  std::ptrdiff_t RowStart(int y) const {
    const int outRow = firstRowLast ? height - 1 - y : y;
    const std::ptrdiff_t base = static_cast<std::ptrdiff_t>(outRow) * width * 3;
    return rightToLeft ? base + static_cast<std::ptrdiff_t>(width - 1) * 3 : base;
  }
  std::ptrdiff_t Step() const { return rightToLeft ? -3 : 3; }
};

template <bool kGrey>
inline void Put(uint16_t* pixel, int32_t red, int32_t green, int32_t blue) {
  if constexpr (kGrey) {
    const auto level = static_cast<uint16_t>((2 * red + 4 * green + blue) / 7);
    pixel[0] = level;
    pixel[1] = level;
    pixel[2] = level;
  } else {
    pixel[0] = static_cast<uint16_t>(blue);
    pixel[1] = static_cast<uint16_t>(green);
    pixel[2] = static_cast<uint16_t>(red);
  }
}

// One straight loop of one phase: `count` pixels, the i-th computed by `f`
// from each plane at grid offset site + i * siteStep and written at
// component index pixel + i * pixelStep.
template <bool kGrey, class F>
void RunPhase(const WorkGrid& grid, std::ptrdiff_t site, std::ptrdiff_t siteStep, uint16_t* out,
              std::ptrdiff_t pixel, std::ptrdiff_t pixelStep, int count, F f) {
  const int16_t* red = grid.Plane(kRedPlane);
  const int16_t* blue = grid.Plane(kBluePlane);
  const int16_t* green = grid.Plane(kGreenPlane);
  for (int i = 0; i < count; ++i) {
    const std::ptrdiff_t s = site + i * siteStep;
    Put<kGrey>(out + (pixel + i * pixelStep), f(red + s), f(green + s), f(blue + s));
  }
}

// A row of five column phases; group g starts at grid offset site + g * siteStep.
template <bool kGrey, class F0, class F1, class F2, class F3, class F4>
void FivePhaseRow(const WorkGrid& grid, std::ptrdiff_t site, std::ptrdiff_t siteStep,
                  const ColumnPhases& n, const Placement& place, int y, uint16_t* out, F0 f0, F1 f1,
                  F2 f2, F3 f3, F4 f4) {
  const std::ptrdiff_t start = place.RowStart(y);
  const std::ptrdiff_t step = place.Step();
  RunPhase<kGrey>(grid, site, siteStep, out, start, 5 * step, n.count[0], f0);
  RunPhase<kGrey>(grid, site, siteStep, out, start + step, 5 * step, n.count[1], f1);
  RunPhase<kGrey>(grid, site, siteStep, out, start + 2 * step, 5 * step, n.count[2], f2);
  RunPhase<kGrey>(grid, site, siteStep, out, start + 3 * step, 5 * step, n.count[3], f3);
  RunPhase<kGrey>(grid, site, siteStep, out, start + 4 * step, 5 * step, n.count[4], f4);
}

// 1260 x 960: each grid row from row 8 is one output row; five output
// pixels per four grid columns from column 4, at grid column 4 + 0.8 x.
template <bool kGrey>
void Resample1260(const WorkGrid& grid, const Placement& place, uint16_t* out) {
  const ColumnPhases n = FivePhaseCounts(place.width);
  for (int y = 0; y < place.height; ++y) {
    FivePhaseRow<kGrey>(
        grid, WorkGrid::Offset(8 + y, 4), 4, n, place, y, out,
        [](const int16_t* x) { return int32_t{x[0]}; },
        [](const int16_t* x) { return (x[0] + 4 * x[1]) / 5; },
        [](const int16_t* x) { return (4 * x[1] + 6 * x[2]) / 10; },
        [](const int16_t* x) { return (6 * x[2] + 4 * x[3]) / 10; },
        [](const int16_t* x) { return (4 * x[3] + x[4]) / 5; });
  }
}

// 1016 x 768: grid columns from 4 unscaled; eight output rows per ten grid
// rows from row 8, at grid row 8 + 1.25 y.
template <bool kGrey>
void Resample1016(const WorkGrid& grid, const Placement& place, uint16_t* out) {
  const std::ptrdiff_t step = place.Step();
  for (int q = 0; 8 * q < place.height; ++q) {
    const std::ptrdiff_t site = WorkGrid::Offset(8 + 10 * q, 4);
    auto row = [&](int phase, auto f) {
      const int y = 8 * q + phase;
      if (y < place.height)
        RunPhase<kGrey>(grid, site, 1, out, place.RowStart(y), step, place.width, f);
    };
    row(0, [](const int16_t* x) { return int32_t{x[0]}; });
    row(1, [](const int16_t* x) { return (3 * x[1 * kRow] + x[2 * kRow]) / 4; });
    row(2, [](const int16_t* x) { return (x[2 * kRow] + x[3 * kRow]) / 2; });
    row(3, [](const int16_t* x) { return (x[3 * kRow] + 3 * x[4 * kRow]) / 4; });
    row(4, [](const int16_t* x) { return int32_t{x[5 * kRow]}; });
    row(5, [](const int16_t* x) { return (3 * x[6 * kRow] + x[7 * kRow]) / 4; });
    row(6, [](const int16_t* x) { return (x[7 * kRow] + x[8 * kRow]) / 2; });
    row(7, [](const int16_t* x) { return (x[8 * kRow] + 3 * x[9 * kRow]) / 4; });
  }
}

// 848 x 640: four output rows per six grid rows from row 8, five output
// pixels per six grid columns from column 2. Rows 0 and 3 of a group are
// interpolated along the row at grid column 2 + 1.2 x; the two rows between
// mix diagonal pairs of rows 1 and 2, and 4 and 5, on the green
// checkerboard's sites.
template <bool kGrey>
void Resample848(const WorkGrid& grid, const Placement& place, uint16_t* out) {
  const ColumnPhases n = FivePhaseCounts(place.width);
  for (int q = 0; 4 * q < place.height; ++q) {
    const std::ptrdiff_t site = WorkGrid::Offset(8 + 6 * q, 2);
    auto alongRow = [&](int y, std::ptrdiff_t r) {
      if (y >= place.height) return;
      FivePhaseRow<kGrey>(
          grid, site + r * kRow, 6, n, place, y, out,
          [](const int16_t* z) { return int32_t{z[0]}; },
          [](const int16_t* z) { return (4 * z[1] + z[2]) / 5; },
          [](const int16_t* z) { return (3 * z[2] + 2 * z[3]) / 5; },
          [](const int16_t* z) { return (2 * z[3] + 3 * z[4]) / 5; },
          [](const int16_t* z) { return (z[4] + 4 * z[5]) / 5; });
    };
    alongRow(4 * q, 0);
    if (4 * q + 1 < place.height) {
      constexpr std::ptrdiff_t r1 = 1 * kRow, r2 = 2 * kRow;
      FivePhaseRow<kGrey>(
          grid, site, 6, n, place, 4 * q + 1, out,
          [](const int16_t* z) { return int32_t{z[r2 + 0]}; },
          [](const int16_t* z) { return (z[r1 + 1] + z[r2 + 2]) / 2; },
          [](const int16_t* z) { return (z[r1 + 3] + z[r2 + 2]) / 2; },
          [](const int16_t* z) { return (z[r1 + 3] + z[r2 + 4]) / 2; },
          [](const int16_t* z) { return (z[r1 + 5] + z[r2 + 4]) / 2; });
    }
    alongRow(4 * q + 2, 3);
    if (4 * q + 3 < place.height) {
      constexpr std::ptrdiff_t r4 = 4 * kRow, r5 = 5 * kRow;
      FivePhaseRow<kGrey>(
          grid, site, 6, n, place, 4 * q + 3, out,
          [](const int16_t* z) { return int32_t{z[r4 + 0]}; },
          [](const int16_t* z) { return (z[r4 + 2] + z[r5 + 1]) / 2; },
          [](const int16_t* z) { return (z[r4 + 2] + z[r5 + 3]) / 2; },
          [](const int16_t* z) { return (z[r4 + 4] + z[r5 + 3]) / 2; },
          [](const int16_t* z) { return (z[r4 + 4] + z[r5 + 5]) / 2; });
    }
  }
}

enum class Size { k1260, k1016, k848 };

Size SizeOf(HiresResampler which) {
  switch (which) {
    case HiresResampler::kB0:
    case HiresResampler::kA0: return Size::k1260;
    case HiresResampler::kB1:
    case HiresResampler::kA1: return Size::k1016;
    default: return Size::k848;
  }
}

bool IsGrey(HiresResampler which) {
  return which == HiresResampler::kA0 || which == HiresResampler::kA1 ||
         which == HiresResampler::kA2;
}

}  // namespace

bool ResampleFits(HiresResampler which, int width, int height, int orientation, uint32_t capacity) {
  if (width < 1 || height < 1) return true;
  // The last pixel of a row and the last grid row and column read. The
  // bounds are exact for the writes and may overstate the reads by a group.
  int64_t lastPixel = 0, lastRow = 0, lastColumn = 0;
  switch (SizeOf(which)) {
    case Size::k1260: {
      const ColumnPhases n = FivePhaseCounts(width);
      lastPixel = FivePhaseLastPixel(n);
      lastRow = 8 + int64_t{height} - 1;
      lastColumn = 4 + 4 * (int64_t{n.count[0]} - 1) + 4;
      break;
    }
    case Size::k1016:
      lastPixel = width - 1;
      lastRow = 8 + 10 * ((int64_t{height} + 7) / 8 - 1) + 9;
      lastColumn = 4 + int64_t{width} - 1;
      break;
    case Size::k848: {
      const ColumnPhases n = FivePhaseCounts(width);
      lastPixel = FivePhaseLastPixel(n);
      lastRow = 8 + 6 * ((int64_t{height} + 3) / 4 - 1) + 5;
      lastColumn = 2 + 6 * (int64_t{n.count[0]} - 1) + 5;
      break;
    }
  }
  // All reads start at row 8 and column 2 or more; the last one must stay
  // in the green plane, the last of the block.
  if (2 * kPlaneSites + lastRow * kGridSide + lastColumn >= kGridSites) return false;
  const Placement place(width, height, orientation);
  const int64_t lowColumn = place.rightToLeft ? width - 1 - lastPixel : 0;
  const int64_t highColumn = place.rightToLeft ? width - 1 : lastPixel;
  const int64_t lowest = lowColumn * 3;
  const int64_t highest = ((int64_t{height} - 1) * width + highColumn) * 3 + 2;
  return lowest >= 0 && highest < int64_t{capacity};
}

void Resample(const WorkGrid& grid, HiresResampler which, int width, int height, int orientation,
              uint16_t* out) {
  if (width < 1 || height < 1) return;
  const Placement place(width, height, orientation);
  const bool grey = IsGrey(which);
  switch (SizeOf(which)) {
    case Size::k1260:
      grey ? Resample1260<true>(grid, place, out) : Resample1260<false>(grid, place, out);
      break;
    case Size::k1016:
      grey ? Resample1016<true>(grid, place, out) : Resample1016<false>(grid, place, out);
      break;
    case Size::k848:
      grey ? Resample848<true>(grid, place, out) : Resample848<false>(grid, place, out);
      break;
  }
}

bool ResampleWritesWholeRows(HiresResampler which, int width, int height) {
  if (width < 1 || height < 1 || width > kRowsMaxWidth) return false;
  if (SizeOf(which) == Size::k1016) return true;
  // The five phase loops write pixels 0 .. width - 1 exactly once when
  // their counts add up to the width and the last pixel is the row's last.
  const ColumnPhases n = FivePhaseCounts(width);
  int total = 0;
  for (int c : n.count) total += c;
  return total == width && FivePhaseLastPixel(n) == width - 1;
}

namespace {

// One plane's values of one output row, in computed order; a last group
// cut short by the width is computed whole, its extra values unused.
using PlaneLine = int32_t[kRowsMaxWidth + 5];

// 1260 x 960, row y: grid row 8 + y, five pixels per four grid columns.
// Phases 2 and 3 are (4 x1 + 6 x2) / 10 and (6 x2 + 4 x3) / 10: for any
// integer a, 2a / 10 and a / 5 are the same rational number, so their
// truncations agree, and these are (2 x1 + 3 x2) / 5 and (3 x2 + 2 x3) / 5,
// the weights of the still widening. The rows from 8 to 967 have rows after
// them for the widening's reads past the last group.
void Line1260(const int16_t* plane, int y, int width, int32_t* o) {
  WidenFourToFive(plane + WorkGrid::Offset(8 + y, 4), (width + 4) / 5, o, false);
}

// 1016 x 768, row 8q + phase: grid rows from 8 + 10q, one pixel per column.
void Line1016(const int16_t* plane, int y, int width, int32_t* o) {
  const int q = y / 8, phase = y % 8;
  const int16_t* r = plane + WorkGrid::Offset(8 + 10 * q, 4);
  auto at = [r](int k) { return r + k * kRow; };
  const int16_t *a = nullptr, *b = nullptr;
  switch (phase) {
    case 0:
      a = at(0);
      for (int x = 0; x < width; ++x) o[x] = a[x];
      return;
    case 1:
      a = at(1), b = at(2);
      for (int x = 0; x < width; ++x) o[x] = (3 * a[x] + b[x]) / 4;
      return;
    case 2:
      a = at(2), b = at(3);
      for (int x = 0; x < width; ++x) o[x] = (a[x] + b[x]) / 2;
      return;
    case 3:
      a = at(3), b = at(4);
      for (int x = 0; x < width; ++x) o[x] = (a[x] + 3 * b[x]) / 4;
      return;
    case 4:
      a = at(5);
      for (int x = 0; x < width; ++x) o[x] = a[x];
      return;
    case 5:
      a = at(6), b = at(7);
      for (int x = 0; x < width; ++x) o[x] = (3 * a[x] + b[x]) / 4;
      return;
    case 6:
      a = at(7), b = at(8);
      for (int x = 0; x < width; ++x) o[x] = (a[x] + b[x]) / 2;
      return;
    default:
      a = at(8), b = at(9);
      for (int x = 0; x < width; ++x) o[x] = (a[x] + 3 * b[x]) / 4;
      return;
  }
}

// 848 x 640, row 4q + phase: grid rows from 8 + 6q, five pixels per six
// grid columns from column 2.
void Line848(const int16_t* plane, int y, int width, int32_t* o) {
  const int q = y / 4, phase = y % 4;
  const int16_t* base = plane + WorkGrid::Offset(8 + 6 * q, 2);
  for (int g = 0; 5 * g < width; ++g) {
    const int16_t* z = base + 6 * g;
    int32_t* v = o + 5 * g;
    if (phase == 0 || phase == 2) {
      const int16_t* r = z + (phase == 0 ? 0 : 3 * kRow);
      v[0] = r[0];
      v[1] = (4 * r[1] + r[2]) / 5;
      v[2] = (3 * r[2] + 2 * r[3]) / 5;
      v[3] = (2 * r[3] + 3 * r[4]) / 5;
      v[4] = (r[4] + 4 * r[5]) / 5;
    } else if (phase == 1) {
      const int16_t* r1 = z + kRow;
      const int16_t* r2 = z + 2 * kRow;
      v[0] = r2[0];
      v[1] = (r1[1] + r2[2]) / 2;
      v[2] = (r1[3] + r2[2]) / 2;
      v[3] = (r1[3] + r2[4]) / 2;
      v[4] = (r1[5] + r2[4]) / 2;
    } else {
      const int16_t* r4 = z + 4 * kRow;
      const int16_t* r5 = z + 5 * kRow;
      v[0] = r4[0];
      v[1] = (r4[2] + r5[1]) / 2;
      v[2] = (r4[2] + r5[3]) / 2;
      v[3] = (r4[4] + r5[3]) / 2;
      v[4] = (r4[4] + r5[5]) / 2;
    }
  }
}

#if defined(VOBREX_X86_SIMD)

// x / 5 truncated toward zero for |x| <= 5 * 32768, the weighted sums of
// two 16-bit values with weights adding to 5. x converts to single
// precision exactly, and 1/5 rounds up to f = 1/5 (1 + d), 0 < d < 2^-24.
// With x = 5q + j (0 <= j <= 4, x >= 0) the exact product x f is
// q + j/5 + x d / 5, at least q and below q + 0.81; rounded to single
// precision (steps of 2^-8 or less below 2^15) it stays in [q, q + 1) and
// truncates to q. The product of -x is the negated one, so a negative x
// truncates toward zero alike.
VOBREX_TARGET_AVX512 inline __m512i DivideByFive(__m512i x) {
  return _mm512_cvttps_epi32(_mm512_mul_ps(_mm512_cvtepi32_ps(x), _mm512_set1_ps(1.0f / 5)));
}

VOBREX_TARGET_AVX512 int32_t DivideByFiveOnce(int32_t x) {
  return _mm_cvtsi128_si32(_mm512_castsi512_si128(DivideByFive(_mm512_set1_epi32(x))));
}

// x / 2 truncated toward zero: a negative odd x is raised by one first.
VOBREX_TARGET_AVX512 inline __m512i HalveTowardZero(__m512i x) {
  return _mm512_srai_epi32(_mm512_add_epi32(x, _mm512_srli_epi32(x, 31)), 1);
}

// 848 x 640: for output vector z (pixels 16z .. 16z + 15 of a step of
// sixteen groups, 96 grid columns), the first group it reads and, for each
// pixel, the two sites of its weighted pair in a window of 32 columns from
// that group's first column of each of two grid rows (indices 32 and up
// pick the second row), with their weights. A pixel taken whole pairs its
// site with weight 5 (along a row) or 2 (the mixed rows) with a site of
// weight 0.
struct SixToFive {
  int firstGroup[5];
  alignas(64) uint16_t index[3][5][32];  // [along, rows 1/2, rows 4/5][z]
  alignas(64) int16_t weight[3][5][32];
};

constexpr SixToFive MakeSixToFive() {
  SixToFive s{};
  // Per phase m: column of site A, row of A (0 first, 1 second), column of
  // site B, row of B, weights.
  struct Pair {
    int columnA, rowA, columnB, rowB, weightA, weightB;
  };
  constexpr Pair kPairs[3][5] = {{{0, 0, 1, 0, 5, 0},
                                  {1, 0, 2, 0, 4, 1},
                                  {2, 0, 3, 0, 3, 2},
                                  {3, 0, 4, 0, 2, 3},
                                  {4, 0, 5, 0, 1, 4}},
                                 {{0, 0, 0, 1, 0, 2},
                                  {1, 0, 2, 1, 1, 1},
                                  {3, 0, 2, 1, 1, 1},
                                  {3, 0, 4, 1, 1, 1},
                                  {5, 0, 4, 1, 1, 1}},
                                 {{0, 0, 0, 1, 2, 0},
                                  {2, 0, 1, 1, 1, 1},
                                  {2, 0, 3, 1, 1, 1},
                                  {4, 0, 3, 1, 1, 1},
                                  {4, 0, 5, 1, 1, 1}}};
  for (int z = 0; z < 5; ++z) s.firstGroup[z] = 16 * z / 5;
  for (int kind = 0; kind < 3; ++kind) {
    for (int z = 0; z < 5; ++z) {
      for (int t = 0; t < 16; ++t) {
        const int p = 16 * z + t, k = p / 5, m = p % 5;
        const int base = 6 * (k - s.firstGroup[z]);
        const Pair& pair = kPairs[kind][m];
        s.index[kind][z][2 * t] = static_cast<uint16_t>(32 * pair.rowA + base + pair.columnA);
        s.index[kind][z][2 * t + 1] = static_cast<uint16_t>(32 * pair.rowB + base + pair.columnB);
        s.weight[kind][z][2 * t] = static_cast<int16_t>(pair.weightA);
        s.weight[kind][z][2 * t + 1] = static_cast<int16_t>(pair.weightB);
      }
    }
  }
  return s;
}

constexpr SixToFive kSixToFive = MakeSixToFive();

// The rows along the grid take both sites of every pair from its first row.
constexpr bool AlongIndicesInFirstRow() {
  for (int z = 0; z < 5; ++z) {
    for (int i = 0; i < 32; ++i) {
      if (kSixToFive.index[0][z][i] >= 32) return false;
    }
  }
  return true;
}
static_assert(AlongIndicesInFirstRow());

// Sixteen values from the output position `first` on: the int32 lines
// hold whole vectors past the width. (16-bit component lines take two
// vectors at a time, see StoreStep.)
VOBREX_TARGET_AVX512 inline void StoreValues(int32_t* o, int first, int, __m512i v) {
  _mm512_storeu_si512(o + first, v);
}

// One plane's values of output row y (4q + phase) of 848 x 640, sixteen at
// a time. Rows 0 and 2 of a group weigh within grid row 0 or 3; rows 1 and
// 3 pair grid rows 1 and 2, or 4 and 5.
template <class Out>
VOBREX_TARGET_AVX512 void Line848Avx512(const int16_t* plane, int y, int width, Out* o) {
  const int q = y / 4, phase = y % 4;
  constexpr int kFirstRow[4] = {0, 1, 3, 4};
  constexpr int kKind[4] = {0, 1, 0, 2};
  const int kind = kKind[phase];
  const int16_t* a = plane + WorkGrid::Offset(8 + 6 * q + kFirstRow[phase], 2);
  const int16_t* b = kind == 0 ? a : a + kRow;
  __m512i index[5], weight[5];
  for (int z = 0; z < 5; ++z) {
    index[z] = _mm512_loadu_si512(kSixToFive.index[kind][z]);
    weight[z] = _mm512_loadu_si512(kSixToFive.weight[kind][z]);
  }
  for (int step = 0; 80 * step < width; ++step, a += 96, b += 96) {
    for (int z = 0; z < 5; ++z) {
      const int first = 80 * step + 16 * z;
      if (first >= width) break;
      const int column = 6 * kSixToFive.firstGroup[z];
      const __m512i pairs = _mm512_permutex2var_epi16(_mm512_loadu_si512(a + column), index[z],
                                                      _mm512_loadu_si512(b + column));
      const __m512i sums = _mm512_madd_epi16(pairs, weight[z]);
      StoreValues(o, first, width, kind == 0 ? DivideByFive(sums) : HalveTowardZero(sums));
    }
  }
}

// Two vectors of sixteen 32-bit values, each in -32768 .. 32767, as
// thirty-two 16-bit ones in order: the signed pack keeps every value and
// interleaves the vectors by 128-bit quarters, which the 64-bit permute
// puts back.
VOBREX_TARGET_AVX512 inline __m512i PackInOrder(__m512i low, __m512i high) {
  return _mm512_permutexvar_epi64(_mm512_setr_epi64(0, 2, 4, 6, 1, 3, 5, 7),
                                  _mm512_packs_epi32(low, high));
}

// The ten vectors of sixteen values of a step of 160 pixels, packed two by
// two, as the components from `o` on; `left` pixels remain in the row
// (the vectors wholly past it are not stored).
VOBREX_TARGET_AVX512 inline void StoreStep(uint16_t* o, int left, const __m512i (&values)[10]) {
  for (int v = 0; v < 10 && 16 * v < left; v += 2) {
    const __m512i packed = PackInOrder(values[v], values[v + 1]);
    if (16 * v + 32 <= left) {
      _mm512_storeu_si512(o + 16 * v, packed);
    } else {
      _mm512_mask_storeu_epi16(o + 16 * v, (__mmask32(1) << (left - 16 * v)) - 1, packed);
    }
  }
}

// Line848Avx512 for 16-bit component lines: the same sixteen 32-bit
// values a vector (the same sites read, the same exact divisions), but a
// step of 160 pixels at a time so that its ten vectors go out two by two,
// one pack, one permute and one store for thirty-two pixels in place of
// two narrowing moves and two masked stores. A value is a truncated mean
// of sites with weights of one sign, so it lies between the least and the
// greatest of them, within -32768 .. 32767: the signed pack keeps it.
// The rows along the grid (kAlong) gather from their one row with a
// single-source permute.
template <bool kAlong>
VOBREX_TARGET_AVX512 void Line848PackedRow(const int16_t* a, const int16_t* b, int kind, int width,
                                           uint16_t* o) {
  __m512i index[5], weight[5];
  for (int z = 0; z < 5; ++z) {
    index[z] = _mm512_loadu_si512(kSixToFive.index[kind][z]);
    weight[z] = _mm512_loadu_si512(kSixToFive.weight[kind][z]);
  }
  __m512i values[10];
  for (int step = 0; 160 * step < width; ++step, a += 192, b += 192) {
    const int left = width - 160 * step;
    for (int v = 0; v < 10; ++v) {
      // Only the vectors the row holds read the grid.
      values[v] = _mm512_setzero_si512();
      if (16 * v >= left) continue;
      const int z = v % 5, column = 96 * (v / 5) + 6 * kSixToFive.firstGroup[z];
      const __m512i window = _mm512_loadu_si512(a + column);
      if constexpr (kAlong) {
        // Both sites in the one grid row: indices below 32.
        const __m512i pairs = _mm512_permutexvar_epi16(index[z], window);
        values[v] = DivideByFive(_mm512_madd_epi16(pairs, weight[z]));
      } else {
        const __m512i pairs =
            _mm512_permutex2var_epi16(window, index[z], _mm512_loadu_si512(b + column));
        values[v] = HalveTowardZero(_mm512_madd_epi16(pairs, weight[z]));
      }
    }
    StoreStep(o + 160 * step, left, values);
  }
}

VOBREX_TARGET_AVX512 void Line848Packed(const int16_t* plane, int y, int width, uint16_t* o) {
  const int q = y / 4, phase = y % 4;
  constexpr int kFirstRow[4] = {0, 1, 3, 4};
  constexpr int kKind[4] = {0, 1, 0, 2};
  const int16_t* a = plane + WorkGrid::Offset(8 + 6 * q + kFirstRow[phase], 2);
  if (kKind[phase] == 0) {
    Line848PackedRow<true>(a, a, 0, width, o);
  } else {
    Line848PackedRow<false>(a, a + kRow, kKind[phase], width, o);
  }
}

// 1260 x 960: for output vector z of a step of sixteen groups (64 grid
// columns), the first group it reads and each pixel's pair of columns in
// a window of 32 from that group's first, with weights in fifths (phases 2
// and 3 as (2 x1 + 3 x2) / 5 and (3 x2 + 2 x3) / 5, see Line1260).
struct FourToFive {
  int firstGroup[5];
  uint16_t index[5][32];
  int16_t weight[5][32];
};

constexpr FourToFive MakeFourToFive() {
  FourToFive f{};
  constexpr int kColumnA[5] = {0, 0, 1, 2, 3}, kColumnB[5] = {1, 1, 2, 3, 4};
  constexpr int kWeightA[5] = {5, 1, 2, 3, 4}, kWeightB[5] = {0, 4, 3, 2, 1};
  for (int z = 0; z < 5; ++z) f.firstGroup[z] = 16 * z / 5;
  for (int z = 0; z < 5; ++z) {
    for (int t = 0; t < 16; ++t) {
      const int p = 16 * z + t, k = p / 5, m = p % 5;
      const int base = 4 * (k - f.firstGroup[z]);
      f.index[z][2 * t] = static_cast<uint16_t>(base + kColumnA[m]);
      f.index[z][2 * t + 1] = static_cast<uint16_t>(base + kColumnB[m]);
      f.weight[z][2 * t] = static_cast<int16_t>(kWeightA[m]);
      f.weight[z][2 * t + 1] = static_cast<int16_t>(kWeightB[m]);
    }
  }
  return f;
}

constexpr FourToFive kFourToFive = MakeFourToFive();

template <class Out>
VOBREX_TARGET_AVX512 void Line1260Avx512(const int16_t* plane, int y, int width, Out* o) {
  const int16_t* row = plane + WorkGrid::Offset(8 + y, 4);
  __m512i index[5], weight[5];
  for (int z = 0; z < 5; ++z) {
    index[z] = _mm512_loadu_si512(kFourToFive.index[z]);
    weight[z] = _mm512_loadu_si512(kFourToFive.weight[z]);
  }
  for (int step = 0; 80 * step < width; ++step, row += 64) {
    for (int z = 0; z < 5; ++z) {
      const int first = 80 * step + 16 * z;
      if (first >= width) break;
      const __m512i window = _mm512_loadu_si512(row + 4 * kFourToFive.firstGroup[z]);
      const __m512i sums = _mm512_madd_epi16(_mm512_permutexvar_epi16(index[z], window), weight[z]);
      StoreValues(o, first, width, DivideByFive(sums));
    }
  }
}

// Line1260Avx512 for 16-bit component lines, its vectors packed two by two
// as in Line848Packed (a quotient lies between its two sites).
VOBREX_TARGET_AVX512 void Line1260Packed(const int16_t* plane, int y, int width, uint16_t* o) {
  const int16_t* row = plane + WorkGrid::Offset(8 + y, 4);
  __m512i index[5], weight[5];
  for (int z = 0; z < 5; ++z) {
    index[z] = _mm512_loadu_si512(kFourToFive.index[z]);
    weight[z] = _mm512_loadu_si512(kFourToFive.weight[z]);
  }
  __m512i values[10];
  for (int step = 0; 160 * step < width; ++step, row += 128) {
    const int left = width - 160 * step;
    for (int v = 0; v < 10; ++v) {
      values[v] = _mm512_setzero_si512();
      if (16 * v >= left) continue;
      const int z = v % 5;
      const __m512i window = _mm512_loadu_si512(row + 64 * (v / 5) + 4 * kFourToFive.firstGroup[z]);
      const __m512i sums = _mm512_madd_epi16(_mm512_permutexvar_epi16(index[z], window), weight[z]);
      values[v] = DivideByFive(sums);
    }
    StoreStep(o + 160 * step, left, values);
  }
}

// x / 4 truncated toward zero: a negative x is raised by three first.
VOBREX_TARGET_AVX512 inline __m512i QuarterTowardZero(__m512i x) {
  return _mm512_srai_epi32(_mm512_add_epi32(x, _mm512_srli_epi32(_mm512_srai_epi32(x, 31), 30)), 2);
}

// Sixteen sites of a row from `first` on, as 32-bit lanes.
VOBREX_TARGET_AVX512 inline __m512i At(const int16_t* row, int first) {
  return _mm512_cvtepi16_epi32(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(row + first)));
}

// 1016 x 768, row 8q + phase: weights in quarters of the grid rows a and b
// (the phases that copy a row weigh it 4 : 0, and 4a / 4 is a).
template <class Out>
VOBREX_TARGET_AVX512 void Line1016Avx512(const int16_t* plane, int y, int width, Out* o) {
  constexpr int kRowA[8] = {0, 1, 2, 3, 5, 6, 7, 8};
  constexpr int kWeightA[8] = {4, 3, 2, 1, 4, 3, 2, 1};
  const int q = y / 8, phase = y % 8;
  const int16_t* a = plane + WorkGrid::Offset(8 + 10 * q + kRowA[phase], 4);
  const int16_t* b = a + kRow;
  switch (kWeightA[phase]) {
    case 4:
      for (int first = 0; first < width; first += 16) StoreValues(o, first, width, At(a, first));
      return;
    case 2:
      for (int first = 0; first < width; first += 16) {
        StoreValues(o, first, width, HalveTowardZero(_mm512_add_epi32(At(a, first), At(b, first))));
      }
      return;
    default: {
      // 3 a + b, or a + 3 b with the rows swapped.
      const int16_t* triple = kWeightA[phase] == 3 ? a : b;
      const int16_t* single = kWeightA[phase] == 3 ? b : a;
      for (int first = 0; first < width; first += 16) {
        const __m512i t = At(triple, first);
        const __m512i sums =
            _mm512_add_epi32(_mm512_add_epi32(t, _mm512_add_epi32(t, t)), At(single, first));
        StoreValues(o, first, width, QuarterTowardZero(sums));
      }
      return;
    }
  }
}

// Floor of (x + y) / 2 for any two 16-bit values, in 16 bits: x + y is
// 2 (x & y) + (x ^ y).
VOBREX_TARGET_AVX512 inline __m512i FloorMean16(__m512i x, __m512i y) {
  return _mm512_add_epi16(_mm512_and_si512(x, y), _mm512_srai_epi16(_mm512_xor_si512(x, y), 1));
}

// Line1016Avx512 for 16-bit component lines, thirty-two values a step in
// 16-bit lanes, exact for any sites:
// - (a + b) / 2 toward zero is the floor mean, raised by one where the
//   sum is negative (the floor mean is) and odd (x ^ y is);
// - (3a + b) / 4 rounded down is the floor mean of a and the floor mean of
//   a and b (with a + b odd, 3a + b is odd and loses nothing more to the
//   second rounding), raised by one where 3a + b is negative and not a
//   multiple of 4; its low two bits are those of the 16-bit sum.
VOBREX_TARGET_AVX512 void Line1016Narrow(const int16_t* plane, int y, int width, uint16_t* o) {
  constexpr int kRowA[8] = {0, 1, 2, 3, 5, 6, 7, 8};
  constexpr int kWeightA[8] = {4, 3, 2, 1, 4, 3, 2, 1};
  const int q = y / 8, phase = y % 8;
  const int16_t* a = plane + WorkGrid::Offset(8 + 10 * q + kRowA[phase], 4);
  const int16_t* b = a + kRow;
  const int weight = kWeightA[phase];
  // 3 a + b, or a + 3 b with the rows swapped.
  const int16_t* triple = weight == 1 ? b : a;
  const int16_t* single = weight == 1 ? a : b;
  const __m512i one = _mm512_set1_epi16(1), three = _mm512_set1_epi16(3);
  const __m512i zero = _mm512_setzero_si512();
  for (int first = 0; first < width; first += 32) {
    const int left = width - first;
    const __mmask32 lanes = left >= 32 ? ~__mmask32(0) : (__mmask32(1) << left) - 1;
    const __m512i t = _mm512_loadu_si512(triple + first);
    __m512i value = t;
    if (weight == 2) {
      const __m512i s = _mm512_loadu_si512(single + first);
      value = FloorMean16(t, s);
      const __mmask32 raise = _mm512_cmplt_epi16_mask(value, zero) &
                              _mm512_test_epi16_mask(_mm512_xor_si512(t, s), one);
      value = _mm512_mask_add_epi16(value, raise, value, one);
    } else if (weight != 4) {
      const __m512i s = _mm512_loadu_si512(single + first);
      value = FloorMean16(t, FloorMean16(t, s));
      const __m512i sum = _mm512_add_epi16(_mm512_add_epi16(t, _mm512_add_epi16(t, t)), s);
      const __mmask32 raise =
          _mm512_cmplt_epi16_mask(value, zero) & _mm512_test_epi16_mask(sum, three);
      value = _mm512_mask_add_epi16(value, raise, value, one);
    }
    _mm512_mask_storeu_epi16(o + first, lanes, value);
  }
}

#endif

}  // namespace

int32_t ResampleDivideByFive(int32_t x) {
#if defined(VOBREX_X86_SIMD)
  if (ActiveSimdLevel() == SimdLevel::kAvx512) {
    return DivideByFiveOnce(x);
  }
#endif
  return x / 5;
}

bool ResampleReadsAcrossRow(HiresResampler which, int width, int row) {
  if (row < 8) return false;
  if (SizeOf(which) != Size::k848) return true;
  // Rows 1, 2, 4 and 5 of a group of six are read at checkerboard sites
  // only, unless the width's last group reads past the grid's right edge
  // into the next row's start.
  const int lastColumn = 2 + 6 * ((width + 4) / 5 - 1) + 5;
  return lastColumn >= kGridSide || (row - 8) % 6 == 0 || (row - 8) % 6 == 3;
}

int LastGridRowRead(HiresResampler which, int width, int y) {
  // A row wider than the grid's reads the start of the row after its last.
  switch (SizeOf(which)) {
    case Size::k1260: {
      const int lastColumn = 4 + 4 * ((width + 4) / 5 - 1) + 4;
      return 8 + y + (lastColumn >= kGridSide ? 1 : 0);
    }
    case Size::k1016: {
      constexpr int kLast[8] = {0, 2, 3, 4, 5, 7, 8, 9};
      return 8 + 10 * (y / 8) + kLast[y % 8] + (4 + width - 1 >= kGridSide ? 1 : 0);
    }
    default: {
      constexpr int kLast[4] = {0, 2, 3, 5};
      const int lastColumn = 2 + 6 * ((width + 4) / 5 - 1) + 5;
      return 8 + 6 * (y / 4) + kLast[y % 4] + (lastColumn >= kGridSide ? 1 : 0);
    }
  }
}

void ResampleRows(const WorkGrid& grid, HiresResampler which, int width, int height,
                  int orientation, StillRows& rows) {
  ResampleRowSpan(grid, which, width, height, orientation, rows, 0, height);
}

void ResampleRowSpan(const WorkGrid& grid, HiresResampler which, int width, int height,
                     int orientation, StillRows& rows, int first, int end) {
  if (!ResampleWritesWholeRows(which, width, height)) return;
  const Placement place(width, height, orientation);
  void (*line)(const int16_t*, int, int, int32_t*) = Line1260;
  if (SizeOf(which) == Size::k1016) line = Line1016;
  if (SizeOf(which) == Size::k848) line = Line848;
  const bool grey = IsGrey(which);
  PlaneLine red, green, blue;
  StillComponentLines out;
#if defined(VOBREX_X86_SIMD)
  if (ActiveSimdLevel() == SimdLevel::kAvx512) {
    line = SizeOf(which) == Size::k1260   ? Line1260Avx512<int32_t>
           : SizeOf(which) == Size::k1016 ? Line1016Avx512<int32_t>
                                          : Line848Avx512<int32_t>;
    if (!grey) {
      // Colour values go straight to 16-bit component lines.
      void (*colour)(const int16_t*, int, int, uint16_t*) =
          SizeOf(which) == Size::k1260   ? Line1260Packed
          : SizeOf(which) == Size::k1016 ? Line1016Narrow
                                         : Line848Packed;
      for (int y = std::max(first, 0); y < std::min(end, height); ++y) {
        const int memoryRow = place.firstRowLast ? height - 1 - y : y;
        if (SizeOf(which) == Size::k1016 && y % 4 == 0) {
          // Rows 0 and 4 of a group of eight are grid rows as they stand:
          // their sites, read as 16 bits, are the components.
          const std::ptrdiff_t site = WorkGrid::Offset(8 + 10 * (y / 8) + 5 * (y % 8 / 4), 4);
          auto line = [&grid, site](int plane) {
            return reinterpret_cast<const uint16_t*>(grid.Plane(plane) + site);
          };
          rows.PutRow(memoryRow, width, place.rightToLeft,
                      {line(kBluePlane), line(kGreenPlane), line(kRedPlane)});
          continue;
        }
        colour(grid.Plane(kRedPlane), y, width, out.red);
        colour(grid.Plane(kGreenPlane), y, width, out.green);
        colour(grid.Plane(kBluePlane), y, width, out.blue);
        rows.PutRow(memoryRow, width, place.rightToLeft, {out.blue, out.green, out.red});
      }
      return;
    }
  }
#endif
  for (int y = std::max(first, 0); y < std::min(end, height); ++y) {
    line(grid.Plane(kRedPlane), y, width, red);
    line(grid.Plane(kGreenPlane), y, width, green);
    line(grid.Plane(kBluePlane), y, width, blue);
    StillRowComponents components{out.blue, out.green, out.red};
    if (grey) {
      for (int x = 0; x < width; ++x) {
        out.green[x] = static_cast<uint16_t>((2 * red[x] + 4 * green[x] + blue[x]) / 7);
      }
      components = {out.green, out.green, out.green};
    } else {
      for (int x = 0; x < width; ++x) {
        out.blue[x] = static_cast<uint16_t>(blue[x]);
        out.green[x] = static_cast<uint16_t>(green[x]);
        out.red[x] = static_cast<uint16_t>(red[x]);
      }
    }
    const int memoryRow = place.firstRowLast ? height - 1 - y : y;
    rows.PutRow(memoryRow, width, place.rightToLeft, components);
  }
}

}  // namespace vobrex
