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

}  // namespace

void SplitFields(const int16_t* raw, int16_t* planes, uint32_t optionV) {
  if (optionV != 1) {
    // Without the smoothing the stripe flag decides nothing: each field line
    // is dealt out to its two planes. A whole line is copied into each: the
    // sites of the other colour are overwritten by the fill passes after
    // this one, except those no pass writes (green row 0 at odd columns and
    // row 511 at even columns), which are dealt out one by one.
    for (int r = 0; r < kFieldLines; ++r) {
      const int16_t* line1 = raw + r * kSide;
      const int16_t* line2 = raw + kFieldSamples + r * kSide;
      int16_t* greenEven = PlaneRow(planes, kGreenPlane, 2 * r);
      int16_t* blueEven = PlaneRow(planes, kBluePlane, 2 * r);
      int16_t* redOdd = PlaneRow(planes, kRedPlane, 2 * r + 1);
      int16_t* greenOdd = PlaneRow(planes, kGreenPlane, 2 * r + 1);
      const std::size_t lineBytes = kSide * sizeof(int16_t);
      std::memcpy(blueEven, line1, lineBytes);
      std::memcpy(redOdd, line2, lineBytes);
      if (r == 0 || r == kFieldLines - 1) {
        for (int x = 0; x < kSide; x += 2) {
          greenEven[x] = line1[x];
          greenOdd[x + 1] = line2[x + 1];
        }
      } else {
        std::memcpy(greenEven, line1, lineBytes);
        std::memcpy(greenOdd, line2, lineBytes);
      }
    }
    return;
  }
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
  // The middle two of the four sum to the total less the smallest and the
  // largest.
  const int low = std::min(std::min(left, right), std::min(up, down));
  const int high = std::max(std::max(left, right), std::max(up, down));
  return (left + right + up + down - low - high) >> 1;
}

#if defined(VOBREX_X86_SIMD)

// GreenEstimate of sixteen sites at once, from their four neighbours as
// 32-bit lanes; the same tests in the same order.
VOBREX_TARGET_AVX512 inline __m512i GreenEstimate16(__m512i left, __m512i right, __m512i up,
                                                    __m512i down) {
  const __m512i zero = _mm512_setzero_si512();
  const __m512i five = _mm512_set1_epi32(5);
  const __m512i h = _mm512_abs_epi32(_mm512_sub_epi32(left, right));
  const __m512i v = _mm512_abs_epi32(_mm512_sub_epi32(up, down));
  const __m512i h5 = _mm512_mullo_epi32(h, five), v5 = _mm512_mullo_epi32(v, five);
  const __mmask16 hZero = _mm512_cmpeq_epi32_mask(h, zero),
                  vZero = _mm512_cmpeq_epi32_mask(v, zero);
  const __mmask16 alongRow =
      (~hZero & _mm512_cmplt_epi32_mask(h5, v)) | (hZero & _mm512_cmpge_epi32_mask(v, five));
  const __mmask16 alongColumn =
      (~vZero & _mm512_cmplt_epi32_mask(v5, h)) | (vZero & _mm512_cmpge_epi32_mask(h, five));
  const __m512i low = _mm512_min_epi32(_mm512_min_epi32(left, right), _mm512_min_epi32(up, down));
  const __m512i high = _mm512_max_epi32(_mm512_max_epi32(left, right), _mm512_max_epi32(up, down));
  const __m512i sideways = _mm512_srai_epi32(_mm512_add_epi32(left, right), 1);
  const __m512i upright = _mm512_srai_epi32(_mm512_add_epi32(up, down), 1);
  const __m512i all = _mm512_add_epi32(_mm512_add_epi32(left, right), _mm512_add_epi32(up, down));
  __m512i r = _mm512_srai_epi32(_mm512_sub_epi32(all, _mm512_add_epi32(low, high)), 1);
  r = _mm512_mask_blend_epi32(alongColumn, r, upright);
  return _mm512_mask_blend_epi32(alongRow, r, sideways);
}

// The low and the high 16-bit half of each 32-bit lane, sign-extended.
VOBREX_TARGET_AVX512 inline __m512i LowHalf(__m512i x) {
  return _mm512_srai_epi32(_mm512_slli_epi32(x, 16), 16);
}
VOBREX_TARGET_AVX512 inline __m512i HighHalf(__m512i x) { return _mm512_srai_epi32(x, 16); }

