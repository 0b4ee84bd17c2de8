#include "still/still_demosaic.h"

#include <algorithm>
#include <cstdlib>

#include "still/still_planes.h"

namespace vobrex {
namespace {

constexpr int kSide = kStillSide;

int16_t* PlaneRow(int16_t* planes, int plane, int row) {
  return planes + PlaneIndex(plane, row, 0);
}

// Stores a colour-difference result; the planes are 16-bit and the value
// wraps like the store it is.
int16_t Store(int value) { return static_cast<int16_t>(value); }

// A pair of both fields looks like a stripe pattern at pixel pitch when one
// column of the pair is far brighter than the other in both fields, for this
// pair and the next one alike (bright green/red columns: pattern H; bright
// blue/green columns: pattern L). Evaluated in double precision with strict
// comparisons, on the samples as read.
bool StripePattern(double a0, double a1, double a2, double a3, double b0, double b1, double b2,
                   double b3) {
  const bool brightFirst = a0 > 2.25 * a1 && b0 > 2.25 * b1 && a2 > 2.25 * a3 && b2 > 2.25 * b3 &&
                           a0 > 1.25 * b1 && b0 > 1.25 * a1 && a2 > 1.5 * b3 && b2 > 1.5 * a3;
  const bool brightSecond = a1 > 2.25 * a0 && b1 > 2.25 * b0 && a3 > 2.25 * a2 && b3 > 2.25 * b2 &&
                            b1 > 1.25 * a0 && a1 > 1.25 * b0 && b3 > 1.5 * a2 && a3 > 1.5 * b2;
  return brightFirst || brightSecond;
}

}  // namespace

void SplitFields(const int16_t* raw, int16_t* planes, uint32_t optionV) {
  const int16_t* field1 = raw;
  const int16_t* field2 = raw + kFieldSamples;
  // The stripe flag of the previous pair; it carries from the last pair of
  // one line to the first pair of the next.
  bool stripe = false;
  for (int r = 0; r < kFieldLines; ++r) {
    int16_t* greenEven = PlaneRow(planes, kGreenPlane, 2 * r);
    int16_t* blueEven = PlaneRow(planes, kBluePlane, 2 * r);
    int16_t* redOdd = PlaneRow(planes, kRedPlane, 2 * r + 1);
    int16_t* greenOdd = PlaneRow(planes, kGreenPlane, 2 * r + 1);
    for (int c = 0; c < kSide / 2; ++c) {
      const int i = r * kSide + 2 * c;
      // Each field is one continuous run: at the end of a line the
      // look-ahead pair is the start of the next line. Field 1's last
      // look-ahead is the start of field 2; field 2's last one lies past the
      // frame and reads as 0 (it only decides the smoothing of the bottom
      // right pair, which no kernel reads).
      const int a0 = field1[i], a1 = field1[i + 1], a2 = field1[i + 2], a3 = field1[i + 3];
      const int b0 = field2[i], b1 = field2[i + 1];
      const bool lastPair = i + 2 >= kFieldSamples;
      const int b2 = lastPair ? 0 : field2[i + 2];
      const int b3 = lastPair ? 0 : field2[i + 3];

      const int x = 2 * c;
      greenEven[x] = Store(a0);
      blueEven[x + 1] = Store(a1);
      redOdd[x] = Store(b0);
      greenOdd[x + 1] = Store(b1);
      if (stripe && optionV == 1 && b0 < 2 * b1 && b2 < 2 * a2) {
        const int16_t even = Store((a0 + a1) >> 1);
        const int16_t odd = Store((b0 + b1) >> 1);
        greenEven[x] = even;
        blueEven[x + 1] = even;
        redOdd[x] = odd;
        greenOdd[x + 1] = odd;
      }
      stripe = StripePattern(a0, a1, a2, a3, b0, b1, b2, b3);
    }
  }
}

int GreenEstimate(const int16_t* green, int x, int y) {
  const int left = green[y * kSide + x - 1];
  const int right = green[y * kSide + x + 1];
  const int up = green[(y - 1) * kSide + x];
  const int down = green[(y + 1) * kSide + x];
  const int h = std::abs(left - right);
  const int v = std::abs(up - down);
  if ((h != 0 && 5 * h < v) || (h == 0 && v >= 5)) return (left + right) >> 1;
  if ((v != 0 && 5 * v < h) || (v == 0 && h >= 5)) return (up + down) >> 1;
  int sorted[4] = {left, right, up, down};
  std::sort(sorted, sorted + 4);
  return (sorted[1] + sorted[2]) >> 1;
}

void FillGreen(int16_t* planes) {
  int16_t* green = PlaneRow(planes, kGreenPlane, 0);
  // Blue sites of the even rows; the last column has no right neighbour.
  for (int y = 2; y <= 510; y += 2) {
    int16_t* row = green + y * kSide;
    for (int x = 1; x <= 509; x += 2) row[x] = Store(GreenEstimate(green, x, y));
    row[511] = Store((row[511 - kSide] + row[511 + kSide]) >> 1);
  }
  // Red sites of the odd rows; the first column has no left neighbour.
  for (int y = 1; y <= 509; y += 2) {
    int16_t* row = green + y * kSide;
    row[0] = Store((row[-kSide] + row[kSide]) >> 1);
    for (int x = 2; x <= 510; x += 2) row[x] = Store(GreenEstimate(green, x, y));
  }
}

void FillRed(int16_t* planes) {
  int16_t* red = PlaneRow(planes, kRedPlane, 0);
  const int16_t* green = PlaneRow(planes, kGreenPlane, 0);
  // Odd rows: green sites from the red site to the right.
  for (int y = 1; y <= 511; y += 2) {
    int16_t* r = red + y * kSide;
    const int16_t* g = green + y * kSide;
    for (int x = 1; x <= 509; x += 2) r[x] = Store(r[x + 1] - g[x + 1] + g[x]);
    r[511] = r[510];
  }
  // Even rows, even columns (green sites): from the red site above.
  for (int y = 2; y <= 510; y += 2) {
    int16_t* r = red + y * kSide;
    const int16_t* g = green + y * kSide;
    for (int x = 0; x <= 510; x += 2) r[x] = Store(r[x - kSide] - g[x - kSide] + g[x]);
  }
  // Even rows, odd columns (blue sites): from the red site above-right.
  for (int y = 2; y <= 510; y += 2) {
    int16_t* r = red + y * kSide;
    const int16_t* g = green + y * kSide;
    for (int x = 1; x <= 509; x += 2) {
      r[x] = Store(r[x + 1 - kSide] - g[x + 1 - kSide] + g[x]);
    }
    r[511] = r[510];
  }
}

void FillBlue(int16_t* planes) {
  int16_t* blue = PlaneRow(planes, kBluePlane, 0);
  const int16_t* green = PlaneRow(planes, kGreenPlane, 0);
  // Even rows, green sites: from the blue site to the right.
  for (int y = 0; y <= 510; y += 2) {
    int16_t* b = blue + y * kSide;
    const int16_t* g = green + y * kSide;
    b[0] = b[1];
    for (int x = 2; x <= 510; x += 2) b[x] = Store(b[x + 1] - g[x + 1] + g[x]);
  }
  // Odd rows, even columns (red sites): from the completed row below. For
  // row 511 that row lies past the blue plane: the continuous run gives the
  // first green row, and the green row below it is the zeroed slack.
  for (int y = 1; y <= 511; y += 2) {
    int16_t* b = blue + y * kSide;
    const int16_t* g = green + y * kSide;
    for (int x = 0; x <= 510; x += 2) b[x] = Store(b[x + kSide] - g[x + kSide] + g[x]);
  }
  // Odd rows, odd columns (green sites): from the blue site below-left.
  for (int y = 1; y <= 509; y += 2) {
    int16_t* b = blue + y * kSide;
    const int16_t* g = green + y * kSide;
    for (int x = 1; x <= 511; x += 2) {
      b[x] = Store(b[x - 1 + kSide] - g[x - 1 + kSide] + g[x]);
    }
  }
}

void DemosaicStill(const int16_t* raw, int16_t* planes, uint32_t optionV) {
  SplitFields(raw, planes, optionV);
  FillGreen(planes);
  FillRed(planes);
  FillBlue(planes);
}

}  // namespace vobrex
