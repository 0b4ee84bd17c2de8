// Kernels E and F on the full read-out: sizes that no small group of whole
// columns maps onto (32 columns to 15 or 11 pixels), so each colour is
// interpolated between its nearest samples with weights in quarters, taken
// from tables fixed at compile time.
#include <array>

#include "preview/sensor_kernel_output.h"
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

}  // namespace

// 4 field lines to 3 output lines: output line y reads the line of each
// field whose rows lie nearest its centre (one line of each, 1024 bytes).
void KernelE1(const uint8_t* raw, uint8_t* rgb, int orientation) {
  ResampleNearestLines<kSizeE, Output::kColour>(raw, rgb, orientation);
}

void KernelE0(const uint8_t* raw, uint8_t* rgb, int orientation) {
  ResampleNearestLines<kSizeE, Output::kGrey>(raw, rgb, orientation);
}

void KernelF1(const uint8_t* raw, uint8_t* rgb, int orientation) {
  ResampleNearestLines<kSizeF, Output::kColour>(raw, rgb, orientation);
}

void KernelF1Wide(const uint8_t* raw, uint8_t* rgb, int orientation) {
  ResampleTwoLines<kSizeF>(raw, rgb, orientation);
}

}  // namespace vobrex