// The estimates at every site of FillGreen but the edge columns, sixteen
// sites a step. Lane m of a 32-sample load holds columns 2m (low half) and
// 2m + 1 (high half). Every site reads only original green sites, so the
// order of the sites does not matter; the edge columns are set afterwards
// as the scalar pass sets them.
VOBREX_TARGET_AVX512 void FillGreenAvx512(int16_t* green) {
  const __m512i lowMask = _mm512_set1_epi32(0xFFFF);
  for (int y = 2; y <= 510; y += 2) {
    // Blue sites: odd columns 2m + 1, m = 0..255 (511 is redone below).
    int16_t* row = green + y * kSide;
    for (int m = 0; m < 256; m += 16) {
      const __m512i here = _mm512_loadu_si512(row + 2 * m);
      const __m512i next = _mm512_loadu_si512(row + 2 * m + 2);
      const __m512i up = _mm512_loadu_si512(row - kSide + 2 * m);
      const __m512i down = _mm512_loadu_si512(row + kSide + 2 * m);
      const __m512i e = GreenEstimate16(LowHalf(here), LowHalf(next), HighHalf(up), HighHalf(down));
      _mm512_storeu_si512(
          row + 2 * m, _mm512_or_si512(_mm512_and_si512(here, lowMask), _mm512_slli_epi32(e, 16)));
    }
  }
  for (int y = 1; y <= 509; y += 2) {
    // Red sites: even columns 2m, m = 0..255 (0 is redone below).
    int16_t* row = green + y * kSide;
    for (int m = 0; m < 256; m += 16) {
      const __m512i here = _mm512_loadu_si512(row + 2 * m);
      const __m512i previous = _mm512_loadu_si512(row + 2 * m - 2);
      const __m512i up = _mm512_loadu_si512(row - kSide + 2 * m);
      const __m512i down = _mm512_loadu_si512(row + kSide + 2 * m);
      const __m512i e =
          GreenEstimate16(HighHalf(previous), HighHalf(here), LowHalf(up), LowHalf(down));
      _mm512_storeu_si512(row + 2 * m, _mm512_or_si512(_mm512_andnot_si512(lowMask, here),
                                                       _mm512_and_si512(e, lowMask)));
    }
  }
}

#endif

void FillGreen(int16_t* planes) {
  int16_t* green = PlaneRow(planes, kGreenPlane, 0);
#if defined(VOBREX_X86_SIMD)
  if (ActiveSimdLevel() == SimdLevel::kAvx512) {
    FillGreenAvx512(green);
    for (int y = 2; y <= 510; y += 2) {
      int16_t* row = green + y * kSide;
      row[511] = Store((row[511 - kSide] + row[511 + kSide]) >> 1);
    }
    for (int y = 1; y <= 509; y += 2) {
      int16_t* row = green + y * kSide;
      row[0] = Store((row[-kSide] + row[kSide]) >> 1);
    }
    return;
  }
#endif
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

#if defined(VOBREX_X86_SIMD)

// The colour-difference fills store 32-bit sums as 16 bits, which is the
// sum modulo 2^16: 16-bit lanes with wrapping adds give the same values.
// Each call fills the sites of `parity` in columns first..last of one row:
// value = x[column + from] - g[column + from] + g[column].
VOBREX_TARGET_AVX512 inline void DifferenceRow(int16_t* x, const int16_t* g, int from, int parity,
                                               int first, int last) {
  const __mmask32 parityLanes = parity ? 0xAAAAAAAAu : 0x55555555u;
  for (int c = first - (first & 1); c <= last; c += 32) {
    const __m512i source = _mm512_loadu_si512(x + c + from);
    const __m512i greenSource = _mm512_loadu_si512(g + c + from);
    const __m512i greenHere = _mm512_loadu_si512(g + c);
    const __m512i value = _mm512_add_epi16(_mm512_sub_epi16(source, greenSource), greenHere);
    __mmask32 lanes = parityLanes;
    if (c < first) lanes &= ~((__mmask32(1) << (first - c)) - 1);
    if (last - c < 31) lanes &= (__mmask32(1) << (last - c + 1)) - 1;
    _mm512_mask_storeu_epi16(x + c, lanes, value);
  }
}

VOBREX_TARGET_AVX512 void FillRedAvx512(int16_t* red, const int16_t* green) {
  for (int y = 1; y <= 511; y += 2) {
    int16_t* r = red + y * kSide;
    DifferenceRow(r, green + y * kSide, 1, 1, 1, 509);
    r[511] = r[510];
  }
  for (int y = 2; y <= 510; y += 2) {
    int16_t* r = red + y * kSide;
    DifferenceRow(r, green + y * kSide, -kSide, 0, 0, 510);
    DifferenceRow(r, green + y * kSide, 1 - kSide, 1, 1, 509);
    r[511] = r[510];
  }
}

VOBREX_TARGET_AVX512 void FillBlueAvx512(int16_t* blue, const int16_t* green) {
  for (int y = 0; y <= 510; y += 2) {
    int16_t* b = blue + y * kSide;
    b[0] = b[1];
    DifferenceRow(b, green + y * kSide, 1, 0, 2, 510);
  }
  for (int y = 1; y <= 511; y += 2) {
    DifferenceRow(blue + y * kSide, green + y * kSide, kSide, 0, 0, 510);
  }
  for (int y = 1; y <= 509; y += 2) {
    DifferenceRow(blue + y * kSide, green + y * kSide, kSide - 1, 1, 1, 511);
  }
}

#endif

void FillRed(int16_t* planes) {
  int16_t* red = PlaneRow(planes, kRedPlane, 0);
#if defined(VOBREX_X86_SIMD)
  if (ActiveSimdLevel() == SimdLevel::kAvx512) {
    return FillRedAvx512(red, PlaneRow(planes, kGreenPlane, 0));
  }
#endif
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
#if defined(VOBREX_X86_SIMD)
  if (ActiveSimdLevel() == SimdLevel::kAvx512) {
    return FillBlueAvx512(blue, PlaneRow(planes, kGreenPlane, 0));
  }
#endif
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
