#include "hires/exposure_assembly.h"

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
#if defined(VOBREX_X86_SIMD)

// Indices picking element e of each group of four columns from 64 columns
// (two vectors of 32), groups 0..15 in lanes 0..15.
struct GroupElements {
  uint16_t index[4][32];
};

constexpr GroupElements MakeGroupElements() {
  GroupElements g{};
  for (int e = 0; e < 4; ++e) {
    for (int j = 0; j < 16; ++j) g.index[e][j] = static_cast<uint16_t>(4 * j + e);
  }
  return g;
}

constexpr GroupElements kGroupElements = MakeGroupElements();

// Indices putting lanes 0..15 (element a of groups 0..15) and 16..31
// (element a + 2) back at columns 4j + a and 4j + a + 2 of 64 columns: for
// the low vector (groups 0..7) and the high one (groups 8..15).
struct GroupScatter {
  uint16_t index[2][2][32];  // [a][half]
};

constexpr GroupScatter MakeGroupScatter() {
  GroupScatter g{};
  for (int a = 0; a < 2; ++a) {
    for (int half = 0; half < 2; ++half) {
      for (int p = 0; p < 32; ++p) {
        const int column = 32 * half + p, j = column / 4, e = column % 4;
        g.index[a][half][p] = static_cast<uint16_t>(e == a + 2 ? 16 + j : j);
      }
    }
  }
  return g;
}

constexpr GroupScatter kGroupScatter = MakeGroupScatter();

// Column mask of the elements a and a + 2 of the groups whose bit is set,
// for 8 groups.
constexpr uint32_t SpreadGroups(uint32_t groups, int a) {
  uint32_t m = 0;
  for (int j = 0; j < 8; ++j) {
    if (groups & (1u << j)) m |= (5u << a) << (4 * j);
  }
  return m;
}

struct GroupSpread {
  uint32_t mask[2][256];
};

constexpr GroupSpread MakeGroupSpread() {
  GroupSpread g{};
  for (int a = 0; a < 2; ++a) {
    for (uint32_t v = 0; v < 256; ++v) g.mask[a][v] = SpreadGroups(v, a);
  }
  return g;
}

constexpr GroupSpread kGroupSpread = MakeGroupSpread();

// Element e of the sixteen groups of 64 columns at `row`, as 32-bit lanes.
VOBREX_TARGET_AVX512 inline __m512i Element(const int16_t* row, const __m512i (&pick)[4], int e) {
  const __m512i v =
      _mm512_permutex2var_epi16(_mm512_loadu_si512(row), pick[e], _mm512_loadu_si512(row + 32));
  return _mm512_cvtepi16_epi32(_mm512_castsi512_si256(v));
}

VOBREX_TARGET_AVX512 inline __m512i Total(const __m512i (&v)[8]) {
  __m512i s = v[0];
  for (int k = 1; k < 8; ++k) s = _mm512_add_epi32(s, v[k]);
  return s;
}

// Summed absolute deviation from (sum >> 3), and that mean.
VOBREX_TARGET_AVX512 inline __m512i Spread(const __m512i (&v)[8], __m512i& mean) {
  mean = _mm512_srai_epi32(Total(v), 3);
  __m512i d = _mm512_setzero_si512();
  for (int k = 0; k < 8; ++k)
    d = _mm512_add_epi32(d, _mm512_abs_epi32(_mm512_sub_epi32(v[k], mean)));
  return d;
}

// Writes elements a and a + 2 of the groups in `lanes` (values `low` for a,
// `high` for a + 2, 32-bit lanes) into 64 columns at `row`.
VOBREX_TARGET_AVX512 inline void PutElements(int16_t* row, int a, __m512i low, __m512i high,
                                             __mmask16 lanes) {
  const __m512i values = _mm512_permutex2var_epi16(
      low,
      _mm512_set_epi16(62, 60, 58, 56, 54, 52, 50, 48, 46, 44, 42, 40, 38, 36, 34, 32, 30, 28, 26,
                       24, 22, 20, 18, 16, 14, 12, 10, 8, 6, 4, 2, 0),
      high);
  for (int half = 0; half < 2; ++half) {
    const uint32_t groups = (static_cast<uint32_t>(lanes) >> (8 * half)) & 0xFF;
    const __mmask32 columns = kGroupSpread.mask[a][groups];
    int16_t* at = row + 32 * half;
    const __m512i merged = _mm512_mask_permutexvar_epi16(
        _mm512_loadu_si512(at), columns, _mm512_loadu_si512(kGroupScatter.index[a][half]), values);
    _mm512_storeu_si512(at, merged);
  }
}

