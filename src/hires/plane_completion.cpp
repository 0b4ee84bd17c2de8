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

// The copy along a diagonal edge of slant 1 or 2 over the columns c .. c+5
// of rows t and t+1.
void SixColumnStep(const PlaneSites& red, int c, int t, int diagonal) {
  if (diagonal == 1) {
    red.Set(t, c, red(t - 1, c - 1));
    red.Set(t + 1, c + 1, red(t + 2, c + 2));
    red.Set(t, c + 2, red(t - 1, c + 1));
    red.Set(t + 1, c + 3, red(t + 2, c + 4));
    red.Set(t, c + 4, red(t - 1, c + 3));
    red.Set(t + 1, c + 5, (red(t + 3, c + 5) + red(t - 1, c + 5)) >> 1);
  } else {
    red.Set(t, c, red(t - 1, c + 1));
    red.Set(t + 1, c + 1, red(t + 2, c));
    red.Set(t, c + 2, red(t - 1, c + 3));
    red.Set(t + 1, c + 3, red(t + 2, c + 2));
    VerticalRule(red, c + 4, t);
  }
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
  // The low half alone, sign-extended, as the multiply-add of the pair
  // with weights 1 and 0.
  if constexpr ((kOffset & 1) == 0) return _mm512_madd_epi16(v, _mm512_set1_epi32(1));
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
VOBREX_TARGET_AVX512 __attribute__((always_inline)) inline __m512i GreenSites(const int16_t* at) {
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
  const __m512i limit48 = _mm512_set1_epi32(48), limit160 = _mm512_set1_epi32(160);
  const __m512i absH = _mm512_abs_epi32(h), absV = _mm512_abs_epi32(v);
  const __m512i upDown = _mm512_abs_epi32(_mm512_sub_epi32(up, down));
  // The line tests without the flatness test: where neither holds, the
  // median is the value whether the neighbourhood is flat or not.
  const __mmask16 verticalLine =
      _mm512_cmpgt_epi32_mask(absV, absH) &
      _mm512_cmple_epi32_mask(upDown, _mm512_abs_epi32(_mm512_sub_epi32(up, left))) &
      _mm512_cmple_epi32_mask(upDown, _mm512_abs_epi32(_mm512_sub_epi32(up, right))) &
      _mm512_cmpgt_epi32_mask(absV, limit160);
  const __m512i rightLeft = _mm512_abs_epi32(_mm512_sub_epi32(right, left));
  const __mmask16 horizontalLine =
      _mm512_cmple_epi32_mask(rightLeft, _mm512_abs_epi32(_mm512_sub_epi32(left, up))) &
      _mm512_cmple_epi32_mask(rightLeft, _mm512_abs_epi32(_mm512_sub_epi32(left, down))) &
      _mm512_cmpgt_epi32_mask(absH, limit160);
  const __m512i low = _mm512_min_epi32(_mm512_min_epi32(left, right), _mm512_min_epi32(up, down));
  const __m512i high = _mm512_max_epi32(_mm512_max_epi32(left, right), _mm512_max_epi32(up, down));
  const __m512i r = _mm512_srai_epi32(
      _mm512_sub_epi32(_mm512_add_epi32(leftRight, upDownSum), _mm512_add_epi32(low, high)), 1);
  if ((verticalLine | horizontalLine) == 0) return r;
  const __m512i across[8] = {upLeft2, upRight2, downLeft2, downRight2, left, right, up, down};
  const __m512i along[8] = {up2Left, up2Right, down2Left, down2Right, left, right, up, down};
  const __mmask16 flat = _mm512_cmplt_epi32_mask(Deviation8(across), limit48) |
                         _mm512_cmplt_epi32_mask(Deviation8(along), limit48);
  // Vertical where not flat; horizontal where neither flat nor vertical.
  const __mmask16 vertical = verticalLine & ~flat;
  const __mmask16 horizontal = horizontalLine & ~flat & ~verticalLine;
  const __m512i value = _mm512_mask_blend_epi32(vertical, r, _mm512_srai_epi32(upDownSum, 1));
  return _mm512_mask_blend_epi32(horizontal, value, _mm512_srai_epi32(leftRight, 1));
}

// The sites of one row at columns of `kParity`, `sites` of them from the
// row's first; all read only sites the row does not write.
template <int kParity>
VOBREX_TARGET_AVX512 void CompleteRow(int16_t* row, int sites, bool endsOnly = false) {
  for (int m = 0; m < sites; m += 16) {
    if (endsOnly && m != 0 && m + 16 < sites) continue;
    int16_t* at = row + 2 * m;
    const __m512i value = GreenSites<kParity>(at);
    // The low 16 bits of each value, at its site's half of the lane.
    const __m512i placed = kParity ? _mm512_slli_epi32(value, 16) : value;
    const int left = sites - m;
    const __mmask32 lanes = left >= 16 ? ~__mmask32(0) : (__mmask32(1) << (2 * left)) - 1;
    _mm512_mask_storeu_epi16(at, lanes & (kParity ? 0xAAAAAAAAu : 0x55555555u), placed);
  }
}

// Green completion of one row in 32-bit lanes: an even row at the odd
// columns 1..1023, an odd row at the even columns 0..1018. Rows run in
// ascending order as in the scalar pass: a row reads the one before it as
// filled and the one after it as not yet filled.
VOBREX_TARGET_AVX512 void CompleteGreenRowAvx512(int16_t* plane, int r, bool endsOnly) {
  if (r % 2 == 0) return CompleteRow<1>(plane + WorkGrid::Offset(r, 0), 512, endsOnly);
  CompleteRow<0>(plane + WorkGrid::Offset(r, 0), 510, endsOnly);
}

// The green completion in 16-bit lanes, thirty-two sites a step, for rows
// whose reads all hold values in -1024 .. 3071 (a span of 4095). There
// every quantity the estimate forms fits in 16 signed bits: h and v are six
// positive-weighted reads less six, so |h|, |v| <= 6 * 4095 = 24570; a sum
// of eight reads lies in -8192 .. 24568, its mean in the span again, and
// the summed deviation from it is at most 8 * 4095 = 32760; the pair sums
// behind the median and the two line values lie in -2048 .. 6142. With
// 16-bit adds that wrap, each is then its exact value, and the estimate is
// that of the 32-bit form (which lies in the span, being a mean of reads,
// so its low 16 bits are itself). Rows with reads outside the span take
// the 32-bit form.
inline constexpr int16_t kNarrowLow = -1024;

// Byte indices (the byte permutes take one step where the 16-bit ones take
// several): the even and the odd columns of 64 from an even one, and the
// site of each column of the low and the high 32.
struct NarrowIndices {
  uint8_t columns[2][64];
  uint8_t spread[2][64];
};

constexpr NarrowIndices MakeNarrowIndices() {
  NarrowIndices t{};
  for (int j = 0; j < 32; ++j) {
    for (int b = 0; b < 2; ++b) {
      t.columns[0][2 * j + b] = static_cast<uint8_t>(4 * j + b);
      t.columns[1][2 * j + b] = static_cast<uint8_t>(4 * j + 2 + b);
      t.spread[0][2 * j + b] = static_cast<uint8_t>(2 * (j / 2) + b);
      t.spread[1][2 * j + b] = static_cast<uint8_t>(2 * (16 + j / 2) + b);
    }
  }
  return t;
}

constexpr NarrowIndices kNarrowIndices = MakeNarrowIndices();

// True when the `count` sites from `first` (a multiple of 32) all hold
// values of the span: x + 1024 taken modulo 2^16 is then 0 .. 4095.
VOBREX_TARGET_AVX512 bool HoldNarrowValues(const int16_t* first, std::ptrdiff_t count) {
  const __m512i bias = _mm512_set1_epi16(-kNarrowLow);
  __m512i any = _mm512_setzero_si512();
  for (std::ptrdiff_t i = 0; i < count; i += 32) {
    any = _mm512_or_si512(any, _mm512_add_epi16(_mm512_loadu_si512(first + i), bias));
  }
  return _mm512_test_epi16_mask(any, _mm512_set1_epi16(static_cast<int16_t>(0xF000))) == 0;
}

// Thirty-two sites of one row: site t of a step sits at column
// 2(m + t) + parity, so a read at (row + dr, site column + dc) is every
// other column of the 64 from an even column.
template <int kParity>
struct GridReads {
  const int16_t* at;  // the step's first site's row, column 2m
  template <int kDr, int kOffset>
  VOBREX_TARGET_AVX512 __attribute__((always_inline)) inline __m512i Get() const {
    constexpr int kEven = kOffset - (kOffset & 1);
    const int16_t* from = at + kDr * kGridSide + kEven;
    const __m512i index = _mm512_loadu_si512(kNarrowIndices.columns[kOffset & 1]);
    return _mm512_permutex2var_epi8(_mm512_loadu_si512(from), index, _mm512_loadu_si512(from + 32));
  }
};

// The same reads from the rows' checkerboard sites gathered beside the
// grid: every read of a site away from the row's ends falls on a site of
// its row's checkerboard (column parity that of the row), which no green
// completion writes. Row r + dr's sites are `rows[dr + 3]`, site n at
// column 2n + ((r + dr) & 1); the read at column 2(m + t) + offset then is
// site m + t + (offset - that parity) / 2, a whole number for every read.
template <int kParity>
struct GatheredReads {
  const int16_t* const* rows;  // rows r - 3 .. r + 3
  int m;
  template <int kDr, int kOffset>
  VOBREX_TARGET_AVX512 __attribute__((always_inline)) inline __m512i Get() const {
    constexpr int kRowParity = (1 - kParity + kDr + 4) & 1;  // r's own is 1 - kParity
    static_assert((kOffset - kRowParity) % 2 == 0, "a read off the checkerboard");
    return _mm512_loadu_si512(rows[kDr + 3] + m + (kOffset - kRowParity) / 2);
  }
};

// The summed absolute deviation of eight values from the mean of their
// sum `sum`.
VOBREX_TARGET_AVX512 inline __m512i NarrowDeviation(const __m512i (&v)[8], __m512i sum) {
  const __m512i mean = _mm512_srai_epi16(sum, 3);
  __m512i d = _mm512_setzero_si512();
  for (int k = 0; k < 8; ++k)
    d = _mm512_add_epi16(d, _mm512_abs_epi16(_mm512_sub_epi16(v[k], mean)));
  return d;
}

// GreenSites for thirty-two sites in 16-bit lanes.
template <int kParity, class Reads>
VOBREX_TARGET_AVX512 __attribute__((always_inline)) inline __m512i NarrowGreenSites(
    const Reads& x) {
  const __m512i left = x.template Get<0, kParity - 1>();
  const __m512i right = x.template Get<0, kParity + 1>();
  const __m512i up = x.template Get<-1, kParity>(), down = x.template Get<1, kParity>();
  const __m512i upLeft2 = x.template Get<-1, kParity - 2>();
  const __m512i upRight2 = x.template Get<-1, kParity + 2>();
  const __m512i downLeft2 = x.template Get<1, kParity - 2>();
  const __m512i downRight2 = x.template Get<1, kParity + 2>();
  const __m512i up2Left = x.template Get<-2, kParity - 1>();
  const __m512i up2Right = x.template Get<-2, kParity + 1>();
  const __m512i down2Left = x.template Get<2, kParity - 1>();
  const __m512i down2Right = x.template Get<2, kParity + 1>();
  const __m512i left3 = x.template Get<0, kParity - 3>();
  const __m512i right3 = x.template Get<0, kParity + 3>();
  const __m512i up3 = x.template Get<-3, kParity>(), down3 = x.template Get<3, kParity>();

  const __m512i leftRight = _mm512_add_epi16(left, right);
  const __m512i upDownSum = _mm512_add_epi16(up, down);
  // The four reads two columns off the row above and below, and two rows
  // off the columns beside: in h and v, and in the deviations' sums.
  const __m512i acrossFour = _mm512_add_epi16(_mm512_add_epi16(upLeft2, upRight2),
                                              _mm512_add_epi16(downLeft2, downRight2));
  const __m512i alongFour = _mm512_add_epi16(_mm512_add_epi16(up2Left, up2Right),
                                             _mm512_add_epi16(down2Left, down2Right));
  const __m512i h = _mm512_sub_epi16(
      _mm512_add_epi16(_mm512_add_epi16(left3, right3), _mm512_slli_epi16(leftRight, 1)),
      _mm512_add_epi16(acrossFour, upDownSum));
  const __m512i v = _mm512_sub_epi16(
      _mm512_add_epi16(_mm512_add_epi16(up3, down3), _mm512_slli_epi16(upDownSum, 1)),
      _mm512_add_epi16(alongFour, leftRight));
  const __m512i limit48 = _mm512_set1_epi16(48), limit160 = _mm512_set1_epi16(160);
  const __m512i absH = _mm512_abs_epi16(h), absV = _mm512_abs_epi16(v);
  const __m512i upDown = _mm512_abs_epi16(_mm512_sub_epi16(up, down));
  // |up - left| is |left - up|: the vertical and the horizontal test share it.
  const __m512i upLeft = _mm512_abs_epi16(_mm512_sub_epi16(up, left));
  const __mmask32 verticalLine =
      _mm512_cmpgt_epi16_mask(absV, absH) & _mm512_cmple_epi16_mask(upDown, upLeft) &
      _mm512_cmple_epi16_mask(upDown, _mm512_abs_epi16(_mm512_sub_epi16(up, right))) &
      _mm512_cmpgt_epi16_mask(absV, limit160);
  const __m512i rightLeft = _mm512_abs_epi16(_mm512_sub_epi16(right, left));
  const __mmask32 horizontalLine =
      _mm512_cmple_epi16_mask(rightLeft, upLeft) &
      _mm512_cmple_epi16_mask(rightLeft, _mm512_abs_epi16(_mm512_sub_epi16(left, down))) &
      _mm512_cmpgt_epi16_mask(absH, limit160);
  const __m512i low = _mm512_min_epi16(_mm512_min_epi16(left, right), _mm512_min_epi16(up, down));
  const __m512i high = _mm512_max_epi16(_mm512_max_epi16(left, right), _mm512_max_epi16(up, down));
  const __m512i direct = _mm512_add_epi16(leftRight, upDownSum);
  const __m512i r = _mm512_srai_epi16(_mm512_sub_epi16(direct, _mm512_add_epi16(low, high)), 1);
  if ((verticalLine | horizontalLine) == 0) return r;
  const __m512i across[8] = {upLeft2, upRight2, downLeft2, downRight2, left, right, up, down};
  const __m512i along[8] = {up2Left, up2Right, down2Left, down2Right, left, right, up, down};
  const __mmask32 flat =
      _mm512_cmplt_epi16_mask(NarrowDeviation(across, _mm512_add_epi16(acrossFour, direct)),
                              limit48) |
      _mm512_cmplt_epi16_mask(NarrowDeviation(along, _mm512_add_epi16(alongFour, direct)), limit48);
  const __mmask32 vertical = verticalLine & ~flat;
  const __mmask32 horizontal = horizontalLine & ~flat & ~verticalLine;
  const __m512i value = _mm512_mask_blend_epi16(vertical, r, _mm512_srai_epi16(upDownSum, 1));
  return _mm512_mask_blend_epi16(horizontal, value, _mm512_srai_epi16(leftRight, 1));
}

// Stores the values of the first `sites` of thirty-two sites of `kParity`
// from `at`, leaving the columns between them as they are.
template <int kParity>
VOBREX_TARGET_AVX512 inline void StoreNarrowSites(int16_t* at, __m512i value, int sites) {
  const __mmask32 parity = kParity ? 0xAAAAAAAAu : 0x55555555u;
  const __mmask32 low = sites >= 16 ? ~__mmask32(0) : (__mmask32(1) << (2 * sites)) - 1;
  const __mmask32 high = sites >= 32   ? ~__mmask32(0)
                         : sites <= 16 ? __mmask32(0)
                                       : (__mmask32(1) << (2 * (sites - 16))) - 1;
  const __m512i lowIndex = _mm512_loadu_si512(kNarrowIndices.spread[0]);
  const __m512i highIndex = _mm512_loadu_si512(kNarrowIndices.spread[1]);
  _mm512_mask_storeu_epi16(at, parity & low, _mm512_permutexvar_epi8(lowIndex, value));
  _mm512_mask_storeu_epi16(at + 32, parity & high, _mm512_permutexvar_epi8(highIndex, value));
}

// The values of a row after its first step are all formed before any is
// stored: the reads of the row itself then never wait on a store into the
// same cache line. They read only sites the row does not write, but for
// the reads past the right end: those of the last step reach the row's
// first sites (over the end of the row above), so the first step is
// stored before the others are formed. With `gathered` (rows r - 3 ..
// r + 3, see GatheredReads) the steps whose reads stay inside the row's
// columns read the gathered sites instead.
template <int kParity>
VOBREX_TARGET_AVX512 void CompleteNarrowGreenRow(int16_t* row, int sites, bool endsOnly,
                                                 const int16_t* const* gathered = nullptr) {
  StoreNarrowSites<kParity>(row, NarrowGreenSites<kParity>(GridReads<kParity>{row}), sites);
  __m512i values[kGridSide / 64];
  for (int m = 32; m < sites; m += 32) {
    const bool last = m + 32 >= sites;
    if (endsOnly && !last) continue;
    values[m / 32] = gathered != nullptr && !last
                         ? NarrowGreenSites<kParity>(GatheredReads<kParity>{gathered, m})
                         : NarrowGreenSites<kParity>(GridReads<kParity>{row + 2 * m});
  }
  for (int m = 32; m < sites; m += 32) {
    if (endsOnly && m + 32 < sites) continue;
    StoreNarrowSites<kParity>(row + 2 * m, values[m / 32], sites - m);
  }
}

// The checkerboard sites of row `row` (column parity that of the row),
// 512 of them, to `sites`.
VOBREX_TARGET_AVX512 void GatherCheckerboard(const int16_t* row, int parity, int16_t* sites) {
  const __m512i index = _mm512_loadu_si512(kNarrowIndices.columns[parity]);
  for (int c = 0; c < kGridSide; c += 64) {
    _mm512_storeu_si512(sites + c / 2, _mm512_permutex2var_epi8(_mm512_loadu_si512(row + c), index,
                                                                _mm512_loadu_si512(row + c + 32)));
  }
}

// The red completion of one row in 16-bit lanes, thirty-two columns a
// step, the sites of the row's parity kept. The two middle values of four
// are the larger of the two pair minima and the smaller of the two pair
// maxima (whichever pairs the extremes fall in), and the mean of x and y
// rounded down is (x & y) + ((x ^ y) >> 1) (x + y is 2(x & y) + (x ^ y)):
// the median pair without forming a sum that could leave 16 bits.
VOBREX_TARGET_AVX512 void CompleteMedianRowAvx512(int16_t* row, int parity, int lastColumn,
                                                  bool endsOnly) {
  const __mmask32 parityLanes = parity ? 0xAAAAAAAAu : 0x55555555u;
  // As for green, the values are all formed before any is stored.
  __m512i values[kGridSide / 32];
  for (int c = 0; c <= lastColumn; c += 32) {
    if (endsOnly && c != 0 && c + 32 <= lastColumn) continue;
    const __m512i left = _mm512_loadu_si512(row + c - 1);
    const __m512i right = _mm512_loadu_si512(row + c + 1);
    const __m512i up = _mm512_loadu_si512(row + c - kGridSide);
    const __m512i down = _mm512_loadu_si512(row + c + kGridSide);
    const __m512i x = _mm512_max_epi16(_mm512_min_epi16(left, right), _mm512_min_epi16(up, down));
    const __m512i y = _mm512_min_epi16(_mm512_max_epi16(left, right), _mm512_max_epi16(up, down));
    values[c / 32] =
        _mm512_add_epi16(_mm512_and_si512(x, y), _mm512_srai_epi16(_mm512_xor_si512(x, y), 1));
  }
  for (int c = 0; c <= lastColumn; c += 32) {
    if (endsOnly && c != 0 && c + 32 <= lastColumn) continue;
    const int left16 = lastColumn + 1 - c;
    const __mmask32 inRow = left16 >= 32 ? ~__mmask32(0) : (__mmask32(1) << left16) - 1;
    _mm512_mask_storeu_epi16(row + c, parityLanes & inRow, values[c / 32]);
  }
}

// The green completion of rows first .. last of one group. A site of row
// r reads rows r - 3 and r + 3 in its own column only, rows r - 2 and
// r + 2 one column off, r - 1 and r + 1 two and row r three, so the reads
// off the row ends stay within rows r - 3 .. r + 3; a row it completes
// holds only values of the span again.
// Rows the previous group found in the range and read stay so: those it
// completed take medians and means of such values.
VOBREX_TARGET_AVX512 void CompleteGreenRowsAvx512(int16_t* green, int first, int last,
                                                  unsigned endsOnly, GreenRows* known) {
  int from = first - 3;
  if (known != nullptr && known->narrowThrough >= from - 1) from = known->narrowThrough + 1;
  const bool narrow =
      from > last + 3 || HoldNarrowValues(green + WorkGrid::Offset(from, 0),
                                          std::ptrdiff_t{last + 4 - from} * kGridSide);
  if (known != nullptr) known->narrowThrough = narrow ? last + 3 : -2 * kGridSide;
  // The checkerboard sites of the rows that the rows completed whole read
  // (r - 3 .. r + 3 each, at most ten in all), gathered once for all their
  // reads; the reads of a site are unaligned loads from them then. Rows
  // of which only the ends are completed read the grid. A row the previous
  // group gathered is the same still: it read it, so it holds the same
  // sites, and no completion writes a checkerboard site.
  auto ends = [endsOnly](int r) { return ((endsOnly >> (r % 4)) & 1u) != 0; };
  int wholeFirst = last + 1, wholeLast = first - 1;
  for (int r = first; r <= last; ++r) {
    if (!ends(r)) wholeFirst = std::min(wholeFirst, r), wholeLast = r;
  }
  constexpr int kGatheredRows = GreenRows::kGatheredRows;
  GreenRows own;
  GreenRows& store = known != nullptr ? *known : own;
  const int16_t* rows[kGatheredRows] = {};
  if (narrow) {
    for (int y = wholeFirst - 3; y <= wholeLast + 3; ++y) {
      const int slot = (y + 1) % kGatheredRows;
      if (store.gatheredRow[slot] != y) {
        GatherCheckerboard(green + WorkGrid::Offset(y, 0), y & 1, store.gathered[slot]);
        store.gatheredRow[slot] = y;
      }
      rows[y - first + 3] = store.gathered[slot];
    }
  }
  for (int r = first; r <= last; ++r) {
    int16_t* row = green + WorkGrid::Offset(r, 0);
    const int16_t* const* around = ends(r) ? nullptr : rows + (r - first);
    if (!narrow) {
      CompleteGreenRowAvx512(green, r, ends(r));
    } else if (r % 2 == 0) {
      CompleteNarrowGreenRow<1>(row, 512, ends(r), around);
    } else {
      CompleteNarrowGreenRow<0>(row, 510, ends(r), around);
    }
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

VOBREX_TARGET_AVX512 void CompleteBlueRowAvx512(const WorkGrid& grid, int r) {
  if (r % 2 == 0) return BlueRow(grid.Plane(kBluePlane), grid.Plane(kGreenPlane), r, 1, 1023);
  BlueRow(grid.Plane(kBluePlane), grid.Plane(kGreenPlane), r, 0, 1018);
}

// The row fills, sixteen positions c = 2(m + i) of one group of four at
// once, `at` pointing at (t, 2m) of the plane filled. Every value a row fill
// computes reads only rows t - 2, t - 1, t + 2 and t + 3 of its plane (and
// the other planes), which the fill of rows t and t + 1 never writes: the
// values at all positions can be formed before any is stored.

// IsRBObject in row-fill mode at sixteen positions.
VOBREX_TARGET_AVX512 inline __mmask16 RowFillObjects(const int16_t* own, const int16_t* green,
                                                     const int16_t* other) {
  const __m512i above = Neighbour<-2, 0>(own), below = Neighbour<2, 0>(own);
  const __m512i a = _mm512_srai_epi32(above, 1), b = _mm512_srai_epi32(below, 1);
  const __m512i g1 = Neighbour<-2, 0>(green), g2 = Neighbour<2, 0>(green);
  const __m512i o = Neighbour<0, 0>(other);
  return _mm512_cmpge_epi32_mask(a, _mm512_set1_epi32(21)) & _mm512_cmpgt_epi32_mask(a, g1) &
         _mm512_cmpgt_epi32_mask(a, g2) & _mm512_cmpgt_epi32_mask(a, o) &
         _mm512_cmpgt_epi32_mask(b, g1) & _mm512_cmpgt_epi32_mask(b, g2) &
         _mm512_cmpgt_epi32_mask(b, o);
}

// The two values of every position: the vertical rule on objects, the
// diagonal colour difference elsewhere; `upper` for (t, c), `lower` for
// (t + 1, c + 1).
struct FillPair {
  __m512i upper, lower;
};

VOBREX_TARGET_AVX512 inline FillPair RowFillValues(const int16_t* own, const int16_t* green,
                                                   __mmask16 objects) {
  const __m512i vertical0 =
      _mm512_srai_epi32(_mm512_add_epi32(Neighbour<-2, 0>(own), Neighbour<2, 0>(own)), 1);
  const __m512i vertical1 =
      _mm512_srai_epi32(_mm512_add_epi32(Neighbour<-1, 1>(own), Neighbour<3, 1>(own)), 1);
  const __m512i diagonal0 = _mm512_add_epi32(
      _mm512_sub_epi32(Neighbour<-1, 1>(own), Neighbour<-1, 1>(green)), Neighbour<0, 0>(green));
  const __m512i diagonal1 = _mm512_sub_epi32(
      _mm512_add_epi32(Neighbour<2, 0>(own), Neighbour<1, 1>(green)), Neighbour<2, 0>(green));
  return {_mm512_mask_blend_epi32(objects, diagonal0, vertical0),
          _mm512_mask_blend_epi32(objects, diagonal1, vertical1)};
}

// Stores sixteen values as 16 bits at the sites of `kParity` from `at`,
// leaving the sites between them as they are.
template <int kParity>
VOBREX_TARGET_AVX512 inline void StoreSites(int16_t* at, __m512i value) {
  const __m512i placed = kParity ? _mm512_slli_epi32(value, 16) : value;
  _mm512_mask_storeu_epi16(at, kParity ? 0xAAAAAAAAu : 0x55555555u, placed);
}

// Lanes where RedDiagonalLine is 1 (`first`) or 2 (the mask returned). A
// score of +1 per agreeing column and -1 otherwise over six columns reaches
// 4 or -4 exactly when five or more, or one or none, agree.
VOBREX_TARGET_AVX512 inline __mmask16 DiagonalEdges(const int16_t* red, __mmask16& first) {
  first = 0;
  const __m512i top[6] = {Neighbour<-2, 0>(red), Neighbour<-1, 1>(red), Neighbour<-2, 2>(red),
                          Neighbour<-1, 3>(red), Neighbour<-2, 4>(red), Neighbour<-1, 5>(red)};
  const __m512i bottom[6] = {Neighbour<2, 0>(red), Neighbour<3, 1>(red), Neighbour<2, 2>(red),
                             Neighbour<3, 3>(red), Neighbour<2, 4>(red), Neighbour<3, 5>(red)};
  __m512i sum[6];
  for (int k = 0; k < 6; ++k) sum[k] = _mm512_add_epi32(top[k], bottom[k]);
  __mmask16 falling = 0xFFFF, rising = 0xFFFF;
  for (int k = 0; k < 5; ++k) {
    falling &= _mm512_cmpgt_epi32_mask(sum[k], sum[k + 1]);
    rising &= _mm512_cmplt_epi32_mask(sum[k], sum[k + 1]);
  }
  if ((falling | rising) == 0) return 0;
  const __m512i one = _mm512_set1_epi32(1);
  __m512i agreeing = _mm512_setzero_si512();
  for (int k = 0; k < 6; ++k) {
    const __mmask16 agrees = (falling & _mm512_cmplt_epi32_mask(top[k], bottom[k])) |
                             (rising & _mm512_cmpgt_epi32_mask(top[k], bottom[k]));
    agreeing = _mm512_mask_add_epi32(agreeing, agrees, agreeing, one);
  }
  first = (falling | rising) & _mm512_cmpge_epi32_mask(agreeing, _mm512_set1_epi32(5));
  return (falling | rising) & _mm512_cmple_epi32_mask(agreeing, one);
}

// Rows t and t + 1 of the red fill. The walk over the positions is serial
// only through its six-column steps: every position it stops at with no
// edge takes the value formed above, so all positions are stored first and
// the walk then only visits the edges, each step overwriting the three
// positions it covers and skipping to the position after them.
VOBREX_TARGET_AVX512 void FillRedRowPair(const WorkGrid& grid, int t) {
  int16_t* red = grid.Plane(kRedPlane) + WorkGrid::Offset(t, 0);
  const int16_t* green = grid.Plane(kGreenPlane) + WorkGrid::Offset(t, 0);
  const int16_t* blue = grid.Plane(kBluePlane) + WorkGrid::Offset(t, 0);
  uint16_t edges[32], slants[32];  // positions with a step; those of slant 1
  for (int q = 0; q < 32; ++q) {
    const int column = 32 * q;
    const __mmask16 objects = RowFillObjects(red + column, green + column, blue + column);
    __mmask16 first = 0, second = 0;
    if (objects != 0) second = DiagonalEdges(red + column, first);
    const __mmask16 steps = objects & (first | second);
    edges[q] = steps;
    slants[q] = objects & first;
    const FillPair values = RowFillValues(red + column, green + column, objects & ~steps);
    StoreSites<0>(red + column, values.upper);
    StoreSites<1>(red + kGridSide + column, values.lower);
  }
  const PlaneSites sites(grid.Plane(kRedPlane));
  int next = 0;  // the next position the walk stops at
  for (int q = 0; q < 32; ++q) {
    uint32_t pending = edges[q];
    while (pending != 0) {
      const int bit = __builtin_ctz(pending);
      const int position = 16 * q + bit;
      pending &= pending - 1;
      if (position < next) continue;
      SixColumnStep(sites, 2 * position, t, ((slants[q] >> bit) & 1) != 0 ? 1 : 2);
      next = position + 3;
    }
  }
}

// Rows t and t + 1 of the blue fill: no walk, every position on its own.
VOBREX_TARGET_AVX512 void FillBlueRowPair(const WorkGrid& grid, int t) {
  int16_t* blue = grid.Plane(kBluePlane) + WorkGrid::Offset(t, 0);
  const int16_t* green = grid.Plane(kGreenPlane) + WorkGrid::Offset(t, 0);
  const int16_t* red = grid.Plane(kRedPlane) + WorkGrid::Offset(t, 0);
  for (int column = 0; column < kGridSide; column += 32) {
    const __mmask16 objects = RowFillObjects(blue + column, green + column, red + column);
    const FillPair values = RowFillValues(blue + column, green + column, objects);
    StoreSites<0>(blue + column, values.upper);
    StoreSites<1>(blue + kGridSide + column, values.lower);
  }
}

#endif

namespace {

bool Vectors() {
#if defined(VOBREX_X86_SIMD)
  return ActiveSimdLevel() == SimdLevel::kAvx512;
#else
  return false;
#endif
}

// Whether row r is one of a group's rows of which only the ends are read.
bool EndsOnly(unsigned rows, int r) { return ((rows >> (r % 4)) & 1u) != 0; }

// The rows of group g (4g .. 4g + 3) from `first` to `last`.
int FirstRow(int g, int first) { return std::max(4 * g, first); }
int LastRow(int g, int last) { return std::min(4 * g + 3, last); }

// Completion of an even row at the odd columns 1..1023, of an odd row at
// the even columns 0..1018.
template <class Value>
void CompleteSites(const PlaneSites& x, int r, Value value) {
  if (r % 2 == 0) {
    for (int c = 1; c <= 1023; c += 2) x.Set(r, c, value(c));
  } else {
    for (int c = 0; c <= 1018; c += 2) x.Set(r, c, value(c));
  }
}

// Rows t and t + 1 (t a multiple of 4) of the red fill.
void FillRedRowPairPortable(const WorkGrid& grid, int t) {
  const PlaneSites red(grid.Plane(kRedPlane));
  int c = 0;
  while (c <= 1022) {
    if (!IsRBObject(grid, c, t, kRedSelector, kRowFillMode)) {
      red.Set(t, c, DiagonalColorDifference(grid, c, t, kRedSelector));
      red.Set(t + 1, c + 1, DiagonalColorDifference(grid, c + 1, t + 1, kRedSelector));
      c += 2;
      continue;
    }
    const int diagonal = RedDiagonalLine(grid, c, t);
    if (diagonal == 0) {
      VerticalRule(red, c, t);
      c += 2;
    } else {
      SixColumnStep(red, c, t, diagonal);
      c += 6;
    }
  }
}

// Rows t and t + 1 (t = 2 mod 4) of the blue fill.
void FillBlueRowPairPortable(const WorkGrid& grid, int t) {
  const PlaneSites blue(grid.Plane(kBluePlane));
  for (int c = 0; c <= 1022; c += 2) {
    if (IsRBObject(grid, c, t, kBlueSelector, kRowFillMode)) {
      VerticalRule(blue, c, t);
    } else {
      blue.Set(t, c, DiagonalColorDifference(grid, c, t, kBlueSelector));
      blue.Set(t + 1, c + 1, DiagonalColorDifference(grid, c + 1, t + 1, kBlueSelector));
    }
  }
}

}  // namespace

void CompleteGreenGroup(const WorkGrid& grid, int g, unsigned endsOnly, GreenRows* known) {
#if defined(VOBREX_X86_SIMD)
  if (Vectors()) {
    if (FirstRow(g, 2) > LastRow(g, 1019)) return;
    return CompleteGreenRowsAvx512(grid.Plane(kGreenPlane), FirstRow(g, 2), LastRow(g, 1019),
                                   endsOnly, known);
  }
#endif
  // The portable form completes every site.
  static_cast<void>(endsOnly), static_cast<void>(known);
  for (int r = FirstRow(g, 2); r <= LastRow(g, 1019); ++r) {
    CompleteSites(PlaneSites(grid.Plane(kGreenPlane)), r,
                  [&](int c) { return IP4G(grid, c, r, kGreenSelector); });
  }
}

// Rows 0 and 1 of every group of four hold no red. Along a red object with
// a diagonal edge the red of the neighbouring line is copied along the
// edge, six columns at a time; a step at the right end spills into the
// start of the next row, which the grid layout allows. Group 0 fills only
// row 1, at its odd columns.
void FillRedGroup(const WorkGrid& grid, int g) {
  if (g == 0) {
    const PlaneSites red(grid.Plane(kRedPlane));
    for (int c = 1; c <= 1023; c += 2) {
      red.Set(1, c, DiagonalColorDifference(grid, c, 1, kRedSelector));
    }
    return;
  }
  if (g > 254) return;
#if defined(VOBREX_X86_SIMD)
  if (Vectors()) return FillRedRowPair(grid, 4 * g);
#endif
  FillRedRowPairPortable(grid, 4 * g);
}

// Rows 2 and 3 of every group of four hold no blue.
void FillBlueGroup(const WorkGrid& grid, int g) {
  if (g > 254) return;
#if defined(VOBREX_X86_SIMD)
  if (Vectors()) return FillBlueRowPair(grid, 4 * g + 2);
#endif
  FillBlueRowPairPortable(grid, 4 * g + 2);
}

// Red completion: each site the median pair of its neighbours, which are
// all sites of the red checkerboard.
void CompleteRedGroup(const WorkGrid& grid, int g, unsigned endsOnly) {
  static_cast<void>(endsOnly);  // the portable form completes every site
  const PlaneSites red(grid.Plane(kRedPlane));
  for (int r = FirstRow(g, 2); r <= LastRow(g, 1019); ++r) {
#if defined(VOBREX_X86_SIMD)
    if (Vectors()) {
      int16_t* row = grid.Plane(kRedPlane) + WorkGrid::Offset(r, 0);
      if (r % 2 == 0) {
        CompleteMedianRowAvx512(row, 1, 1023, EndsOnly(endsOnly, r));
      } else {
        CompleteMedianRowAvx512(row, 0, 1018, EndsOnly(endsOnly, r));
      }
      continue;
    }
#endif
    CompleteSites(red, r, [&](int c) {
      return MedianPair(red(r, c - 1), red(r, c + 1), red(r - 1, c), red(r + 1, c));
    });
  }
}

// Blue takes the colour difference of the site below, which holds blue in
// both line kinds once the rows are filled.
void CompleteBlueGroup(const WorkGrid& grid, int g, unsigned endsOnly) {
  static_cast<void>(endsOnly);  // the portable form completes every site
  const PlaneSites blue(grid.Plane(kBluePlane));
  const PlaneSites green(grid.Plane(kGreenPlane));
  for (int r = FirstRow(g, 0); r <= LastRow(g, 1019); ++r) {
#if defined(VOBREX_X86_SIMD)
    // Blue is never an object when single sites are filled (IsRBObject in
    // site-fill mode is false for blue), so every site takes the colour
    // difference of the site below. No later blue site reads a completed
    // one: a row of which only the ends are read is left alone.
    if (Vectors()) {
      if (!EndsOnly(endsOnly, r)) CompleteBlueRowAvx512(grid, r);
      continue;
    }
#endif
    CompleteSites(blue, r, [&](int c) {
      if (IsRBObject(grid, c, r, kBlueSelector, kSiteFillMode)) {
        return (blue(r - 1, c) + blue(r + 1, c)) >> 1;
      }
      return blue(r + 1, c) - green(r + 1, c) + green(r, c);
    });
  }
}

void CompleteGreen(const WorkGrid& grid) {
  GreenRows known;
  for (int g = 0; g < kGridGroups; ++g) CompleteGreenGroup(grid, g, 0, &known);
}

void FillRedRows(const WorkGrid& grid) {
  for (int g = 0; g < kGridGroups; ++g) FillRedGroup(grid, g);
}

void FillBlueRows(const WorkGrid& grid) {
  for (int g = 0; g < kGridGroups; ++g) FillBlueGroup(grid, g);
}

void CompleteRed(const WorkGrid& grid) {
  for (int g = 0; g < kGridGroups; ++g) CompleteRedGroup(grid, g);
}

void CompleteBlue(const WorkGrid& grid) {
  for (int g = 0; g < kGridGroups; ++g) CompleteBlueGroup(grid, g);
}

}  // namespace vobrex
