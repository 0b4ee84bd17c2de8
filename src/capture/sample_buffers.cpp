#include "capture/sample_buffers.h"

#include <algorithm>

#include "platform/cpu_features.h"
#include "platform/simd.h"
#include "settings/curve_tables.h"

namespace vobrex {

void ExpandSamples(int16_t* samples, const uint8_t* raw, int32_t count) {
  for (int32_t i = 0; i < count; ++i) samples[i] = raw[i];
}

void MapSamples(const Camera& cam, int16_t* values, int32_t count, const uint16_t* table,
                int32_t tableLength) {
  if (count <= 0) return;
  const int32_t mode = cam.modes.wbMode;
  if (mode == 1 || mode == 2) {
    if (tableLength <= 0) return;
    for (int32_t i = 0; i < count; ++i) {
      const int32_t v = values[i];
      const int32_t index = v < 0 ? 0 : v >= tableLength ? tableLength - 1 : v;
      values[i] = static_cast<int16_t>(table[index]);
    }
  } else {
    for (int32_t i = 0; i < count; ++i) {
      values[i] = static_cast<int16_t>(std::clamp<int32_t>(values[i], 0, 255));
    }
  }
}

void NarrowSamples(uint8_t* pixels, const uint16_t* values, int32_t count) {
  for (int32_t i = 0; i < count; ++i) pixels[i] = static_cast<uint8_t>(values[i] & 0xFF);
}

namespace {

// The compressTable as bytes: every entry lies in 0..255, so its low byte
// is the entry.
struct CompressBytes {
  uint8_t table[kCompressTableLength];
};

constexpr CompressBytes MakeCompressBytes() {
  CompressBytes b{};
  for (int32_t i = 0; i < kCompressTableLength; ++i) {
    b.table[i] = static_cast<uint8_t>(kCurveTables.compressTable[i] & 0xFF);
  }
  return b;
}

constexpr bool CompressFitsBytes() {
  for (uint16_t v : kCurveTables.compressTable) {
    if (v > 255) return false;
  }
  return true;
}
static_assert(CompressFitsBytes(), "the compressing table maps into 0..255");

constexpr CompressBytes kCompressBytes = MakeCompressBytes();

// The compressTable as 32-bit entries, for gathers of sixteen at a time.
struct CompressWords {
  int32_t table[kCompressTableLength];
};

constexpr CompressWords MakeCompressWords() {
  CompressWords w{};
  for (int32_t i = 0; i < kCompressTableLength; ++i) w.table[i] = kCompressBytes.table[i];
  return w;
}

constexpr CompressWords kCompressWords = MakeCompressWords();

void CompressPortable(uint8_t* pixels, const uint16_t* values, int32_t count) {
  const uint8_t* table = kCompressBytes.table;
  for (int32_t i = 0; i < count; ++i) {
    const int32_t v = static_cast<int16_t>(values[i]);
    pixels[i] = table[v < 0 ? 0 : v >= kCompressTableLength ? kCompressTableLength - 1 : v];
  }
}

#if defined(VOBREX_X86_SIMD)
// Sixteen values a step: sign-extended, clamped to the table, gathered.
VOBREX_TARGET_AVX512 void CompressAvx512(uint8_t* pixels, const uint16_t* values, int32_t count) {
  const __m512i low = _mm512_setzero_si512();
  const __m512i high = _mm512_set1_epi32(kCompressTableLength - 1);
  int32_t i = 0;
  for (; i + 16 <= count; i += 16) {
    const __m256i v = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(values + i));
    __m512i index = _mm512_cvtepi16_epi32(v);
    index = _mm512_min_epi32(_mm512_max_epi32(index, low), high);
    const __m512i entries = _mm512_i32gather_epi32(index, kCompressWords.table, 4);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(pixels + i),
                     _mm512_maskz_cvtepi32_epi8(0xFFFF, entries));
  }
  CompressPortable(pixels + i, values + i, count - i);
}
#endif

}  // namespace

