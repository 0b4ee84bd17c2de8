#include "still/still_resample.h"

#include "still/widening.h"

namespace vobrex {
namespace {

constexpr int kSide = kStillSide;

const int16_t* PlaneRowAt(const int16_t* plane, int row) { return plane + row * kSide; }

// Four source columns become five output columns at 0, 0.8, 1.6, 2.4, 3.2;
// the grey picture's weights take column 4k + 1 whole at phase 0 instead of
// column 4k. At k = 127 the fifth sample is column 0 of the next row (the
// planes are one continuous run).
}  // namespace

void ResampleRow640(const int16_t* plane, int r, int32_t* line) {
  WidenFourToFive(PlaneRowAt(plane, kStillFirstRow + r), 128, line, false);
}

void ResampleRow640Shifted(const int16_t* plane, int r, int32_t* line) {
  WidenFourToFive(PlaneRowAt(plane, kStillFirstRow + r), 128, line, true);
}

void ResampleRow480(const int16_t* plane, int r, int32_t* line) {
  const int t = r / 3;
  const int16_t* a = PlaneRowAt(plane, kStillFirstRow + 4 * t);
  const int16_t* b = a + kSide;
  const int16_t* c = b + kSide;
  const int16_t* d = c + kSide;
  // Output column 15q + p from source columns u = 16q + p (weight 15 - p)
  // and u + 1 (weight p); the last column, 479, takes 510 and 511.
  WidenSixteenToFifteen(a, b, c, d, r % 3, line);
}

void ResampleRow320(const int16_t* plane, int r, int32_t* line) {
  const int16_t* row = PlaneRowAt(plane, kStillFirstRow + 2 * r);
  // Output positions 0, 1.6, 3.2, 4.8 and 6.4 of each group of eight columns.
  for (int g = 0; g < 64; ++g) {
    const int16_t* s = row + 8 * g;
    int32_t* o = line + 5 * g;
    o[0] = s[0];
    o[1] = (2 * s[1] + 3 * s[2]) / 5;
    o[2] = (4 * s[3] + s[4]) / 5;
    o[3] = (s[4] + 4 * s[5]) / 5;
    o[4] = (3 * s[6] + 2 * s[7]) / 5;
  }
}

}  // namespace vobrex
