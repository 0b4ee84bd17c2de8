// Kernels E and F on the full read-out: sizes that no small group of whole
// columns maps onto (32 columns to 15 or 11 pixels), so each colour is
// interpolated between its nearest samples with weights in quarters, taken
// from tables fixed at compile time.
#include <array>

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

// --- The kernels in formula form, for the vector engine ---------------------

// weight x (one colour along a line): its two taps.
void AddAlong(ByteFormula& f, int line, const Taps& t, int weight) {
  f.Add(line, t.first, (4 - t.weight) * weight);
  f.Add(line, t.second, t.weight * weight);
}

// Line 0 is the nearest first-field line, line 1 the nearest second-field one.
template <KernelSize kSize, Output kOutput>
KernelShape ShapeNearestLines() {
  KernelShape s;
  s.width = kSize.width;
  s.height = kSize.height;
  // 32 columns make 15 pixels (E) or 11 (F).
  s.pixelsPerChunk = kSize.width == kSizeE.width ? 15 : 11;
  s.sources = [](int y) {
    static constexpr auto kFirstLines = LineTaps<kSize.height>(0, true);
    static constexpr auto kSecondLines = LineTaps<kSize.height>(1, true);
    return LineSources{{kFirstLines[y].first * kFullColumns,
                        kFullSecondField + kSecondLines[y].first * kFullColumns, 0, 0}};
  };
  s.pixel = [](int, int p, ByteFormula(&bgr)[3]) {
    static constexpr ColumnTable<kSize.width> kColumns{};
    ByteFormula g;
    AddAlong(g, 0, kColumns.greenFirst[p], 1);
    AddAlong(g, 1, kColumns.greenSecond[p], 1);
    g.round = 4;
    g.shift = 3;
    if constexpr (kOutput == Output::kGrey) {
      bgr[0] = bgr[1] = bgr[2] = g;
    } else {
      ByteFormula b, r;
      AddAlong(b, 0, kColumns.blue[p], 1);
      b.round = 2;
      b.shift = 2;
      AddAlong(r, 1, kColumns.red[p], 1);
      r.round = 2;
      r.shift = 2;
      bgr[0] = b;
      bgr[1] = g;
      bgr[2] = r;
    }
  };
  return s;
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
  if (RunVectorKernel(Compiled<ShapeNearestLines<kSizeE, Output::kColour>>(), raw, rgb,
                      orientation)) {
    return;
  }
  ResampleNearestLines<kSizeE, Output::kColour>(raw, rgb, orientation);
}

void KernelE0(const uint8_t* raw, uint8_t* rgb, int orientation) {
  if (RunVectorKernel(Compiled<ShapeNearestLines<kSizeE, Output::kGrey>>(), raw, rgb,
                      orientation)) {
    return;
  }
  ResampleNearestLines<kSizeE, Output::kGrey>(raw, rgb, orientation);
}

void KernelF1(const uint8_t* raw, uint8_t* rgb, int orientation) {
  if (RunVectorKernel(Compiled<ShapeNearestLines<kSizeF, Output::kColour>>(), raw, rgb,
                      orientation)) {
    return;
  }
  ResampleNearestLines<kSizeF, Output::kColour>(raw, rgb, orientation);
}

void KernelF1Wide(const uint8_t* raw, uint8_t* rgb, int orientation) {
  if (RunVectorKernel(Compiled<ShapeTwoLines<kSizeF>>(), raw, rgb, orientation)) return;
  ResampleTwoLines<kSizeF>(raw, rgb, orientation);
}

}  // namespace vobrex
