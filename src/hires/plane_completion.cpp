#include "hires/plane_completion.h"

#include <algorithm>
#include <cstdlib>

#include "platform/trace.h"

namespace vobrex {
namespace {

// Reads of one plane around a centre site, by row and column displacement.
class Around {
 public:
  Around(const int16_t* plane, int c, int r) : centre_(plane + WorkGrid::Offset(r, c)) {}
  int32_t operator()(int dr, int dc) const { return centre_[WorkGrid::Offset(dr, dc)]; }

 private:
  const int16_t* centre_;
};

// A plane read and written by (row, column).
class PlaneSites {
 public:
  explicit PlaneSites(int16_t* plane) : plane_(plane) {}
  int32_t operator()(int row, int col) const { return plane_[WorkGrid::Offset(row, col)]; }
  // Results are stored as 16 bits, without clamping.
  void Set(int row, int col, int32_t value) const {
    plane_[WorkGrid::Offset(row, col)] = static_cast<int16_t>(value);
  }

 private:
  int16_t* plane_;
};

int32_t SummedDeviation(const int32_t (&v)[8]) {
  int32_t sum = 0;
  for (int32_t x : v) sum += x;
  const int32_t mean = sum >> 3;
  int32_t deviation = 0;
  for (int32_t x : v) deviation += std::abs(x - mean);
  return deviation;
}

// Row fill (mode 0): the object colour two rows above and below against the
// green there and the other colour at the site. Only the upper value has a
// lower limit.
bool RowFillObject(const WorkGrid& grid, int ownPlane, int otherPlane, int c, int r) {
  const Around own(grid.Plane(ownPlane), c, r);
  const Around green(grid.Plane(kGreenPlane), c, r);
  const int32_t a = own(-2, 0) >> 1;
  const int32_t b = own(2, 0) >> 1;
  const int32_t g1 = green(-2, 0);
  const int32_t g2 = green(2, 0);
  const int32_t other = grid.Plane(otherPlane)[WorkGrid::Offset(r, c)];
  return a >= 21 && a > g1 && a > g2 && a > other && b > g1 && b > g2 && b > other;
}

// Site fill (mode 1), red only: red directly above and below against green
// and blue at both.
bool SiteFillRedObject(const WorkGrid& grid, int c, int r) {
  const Around red(grid.Plane(kRedPlane), c, r);
  const Around green(grid.Plane(kGreenPlane), c, r);
  const Around blue(grid.Plane(kBluePlane), c, r);
  const int32_t a = red(-1, 0) >> 1;
  const int32_t b = red(1, 0) >> 1;
  if (a < 21 || b < 21) return false;
  const int32_t others[4] = {green(-1, 0), green(1, 0), blue(-1, 0), blue(1, 0)};
  for (int32_t o : others) {
    if (a <= o || b <= o) return false;
  }
  return true;
}

// The empty rows of one group of four: (t, c) from the rows two above and
// two below, (t+1, c+1) from the rows of its own line kind above and below.
void VerticalRule(const PlaneSites& x, int c, int t) {
  x.Set(t, c, (x(t - 2, c) + x(t + 2, c)) >> 1);
  x.Set(t + 1, c + 1, (x(t - 1, c + 1) + x(t + 3, c + 1)) >> 1);
}

}  // namespace

// The two middle values of four sum to the total less the extremes.
int32_t MedianPair(int32_t a, int32_t b, int32_t c, int32_t d) {
  const int32_t low = std::min(std::min(a, b), std::min(c, d));
  const int32_t high = std::max(std::max(a, b), std::max(c, d));
  return (a + b + c + d - low - high) >> 1;
}

// The horizontal and vertical second differences across the site decide,
// unless both neighbourhoods are flat. The fall-back tests pivot on the left
// neighbour alone and the horizontal verdict does not require |h| > |v|:
// the interpolation the camera's images were tuned with.
int LineDetect(const WorkGrid& grid, int c, int r, int selector) {
  const int16_t* plane = PlaneOfSelector(grid, selector);
  if (plane == nullptr) return -1;
  const Around x(plane, c, r);
  const int32_t left = x(0, -1), right = x(0, 1), up = x(-1, 0), down = x(1, 0);
  const int32_t h = x(0, -3) + x(0, 3) + 2 * (left + right) - x(-1, -2) - x(-1, 2) - x(1, -2) -
                    x(1, 2) - up - down;
  const int32_t v = x(-3, 0) + x(3, 0) + 2 * (up + down) - x(-2, -1) - x(-2, 1) - x(2, -1) -
                    x(2, 1) - left - right;
  const int32_t across[8] = {x(-1, -2), x(-1, 2), x(1, -2), x(1, 2), left, right, up, down};
  const int32_t along[8] = {x(-2, -1), x(-2, 1), x(2, -1), x(2, 1), left, right, up, down};
  if (SummedDeviation(across) < 48 || SummedDeviation(along) < 48) return kNoLine;
  const int32_t upDown = std::abs(up - down);
  if (std::abs(v) > std::abs(h) && upDown <= std::abs(up - left) &&
      upDown <= std::abs(up - right) && std::abs(v) > 160) {
    return kVerticalLine;
  }
  const int32_t leftRight = std::abs(right - left);
  if (leftRight > std::abs(left - up)) return kNoLine;
  if (leftRight <= std::abs(left - down) && std::abs(h) > 160) return kHorizontalLine;
  return kNoLine;
}

int32_t IP4G(const WorkGrid& grid, int c, int r, int selector) {
  const int direction = LineDetect(grid, c, r, selector);
  if (direction == kNoLine || direction == kVerticalLine || direction == kHorizontalLine) {
    const Around x(PlaneOfSelector(grid, selector), c, r);
    const int32_t left = x(0, -1), right = x(0, 1), up = x(-1, 0), down = x(1, 0);
    if (direction == kVerticalLine) return (up + down) >> 1;
    if (direction == kHorizontalLine) return (left + right) >> 1;
    return MedianPair(left, right, up, down);
  }
  Trace("vobrex32 : IP4G : LineDetect \n");
  return selector;
}

// Odd rows take the neighbour down-left, even rows the neighbour up-right:
// the nearest site of the other line kind that holds the colour.
int32_t DiagonalColorDifference(const WorkGrid& grid, int c, int r, int selector) {
  const int16_t* plane = PlaneOfSelector(grid, selector);
  if (plane == nullptr) return 0;
  const Around x(plane, c, r);
  const Around g(grid.Plane(kGreenPlane), c, r);
  if (r & 1) return x(1, -1) + g(0, 0) - g(1, -1);
  return x(-1, 1) - g(-1, 1) + g(0, 0);
}

bool IsRBObject(const WorkGrid& grid, int c, int r, int selector, int mode) {
  switch (selector) {
    case kRedSelector:
      if (mode == kRowFillMode) return RowFillObject(grid, kRedPlane, kBluePlane, c, r);
      if (mode == kSiteFillMode) return SiteFillRedObject(grid, c, r);
      return false;
    case kBlueSelector:
      // Blue is never treated as an object when single sites are filled.
      if (mode == kRowFillMode) return RowFillObject(grid, kBluePlane, kRedPlane, c, r);
      return false;
    default: Trace("vobrex32 : IsRBObject : Parameter \n"); return false;
  }
}

// Even columns pair rows t-2 and t+2, odd columns rows t-1 and t+3. A sum
// that runs strictly monotone over the six columns, with the top row
// consistently on one side of the bottom one, marks a diagonal edge.
int RedDiagonalLine(const WorkGrid& grid, int c, int t) {
  const Around red(grid.Plane(kRedPlane), c, t);
  int32_t top[6], bottom[6], sum[6];
  for (int k = 0; k < 6; ++k) {
    const bool even = (k & 1) == 0;
    top[k] = even ? red(-2, k) : red(-1, k);
    bottom[k] = even ? red(2, k) : red(3, k);
    sum[k] = top[k] + bottom[k];
  }
  bool falling = true, rising = true;
  for (int k = 0; k < 5; ++k) {
    falling = falling && sum[k] > sum[k + 1];
    rising = rising && sum[k] < sum[k + 1];
  }
  if (!falling && !rising) return 0;
  int score = 0;
  for (int k = 0; k < 6; ++k) {
    const bool agrees = falling ? top[k] < bottom[k] : top[k] > bottom[k];
    score += agrees ? 1 : -1;
  }
  if (score >= 4) return 1;
  if (score <= -4) return 2;
  return 0;
}

void CompleteGreen(const WorkGrid& grid) {
  const PlaneSites green(grid.Plane(kGreenPlane));
  for (int r = 2; r <= 1018; r += 2) {
    for (int c = 1; c <= 1023; c += 2) green.Set(r, c, IP4G(grid, c, r, kGreenSelector));
    for (int c = 0; c <= 1018; c += 2) green.Set(r + 1, c, IP4G(grid, c, r + 1, kGreenSelector));
  }
}

// Rows 0 and 1 of every group of four hold no red. Along a red object with
// a diagonal edge the red of the neighbouring line is copied along the
// edge, six columns at a time; a step at the right end spills into the
// start of the next row, which the grid layout allows.
void FillRedRows(const WorkGrid& grid) {
  const PlaneSites red(grid.Plane(kRedPlane));
  for (int c = 1; c <= 1023; c += 2) {
    red.Set(1, c, DiagonalColorDifference(grid, c, 1, kRedSelector));
  }
  for (int t = 4; t <= 1016; t += 4) {
    int c = 0;
    while (c <= 1022) {
      if (!IsRBObject(grid, c, t, kRedSelector, kRowFillMode)) {
        red.Set(t, c, DiagonalColorDifference(grid, c, t, kRedSelector));
        red.Set(t + 1, c + 1, DiagonalColorDifference(grid, c + 1, t + 1, kRedSelector));
        c += 2;
        continue;
      }
      switch (RedDiagonalLine(grid, c, t)) {
        case 1:
          red.Set(t, c, red(t - 1, c - 1));
          red.Set(t + 1, c + 1, red(t + 2, c + 2));
          red.Set(t, c + 2, red(t - 1, c + 1));
          red.Set(t + 1, c + 3, red(t + 2, c + 4));
          red.Set(t, c + 4, red(t - 1, c + 3));
          red.Set(t + 1, c + 5, (red(t + 3, c + 5) + red(t - 1, c + 5)) >> 1);
          c += 6;
          break;
        case 2:
          red.Set(t, c, red(t - 1, c + 1));
          red.Set(t + 1, c + 1, red(t + 2, c));
          red.Set(t, c + 2, red(t - 1, c + 3));
          red.Set(t + 1, c + 3, red(t + 2, c + 2));
          VerticalRule(red, c + 4, t);
          c += 6;
          break;
        default:
          VerticalRule(red, c, t);
          c += 2;
          break;
      }
    }
  }
}

// Rows 2 and 3 of every group of four hold no blue.
void FillBlueRows(const WorkGrid& grid) {
  const PlaneSites blue(grid.Plane(kBluePlane));
  for (int t = 2; t <= 1018; t += 4) {
    for (int c = 0; c <= 1022; c += 2) {
      if (IsRBObject(grid, c, t, kBlueSelector, kRowFillMode)) {
        VerticalRule(blue, c, t);
      } else {
        blue.Set(t, c, DiagonalColorDifference(grid, c, t, kBlueSelector));
        blue.Set(t + 1, c + 1, DiagonalColorDifference(grid, c + 1, t + 1, kBlueSelector));
      }
    }
  }
}

void CompleteRed(const WorkGrid& grid) {
  const PlaneSites red(grid.Plane(kRedPlane));
  auto median = [&red](int r, int c) {
    return MedianPair(red(r, c - 1), red(r, c + 1), red(r - 1, c), red(r + 1, c));
  };
  for (int r = 2; r <= 1018; r += 2) {
    for (int c = 1; c <= 1023; c += 2) red.Set(r, c, median(r, c));
    for (int c = 0; c <= 1018; c += 2) red.Set(r + 1, c, median(r + 1, c));
  }
}

// Blue takes the colour difference of the site below, which holds blue in
// both line kinds once the rows are filled.
void CompleteBlue(const WorkGrid& grid) {
  const PlaneSites blue(grid.Plane(kBluePlane));
  const PlaneSites green(grid.Plane(kGreenPlane));
  auto fill = [&](int r, int c) {
    if (IsRBObject(grid, c, r, kBlueSelector, kSiteFillMode)) {
      blue.Set(r, c, (blue(r - 1, c) + blue(r + 1, c)) >> 1);
    } else {
      blue.Set(r, c, blue(r + 1, c) - green(r + 1, c) + green(r, c));
    }
  };
  for (int r = 0; r <= 1018; r += 2) {
    for (int c = 1; c <= 1023; c += 2) fill(r, c);
    for (int c = 0; c <= 1018; c += 2) fill(r + 1, c);
  }
}

}  // namespace vobrex
