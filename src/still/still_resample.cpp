#include "still/still_resample.h"

namespace vobrex {
namespace {

constexpr int kSide = kStillSide;

const int16_t* PlaneRowAt(const int16_t* plane, int row) { return plane + row * kSide; }

// Four source columns become five output columns at 0, 0.8, 1.6, 2.4, 3.2;
// `kShifted` takes column 4k + 1 whole at phase 0 instead of column 4k. At
// k = 127 the fifth sample is column 0 of the next row (the planes are one
// continuous run).
template <bool kShifted>
void Widen640(const int16_t* plane, int r, int32_t* line) {
  const int16_t* row = PlaneRowAt(plane, kStillFirstRow + r);
  for (int k = 0; k < 128; ++k) {
    const int16_t* s = row + 4 * k;
    int32_t* o = line + 5 * k;
    o[0] = kShifted ? s[1] : s[0];
    o[1] = (s[0] + 4 * s[1]) / 5;
    o[2] = (2 * s[1] + 3 * s[2]) / 5;
    o[3] = (3 * s[2] + 2 * s[3]) / 5;
    o[4] = (4 * s[3] + s[4]) / 5;
  }
}

}  // namespace

void ResampleRow640(const int16_t* plane, int r, int32_t* line) { Widen640<false>(plane, r, line); }

void ResampleRow640Shifted(const int16_t* plane, int r, int32_t* line) {
  Widen640<true>(plane, r, line);
}

void ResampleRow480(const int16_t* plane, int r, int32_t* line) {
  const int t = r / 3;
  const int16_t* a = PlaneRowAt(plane, kStillFirstRow + 4 * t);
  const int16_t* b = a + kSide;
  const int16_t* c = b + kSide;
  const int16_t* d = c + kSide;
  // Output column 15q + p from source columns u = 16q + p (weight 15 - p)
  // and u + 1 (weight p); the last column, 479, takes 510 and 511.
  switch (r % 3) {
    case 0:
      for (int q = 0; q < 32; ++q) {
        for (int p = 0; p < 15; ++p) {
          const int u = 16 * q + p;
          line[15 * q + p] = (a[u] * (15 - p) + a[u + 1] * p) / 15;
        }
      }
      break;
    case 1:
      for (int q = 0; q < 32; ++q) {
        for (int p = 0; p < 15; ++p) {
          const int u = 16 * q + p;
          line[15 * q + p] = ((c[u] + 2 * b[u]) * (15 - p) + (c[u + 1] + 2 * b[u + 1]) * p) / 45;
        }
      }
      break;
    default:
      // The right-hand column weights rows c : d as 2 : 1, the left-hand one
      // as 1 : 2; the asymmetry belongs to the design.
      for (int q = 0; q < 32; ++q) {
        for (int p = 0; p < 15; ++p) {
          const int u = 16 * q + p;
          line[15 * q + p] = ((c[u] + 2 * d[u]) * (15 - p) + (d[u + 1] + 2 * c[u + 1]) * p) / 45;
        }
      }
      break;
  }
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
