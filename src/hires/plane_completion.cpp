#include "hires/plane_completion.h"

#include <algorithm>
#include <cstdlib>

#include "platform/simd.h"
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

#if defined(VOBREX_X86_SIMD)

// Sixteen sites of one row at once: site t of a step sits at column
// 2(m + t) + parity. A 32-bit lane of a load at an even column holds that
// column in its low half and the next in its high half, so a read at
// (row + dr, site column + dc) is the low or high half of a load.
template <int kDr, int kOffset>
VOBREX_TARGET_AVX512 inline __m512i Neighbour(const int16_t* at) {
  constexpr int kEven = kOffset - (kOffset & 1);
  const __m512i v = _mm512_loadu_si512(at + kDr * kGridSide + kEven);
  if constexpr ((kOffset & 1) == 0) return _mm512_srai_epi32(_mm512_slli_epi32(v, 16), 16);
  return _mm512_srai_epi32(v, 16);
}

VOBREX_TARGET_AVX512 inline __m512i Sum8(const __m512i (&v)[8]) {
  __m512i s = v[0];
  for (int k = 1; k < 8; ++k) s = _mm512_add_epi32(s, v[k]);
  return s;
}

VOBREX_TARGET_AVX512 inline __m512i Deviation8(const __m512i (&v)[8]) {
  const __m512i mean = _mm512_srai_epi32(Sum8(v), 3);
  __m512i d = _mm512_setzero_si512();
  for (int k = 0; k < 8; ++k)
    d = _mm512_add_epi32(d, _mm512_abs_epi32(_mm512_sub_epi32(v[k], mean)));
  return d;
}

// IP4G on the green plane for sixteen sites: LineDetect's tests in its
// order, then the value of the direction.
template <int kParity>
VOBREX_TARGET_AVX512 inline __m512i GreenSites(const int16_t* at) {
  const __m512i left = Neighbour<0, kParity - 1>(at), right = Neighbour<0, kParity + 1>(at);
  const __m512i up = Neighbour<-1, kParity>(at), down = Neighbour<1, kParity>(at);
  const __m512i upLeft2 = Neighbour<-1, kParity - 2>(at), upRight2 = Neighbour<-1, kParity + 2>(at);
  const __m512i downLeft2 = Neighbour<1, kParity - 2>(at);
  const __m512i downRight2 = Neighbour<1, kParity + 2>(at);
  const __m512i up2Left = Neighbour<-2, kParity - 1>(at), up2Right = Neighbour<-2, kParity + 1>(at);
  const __m512i down2Left = Neighbour<2, kParity - 1>(at);
  const __m512i down2Right = Neighbour<2, kParity + 1>(at);
  const __m512i left3 = Neighbour<0, kParity - 3>(at), right3 = Neighbour<0, kParity + 3>(at);
  const __m512i up3 = Neighbour<-3, kParity>(at), down3 = Neighbour<3, kParity>(at);

  const __m512i leftRight = _mm512_add_epi32(left, right);
  const __m512i upDownSum = _mm512_add_epi32(up, down);
  const __m512i h = _mm512_sub_epi32(
      _mm512_add_epi32(_mm512_add_epi32(left3, right3), _mm512_slli_epi32(leftRight, 1)),
      _mm512_add_epi32(_mm512_add_epi32(_mm512_add_epi32(upLeft2, upRight2),
                                        _mm512_add_epi32(downLeft2, downRight2)),
                       upDownSum));
  const __m512i v = _mm512_sub_epi32(
      _mm512_add_epi32(_mm512_add_epi32(up3, down3), _mm512_slli_epi32(upDownSum, 1)),
      _mm512_add_epi32(_mm512_add_epi32(_mm512_add_epi32(up2Left, up2Right),
                                        _mm512_add_epi32(down2Left, down2Right)),
                       leftRight));
  const __m512i across[8] = {upLeft2, upRight2, downLeft2, downRight2, left, right, up, down};
  const __m512i along[8] = {up2Left, up2Right, down2Left, down2Right, left, right, up, down};
  const __m512i limit48 = _mm512_set1_epi32(48), limit160 = _mm512_set1_epi32(160);
  const __mmask16 flat = _mm512_cmplt_epi32_mask(Deviation8(across), limit48) |
                         _mm512_cmplt_epi32_mask(Deviation8(along), limit48);
  const __m512i absH = _mm512_abs_epi32(h), absV = _mm512_abs_epi32(v);
  const __m512i upDown = _mm512_abs_epi32(_mm512_sub_epi32(up, down));
  const __mmask16 vertical =
      _mm512_cmpgt_epi32_mask(absV, absH) &
      _mm512_cmple_epi32_mask(upDown, _mm512_abs_epi32(_mm512_sub_epi32(up, left))) &
      _mm512_cmple_epi32_mask(upDown, _mm512_abs_epi32(_mm512_sub_epi32(up, right))) &
      _mm512_cmpgt_epi32_mask(absV, limit160) & ~flat;
  const __m512i rightLeft = _mm512_abs_epi32(_mm512_sub_epi32(right, left));
  const __mmask16 pivot =
      _mm512_cmple_epi32_mask(rightLeft, _mm512_abs_epi32(_mm512_sub_epi32(left, up)));
  const __mmask16 horizontal =
      ~flat & ~vertical & pivot &
      _mm512_cmple_epi32_mask(rightLeft, _mm512_abs_epi32(_mm512_sub_epi32(left, down))) &
      _mm512_cmpgt_epi32_mask(absH, limit160);
  const __m512i low = _mm512_min_epi32(_mm512_min_epi32(left, right), _mm512_min_epi32(up, down));
  const __m512i high = _mm512_max_epi32(_mm512_max_epi32(left, right), _mm512_max_epi32(up, down));
  __m512i r = _mm512_srai_epi32(
      _mm512_sub_epi32(_mm512_add_epi32(leftRight, upDownSum), _mm512_add_epi32(low, high)), 1);
  r = _mm512_mask_blend_epi32(vertical, r, _mm512_srai_epi32(upDownSum, 1));
  return _mm512_mask_blend_epi32(horizontal, r, _mm512_srai_epi32(leftRight, 1));
}

