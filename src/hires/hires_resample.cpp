#include "hires/hires_resample.h"

#include <algorithm>
#include <cstddef>

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

}  // namespace vobrex
