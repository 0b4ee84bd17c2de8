#include "hires/exposure_assembly.h"

#include <algorithm>
#include <cstdlib>

#include "platform/simd.h"

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
void PlaceLineFrom(const int16_t* line, const WorkGrid& grid, int exposure, LineKind kind,
                   Parity parity, int plane, int y) {
  const ExposurePhase& phase = kExposures[exposure];
  const int rowPhase = kind == LineKind::kRedGreen ? phase.redGreenRow : phase.greenBlueRow;
  const int first = static_cast<int>(parity);
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

// Line y of exposure `exposure`'s line block of `kind`.
const int16_t* LineOf(const int16_t* samples, int exposure, LineKind kind, int y) {
  const int block = 2 * exposure + (kind == LineKind::kRedGreen ? 1 : 0);
  return samples + static_cast<std::ptrdiff_t>(block) * kLineBlockSamples +
         static_cast<std::ptrdiff_t>(y) * kExposureLineSamples;
}

void PlaceLine(const int16_t* samples, const WorkGrid& grid, int exposure, LineKind kind,
               Parity parity, int plane, int y) {
  PlaceLineFrom(LineOf(samples, exposure, kind, y), grid, exposure, kind, parity, plane, y);
}

void PlaceExposure(const int16_t* samples, const WorkGrid& grid, int exposure, LineKind kind,
                   Parity parity, int plane) {
  for (int y = 0; y < kExposureLines; ++y) {
    PlaceLine(samples, grid, exposure, kind, parity, plane, y);
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

namespace {

#if defined(VOBREX_X86_SIMD)

// A placed row interleaves two lines of one line kind: line A of the
// exposure with column phase 0 or 1 at the columns phase + 2n, line B of
// the one with phase 2 or 3, both at the samples of one parity; every
// other column is empty. Over 64 columns from 64u the samples come from
// 32u - 1 .. 32u + 31 of each line: the last of the previous 32 samples
// and the next 32, as two registers. Indices and lanes for each half of
// the 64 columns, for phase A (0 or 1) and parity.
struct PlacePattern {
  uint16_t index[2][2][32];  // [line A or B][half]
  uint32_t lanes[2][2];
};

constexpr PlacePattern MakePlacePattern(int phaseA, int parity) {
  PlacePattern t{};
  for (int line = 0; line < 2; ++line) {
    const int phase = phaseA + 2 * line;
    for (int half = 0; half < 2; ++half) {
      for (int j = 0; j < 32; ++j) {
        const int column = 32 * half + j;
        const int twice = column - phase;  // 2 (n - 32u)
        if (twice % 2 != 0 || ((twice / 2) & 1) != parity) continue;
        t.index[line][half][j] = static_cast<uint16_t>(32 + twice / 2);  // twice >= -3
        t.lanes[line][half] |= 1u << j;
      }
    }
  }
  return t;
}

constexpr PlacePattern kPlacePatterns[2][2] = {{MakePlacePattern(0, 0), MakePlacePattern(0, 1)},
                                               {MakePlacePattern(1, 0), MakePlacePattern(1, 1)}};

VOBREX_TARGET_AVX512 void PlaceRowAvx512(const int16_t* lineA, const int16_t* lineB, int16_t* row,
                                         const PlacePattern& t) {
  __m512i index[2][2];
  for (int line = 0; line < 2; ++line) {
    for (int half = 0; half < 2; ++half)
      index[line][half] = _mm512_loadu_si512(t.index[line][half]);
  }
  __m512i lastA = _mm512_setzero_si512(), lastB = _mm512_setzero_si512();
  for (int u = 0; u < kGridSide / 64; ++u) {
    const __m512i nextA = _mm512_loadu_si512(lineA + 32 * u);
    const __m512i nextB = _mm512_loadu_si512(lineB + 32 * u);
    for (int half = 0; half < 2; ++half) {
      const __m512i a =
          _mm512_maskz_permutex2var_epi16(t.lanes[0][half], lastA, index[0][half], nextA);
      const __m512i b =
          _mm512_maskz_permutex2var_epi16(t.lanes[1][half], lastB, index[1][half], nextB);
      _mm512_storeu_si512(row + 64 * u + 32 * half, _mm512_or_si512(a, b));
    }
    lastA = nextA;
    lastB = nextB;
  }
}

#endif

// Rows that receive lines: plane, row in the group, line kind, column phase
// of line A, sample parity. Line B is the exposure two phases on.
struct PlacedRow {
  int plane, row;
  LineKind kind;
  int phaseA;
  Parity parity;
};

constexpr PlacedRow kPlacedRows[8] = {{kGreenPlane, 0, LineKind::kGreenBlue, 0, Parity::kEven},
                                      {kGreenPlane, 1, LineKind::kGreenBlue, 1, Parity::kEven},
                                      {kGreenPlane, 2, LineKind::kRedGreen, 0, Parity::kOdd},
                                      {kGreenPlane, 3, LineKind::kRedGreen, 1, Parity::kOdd},
                                      {kRedPlane, 2, LineKind::kRedGreen, 0, Parity::kEven},
                                      {kRedPlane, 3, LineKind::kRedGreen, 1, Parity::kEven},
                                      {kBluePlane, 0, LineKind::kGreenBlue, 0, Parity::kOdd},
                                      {kBluePlane, 1, LineKind::kGreenBlue, 1, Parity::kOdd}};

// The exposure of a column phase.
constexpr int kExposureOfPhase[4] = {1, 2, 0, 3};

}  // namespace

// Every line lands in its own row and columns, so the lines can be placed
// in any order; the rows are cleared first, as the block would be.
void PlaceLines(const int16_t* const (&lines)[8], const WorkGrid& grid, int y) {
  auto clear = [&grid, y](int plane, int first, int count) {
    int16_t* rows = grid.Plane(plane) + WorkGrid::Offset(4 * y + first, 0);
    std::fill(rows, rows + count * kGridSide, int16_t{0});
  };
  auto line = [&lines](int exposure, LineKind kind) {
    return lines[2 * exposure + (kind == LineKind::kRedGreen ? 1 : 0)];
  };
#if defined(VOBREX_X86_SIMD)
  if (ActiveSimdLevel() == SimdLevel::kAvx512) {
    // The vector rows are written whole; only the empty rows are cleared.
    clear(kRedPlane, 0, 2);
    clear(kBluePlane, 2, 2);
    for (const PlacedRow& placed : kPlacedRows) {
      const int exposureA = kExposureOfPhase[placed.phaseA];
      const int exposureB = kExposureOfPhase[placed.phaseA + 2];
      int16_t* row = grid.Plane(placed.plane) + WorkGrid::Offset(4 * y + placed.row, 0);
      PlaceRowAvx512(line(exposureA, placed.kind), line(exposureB, placed.kind), row,
                     kPlacePatterns[placed.phaseA][static_cast<int>(placed.parity)]);
      if (placed.parity == Parity::kOdd) row[placed.phaseA] = row[placed.phaseA + 2];
    }
    return;
  }
#endif
  for (int plane = 0; plane < 3; ++plane) clear(plane, 0, 4);
  for (int k = 0; k < 4; ++k) {
    const int16_t* greenBlue = line(k, LineKind::kGreenBlue);
    const int16_t* redGreen = line(k, LineKind::kRedGreen);
    PlaceLineFrom(greenBlue, grid, k, LineKind::kGreenBlue, Parity::kEven, kGreenPlane, y);
    PlaceLineFrom(redGreen, grid, k, LineKind::kRedGreen, Parity::kOdd, kGreenPlane, y);
    PlaceLineFrom(redGreen, grid, k, LineKind::kRedGreen, Parity::kEven, kRedPlane, y);
    PlaceLineFrom(greenBlue, grid, k, LineKind::kGreenBlue, Parity::kOdd, kBluePlane, y);
  }
}

void PlaceLines(const int16_t* samples, const WorkGrid& grid, int y) {
  const int16_t* lines[8];
  for (int block = 0; block < 8; ++block) {
    lines[block] = samples + static_cast<std::ptrdiff_t>(block) * kLineBlockSamples +
                   static_cast<std::ptrdiff_t>(y) * kExposureLineSamples;
  }
  PlaceLines(lines, grid, y);
}

// Rows 4i and 4i+1 came from the green/blue line blocks, rows 4i+2 and 4i+3
// from the red/green ones. Where both sets of a group of four columns are
// flat and close in level, the green/blue sites are shifted onto the level
// of the red/green sites, which stay the reference. Bands run top-down in
// place, so a band reads rows 4i+4 and 4i+5 before the next band levels
// them.
#if defined(VOBREX_X86_SIMD)

// Rows 4i and 4i+1 merged at their checkerboard sites (even columns of the
// first, odd of the second) hold the four upper sites of every group in
// the group's own four columns: (4i, c), (4i+1, c+1), (4i, c+2),
// (4i+1, c+3). Rows 4i+4/4i+5 give the other four upper sites, rows
// 4i+2/4i+3 and 4i+6/4i+7 the lower ones. A group is then one 64-bit lane
// of 32 columns; its values are summed in both 32-bit halves of the lane.
VOBREX_TARGET_AVX512 inline __m512i Merged(const int16_t* even, const int16_t* odd) {
  return _mm512_mask_blend_epi16(0xAAAAAAAAu, _mm512_loadu_si512(even), _mm512_loadu_si512(odd));
}

// The pair sums of a merged vector (32-bit lanes), and the sum of a
// group's four values from them, in both 32-bit halves of its lane.
VOBREX_TARGET_AVX512 inline __m512i PairSums(__m512i merged) {
  return _mm512_madd_epi16(merged, _mm512_set1_epi16(1));
}
VOBREX_TARGET_AVX512 inline __m512i GroupTotal(__m512i pairs) {
  return _mm512_add_epi32(pairs, _mm512_shuffle_epi32(pairs, _MM_PERM_CDAB));
}

// The low 16 bits of a group's 32-bit value in all four of its 16-bit
// lanes.
VOBREX_TARGET_AVX512 inline __m512i SpreadLow16(__m512i value) {
  const __m512i bytes =
      _mm512_broadcast_i32x4(_mm_setr_epi8(0, 1, 0, 1, 0, 1, 0, 1, 8, 9, 8, 9, 8, 9, 8, 9));
  return _mm512_shuffle_epi8(value, bytes);
}

// |x - y| of 16-bit values as an unsigned 16-bit value: exact for any two.
VOBREX_TARGET_AVX512 inline __m512i Distance16(__m512i x, __m512i y) {
  return _mm512_sub_epi16(_mm512_max_epi16(x, y), _mm512_min_epi16(x, y));
}

// The groups (bit 4j of a 16-bit lane mask for the group in lanes
// 4j .. 4j + 3) whose eight values in two merged vectors deviate from
// `mean` (a 16-bit value in each of the group's lanes; a floor mean of
// 16-bit values is one) by less than `limit` in sum. The distances are
// summed with unsigned saturation: a sum held at 65535 is as far from
// below `limit` as the true one.
VOBREX_TARGET_AVX512 inline __mmask32 DeviatesLess(__m512i a, __m512i b, __m512i mean, int limit) {
  __m512i d = _mm512_adds_epu16(Distance16(a, mean), Distance16(b, mean));
  d = _mm512_adds_epu16(d, _mm512_srli_epi64(d, 32));
  d = _mm512_adds_epu16(d, _mm512_srli_epi64(d, 16));
  return _mm512_cmplt_epu16_mask(d, _mm512_set1_epi16(static_cast<int16_t>(limit))) & 0x11111111u;
}

// Eight groups of a band at once: the groups of a band are independent
// (each reads and writes only its own four columns), and bands run in
// order as in the scalar pass.
VOBREX_TARGET_AVX512 void LevelBandAvx512(int16_t* x, int i) {
  const int16_t* rows[8];
  for (int k = 0; k < 8; ++k) rows[k] = x + WorkGrid::Offset(4 * i + k, 0);
  int16_t* upperEven = x + WorkGrid::Offset(4 * i, 0);
  int16_t* upperOdd = x + WorkGrid::Offset(4 * i + 1, 0);
  for (int c = 0; c < kGridSide; c += 32) {
    // Groups 0..254 only: columns 1020..1023 are never levelled.
    const __mmask32 inBand = c + 32 < kGridSide ? ~__mmask32(0) : __mmask32(0x0FFFFFFF);
    const __m512i upper0 = Merged(rows[0] + c, rows[1] + c);
    const __m512i upper1 = Merged(rows[4] + c, rows[5] + c);
    const __m512i upperPairs = PairSums(upper0);
    const __m512i m1 = SpreadLow16(
        _mm512_srai_epi32(GroupTotal(_mm512_add_epi32(upperPairs, PairSums(upper1))), 3));
    __mmask32 level = inBand & DeviatesLess(upper0, upper1, m1, 160);
    // A textured stretch has no flat group: nothing more to test.
    if (level == 0) continue;
    const __m512i lower0 = Merged(rows[2] + c, rows[3] + c);
    const __m512i lower1 = Merged(rows[6] + c, rows[7] + c);
    const __m512i lowerPairs = PairSums(lower0);
    const __m512i m2 = SpreadLow16(
        _mm512_srai_epi32(GroupTotal(_mm512_add_epi32(lowerPairs, PairSums(lower1))), 3));
    level &= DeviatesLess(lower0, lower1, m2, 160) &
             _mm512_cmplt_epu16_mask(Distance16(m1, m2), _mm512_set1_epi16(80));
    // The sites are stored as 16 bits: subtracting k's low 16 bits from
    // each 16-bit site gives the same bits.
    const __m512i k =
        SpreadLow16(_mm512_srai_epi32(GroupTotal(_mm512_sub_epi32(upperPairs, lowerPairs)), 2));
    const __m512i levelled = _mm512_sub_epi16(upper0, k);
    const __mmask32 sites = level * 15u;  // bit 4j to the group's four lanes
    _mm512_mask_storeu_epi16(upperEven + c, sites & 0x55555555u, levelled);
    _mm512_mask_storeu_epi16(upperOdd + c, sites & 0xAAAAAAAAu, levelled);
  }
}

#endif

void LevelBand(int16_t* x, int i) {
#if defined(VOBREX_X86_SIMD)
  if (ActiveSimdLevel() == SimdLevel::kAvx512) return LevelBandAvx512(x, i);
#endif
  auto at = [x](int row, int col) -> int16_t& { return x[WorkGrid::Offset(row, col)]; };
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

int LevelLineBlocks(const WorkGrid& grid, int selector) {
  int16_t* x = PlaneOfSelector(grid, selector);
  if (x == nullptr) return 1;
  for (int i = 0; i <= kLastLevelBand; ++i) LevelBand(x, i);
  return 1;
}

}  // namespace vobrex
