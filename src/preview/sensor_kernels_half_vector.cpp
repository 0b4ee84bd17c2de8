// Kernels B and C of the half read-out with 64-byte vectors.
//
// Kernel B (160 x 120): every value of a pixel is a sample of one half line
// or the true average of two samples of one colour two apart, (x + y) >> 1,
// which in bytes is (x & y) + ((x ^ y) >> 1) exactly (the common bits plus
// half the differing ones, truncated as the shift of the sum truncates).
// For 64 samples from x, three byte vectors hold every value the 40 pixels
// take: the second-field samples S, their pair averages T (lane j: samples
// x + j and x + j + 2), and U, the first-field samples at odd lanes (blue)
// with, at each even lane j, the average of the blue samples at x + j - 1
// and x + j + 1. Two permutes per 64 output bytes pick the pixels' bytes.
//
// Kernel C (80 x 60) picks every value: one permute of a first- and a
// second-field load gives the 20 pixels of 64 samples.
#include "preview/sensor_kernels_half_vector.h"

#include "platform/cpu_features.h"
#include "platform/simd.h"
#include "preview/sensor_kernels.h"

namespace vobrex {

#if defined(VOBREX_X86_SIMD)

namespace {

constexpr int kBlockSamples = 64;
constexpr int kBlocks = kHalfColumns / kBlockSamples;

struct Orientation {
  bool topDown;
  bool reversed;
};

// B and C read codes outside 1..4 as 1.
Orientation OrientationOf(int code) {
  if (code < 1 || code > 4) code = 1;
  return {code == 2 || code == 4, code == 3 || code == 4};
}

// --- Kernel B -------------------------------------------------------------------

constexpr int kBlockPixelsB = 40;  // 8 groups of five
constexpr int kBlockBytesB = 3 * kBlockPixelsB;

// For output byte o of a block: the lane of (S, T) (T at 64 + lane) that
// holds green and red, or of U for blue.
struct SpreadB {
  uint8_t pairs[2][64];
  uint8_t blue[2][64];
  uint64_t blueLanes[2];
};

// Lanes of a group of 8 samples from sample c, by pixel 5g + phase.
constexpr int kBlueLaneB[5] = {1, 3, 4, 6, 7};                // of U
constexpr int kGreenLaneB[5] = {1, 3, 64 + 3, 64 + 5, 7};     // of (S, T)
constexpr int kRedLaneB[5] = {64 + 0, 64 + 2, 4, 6, 64 + 6};  // of (S, T)
constexpr int kLastRedLaneB = 4;  // pixel 159 takes the red of pixel 157

// `last`: the block of the line's last pixel, whose red would need the
// next line.
constexpr SpreadB MakeSpreadB(bool colour, bool reversed, bool last) {
  SpreadB s{};
  for (int o = 0; o < kBlockBytesB; ++o) {
    const int v = o / 64, lane = o % 64;
    const int q = o / 3, byte = o % 3;
    const int p = reversed ? kBlockPixelsB - 1 - q : q;
    const int c = 8 * (p / 5), phase = p % 5;
    if (colour && byte == 0) {
      s.blue[v][lane] = static_cast<uint8_t>(c + kBlueLaneB[phase]);
      s.blueLanes[v] |= uint64_t{1} << lane;
    } else if (colour && byte == 2) {
      const bool lastPixel = last && p == kBlockPixelsB - 1;
      s.pairs[v][lane] = static_cast<uint8_t>(c + (lastPixel ? kLastRedLaneB : kRedLaneB[phase]));
    } else {
      s.pairs[v][lane] = static_cast<uint8_t>(c + kGreenLaneB[phase]);
    }
  }
  return s;
}

// [colour][reversed][last]
constexpr SpreadB kSpreadB[2][2][2] = {
    {{MakeSpreadB(false, false, false), MakeSpreadB(false, false, true)},
     {MakeSpreadB(false, true, false), MakeSpreadB(false, true, true)}},
    {{MakeSpreadB(true, false, false), MakeSpreadB(true, false, true)},
     {MakeSpreadB(true, true, false), MakeSpreadB(true, true, true)}}};

struct SpreadBVectors {
  __m512i pairs[2];
  __m512i blue[2];
  __mmask64 blueLanes[2];
};

VOBREX_TARGET_AVX512 SpreadBVectors LoadSpreadB(const SpreadB& s) {
  SpreadBVectors v;
  for (int k = 0; k < 2; ++k) {
    v.pairs[k] = _mm512_loadu_si512(s.pairs[k]);
    v.blue[k] = _mm512_loadu_si512(s.blue[k]);
    v.blueLanes[k] = s.blueLanes[k];
  }
  return v;
}

// (x + y) >> 1 of each byte pair; the bit shifted in from the byte above is
// masked off.
VOBREX_TARGET_AVX512 inline __m512i TrueAverages(const uint8_t* at, const uint8_t* twoOn) {
  const __m512i x = _mm512_loadu_si512(at), y = _mm512_loadu_si512(twoOn);
  const __m512i half =
      _mm512_and_si512(_mm512_srli_epi16(_mm512_xor_si512(x, y), 1), _mm512_set1_epi8(0x7F));
  return _mm512_add_epi8(_mm512_and_si512(x, y), half);
}

template <bool kColour>
VOBREX_TARGET_AVX512 void RunB(const uint8_t* raw, uint8_t* rgb, Orientation o) {
  const SpreadBVectors middle = LoadSpreadB(kSpreadB[kColour][o.reversed][0]);
  const SpreadBVectors last = LoadSpreadB(kSpreadB[kColour][o.reversed][1]);
  constexpr __mmask64 kEvenLanes = 0x5555555555555555ull;
  const std::ptrdiff_t stride = kSizeB.width * 3;
  for (int y = 0; y < kSizeB.height; ++y) {
    const int line = kHalfFirstPictureLine + y;
    // The first-field line is read from one sample before it to one after
    // it, the second-field line to two after it: the neighbouring lines of
    // their fields, inside the frame.
    const uint8_t* a = raw + line * kHalfColumns;
    const uint8_t* s = raw + kHalfSecondField + line * kHalfColumns;
    uint8_t* row = rgb + (o.topDown ? kSizeB.height - 1 - y : y) * stride;
    for (int b = 0; b < kBlocks; ++b) {
      const int x = b * kBlockSamples;
      const __m512i sampled = _mm512_loadu_si512(s + x);
      const __m512i averaged = TrueAverages(s + x, s + x + 2);
      const SpreadBVectors& spread = b + 1 == kBlocks ? last : middle;
      uint8_t* out = row + (o.reversed ? kBlocks - 1 - b : b) * kBlockBytesB;
      __m512i v[2];
      for (int k = 0; k < 2; ++k)
        v[k] = _mm512_permutex2var_epi8(sampled, spread.pairs[k], averaged);
      if constexpr (kColour) {
        const __m512i blue = _mm512_mask_blend_epi8(kEvenLanes, _mm512_loadu_si512(a + x),
                                                    TrueAverages(a + x - 1, a + x + 1));
        for (int k = 0; k < 2; ++k)
          v[k] = _mm512_mask_permutexvar_epi8(v[k], spread.blueLanes[k], spread.blue[k], blue);
      }
      _mm512_storeu_si512(out, v[0]);
      _mm512_mask_storeu_epi8(out + 64, (uint64_t{1} << (kBlockBytesB - 64)) - 1, v[1]);
    }
  }
}

// --- Kernel C -------------------------------------------------------------------

constexpr int kBlockPixelsC = 20;  // 4 groups of 16 samples, five pixels each
constexpr int kBlockBytesC = 3 * kBlockPixelsC;

// The sample of each pixel of a group, by colour (as the scalar kernel).
constexpr int kPickBlueC[5] = {1, 5, 9, 11, 15};   // first field
constexpr int kPickGreenC[5] = {1, 5, 9, 11, 15};  // second field
constexpr int kPickRedC[5] = {2, 4, 8, 10, 14};    // second field

// Lane of (S, F) for output byte o of a block: S the second-field samples,
// F (at 64 +) the first-field ones.
struct SpreadC {
  uint8_t index[64];
};

constexpr SpreadC MakeSpreadC(bool colour, bool reversed) {
  SpreadC s{};
  for (int o = 0; o < kBlockBytesC; ++o) {
    const int q = o / 3, byte = o % 3;
    const int p = reversed ? kBlockPixelsC - 1 - q : q;
    const int c = 16 * (p / 5), j = p % 5;
    int lane = c + kPickGreenC[j];
    if (colour && byte == 0) lane = 64 + c + kPickBlueC[j];
    if (colour && byte == 2) lane = c + kPickRedC[j];
    s.index[o] = static_cast<uint8_t>(lane);
  }
  return s;
}

// [colour][reversed]
constexpr SpreadC kSpreadC[2][2] = {{MakeSpreadC(false, false), MakeSpreadC(false, true)},
                                    {MakeSpreadC(true, false), MakeSpreadC(true, true)}};

VOBREX_TARGET_AVX512 void RunC(const uint8_t* raw, uint8_t* rgb, Orientation o, bool colour) {
  const __m512i spread = _mm512_loadu_si512(kSpreadC[colour][o.reversed].index);
  constexpr __mmask64 kBlockLanes = (uint64_t{1} << kBlockBytesC) - 1;
  const std::ptrdiff_t stride = kSizeC.width * 3;
  for (int y = 0; y < kSizeC.height; ++y) {
    // Half lines 2 + 2y and 3 + 2y make line y; the later one lies nearest
    // its centre.
    const int line = kHalfFirstPictureLine + 1 + 2 * y;
    const uint8_t* a = raw + line * kHalfColumns;
    const uint8_t* s = raw + kHalfSecondField + line * kHalfColumns;
    uint8_t* row = rgb + (o.topDown ? kSizeC.height - 1 - y : y) * stride;
    for (int b = 0; b < kBlocks; ++b) {
      const int x = b * kBlockSamples;
      const __m512i v =
          _mm512_permutex2var_epi8(_mm512_loadu_si512(s + x), spread, _mm512_loadu_si512(a + x));
      _mm512_mask_storeu_epi8(row + (o.reversed ? kBlocks - 1 - b : b) * kBlockBytesC, kBlockLanes,
                              v);
    }
  }
}

}  // namespace

bool RunKernelBVector(const uint8_t* raw, uint8_t* rgb, int orientation, bool colour) {
  if (ActiveSimdLevel() != SimdLevel::kAvx512) return false;
  if (colour) {
    RunB<true>(raw, rgb, OrientationOf(orientation));
  } else {
    RunB<false>(raw, rgb, OrientationOf(orientation));
  }
  return true;
}

bool RunKernelCVector(const uint8_t* raw, uint8_t* rgb, int orientation, bool colour) {
  if (ActiveSimdLevel() != SimdLevel::kAvx512) return false;
  RunC(raw, rgb, OrientationOf(orientation), colour);
  return true;
}

#else

bool RunKernelBVector(const uint8_t*, uint8_t*, int, bool) { return false; }
bool RunKernelCVector(const uint8_t*, uint8_t*, int, bool) { return false; }

#endif

}  // namespace vobrex