void PackSamples(const Camera& cam, uint8_t* pixels, const uint16_t* values, int32_t count,
                 bool compress) {
  if (count <= 0) return;
  const int32_t mode = cam.modes.wbMode;
  if (!compress) {
    NarrowSamples(pixels, values, count);
  } else if (mode == 1 || mode == 2) {
#if defined(VOBREX_X86_SIMD)
    if (ActiveSimdLevel() == SimdLevel::kAvx512) return CompressAvx512(pixels, values, count);
#endif
    CompressPortable(pixels, values, count);
  } else {
    for (int32_t i = 0; i < count; ++i) {
      const int32_t v = static_cast<int16_t>(values[i]);
      pixels[i] = static_cast<uint8_t>(v < 0 ? 0 : v > 255 ? 255 : v);
    }
  }
}

namespace {

void InterleavePortable(uint8_t* pixels, const uint8_t* blue, const uint8_t* green,
                        const uint8_t* red, int32_t first, int32_t width, bool reversed,
                        int32_t limit) {
  for (int32_t c = first; c < width && 3 * c < limit; ++c) {
    const int32_t from = reversed ? width - 1 - c : c;
    const uint8_t v[3] = {blue[from], green[from], red[from]};
    for (int k = 0; k < 3 && 3 * c + k < limit; ++k) pixels[3 * c + k] = v[k];
  }
}

#if defined(VOBREX_X86_SIMD)

// For the 192 bytes of 64 pixels: where each byte comes from. Blue and
// green by one two-table permute (green at 64 + pixel), red by a second.
struct InterleaveTables {
  uint8_t blueGreen[3][64];
  uint8_t red[3][64];
  uint64_t redLanes[3];
};

constexpr InterleaveTables MakeInterleave(bool reversed) {
  InterleaveTables t{};
  for (int o = 0; o < 192; ++o) {
    const int v = o / 64, lane = o % 64;
    const int pixel = reversed ? 63 - o / 3 : o / 3;
    if (o % 3 == 2) {
      t.red[v][lane] = static_cast<uint8_t>(pixel);
      t.redLanes[v] |= uint64_t{1} << lane;
    } else {
      t.blueGreen[v][lane] = static_cast<uint8_t>(o % 3 == 0 ? pixel : 64 + pixel);
    }
  }
  return t;
}

constexpr InterleaveTables kInterleave[2] = {MakeInterleave(false), MakeInterleave(true)};

VOBREX_TARGET_AVX512 void InterleaveAvx512(uint8_t* pixels, const uint8_t* blue,
                                           const uint8_t* green, const uint8_t* red, int32_t width,
                                           bool reversed, int32_t limit) {
  const InterleaveTables& t = kInterleave[reversed ? 1 : 0];
  __m512i bg[3], rd[3];
  for (int k = 0; k < 3; ++k) {
    bg[k] = _mm512_loadu_si512(t.blueGreen[k]);
    rd[k] = _mm512_loadu_si512(t.red[k]);
  }
  int32_t c = 0;
  bool last = false;
  while (!last) {
    if (c + 64 <= width && 3 * (c + 64) <= limit) {
    } else if (c < width && width >= 64 && 3 * width <= limit) {
      // A whole row's last pixels: one more block ending at the row's end,
      // rewriting some pixels with the same bytes.
      c = width - 64;
      last = true;
    } else {
      break;
    }
    const int32_t from = reversed ? width - 64 - c : c;
    const __m512i b = _mm512_loadu_si512(blue + from);
    const __m512i g = _mm512_loadu_si512(green + from);
    const __m512i r = _mm512_loadu_si512(red + from);
    for (int k = 0; k < 3; ++k) {
      __m512i v = _mm512_permutex2var_epi8(b, bg[k], g);
      v = _mm512_mask_permutexvar_epi8(v, t.redLanes[k], rd[k], r);
      _mm512_storeu_si512(pixels + 3 * c + 64 * k, v);
    }
    c += 64;
  }
  if (last) return;
  InterleavePortable(pixels, blue, green, red, c, width, reversed, limit);
}

#endif

}  // namespace

void InterleavePixels(uint8_t* pixels, const uint8_t* blue, const uint8_t* green,
                      const uint8_t* red, int32_t width, bool reversed, int32_t limit) {
#if defined(VOBREX_X86_SIMD)
  if (ActiveSimdLevel() == SimdLevel::kAvx512) {
    return InterleaveAvx512(pixels, blue, green, red, width, reversed, limit);
  }
#endif
  InterleavePortable(pixels, blue, green, red, 0, width, reversed, limit);
}

}  // namespace vobrex
