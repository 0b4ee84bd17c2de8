#include "hires/hires_resample.h"

#include <algorithm>
#include <cstddef>

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

}  // namespace

void ResampleRows(const WorkGrid& grid, HiresResampler which, int width, int height,
                  int orientation, StillRows& rows) {
  if (!ResampleWritesWholeRows(which, width, height)) return;
  const Placement place(width, height, orientation);
  void (*line)(const int16_t*, int, int, int32_t*) = Line1260;
  if (SizeOf(which) == Size::k1016) line = Line1016;
  if (SizeOf(which) == Size::k848) line = Line848;
  const bool grey = IsGrey(which);
  PlaneLine red, green, blue;
  StillComponentLines out;
  for (int y = 0; y < height; ++y) {
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