// Sixteen groups of a band at once: the groups of a band are independent
// (each reads and writes only its own four columns), and bands run in
// order as in the scalar pass.
VOBREX_TARGET_AVX512 void LevelAvx512(int16_t* x) {
  __m512i pick[4];
  for (int e = 0; e < 4; ++e) pick[e] = _mm512_loadu_si512(kGroupElements.index[e]);
  const __m512i limitSpread = _mm512_set1_epi32(160), limitMeans = _mm512_set1_epi32(80);
  for (int i = 0; i <= 253; ++i) {
    int16_t* rows[8];
    for (int k = 0; k < 8; ++k) rows[k] = x + WorkGrid::Offset(4 * i + k, 0);
    for (int j = 0; j < 255; j += 16) {
      const int c = 4 * j;
      const __m512i upper[8] = {Element(rows[0] + c, pick, 0), Element(rows[0] + c, pick, 2),
                                Element(rows[1] + c, pick, 1), Element(rows[1] + c, pick, 3),
                                Element(rows[4] + c, pick, 0), Element(rows[4] + c, pick, 2),
                                Element(rows[5] + c, pick, 1), Element(rows[5] + c, pick, 3)};
      const __m512i lower[8] = {Element(rows[2] + c, pick, 0), Element(rows[2] + c, pick, 2),
                                Element(rows[3] + c, pick, 1), Element(rows[3] + c, pick, 3),
                                Element(rows[6] + c, pick, 0), Element(rows[6] + c, pick, 2),
                                Element(rows[7] + c, pick, 1), Element(rows[7] + c, pick, 3)};
      __m512i m1, m2;
      const __m512i d1 = Spread(upper, m1);
      const __m512i d2 = Spread(lower, m2);
      // Groups 0..254 only: columns 1020..1023 are never levelled.
      const __mmask16 inBand = j + 16 <= 255 ? __mmask16(0xFFFF) : __mmask16((1u << (255 - j)) - 1);
      const __mmask16 level =
          inBand & _mm512_cmplt_epi32_mask(d1, limitSpread) &
          _mm512_cmplt_epi32_mask(d2, limitSpread) &
          _mm512_cmplt_epi32_mask(_mm512_abs_epi32(_mm512_sub_epi32(m1, m2)), limitMeans);
      if (level == 0) continue;
      const __m512i up4 = _mm512_add_epi32(_mm512_add_epi32(upper[0], upper[1]),
                                           _mm512_add_epi32(upper[2], upper[3]));
      const __m512i low4 = _mm512_add_epi32(_mm512_add_epi32(lower[0], lower[1]),
                                            _mm512_add_epi32(lower[2], lower[3]));
      const __m512i k = _mm512_srai_epi32(_mm512_sub_epi32(up4, low4), 2);
      PutElements(rows[0] + c, 0, _mm512_sub_epi32(upper[0], k), _mm512_sub_epi32(upper[1], k),
                  level);
      PutElements(rows[1] + c, 1, _mm512_sub_epi32(upper[2], k), _mm512_sub_epi32(upper[3], k),
                  level);
    }
  }
}

#endif

int LevelLineBlocks(const WorkGrid& grid, int selector) {
  int16_t* x = PlaneOfSelector(grid, selector);
  if (x == nullptr) return 1;
#if defined(VOBREX_X86_SIMD)
  if (ActiveSimdLevel() == SimdLevel::kAvx512) {
    LevelAvx512(x);
    return 1;
  }
#endif
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
