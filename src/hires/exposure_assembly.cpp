#include "hires/exposure_assembly.h"

#include <cstdlib>

namespace vobrex {
namespace {

struct ExposurePhase {
  int greenBlueRow;  // row of line y is 4y + this
  int redGreenRow;
  int column;  // column of sample n is this + 2n
};

constexpr ExposurePhase kExposures[4] = {{0, 2, 2}, {0, 2, 0}, {1, 3, 1}, {1, 3, 3}};

enum class LineKind { kGreenBlue, kRedGreen };
enum class Parity { kEven = 0, kOdd = 1 };

// Places the samples of one parity of one exposure's line block into one
// plane. A sample whose column would pass the grid's right edge is dropped
// (the last odd sample of exposures 0 and 3). Exposures 1 and 2 leave the
// first column of their odd-sample colour empty (column 0, respectively 1):
// it takes the nearest sample of the same colour two columns to the right.
void PlaceExposure(const int16_t* samples, const WorkGrid& grid, int exposure, LineKind kind,
                   Parity parity, int plane) {
  const ExposurePhase& phase = kExposures[exposure];
  const int block = 2 * exposure + (kind == LineKind::kRedGreen ? 1 : 0);
  const int rowPhase = kind == LineKind::kRedGreen ? phase.redGreenRow : phase.greenBlueRow;
  const int first = static_cast<int>(parity);
  const int16_t* line = samples + static_cast<std::ptrdiff_t>(block) * kLineBlockSamples;
  for (int y = 0; y < kExposureLines; ++y, line += kExposureLineSamples) {
    int16_t* row = grid.Plane(plane) + WorkGrid::Offset(4 * y + rowPhase, 0);
    for (int n = first; n < kExposureLineSamples; n += 2) {
      const int col = phase.column + 2 * n;
      if (col >= kGridSide) break;
      row[col] = line[n];
    }
    if (parity == Parity::kOdd) {
      if (exposure == 1) row[0] = row[2];
      if (exposure == 2) row[1] = row[3];
    }
  }
}

// m = sum >> 3 and the summed absolute deviation from it.
int32_t Deviation(const int32_t (&v)[8], int32_t& mean) {
  int32_t sum = 0;
  for (int32_t x : v) sum += x;
  mean = sum >> 3;
  int32_t deviation = 0;
  for (int32_t x : v) deviation += std::abs(x - mean);
  return deviation;
}

}  // namespace

void PlaceGreen(const int16_t* samples, const WorkGrid& grid) {
  for (int k = 0; k < 4; ++k) {
    PlaceExposure(samples, grid, k, LineKind::kGreenBlue, Parity::kEven, kGreenPlane);
    PlaceExposure(samples, grid, k, LineKind::kRedGreen, Parity::kOdd, kGreenPlane);
  }
}

void PlaceRed(const int16_t* samples, const WorkGrid& grid) {
  for (int k = 0; k < 4; ++k) {
    PlaceExposure(samples, grid, k, LineKind::kRedGreen, Parity::kEven, kRedPlane);
  }
}

void PlaceBlue(const int16_t* samples, const WorkGrid& grid) {
  for (int k = 0; k < 4; ++k) {
    PlaceExposure(samples, grid, k, LineKind::kGreenBlue, Parity::kOdd, kBluePlane);
  }
}

// Rows 4i and 4i+1 came from the green/blue line blocks, rows 4i+2 and 4i+3
// from the red/green ones. Where both sets of a group of four columns are
// flat and close in level, the green/blue sites are shifted onto the level
// of the red/green sites, which stay the reference. Bands run top-down in
// place, so a band reads rows 4i+4 and 4i+5 before the next band levels
// them.
int LevelLineBlocks(const WorkGrid& grid, int selector) {
  int16_t* x = PlaneOfSelector(grid, selector);
  if (x == nullptr) return 1;
  auto at = [x](int row, int col) -> int16_t& { return x[WorkGrid::Offset(row, col)]; };
  for (int i = 0; i <= 253; ++i) {
    const int r = 4 * i;
    for (int j = 0; j <= 254; ++j) {
      const int c = 4 * j;
      const int32_t upper[8] = {at(r, c),     at(r, c + 2),     at(r + 1, c + 1), at(r + 1, c + 3),
                                at(r + 4, c), at(r + 4, c + 2), at(r + 5, c + 1), at(r + 5, c + 3)};
      int32_t m1 = 0;
      if (Deviation(upper, m1) >= 160) continue;
      const int32_t lower[8] = {at(r + 2, c), at(r + 2, c + 2), at(r + 3, c + 1), at(r + 3, c + 3),
                                at(r + 6, c), at(r + 6, c + 2), at(r + 7, c + 1), at(r + 7, c + 3)};
      int32_t m2 = 0;
      if (Deviation(lower, m2) >= 160 || std::abs(m1 - m2) >= 80) continue;
      const int32_t k =
          (upper[0] + upper[1] + upper[2] + upper[3] - lower[0] - lower[1] - lower[2] - lower[3]) >>
          2;
      at(r, c) = static_cast<int16_t>(upper[0] - k);
      at(r, c + 2) = static_cast<int16_t>(upper[1] - k);
      at(r + 1, c + 1) = static_cast<int16_t>(upper[2] - k);
      at(r + 1, c + 3) = static_cast<int16_t>(upper[3] - k);
    }
  }
  return 1;
}

}  // namespace vobrex