// The median pair of the four direct neighbours, for sixteen sites.
template <int kParity>
VOBREX_TARGET_AVX512 inline __m512i MedianSites(const int16_t* at) {
  const __m512i left = Neighbour<0, kParity - 1>(at), right = Neighbour<0, kParity + 1>(at);
  const __m512i up = Neighbour<-1, kParity>(at), down = Neighbour<1, kParity>(at);
  const __m512i low = _mm512_min_epi32(_mm512_min_epi32(left, right), _mm512_min_epi32(up, down));
  const __m512i high = _mm512_max_epi32(_mm512_max_epi32(left, right), _mm512_max_epi32(up, down));
  const __m512i all = _mm512_add_epi32(_mm512_add_epi32(left, right), _mm512_add_epi32(up, down));
  return _mm512_srai_epi32(_mm512_sub_epi32(all, _mm512_add_epi32(low, high)), 1);
}

enum class Estimate { kLine, kMedian };

// The sites of one row at columns of `kParity`, `sites` of them from the
// row's first; all read only sites the row does not write.
template <int kParity, Estimate kEstimate>
VOBREX_TARGET_AVX512 void CompleteRow(int16_t* row, int sites) {
  const __m512i lowHalf = _mm512_set1_epi32(0xFFFF);
  for (int m = 0; m < sites; m += 16) {
    int16_t* at = row + 2 * m;
    const __m512i value =
        kEstimate == Estimate::kLine ? GreenSites<kParity>(at) : MedianSites<kParity>(at);
    const __m512i here = _mm512_loadu_si512(at);
    const __m512i merged =
        kParity
            ? _mm512_or_si512(_mm512_and_si512(here, lowHalf), _mm512_slli_epi32(value, 16))
            : _mm512_or_si512(_mm512_andnot_si512(lowHalf, here), _mm512_and_si512(value, lowHalf));
    const int left = sites - m;
    const __mmask16 lanes = left >= 16 ? __mmask16(0xFFFF) : __mmask16((1u << left) - 1);
    _mm512_mask_storeu_epi32(at, lanes, merged);
  }
}

