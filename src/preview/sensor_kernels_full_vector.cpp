// Kernels A and D of the full read-out with 64-byte vectors.
//
// Kernel D (640 x 480): both output lines of D take every raw column once:
// at an even column x the pixel of line 2i has blue (a[x+1] + n[x+1]) / 2,
// green a[x] and red (s[x-2] + s[x]) / 2, at an odd column blue (a[x] +
// a[x+2] + n[x] + n[x+2]) / 4, green (a[x-1] + a[x+1]) / 2 and red s[x-1]
// (a, n: first-field lines L and L + 1; s, t: second-field lines L and
// L + 1; halves and quarters truncating). Line 2i + 1 is alike (see the
// scalar kernel). The five pixels of a group of four columns are those of
// columns c, c + 1, c + 2, c + 2 and c + 3, so a line is the 512 column
// pixels with every fourth one's successor doubled. Here the column pixels
// of 64 columns are formed as 16-bit lanes (even columns from the low bytes
// of a load, odd ones from the high bytes), and one byte permute per 64
// output bytes spreads them into the 80 pixels of the line, in either
// direction.
//
// Kernel A (320 x 240): every value of a pixel is a sample of one field
// line or the halving average of two samples of one colour two columns
// apart, (x >> 1) + (y >> 1), which never exceeds 254 and so stays a byte.
// For 64 columns from x, three byte vectors hold every value the 40 pixels
// take: the second-field samples S, their pair averages P (lane j: columns
// x + j and x + j + 2), and U, the first-field samples at odd lanes (blue)
// with, at each even lane j, the average of the blue samples at x + j - 1
// and x + j + 1. Two permutes per 64 output bytes pick the pixels' bytes.
#include "preview/sensor_kernels_full_vector.h"

#include "platform/cpu_features.h"
#include "platform/simd.h"
#include "preview/sensor_kernels.h"

