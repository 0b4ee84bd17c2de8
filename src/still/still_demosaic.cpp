#include "still/still_demosaic.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "platform/simd.h"
#include "still/still_planes.h"

namespace vobrex {
namespace {

constexpr int kSide = kStillSide;

int16_t* PlaneRow(int16_t* planes, int plane, int row) {
  return planes + PlaneIndex(plane, row, 0);
}

StillPlaneRows RowsOf(int16_t* planes, int row) {
  return {PlaneRow(planes, kRedPlane, row), PlaneRow(planes, kBluePlane, row),
          PlaneRow(planes, kGreenPlane, row)};
}

// Stores a colour-difference result; the planes are 16-bit and the value
// wraps like the store it is.
int16_t Store(int value) { return static_cast<int16_t>(value); }

// A pair of both fields looks like a stripe pattern at pixel pitch when one
// column of the pair is far brighter than the other in both fields, for this
// pair and the next one alike (bright green/red columns: pattern H; bright
// blue/green columns: pattern L): x > 2.25 y, x > 1.25 y and x > 1.5 y on the
// samples as read, compared strictly.
//
// The samples are 16-bit integers, so each product is exact in double
// precision (2.25 = 9/4, 1.25 = 5/4 and 1.5 = 3/2 times a number below 2^15
// needs few bits) and the comparison of exact values is exact: x > 9y/4
// holds exactly when 4x > 9y, x > 5y/4 when 4x > 5y, x > 3y/2 when 2x > 3y.
// The integer forms below are those comparisons, without overflow in 32
// bits (a test checks them against the double forms).
bool Above9To4(int x, int y) { return 4 * x > 9 * y; }
bool Above5To4(int x, int y) { return 4 * x > 5 * y; }
bool Above3To2(int x, int y) { return 2 * x > 3 * y; }

bool StripePattern(int a0, int a1, int a2, int a3, int b0, int b1, int b2, int b3) {
  const bool brightFirst = Above9To4(a0, a1) && Above9To4(b0, b1) && Above9To4(a2, a3) &&
                           Above9To4(b2, b3) && Above5To4(a0, b1) && Above5To4(b0, a1) &&
                           Above3To2(a2, b3) && Above3To2(b2, a3);
  const bool brightSecond = Above9To4(a1, a0) && Above9To4(b1, b0) && Above9To4(a3, a2) &&
                            Above9To4(b3, b2) && Above5To4(b1, a0) && Above5To4(a1, b0) &&
                            Above3To2(b3, a2) && Above3To2(a3, b2);
  return brightFirst || brightSecond;
}

#if defined(VOBREX_X86_SIMD)
VOBREX_TARGET_AVX512 void CopyLineAvx512(const int16_t* line, int16_t* to, int16_t* alsoTo) {
  for (int x = 0; x < kSide; x += 32) {
    const __m512i v = _mm512_loadu_si512(line + x);
    _mm512_storeu_si512(to + x, v);
    _mm512_storeu_si512(alsoTo + x, v);
  }
}
#endif

// A field line copied whole into two plane rows (or twice into one).
void CopyLine(const int16_t* line, int16_t* to, int16_t* alsoTo) {
#if defined(VOBREX_X86_SIMD)
  if (ActiveSimdLevel() == SimdLevel::kAvx512) return CopyLineAvx512(line, to, alsoTo);
#endif
  const std::size_t lineBytes = kSide * sizeof(int16_t);
  std::memcpy(to, line, lineBytes);
  if (alsoTo != to) std::memcpy(alsoTo, line, lineBytes);
}

}  // namespace

void SplitFieldLine(const int16_t* raw, int r, const StillPlaneRows& even,
                    const StillPlaneRows& odd, uint32_t optionV) {
  SplitFieldLines(raw + r * kSide, raw + kFieldSamples + r * kSide, r, even, odd, optionV);
}

void SplitFieldLines(const int16_t* line1, const int16_t* line2, int r, const StillPlaneRows& even,
                     const StillPlaneRows& odd, uint32_t optionV) {
  int16_t* greenEven = even.green;
  int16_t* blueEven = even.blue;
  int16_t* redOdd = odd.red;
  int16_t* greenOdd = odd.green;
  if (optionV != 1) {
    // Without the smoothing the stripe flag decides nothing: each field line
    // is dealt out to its two planes. A whole line is copied into each: the
    // sites of the other colour are overwritten by the fill passes after
    // this one, except those no pass writes (green row 0 at odd columns and
    // row 511 at even columns), which are dealt out one by one.
    if (r == 0 || r == kFieldLines - 1) {
      CopyLine(line1, blueEven, blueEven);
      CopyLine(line2, redOdd, redOdd);
      for (int x = 0; x < kSide; x += 2) {
        greenEven[x] = line1[x];
        greenOdd[x + 1] = line2[x + 1];
      }
    } else {
      CopyLine(line1, blueEven, greenEven);
      CopyLine(line2, redOdd, greenOdd);
    }
    return;
  }
  // Offsets count from the start of each field line: the reads reach two
  // samples into the lines on either side.
  // The stripe flag of the previous pair, which is the pattern of that
  // pair's samples alone: it carries from the last pair of one line to the
  // first pair of the next, and is cleared for the first pair of the frame.
  bool stripe = false;
  if (r > 0) {
    const int i = -2;
    stripe = StripePattern(line1[i], line1[i + 1], line1[i + 2], line1[i + 3], line2[i],
                           line2[i + 1], line2[i + 2], line2[i + 3]);
  }
  for (int c = 0; c < kSide / 2; ++c) {
    const int i = 2 * c;
    // Each field is one continuous run: at the end of a line the look-ahead
    // pair is the start of the next line. Field 1's last look-ahead is the
    // start of field 2; field 2's last one lies past the frame and reads as
    // 0 (it only decides the smoothing of the bottom right pair, which no
    // kernel reads).
    const int a0 = line1[i], a1 = line1[i + 1], a2 = line1[i + 2], a3 = line1[i + 3];
    const int b0 = line2[i], b1 = line2[i + 1];
    const bool lastPair = r * kSide + i + 2 >= kFieldSamples;
    const int b2 = lastPair ? 0 : line2[i + 2];
    const int b3 = lastPair ? 0 : line2[i + 3];

    const int x = 2 * c;
    greenEven[x] = Store(a0);
    blueEven[x + 1] = Store(a1);
    redOdd[x] = Store(b0);
    greenOdd[x + 1] = Store(b1);
    if (stripe && b0 < 2 * b1 && b2 < 2 * a2) {
      const int16_t evenValue = Store((a0 + a1) >> 1);
      const int16_t oddValue = Store((b0 + b1) >> 1);
      greenEven[x] = evenValue;
      blueEven[x + 1] = evenValue;
      redOdd[x] = oddValue;
      greenOdd[x + 1] = oddValue;
    }
    stripe = StripePattern(a0, a1, a2, a3, b0, b1, b2, b3);
  }
}

void SplitFields(const int16_t* raw, int16_t* planes, uint32_t optionV) {
  for (int r = 0; r < kFieldLines; ++r) {
    SplitFieldLine(raw, r, RowsOf(planes, 2 * r), RowsOf(planes, 2 * r + 1), optionV);
  }
}

namespace {

// GreenEstimate from the four green neighbours of a site.
int GreenEstimateOf(int left, int right, int up, int down) {
  const int h = std::abs(left - right);
  const int v = std::abs(up - down);
  if ((h != 0 && 5 * h < v) || (h == 0 && v >= 5)) return (left + right) >> 1;
  if ((v != 0 && 5 * v < h) || (v == 0 && h >= 5)) return (up + down) >> 1;
  // The middle two of the four sum to the total less the smallest and the
  // largest.
  const int low = std::min(std::min(left, right), std::min(up, down));
  const int high = std::max(std::max(left, right), std::max(up, down));
  return (left + right + up + down - low - high) >> 1;
}

// GreenEstimate of the site `site` points at in the green plane.
int GreenEstimateAt(const int16_t* site) {
  return GreenEstimateOf(site[-1], site[1], site[-kSide], site[kSide]);
}

}  // namespace

int GreenEstimate(const int16_t* green, int x, int y) {
  return GreenEstimateAt(green + y * kSide + x);
}

#if defined(VOBREX_X86_SIMD)

// The mean of two samples rounded down, without leaving 16 bits: a + b is
// (a ^ b) + 2 (a & b) in two's complement, bit by bit with the sign bit's
// negative weight, so (a + b) >> 1 is (a & b) + ((a ^ b) >> 1), and that
// mean lies between a and b.
VOBREX_TARGET_AVX512 inline __m512i FloorMean(__m512i a, __m512i b) {
  return _mm512_add_epi16(_mm512_and_si512(a, b), _mm512_srai_epi16(_mm512_xor_si512(a, b), 1));
}

// GreenEstimate of 32 sites at once in 16-bit lanes, the same tests in the
// same order. |L - R| is max - min, at most 65535: exact as an unsigned
// 16-bit lane. 5h < v: for h <= 13107, 5h <= 65535 is exact; above, 5h >
// 65535 >= v never holds, and 5 x 13107 = 65535 < v does not either. Each
// test is one compare: (h != 0 and 5h < v) or (h == 0 and v >= 5) is
// max(5h, 4) < v, since 5h is 0 for h = 0 and at least 5 otherwise. The
// middle two of the four are max(min(L, R), min(U, D)) and min(max(L, R),
// max(U, D)) (the smallest and the largest are the min of the mins and the
// max of the maxes), and every mean is a FloorMean.
VOBREX_TARGET_AVX512 inline __m512i GreenEstimate32(__m512i left, __m512i right, __m512i up,
                                                    __m512i down) {
  const __m512i four = _mm512_set1_epi16(4);
  const __m512i five = _mm512_set1_epi16(5);
  const __m512i largest = _mm512_set1_epi16(13107);
  const __m512i rowLow = _mm512_min_epi16(left, right), rowHigh = _mm512_max_epi16(left, right);
  const __m512i columnLow = _mm512_min_epi16(up, down), columnHigh = _mm512_max_epi16(up, down);
  const __m512i h = _mm512_sub_epi16(rowHigh, rowLow);
  const __m512i v = _mm512_sub_epi16(columnHigh, columnLow);
  const __m512i h5 = _mm512_mullo_epi16(_mm512_min_epu16(h, largest), five);
  const __m512i v5 = _mm512_mullo_epi16(_mm512_min_epu16(v, largest), five);
  const __mmask32 alongRow = _mm512_cmplt_epu16_mask(_mm512_max_epu16(h5, four), v);
  const __mmask32 alongColumn = _mm512_cmplt_epu16_mask(_mm512_max_epu16(v5, four), h);
  // The pair each site takes the mean of is chosen first, so that one mean
  // serves all three cases.
  __m512i p = _mm512_max_epi16(rowLow, columnLow), q = _mm512_min_epi16(rowHigh, columnHigh);
  p = _mm512_mask_blend_epi16(alongRow, _mm512_mask_blend_epi16(alongColumn, p, up), left);
  q = _mm512_mask_blend_epi16(alongRow, _mm512_mask_blend_epi16(alongColumn, q, down), right);
  return FloorMean(p, q);
}

// Lane tables of the 16-bit permutes: the even and the odd lanes of a pair
// of vectors, and each of 32 values spread to two neighbouring lanes (the
// first sixteen into one vector, the last sixteen into the other).
struct GreenLanes {
  alignas(64) uint16_t even[32];
  alignas(64) uint16_t odd[32];
  alignas(64) uint16_t spreadFirst[32];
  alignas(64) uint16_t spreadLast[32];
};

constexpr GreenLanes MakeGreenLanes() {
  GreenLanes t{};
  for (int k = 0; k < 32; ++k) {
    t.even[k] = static_cast<uint16_t>(2 * k);
    t.odd[k] = static_cast<uint16_t>(2 * k + 1);
    t.spreadFirst[k] = static_cast<uint16_t>(k / 2);
    t.spreadLast[k] = static_cast<uint16_t>(16 + k / 2);
  }
  return t;
}

constexpr GreenLanes kGreenLanes = MakeGreenLanes();

// The lanes of one parity of the 64 values from `at`.
VOBREX_TARGET_AVX512 inline __m512i Parity(const int16_t* at, __m512i lanes) {
  return _mm512_permutex2var_epi16(_mm512_loadu_si512(at), lanes, _mm512_loadu_si512(at + 32));
}

// The estimates of one row at every site of FillGreen but the edge column,
// 32 sites a step: the four neighbours of the sites are gathered into
// vectors of their own, and the estimates spread back to the sites' lanes.
// Every site reads only original green sites, so the order of the sites
// and rows does not matter; the edge column takes its mean of two in the
// same store.
// The row's values come from `here` and its neighbour rows' from `up` and
// `down` (the plane rows themselves, or the field lines they were dealt
// from: the estimates read only original green sites, which the lines hold
// as they are); the filled row goes to `row`.
VOBREX_TARGET_AVX512 void GreenRowAvx512(int16_t* row, const int16_t* here, const int16_t* above,
                                         const int16_t* below, bool evenRow) {
  const __m512i even = _mm512_loadu_si512(kGreenLanes.even);
  const __m512i odd = _mm512_loadu_si512(kGreenLanes.odd);
  const __m512i spreadFirst = _mm512_loadu_si512(kGreenLanes.spreadFirst);
  const __m512i spreadLast = _mm512_loadu_si512(kGreenLanes.spreadLast);
  // Blue sites of an even row: odd columns 2m + 1 (511 is the edge); red
  // sites of an odd row: even columns 2m (0 is the edge). An even
  // row goes left to right and an odd row right to left, away from the
  // values each step reads beside its block: a step's loads then never
  // overlap the stores of the step before, and need not wait for them.
  const __mmask32 sites = evenRow ? 0xAAAAAAAAu : 0x55555555u;
  const __m512i sameRow = evenRow ? even : odd;
  const __m512i otherRows = evenRow ? odd : even;
  // The block's own 64 values are written back whole, the sites replaced:
  // the next row's loads of them then take the stored values at once.
  const int besideOffset = evenRow ? 2 : -2;
  const __mmask32 edgeSite = evenRow ? 0x80000000u : 0x1u;
  for (int step = 0; step < 8; ++step) {
    const int column = 2 * 32 * (evenRow ? step : 7 - step);
    int16_t* at = row + column;
    const int16_t* from = here + column;
    const __m512i first = _mm512_loadu_si512(from);
    const __m512i last = _mm512_loadu_si512(from + 32);
    const __m512i own = _mm512_permutex2var_epi16(first, sameRow, last);
    const __m512i beside = Parity(from + besideOffset, sameRow);
    const __m512i up = Parity(above + column, otherRows);
    const __m512i down = Parity(below + column, otherRows);
    __m512i e =
        evenRow ? GreenEstimate32(own, beside, up, down) : GreenEstimate32(beside, own, up, down);
    // The edge column (511 of an even row, 0 of an odd one) takes the mean
    // of the green above and below it.
    if (step == 7) e = _mm512_mask_blend_epi16(edgeSite, e, FloorMean(up, down));
    _mm512_storeu_si512(
        at, _mm512_mask_blend_epi16(sites, first, _mm512_permutexvar_epi16(spreadFirst, e)));
    _mm512_storeu_si512(
        at + 32, _mm512_mask_blend_epi16(sites, last, _mm512_permutexvar_epi16(spreadLast, e)));
  }
}

// The same from the rows' green sites gathered beforehand (GreenSiteRows):
// the left and right neighbours of site k are gathered sites k and k + 1
// of the row (k - 1 and k on an odd row), the upper and lower ones site k
// of the rows above and below, each a plain load. The row's own values for
// the stores still come from `here`; a step reads no value another step
// stores.
VOBREX_TARGET_AVX512 void GreenRowFromSitesAvx512(int16_t* row, const int16_t* here,
                                                  const int16_t* above, const int16_t* own,
                                                  const int16_t* below, bool evenRow) {
  const __m512i spreadFirst = _mm512_loadu_si512(kGreenLanes.spreadFirst);
  const __m512i spreadLast = _mm512_loadu_si512(kGreenLanes.spreadLast);
  const __mmask32 sites = evenRow ? 0xAAAAAAAAu : 0x55555555u;
  const int beside = evenRow ? 1 : -1;
  for (int step = 0; step < 8; ++step) {
    const int k = 32 * step;
    const __m512i mine = _mm512_load_si512(own + k);
    const __m512i next = _mm512_loadu_si512(own + k + beside);
    const __m512i up = _mm512_load_si512(above + k);
    const __m512i down = _mm512_load_si512(below + k);
    __m512i e =
        evenRow ? GreenEstimate32(mine, next, up, down) : GreenEstimate32(next, mine, up, down);
    // The edge column (511 of an even row, 0 of an odd one) takes the mean
    // of the green above and below it.
    if (evenRow && step == 7) e = _mm512_mask_blend_epi16(0x80000000u, e, FloorMean(up, down));
    if (!evenRow && step == 0) e = _mm512_mask_blend_epi16(0x1u, e, FloorMean(up, down));
    const int column = 2 * k;
    const __m512i first = _mm512_loadu_si512(here + column);
    const __m512i last = _mm512_loadu_si512(here + column + 32);
    _mm512_storeu_si512(row + column, _mm512_mask_blend_epi16(
                                          sites, first, _mm512_permutexvar_epi16(spreadFirst, e)));
    _mm512_storeu_si512(
        row + column + 32,
        _mm512_mask_blend_epi16(sites, last, _mm512_permutexvar_epi16(spreadLast, e)));
  }
}

// The values of `line` at the columns of one parity, 32 at a time.
VOBREX_TARGET_AVX512 void GatherGreenSitesAvx512(const int16_t* line, bool evenColumns,
                                                 int16_t* sites) {
  const __m512i lanes = _mm512_loadu_si512(evenColumns ? kGreenLanes.even : kGreenLanes.odd);
  for (int c = 0; c < kSide; c += 64) {
    _mm512_store_si512(sites + c / 2, _mm512_permutex2var_epi16(_mm512_loadu_si512(line + c), lanes,
                                                                _mm512_loadu_si512(line + c + 32)));
  }
}

#endif

const int16_t* GreenSiteRows::Sites(const int16_t* line, int y) {
  const int slot = y % kRows;
  int16_t* sites = values_[slot] + kMargin;
  if (row_[slot] != y) {
    // Green lies at the even columns of an even row, the odd ones of an odd row.
    const bool evenColumns = y % 2 == 0;
#if defined(VOBREX_X86_SIMD)
    if (ActiveSimdLevel() == SimdLevel::kAvx512) {
      GatherGreenSitesAvx512(line, evenColumns, sites);
      row_[slot] = y;
      return sites;
    }
#endif
    for (int k = 0; k < 256; ++k) sites[k] = line[2 * k + (evenColumns ? 0 : 1)];
    row_[slot] = y;
  }
  return sites;
}

void FillGreenRowFromSites(GreenSiteRows& sites, const int16_t* above, const int16_t* here,
                           const int16_t* below, int16_t* row, int y) {
#if defined(VOBREX_X86_SIMD)
  if (ActiveSimdLevel() == SimdLevel::kAvx512) {
    const int16_t* up = sites.Sites(above, y - 1);
    const int16_t* own = sites.Sites(here, y);
    const int16_t* down = sites.Sites(below, y + 1);
    return GreenRowFromSitesAvx512(row, here, up, own, down, y % 2 == 0);
  }
#endif
  static_cast<void>(sites);
  FillGreenRowBetweenLines(above, here, below, row, y);
}

void FillGreenRow(int16_t* row, int y) {
  const bool evenRow = y % 2 == 0;
#if defined(VOBREX_X86_SIMD)
  if (ActiveSimdLevel() == SimdLevel::kAvx512) {
    return GreenRowAvx512(row, row, row - kSide, row + kSide, evenRow);
  }
#endif
  // Blue sites of the even rows; the last column has no right neighbour.
  // Red sites of the odd rows; the first column has no left neighbour.
  if (evenRow) {
    for (int x = 1; x <= 509; x += 2) row[x] = Store(GreenEstimateAt(row + x));
    row[511] = Store((row[511 - kSide] + row[511 + kSide]) >> 1);
  } else {
    row[0] = Store((row[-kSide] + row[kSide]) >> 1);
    for (int x = 2; x <= 510; x += 2) row[x] = Store(GreenEstimateAt(row + x));
  }
}

void FillGreen(int16_t* planes) {
  int16_t* green = PlaneRow(planes, kGreenPlane, 0);
  for (int y = 2; y <= 510; y += 2) FillGreenRow(green + y * kSide, y);
  for (int y = 1; y <= 509; y += 2) FillGreenRow(green + y * kSide, y);
}

#if defined(VOBREX_X86_SIMD)

// The lanes of a 32-value block with lane 0 taken from lane 1, and with
// lane 31 taken from lane 30.
constexpr __mmask32 kEvenColumns = 0x55555555u, kOddColumns = 0xAAAAAAAAu,
                    kAllColumns = 0xFFFFFFFFu;

struct EdgeLanes {
  alignas(64) uint16_t firstFromSecond[32];
  alignas(64) uint16_t lastFromBefore[32];
};

constexpr EdgeLanes MakeEdgeLanes() {
  EdgeLanes t{};
  for (int k = 0; k < 32; ++k) {
    t.firstFromSecond[k] = static_cast<uint16_t>(k == 0 ? 1 : k);
    t.lastFromBefore[k] = static_cast<uint16_t>(k == 31 ? 30 : k);
  }
  return t;
}

constexpr EdgeLanes kEdgeLanes = MakeEdgeLanes();

// The colour-difference fills store 32-bit sums as 16 bits, which is the
// sum modulo 2^16: 16-bit lanes with wrapping adds give the same values.
// Each 32-value block of the row is written back whole, the other sites as
// they were (the blocks lie inside the row), so that the next row's loads
// of it take the stored values at once.
// Each call fills the sites of `parity` in columns first..last of one row:
// value = x[column + from] - g[column + from] + g[column].
// The sites of one row in columns first..last whose lanes `parity` selects
// (0x55555555: even columns, 0xAAAAAAAA: odd, all ones: both) take
// x[column + from] - g[column + from] + g[column], the even columns from
// `fromEven`, the odd ones from `fromOdd`. `copyFirst` and `copyLast` then
// copy column 1 into column 0 and column 510 into column 511, as the edge
// columns of the fills take them.
// The row's own values are read from `source` (the row itself, or the
// field line it was dealt from) and the filled row stored to `x`.
// Each fill has a form of its own (DifferenceRow with its constants), so
// that the steps test nothing but the edge blocks.
VOBREX_TARGET_AVX512 VOBREX_ALWAYS_INLINE void DifferenceRow(int16_t* x, const int16_t* source,
                                                             const int16_t* g, int fromEven,
                                                             int fromOdd, __mmask32 parity,
                                                             int first, int last, bool copyFirst,
                                                             bool copyLast) {
  const __mmask32 oddLanes = 0xAAAAAAAAu;
  const __m512i firstFromSecond = _mm512_loadu_si512(kEdgeLanes.firstFromSecond);
  const __m512i lastFromBefore = _mm512_loadu_si512(kEdgeLanes.lastFromBefore);
  for (int c = 0; c < kSide; c += 32) {
    __mmask32 lanes = parity;
    if (c < first) lanes &= ~((__mmask32(1) << (first - c)) - 1);
    if (last - c < 31) lanes &= last < c ? 0 : (__mmask32(1) << (last - c + 1)) - 1;
    const __m512i even = _mm512_sub_epi16(_mm512_loadu_si512(source + c + fromEven),
                                          _mm512_loadu_si512(g + c + fromEven));
    const __m512i odd = fromOdd == fromEven
                            ? even
                            : _mm512_sub_epi16(_mm512_loadu_si512(source + c + fromOdd),
                                               _mm512_loadu_si512(g + c + fromOdd));
    const __m512i value =
        _mm512_add_epi16(_mm512_mask_blend_epi16(oddLanes, even, odd), _mm512_loadu_si512(g + c));
    __m512i block = _mm512_mask_blend_epi16(lanes, _mm512_loadu_si512(source + c), value);
    if (copyFirst && c == 0) block = _mm512_permutexvar_epi16(firstFromSecond, block);
    if (copyLast && c == kSide - 32) block = _mm512_permutexvar_epi16(lastFromBefore, block);
    _mm512_storeu_si512(x + c, block);
  }
}

// Red of an odd row (green sites from the red site to the right) and of an
// even row (from above and above-right); blue of an even row (from the
// right), of an odd row (from below and below-left) and of the last row.
VOBREX_TARGET_AVX512 void RedOddAvx512(int16_t* r, const int16_t* source, const int16_t* g) {
  DifferenceRow(r, source, g, 1, 1, kOddColumns, 1, 509, false, true);
}
VOBREX_TARGET_AVX512 void RedEvenAvx512(int16_t* r, const int16_t* g) {
  DifferenceRow(r, r, g, -kSide, 1 - kSide, kAllColumns, 0, 510, false, true);
}
VOBREX_TARGET_AVX512 void BlueEvenAvx512(int16_t* b, const int16_t* source, const int16_t* g) {
  DifferenceRow(b, source, g, 1, 1, kEvenColumns, 2, 510, true, false);
}
VOBREX_TARGET_AVX512 void BlueOddAvx512(int16_t* b, const int16_t* g) {
  DifferenceRow(b, b, g, kSide, kSide - 1, kAllColumns, 0, 511, false, false);
}
VOBREX_TARGET_AVX512 void BlueLastAvx512(int16_t* b, const int16_t* g) {
  DifferenceRow(b, b, g, kSide, kSide, kEvenColumns, 0, 510, false, false);
}

#endif

void FillRedRow(int16_t* r, const int16_t* g, int y) {
#if defined(VOBREX_X86_SIMD)
  if (ActiveSimdLevel() == SimdLevel::kAvx512) {
    if (y % 2 == 1) {
      RedOddAvx512(r, r, g);
    } else {
      RedEvenAvx512(r, g);
    }
    return;
  }
#endif
  if (y % 2 == 1) {
    // Odd rows: green sites from the red site to the right.
    for (int x = 1; x <= 509; x += 2) r[x] = Store(r[x + 1] - g[x + 1] + g[x]);
  } else {
    // Even rows, even columns (green sites): from the red site above; odd
    // columns (blue sites): from the red site above-right.
    for (int x = 0; x <= 510; x += 2) r[x] = Store(r[x - kSide] - g[x - kSide] + g[x]);
    for (int x = 1; x <= 509; x += 2) r[x] = Store(r[x + 1 - kSide] - g[x + 1 - kSide] + g[x]);
  }
  r[511] = r[510];
}

void FillBlueRow(int16_t* b, const int16_t* g, int y) {
#if defined(VOBREX_X86_SIMD)
  if (ActiveSimdLevel() == SimdLevel::kAvx512) {
    if (y % 2 == 0) {
      BlueEvenAvx512(b, b, g);
    } else if (y <= 509) {
      BlueOddAvx512(b, g);
    } else {
      BlueLastAvx512(b, g);
    }
    return;
  }
#endif
  if (y % 2 == 0) {
    // Even rows, green sites: from the blue site to the right.
    b[0] = b[1];
    for (int x = 2; x <= 510; x += 2) b[x] = Store(b[x + 1] - g[x + 1] + g[x]);
    return;
  }
  // Odd rows, even columns (red sites): from the completed row below; odd
  // columns (green sites): from the blue site below-left. Row 511 has no
  // row below in the plane: the continuous run gives the first green row,
  // and the green row below it is the zeroed slack; its odd columns are not
  // filled.
  for (int x = 0; x <= 510; x += 2) b[x] = Store(b[x + kSide] - g[x + kSide] + g[x]);
  if (y > 509) return;
  for (int x = 1; x <= 511; x += 2) b[x] = Store(b[x - 1 + kSide] - g[x - 1 + kSide] + g[x]);
}

const int16_t* FieldLineOfRow(const int16_t* raw, int y) {
  return raw + (y % 2 == 0 ? 0 : kFieldSamples) + (y / 2) * kSide;
}

void FillGreenRowFromLines(const int16_t* raw, int16_t* row, int y) {
  FillGreenRowBetweenLines(FieldLineOfRow(raw, y - 1), FieldLineOfRow(raw, y),
                           FieldLineOfRow(raw, y + 1), row, y);
}

void FillGreenRowBetweenLines(const int16_t* above, const int16_t* here, const int16_t* below,
                              int16_t* row, int y) {
  const bool evenRow = y % 2 == 0;
#if defined(VOBREX_X86_SIMD)
  if (ActiveSimdLevel() == SimdLevel::kAvx512) {
    return GreenRowAvx512(row, here, above, below, evenRow);
  }
#endif
  if (row != here) std::memcpy(row, here, kSide * sizeof(int16_t));
  const int firstSite = evenRow ? 1 : 2;
  for (int x = firstSite; x <= firstSite + 508; x += 2) {
    row[x] = Store(GreenEstimateOf(here[x - 1], here[x + 1], above[x], below[x]));
  }
  const int edge = evenRow ? 511 : 0;
  row[edge] = Store((above[edge] + below[edge]) >> 1);
}

void FillRedRowFromLine(const int16_t* raw, int16_t* red, const int16_t* green, int y) {
  FillRedRowFromItsLine(FieldLineOfRow(raw, y), red, green, y);
}

void FillRedRowFromItsLine(const int16_t* line, int16_t* red, const int16_t* green, int y) {
#if defined(VOBREX_X86_SIMD)
  if (ActiveSimdLevel() == SimdLevel::kAvx512) {
    return RedOddAvx512(red, line, green);
  }
#endif
  std::memcpy(red, line, kSide * sizeof(int16_t));
  FillRedRow(red, green, y);
}

void FillBlueRowFromLine(const int16_t* raw, int16_t* blue, const int16_t* green, int y) {
  FillBlueRowFromItsLine(FieldLineOfRow(raw, y), blue, green, y);
}

void FillBlueRowFromItsLine(const int16_t* line, int16_t* blue, const int16_t* green, int y) {
#if defined(VOBREX_X86_SIMD)
  if (ActiveSimdLevel() == SimdLevel::kAvx512) {
    return BlueEvenAvx512(blue, line, green);
  }
#endif
  std::memcpy(blue, line, kSide * sizeof(int16_t));
  FillBlueRow(blue, green, y);
}

// Odd rows first: the even rows take their red from the odd row above.
void FillRed(int16_t* planes) {
  int16_t* red = PlaneRow(planes, kRedPlane, 0);
  const int16_t* green = PlaneRow(planes, kGreenPlane, 0);
  for (int y = 1; y <= 511; y += 2) FillRedRow(red + y * kSide, green + y * kSide, y);
  for (int y = 2; y <= 510; y += 2) FillRedRow(red + y * kSide, green + y * kSide, y);
}

// Even rows first: the odd rows take their blue from the even row below.
void FillBlue(int16_t* planes) {
  int16_t* blue = PlaneRow(planes, kBluePlane, 0);
  const int16_t* green = PlaneRow(planes, kGreenPlane, 0);
  for (int y = 0; y <= 510; y += 2) FillBlueRow(blue + y * kSide, green + y * kSide, y);
  for (int y = 1; y <= 511; y += 2) FillBlueRow(blue + y * kSide, green + y * kSide, y);
}

void DemosaicStill(const int16_t* raw, int16_t* planes, uint32_t optionV) {
  SplitFields(raw, planes, optionV);
  FillGreen(planes);
  FillRed(planes);
  FillBlue(planes);
}

}  // namespace vobrex