VOBREX_TARGET_AVX512 void CompleteGreenAvx512(const WorkGrid& grid) {
  int16_t* green = grid.Plane(kGreenPlane);
  for (int r = 2; r <= 1018; r += 2) {
    // Row r at the odd columns 1..1023, then row r + 1 at the even columns
    // 0..1018, in the order of the scalar pass: a row reads the one before
    // it as filled and the one after it as not yet filled.
    CompleteRow<1, Estimate::kLine>(green + WorkGrid::Offset(r, 0), 512);
    CompleteRow<0, Estimate::kLine>(green + WorkGrid::Offset(r + 1, 0), 510);
  }
}

// CompleteRed: the same sites, each the median pair of its neighbours,
// which are all sites of the red checkerboard.
VOBREX_TARGET_AVX512 void CompleteRedAvx512(const WorkGrid& grid) {
  int16_t* red = grid.Plane(kRedPlane);
  for (int r = 2; r <= 1018; r += 2) {
    CompleteRow<1, Estimate::kMedian>(red + WorkGrid::Offset(r, 0), 512);
    CompleteRow<0, Estimate::kMedian>(red + WorkGrid::Offset(r + 1, 0), 510);
  }
}

// CompleteBlue: B(r + 1, c) - G(r + 1, c) + G(r, c) stored as 16 bits is
// the same sum taken modulo 2^16, so 16-bit lanes with wrapping adds give
// it; thirty-two columns a step, the sites of the row's parity kept.
VOBREX_TARGET_AVX512 void BlueRow(int16_t* blue, const int16_t* green, int r, int parity,
                                  int lastColumn) {
  const __mmask32 parityLanes = parity ? 0xAAAAAAAAu : 0x55555555u;
  int16_t* b = blue + WorkGrid::Offset(r, 0);
  const int16_t* g = green + WorkGrid::Offset(r, 0);
  for (int c = 0; c <= lastColumn; c += 32) {
    const __m512i below = _mm512_loadu_si512(b + kGridSide + c);
    const __m512i greenBelow = _mm512_loadu_si512(g + kGridSide + c);
    const __m512i greenHere = _mm512_loadu_si512(g + c);
    const __m512i value = _mm512_add_epi16(_mm512_sub_epi16(below, greenBelow), greenHere);
    const int left = lastColumn + 1 - c;
    const __mmask32 inRow = left >= 32 ? ~__mmask32(0) : (__mmask32(1) << left) - 1;
    _mm512_mask_storeu_epi16(b + c, parityLanes & inRow, value);
  }
}

VOBREX_TARGET_AVX512 void CompleteBlueAvx512(const WorkGrid& grid) {
  int16_t* blue = grid.Plane(kBluePlane);
  const int16_t* green = grid.Plane(kGreenPlane);
  for (int r = 0; r <= 1018; r += 2) {
    BlueRow(blue, green, r, 1, 1023);
    BlueRow(blue, green, r + 1, 0, 1018);
  }
}

#endif

void CompleteGreen(const WorkGrid& grid) {
#if defined(VOBREX_X86_SIMD)
  if (ActiveSimdLevel() == SimdLevel::kAvx512) return CompleteGreenAvx512(grid);
#endif
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
#if defined(VOBREX_X86_SIMD)
  if (ActiveSimdLevel() == SimdLevel::kAvx512) return CompleteRedAvx512(grid);
#endif
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
#if defined(VOBREX_X86_SIMD)
  // Blue is never an object when single sites are filled (IsRBObject in
  // site-fill mode is false for blue), so every site takes the colour
  // difference of the site below.
  if (ActiveSimdLevel() == SimdLevel::kAvx512) return CompleteBlueAvx512(grid);
#endif
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