namespace vobrex {

#if defined(VOBREX_X86_SIMD)

namespace {

constexpr int kBlockColumns = 64;
constexpr int kBlockPixels = 80;  // 16 groups of five
constexpr int kBlockBytes = 3 * kBlockPixels;
constexpr int kBlocks = kFullColumns / kBlockColumns;

// For output byte o of a block: its column in the block and its colour.
// Blue and green come from one two-table permute (green at 64 + column),
// red from a second, masked one.
struct Spread {
  uint8_t blueGreen[4][64];
  uint8_t red[4][64];
  uint64_t redLanes[4];
};

constexpr Spread MakeSpread(bool reversed) {
  Spread s{};
  constexpr int kColumnOfPhase[5] = {0, 1, 2, 2, 3};
  for (int o = 0; o < 4 * 64; ++o) {
    const int v = o / 64, lane = o % 64;
    if (o >= kBlockBytes) continue;
    const int q = o / 3, colour = o % 3;
    const int p = reversed ? kBlockPixels - 1 - q : q;
    const int column = 4 * (p / 5) + kColumnOfPhase[p % 5];
    if (colour == 2) {
      s.red[v][lane] = static_cast<uint8_t>(column);
      s.redLanes[v] |= uint64_t{1} << lane;
    } else {
      s.blueGreen[v][lane] = static_cast<uint8_t>(colour == 0 ? column : 64 + column);
    }
  }
  return s;
}

constexpr Spread kForward = MakeSpread(false);
constexpr Spread kReversed = MakeSpread(true);

struct SpreadVectors {
  __m512i blueGreen[4];
  __m512i red[4];
  __mmask64 redLanes[4];
};

VOBREX_TARGET_AVX512 SpreadVectors LoadSpread(const Spread& s) {
  SpreadVectors v;
  for (int k = 0; k < 4; ++k) {
    v.blueGreen[k] = _mm512_loadu_si512(s.blueGreen[k]);
    v.red[k] = _mm512_loadu_si512(s.red[k]);
    v.redLanes[k] = s.redLanes[k];
  }
  return v;
}

// Column pixels as bytes in column order: even columns' values in the low
// 16-bit halves, odd columns' in the high ones.
VOBREX_TARGET_AVX512 inline __m512i Columns(__m512i even, __m512i odd) {
  return _mm512_or_si512(even, _mm512_slli_epi16(odd, 8));
}

// Writes the 80 pixels of one block to `out` (the block's first byte).
VOBREX_TARGET_AVX512 inline void Store(uint8_t* out, const SpreadVectors& s, __m512i blue,
                                       __m512i green, __m512i red) {
  for (int k = 0; k < 4; ++k) {
    __m512i v = _mm512_permutex2var_epi8(blue, s.blueGreen[k], green);
    v = _mm512_mask_permutexvar_epi8(v, s.redLanes[k], s.red[k], red);
    if (k < 3) {
      _mm512_storeu_si512(out + 64 * k, v);
    } else {
      _mm512_mask_storeu_epi8(out + 64 * k, (uint64_t{1} << (kBlockBytes - 192)) - 1, v);
    }
  }
}

VOBREX_TARGET_AVX512 inline __m512i Mean2(__m512i a, __m512i b) {
  return _mm512_srli_epi16(_mm512_add_epi16(a, b), 1);
}

VOBREX_TARGET_AVX512 inline __m512i Mean4(__m512i a, __m512i b, __m512i c, __m512i d) {
  return _mm512_srli_epi16(_mm512_add_epi16(_mm512_add_epi16(a, b), _mm512_add_epi16(c, d)), 2);
}

template <bool kColour>
VOBREX_TARGET_AVX512 void RunD(const uint8_t* raw, uint8_t* rgb, bool topDown, bool reversed) {
  const SpreadVectors spread = LoadSpread(reversed ? kReversed : kForward);
  const __m512i lowByte = _mm512_set1_epi16(0x00FF);
  const std::ptrdiff_t stride = kSizeD.width * 3;
  for (int i = 0; i < kFullPictureLines; ++i) {
    const int line = kFullFirstPictureLine + i;
    const uint8_t* a = raw + line * kFullColumns;
    const uint8_t* n = a + kFullColumns;
    const uint8_t* s = raw + kFullSecondField + line * kFullColumns;
    const uint8_t* t = s + kFullColumns;
    uint8_t* even = rgb + (topDown ? kSizeD.height - 1 - 2 * i : 2 * i) * stride;
    uint8_t* odd = rgb + (topDown ? kSizeD.height - 2 - 2 * i : 2 * i + 1) * stride;
    for (int b = 0; b < kBlocks; ++b) {
      const int x = b * kBlockColumns;
      // Lane m of each load: column x + 2m in the low byte, x + 2m + 1 in
      // the high one; "next" loads start two columns on, "previous" two
      // columns back (the first block has no previous columns: its lane 0
      // repeats the current one, which drops the terms left of column 0).
      const __m512i a0 = _mm512_loadu_si512(a + x), a1 = _mm512_loadu_si512(a + x + 2);
      const __m512i s0 = _mm512_loadu_si512(s + x);
      __m512i sPrevious = _mm512_loadu_si512(s + x - 2);
      if (b == 0) sPrevious = _mm512_mask_blend_epi16(1, sPrevious, s0);
      const __m512i aEven = _mm512_and_si512(a0, lowByte), aOdd = _mm512_srli_epi16(a0, 8);
      const __m512i aEvenNext = _mm512_and_si512(a1, lowByte);
      const __m512i sEven = _mm512_and_si512(s0, lowByte), sOdd = _mm512_srli_epi16(s0, 8);
      const __m512i sOddPrevious = _mm512_srli_epi16(sPrevious, 8);
      uint8_t* evenOut = even + (reversed ? (kBlocks - 1 - b) * kBlockBytes : b * kBlockBytes);
      uint8_t* oddOut = odd + (reversed ? (kBlocks - 1 - b) * kBlockBytes : b * kBlockBytes);
      // Line 2i: green from the first field at even columns.
      const __m512i greenE = Columns(aEven, Mean2(aEven, aEvenNext));
      // Line 2i + 1: green from the second field at odd columns.
      const __m512i greenO = Columns(Mean2(sOddPrevious, sOdd), sOdd);
      if constexpr (kColour) {
        const __m512i n0 = _mm512_loadu_si512(n + x), n1 = _mm512_loadu_si512(n + x + 2);
        const __m512i t0 = _mm512_loadu_si512(t + x);
        __m512i tPrevious = _mm512_loadu_si512(t + x - 2);
        if (b == 0) tPrevious = _mm512_mask_blend_epi16(1, tPrevious, t0);
        const __m512i aOddNext = _mm512_srli_epi16(a1, 8);
        const __m512i nOdd = _mm512_srli_epi16(n0, 8), nOddNext = _mm512_srli_epi16(n1, 8);
        const __m512i sEvenPrevious = _mm512_and_si512(sPrevious, lowByte);
        const __m512i tEven = _mm512_and_si512(t0, lowByte);
        const __m512i tEvenPrevious = _mm512_and_si512(tPrevious, lowByte);
        const __m512i blueE = Columns(Mean2(aOdd, nOdd), Mean4(aOdd, aOddNext, nOdd, nOddNext));
        const __m512i redE = Columns(Mean2(sEvenPrevious, sEven), sEven);
        Store(evenOut, spread, blueE, greenE, redE);
        const __m512i blueO = Columns(aOdd, Mean2(aOdd, aOddNext));
        const __m512i redO =
            Columns(Mean4(sEvenPrevious, sEven, tEvenPrevious, tEven), Mean2(sEven, tEven));
        Store(oddOut, spread, blueO, greenO, redO);
      } else {
        Store(evenOut, spread, greenE, greenE, greenE);
        Store(oddOut, spread, greenO, greenO, greenO);
      }
    }
  }
}

// --- Kernel A -----------------------------------------------------------------

constexpr int kBlockPixelsA = 40;  // 8 groups of five
constexpr int kBlockBytesA = 3 * kBlockPixelsA;
constexpr int kBlocksA = kFullColumns / kBlockColumns;

// For output byte o of a block: the lane of (S, P) (P at 64 + lane) that
// holds green and red, or of U for blue.
struct SpreadA {
  uint8_t pairs[2][64];
  uint8_t blue[2][64];
  uint64_t blueLanes[2];
};

// Lanes of a group of 8 columns from column c, by pixel 5g + phase.
constexpr int kBlueLane[5] = {1, 2, 4, 6, 7};                  // of U
constexpr int kGreenLane[5] = {1, 64 + 1, 64 + 3, 64 + 5, 7};  // of (S, P)
constexpr int kRedLane[5] = {64 + 0, 2, 4, 6, 64 + 6};         // of (S, P)

// `last`: the block of the line's last pixel, which repeats its neighbour
// (its red would need the next line).
constexpr SpreadA MakeSpreadA(bool colour, bool reversed, bool last) {
  SpreadA s{};
  for (int o = 0; o < kBlockBytesA; ++o) {
    const int v = o / 64, lane = o % 64;
    const int q = o / 3, byte = o % 3;
    int p = reversed ? kBlockPixelsA - 1 - q : q;
    if (last && p == kBlockPixelsA - 1) --p;
    const int c = 8 * (p / 5), phase = p % 5;
    if (colour && byte == 0) {
      s.blue[v][lane] = static_cast<uint8_t>(c + kBlueLane[phase]);
      s.blueLanes[v] |= uint64_t{1} << lane;
    } else if (colour && byte == 2) {
      s.pairs[v][lane] = static_cast<uint8_t>(c + kRedLane[phase]);
    } else {
      s.pairs[v][lane] = static_cast<uint8_t>(c + kGreenLane[phase]);
    }
  }
  return s;
}

// [colour][reversed][last]
constexpr SpreadA kSpreadA[2][2][2] = {
    {{MakeSpreadA(false, false, false), MakeSpreadA(false, false, true)},
     {MakeSpreadA(false, true, false), MakeSpreadA(false, true, true)}},
    {{MakeSpreadA(true, false, false), MakeSpreadA(true, false, true)},
     {MakeSpreadA(true, true, false), MakeSpreadA(true, true, true)}}};

struct SpreadAVectors {
  __m512i pairs[2];
  __m512i blue[2];
  __mmask64 blueLanes[2];
};

VOBREX_TARGET_AVX512 SpreadAVectors LoadSpreadA(const SpreadA& s) {
  SpreadAVectors v;
  for (int k = 0; k < 2; ++k) {
    v.pairs[k] = _mm512_loadu_si512(s.pairs[k]);
    v.blue[k] = _mm512_loadu_si512(s.blue[k]);
    v.blueLanes[k] = s.blueLanes[k];
  }
  return v;
}

// Each byte halved: the bit shifted in from the byte above is masked off.
VOBREX_TARGET_AVX512 inline __m512i HalveBytes(__m512i v) {
  return _mm512_and_si512(_mm512_srli_epi16(v, 1), _mm512_set1_epi8(0x7F));
}

VOBREX_TARGET_AVX512 inline __m512i HalvingAverages(const uint8_t* at, const uint8_t* twoOn) {
  return _mm512_add_epi8(HalveBytes(_mm512_loadu_si512(at)), HalveBytes(_mm512_loadu_si512(twoOn)));
}

template <bool kColour>
VOBREX_TARGET_AVX512 void RunA(const uint8_t* raw, uint8_t* rgb, bool topDown, bool reversed) {
  const SpreadAVectors middle = LoadSpreadA(kSpreadA[kColour][reversed][0]);
  const SpreadAVectors last = LoadSpreadA(kSpreadA[kColour][reversed][1]);
  constexpr __mmask64 kEvenLanes = 0x5555555555555555ull;
  const std::ptrdiff_t stride = kSizeA.width * 3;
  for (int y = 0; y < kSizeA.height; ++y) {
    const int line = kFullFirstPictureLine + y;
    // The first field line is read from one column before it (the line
    // before it in the field) to one after it (the next line's first
    // column); neither lies outside the frame.
    const uint8_t* a = raw + line * kFullColumns;
    const uint8_t* s = raw + kFullSecondField + line * kFullColumns;
    uint8_t* row = rgb + (topDown ? kSizeA.height - 1 - y : y) * stride;
    for (int b = 0; b < kBlocksA; ++b) {
      const int x = b * kBlockColumns;
      const __m512i sampled = _mm512_loadu_si512(s + x);
      const __m512i averaged = HalvingAverages(s + x, s + x + 2);
      const SpreadAVectors& spread = b + 1 == kBlocksA ? last : middle;
      uint8_t* out = row + (reversed ? kBlocksA - 1 - b : b) * kBlockBytesA;
      __m512i v[2];
      for (int k = 0; k < 2; ++k)
        v[k] = _mm512_permutex2var_epi8(sampled, spread.pairs[k], averaged);
      if constexpr (kColour) {
        const __m512i blue = _mm512_mask_blend_epi8(kEvenLanes, _mm512_loadu_si512(a + x),
                                                    HalvingAverages(a + x - 1, a + x + 1));
        for (int k = 0; k < 2; ++k)
          v[k] = _mm512_mask_permutexvar_epi8(v[k], spread.blueLanes[k], spread.blue[k], blue);
      }
      _mm512_storeu_si512(out, v[0]);
      _mm512_mask_storeu_epi8(out + 64, (uint64_t{1} << (kBlockBytesA - 64)) - 1, v[1]);
    }
  }
}

}  // namespace

bool RunKernelAVector(const uint8_t* raw, uint8_t* rgb, int orientation, bool colour) {
  if (ActiveSimdLevel() != SimdLevel::kAvx512) return false;
  int code = orientation;
  if (code < 1 || code > 4) code = 1;  // A reads other codes as 1
  const bool topDown = code == 2 || code == 4;
  const bool reversed = code == 3 || code == 4;
  if (colour) {
    RunA<true>(raw, rgb, topDown, reversed);
  } else {
    RunA<false>(raw, rgb, topDown, reversed);
  }
  return true;
}

bool RunKernelDVector(const uint8_t* raw, uint8_t* rgb, int orientation, bool colour) {
  if (ActiveSimdLevel() != SimdLevel::kAvx512) return false;
  int code = orientation;
  if (code < 1 || code > 4) code = 2;  // D reads other codes as 2
  const bool topDown = code == 2 || code == 4;
  const bool reversed = code == 3 || code == 4;
  if (colour) {
    RunD<true>(raw, rgb, topDown, reversed);
  } else {
    RunD<false>(raw, rgb, topDown, reversed);
  }
  return true;
}

#else

bool RunKernelAVector(const uint8_t*, uint8_t*, int, bool) { return false; }
bool RunKernelDVector(const uint8_t*, uint8_t*, int, bool) { return false; }

#endif

}  // namespace vobrex
