#include "capture/channel_tables.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "platform/cpu_features.h"
#include "platform/simd.h"

namespace vobrex {
namespace {

// The two tables of a field: even and odd samples.
struct FieldTables {
  int even;
  int odd;
};
constexpr FieldTables kFirstField{kChannelGreen, kChannelBlue};
constexpr FieldTables kSecondField{kChannelRed, kChannelGreen};

// Calls `pass(offset, length, evenTable, oddTable)` over the runs of one
// table pair: both fields of each block, then the plain rest. Every run
// starts at an even offset, so a sample's parity in the run is its parity
// in the field.
template <class Pass>
void ForEachRun(int64_t count, int blocks, Pass pass) {
  int64_t at = 0;
  for (int b = 0; b < blocks && at < count; ++b) {
    for (const FieldTables& f : {kFirstField, kSecondField}) {
      const int64_t n = std::min<int64_t>(kMosaicFieldSamples, count - at);
      if (n <= 0) return;
      pass(at, n, f.even, f.odd);
      at += n;
    }
  }
  if (at < count) pass(at, count - at, kChannelPlain, kChannelPlain);
}

// --- portable paths -----------------------------------------------------------

void BytesPortable(uint8_t* p, int64_t n, const uint8_t* even, const uint8_t* odd) {
  int64_t i = 0;
  // Eight samples a step: one load and one store of a word, eight lookups.
  for (; i + 8 <= n; i += 8) {
    uint64_t w;
    std::memcpy(&w, p + i, 8);
    uint64_t r = 0;
    for (int k = 0; k < 8; k += 2) {
      r |= uint64_t{even[(w >> (8 * k)) & 0xFF]} << (8 * k);
      r |= uint64_t{odd[(w >> (8 * k + 8)) & 0xFF]} << (8 * k + 8);
    }
    std::memcpy(p + i, &r, 8);
  }
  for (; i < n; ++i) p[i] = ((i & 1) ? odd : even)[p[i]];
}

void WidenPortable(int16_t* out, const uint8_t* in, int64_t n, const int16_t* even,
                   const int16_t* odd) {
  int64_t i = 0;
  for (; i + 2 <= n; i += 2) {
    out[i] = even[in[i]];
    out[i + 1] = odd[in[i + 1]];
  }
  if (i < n) out[i] = even[in[i]];
}

// Byte values as they are: the tables of a chain that changes nothing (no
// expanding curve, no balance).
bool IsIdentity(const int16_t* table) {
  for (int v = 0; v < 256; ++v) {
    if (table[v] != v) return false;
  }
  return true;
}

void ZeroExtendPortable(int16_t* out, const uint8_t* in, int64_t n) {
  for (int64_t i = 0; i < n; ++i) out[i] = in[i];
}

void SamplesPortable(int16_t* p, int64_t n, const int16_t* even, const int16_t* odd) {
  int64_t i = 0;
  for (; i + 2 <= n; i += 2) {
    p[i] = even[static_cast<uint8_t>(p[i])];
    p[i + 1] = odd[static_cast<uint8_t>(p[i + 1])];
  }
  if (i < n) p[i] = even[static_cast<uint8_t>(p[i])];
}

#if defined(VOBREX_X86_SIMD)

// --- AVX-512 VBMI: a 256-entry byte table is four registers; two two-table
// permutes look up index bits 0..6 in each half and bit 7 picks the half. --

struct ByteTable512 {
  __m512i q[4];
};

VOBREX_TARGET_AVX512 inline ByteTable512 LoadTable512(const uint8_t* t) {
  ByteTable512 r;
  for (int k = 0; k < 4; ++k) r.q[k] = _mm512_loadu_si512(t + 64 * k);
  return r;
}

VOBREX_TARGET_AVX512 inline __m512i Lookup512(const ByteTable512& t, __m512i x, __mmask64 high) {
  const __m512i low = _mm512_permutex2var_epi8(t.q[0], x, t.q[1]);
  const __m512i up = _mm512_permutex2var_epi8(t.q[2], x, t.q[3]);
  return _mm512_mask_blend_epi8(high, low, up);
}

constexpr __mmask64 kOddLanes = 0xAAAAAAAAAAAAAAAAull;

VOBREX_TARGET_AVX512 void BytesAvx512(uint8_t* p, int64_t n, const uint8_t* even,
                                      const uint8_t* odd) {
  const ByteTable512 e = LoadTable512(even);
  const ByteTable512 o = LoadTable512(odd);
  int64_t i = 0;
  for (; i + 64 <= n; i += 64) {
    const __m512i x = _mm512_loadu_si512(p + i);
    const __mmask64 high = _mm512_movepi8_mask(x);
    const __m512i r =
        _mm512_mask_blend_epi8(kOddLanes, Lookup512(e, x, high), Lookup512(o, x, high));
    _mm512_storeu_si512(p + i, r);
  }
  BytesPortable(p + i, n - i, even, odd);
}

// Low and high bytes of a 16-bit table, as two byte tables.
struct WordTable512 {
  ByteTable512 low, high;
};

VOBREX_TARGET_AVX512 WordTable512 SplitTable512(const int16_t* t) {
  alignas(64) uint8_t low[256], high[256];
  for (int k = 0; k < 256; ++k) {
    const auto v = static_cast<uint16_t>(t[k]);
    low[k] = static_cast<uint8_t>(v & 0xFF);
    high[k] = static_cast<uint8_t>(v >> 8);
  }
  return {LoadTable512(low), LoadTable512(high)};
}

// Index vectors that interleave 32 low and 32 high bytes into 32 words:
// the first takes bytes 0..31 of each, the second bytes 32..63.
struct Interleave512 {
  __m512i first, second;
};

VOBREX_TARGET_AVX512 Interleave512 MakeInterleave512() {
  alignas(64) uint8_t a[64], b[64];
  for (int k = 0; k < 32; ++k) {
    a[2 * k] = static_cast<uint8_t>(k);           // low byte from the first operand
    a[2 * k + 1] = static_cast<uint8_t>(64 + k);  // high byte from the second
    b[2 * k] = static_cast<uint8_t>(32 + k);
    b[2 * k + 1] = static_cast<uint8_t>(96 + k);
  }
  return {_mm512_load_si512(a), _mm512_load_si512(b)};
}

// 64 samples of one table pair from 64 byte indices, stored as words.
VOBREX_TARGET_AVX512 inline void LookupWords512(int16_t* out, __m512i x, const WordTable512& e,
                                                const WordTable512& o, const Interleave512& mix) {
  const __mmask64 high = _mm512_movepi8_mask(x);
  const __m512i low =
      _mm512_mask_blend_epi8(kOddLanes, Lookup512(e.low, x, high), Lookup512(o.low, x, high));
  const __m512i up =
      _mm512_mask_blend_epi8(kOddLanes, Lookup512(e.high, x, high), Lookup512(o.high, x, high));
  _mm512_storeu_si512(out, _mm512_permutex2var_epi8(low, mix.first, up));
  _mm512_storeu_si512(out + 32, _mm512_permutex2var_epi8(low, mix.second, up));
}

// 128 samples a step, the even and the odd ones looked up apart, so that
// each table serves only the samples it maps. Two byte permutes deal the
// even samples to one vector and the odd ones to another, in the order
// that the in-lane unpacks afterwards need: the unpack of the low and high
// bytes turns positions 16L + 0..7 and 16L + 8..15 of lane L into words,
// and the unpack of even and odd words then puts the pairs of positions
// 16L + 4j .. 16L + 4j + 3 into lane L of output vector j. So position
// 16L + 4j + i holds sample pair 16j + 4L + i (samples 2p and 2p + 1).
struct DealLanes {
  alignas(64) uint8_t even[64];
  alignas(64) uint8_t odd[64];
};

constexpr DealLanes MakeDealLanes() {
  DealLanes d{};
  for (int lane = 0; lane < 4; ++lane) {
    for (int j = 0; j < 4; ++j) {
      for (int i = 0; i < 4; ++i) {
        const int pair = 16 * j + 4 * lane + i;
        d.even[16 * lane + 4 * j + i] = static_cast<uint8_t>(2 * pair);
        d.odd[16 * lane + 4 * j + i] = static_cast<uint8_t>(2 * pair + 1);
      }
    }
  }
  return d;
}

constexpr DealLanes kDealLanes = MakeDealLanes();

VOBREX_TARGET_AVX512 inline void LookupDealt128(int16_t* out, const uint8_t* in,
                                                const WordTable512& e, const WordTable512& o,
                                                __m512i dealEven, __m512i dealOdd) {
  const __m512i first = _mm512_loadu_si512(in);
  const __m512i second = _mm512_loadu_si512(in + 64);
  const __m512i evens = _mm512_permutex2var_epi8(first, dealEven, second);
  const __m512i odds = _mm512_permutex2var_epi8(first, dealOdd, second);
  const __mmask64 evenHigh = _mm512_movepi8_mask(evens);
  const __mmask64 oddHigh = _mm512_movepi8_mask(odds);
  const __m512i evenLow = Lookup512(e.low, evens, evenHigh);
  const __m512i evenUp = Lookup512(e.high, evens, evenHigh);
  const __m512i oddLow = Lookup512(o.low, odds, oddHigh);
  const __m512i oddUp = Lookup512(o.high, odds, oddHigh);
  const __m512i evenWords0 = _mm512_unpacklo_epi8(evenLow, evenUp);
  const __m512i evenWords1 = _mm512_unpackhi_epi8(evenLow, evenUp);
  const __m512i oddWords0 = _mm512_unpacklo_epi8(oddLow, oddUp);
  const __m512i oddWords1 = _mm512_unpackhi_epi8(oddLow, oddUp);
  _mm512_storeu_si512(out, _mm512_unpacklo_epi16(evenWords0, oddWords0));
  _mm512_storeu_si512(out + 32, _mm512_unpackhi_epi16(evenWords0, oddWords0));
  _mm512_storeu_si512(out + 64, _mm512_unpacklo_epi16(evenWords1, oddWords1));
  _mm512_storeu_si512(out + 96, _mm512_unpackhi_epi16(evenWords1, oddWords1));
}

VOBREX_TARGET_AVX512 void WidenSplitAvx512(int16_t* out, const uint8_t* in, int64_t n,
                                           const WordTable512& e, const WordTable512& o,
                                           const int16_t* even, const int16_t* odd) {
  const Interleave512 mix = MakeInterleave512();
  const __m512i dealEven = _mm512_load_si512(kDealLanes.even);
  const __m512i dealOdd = _mm512_load_si512(kDealLanes.odd);
  int64_t i = 0;
  for (; i + 128 <= n; i += 128) LookupDealt128(out + i, in + i, e, o, dealEven, dealOdd);
  for (; i + 64 <= n; i += 64) {
    LookupWords512(out + i, _mm512_loadu_si512(in + i), e, o, mix);
  }
  WidenPortable(out + i, in + i, n - i, even, odd);
}

VOBREX_TARGET_AVX512 void WidenAvx512(int16_t* out, const uint8_t* in, int64_t n,
                                      const int16_t* even, const int16_t* odd) {
  WidenSplitAvx512(out, in, n, SplitTable512(even), SplitTable512(odd), even, odd);
}

// The same with the tables split beforehand.
VOBREX_TARGET_AVX512 void WidenPreparedAvx512(int16_t* out, const uint8_t* in, int64_t n,
                                              const PreparedChannelTables& t, int even, int odd) {
  const WordTable512 e{LoadTable512(t.low[even]), LoadTable512(t.high[even])};
  const WordTable512 o{LoadTable512(t.low[odd]), LoadTable512(t.high[odd])};
  WidenSplitAvx512(out, in, n, e, o, t.words.table[even], t.words.table[odd]);
}

VOBREX_TARGET_AVX512 void ZeroExtendAvx512(int16_t* out, const uint8_t* in, int64_t n) {
  int64_t i = 0;
  for (; i + 64 <= n; i += 64) {
    const __m512i x = _mm512_loadu_si512(in + i);
    _mm512_storeu_si512(out + i, _mm512_cvtepu8_epi16(_mm512_castsi512_si256(x)));
    _mm512_storeu_si512(out + i + 32, _mm512_cvtepu8_epi16(_mm512_extracti64x4_epi64(x, 1)));
  }
  ZeroExtendPortable(out + i, in + i, n - i);
}

VOBREX_TARGET_AVX512 void SamplesAvx512(int16_t* p, int64_t n, const int16_t* even,
                                        const int16_t* odd) {
  const WordTable512 e = SplitTable512(even);
  const WordTable512 o = SplitTable512(odd);
  const Interleave512 mix = MakeInterleave512();
  // The low bytes of 64 words, in order.
  alignas(64) uint8_t pick[64];
  for (int k = 0; k < 64; ++k) pick[k] = static_cast<uint8_t>(2 * k);
  const __m512i lowBytes = _mm512_load_si512(pick);
  int64_t i = 0;
  for (; i + 64 <= n; i += 64) {
    const __m512i a = _mm512_loadu_si512(p + i);
    const __m512i b = _mm512_loadu_si512(p + i + 32);
    LookupWords512(p + i, _mm512_permutex2var_epi8(a, lowBytes, b), e, o, mix);
  }
  SamplesPortable(p + i, n - i, even, odd);
}

// Byte i of a 64-byte chunk at a multiple of 64 is byte (chunk + i) % 3 of
// its pixel; 64 is 1 modulo 3, so chunk k's pattern is that of k % 3.
constexpr uint64_t PlaceLanes(int shift, int place) {
  uint64_t m = 0;
  for (int i = 0; i < 64; ++i) {
    if ((i + shift) % 3 == place) m |= uint64_t{1} << i;
  }
  return m;
}

VOBREX_TARGET_AVX512 void PixelBytesAvx512(uint8_t* p, int64_t n, const uint8_t (&tables)[3][256]) {
  const ByteTable512 t[3] = {LoadTable512(tables[0]), LoadTable512(tables[1]),
                             LoadTable512(tables[2])};
  const __mmask64 green[3] = {PlaceLanes(0, 1), PlaceLanes(1, 1), PlaceLanes(2, 1)};
  const __mmask64 red[3] = {PlaceLanes(0, 2), PlaceLanes(1, 2), PlaceLanes(2, 2)};
  int64_t i = 0;
  for (int k = 0; i + 64 <= n; i += 64, k = k == 2 ? 0 : k + 1) {
    const __m512i x = _mm512_loadu_si512(p + i);
    const __mmask64 high = _mm512_movepi8_mask(x);
    __m512i r = Lookup512(t[0], x, high);
    r = _mm512_mask_blend_epi8(green[k], r, Lookup512(t[1], x, high));
    r = _mm512_mask_blend_epi8(red[k], r, Lookup512(t[2], x, high));
    _mm512_storeu_si512(p + i, r);
  }
  for (; i < n; ++i) p[i] = tables[i % 3][p[i]];
}

#endif  // VOBREX_X86_SIMD

bool UseAvx512() {
#if defined(VOBREX_X86_SIMD)
  return ActiveSimdLevel() == SimdLevel::kAvx512;
#else
  return false;
#endif
}

}  // namespace

void MapRawBytes(uint8_t* raw, int64_t count, int blocks, const ByteChannelTables& tables) {
  const bool wide = UseAvx512();
  ForEachRun(count, blocks, [&](int64_t at, int64_t n, int even, int odd) {
#if defined(VOBREX_X86_SIMD)
    if (wide) return BytesAvx512(raw + at, n, tables.table[even], tables.table[odd]);
#endif
    BytesPortable(raw + at, n, tables.table[even], tables.table[odd]);
  });
  static_cast<void>(wide);
}

void WidenRawBytes(int16_t* samples, const uint8_t* raw, int64_t count, int blocks,
                   const SampleChannelTables& tables) {
  const bool wide = UseAvx512();
  ForEachRun(count, blocks, [&](int64_t at, int64_t n, int even, int odd) {
    const bool plain = IsIdentity(tables.table[even]) && IsIdentity(tables.table[odd]);
#if defined(VOBREX_X86_SIMD)
    if (wide && plain) return ZeroExtendAvx512(samples + at, raw + at, n);
    if (wide) return WidenAvx512(samples + at, raw + at, n, tables.table[even], tables.table[odd]);
#endif
    if (plain) return ZeroExtendPortable(samples + at, raw + at, n);
    WidenPortable(samples + at, raw + at, n, tables.table[even], tables.table[odd]);
  });
  static_cast<void>(wide);
}

PreparedChannelTables PrepareChannelTables(const SampleChannelTables& tables) {
  PreparedChannelTables t{};
  t.words = tables;
  for (int c = 0; c < 4; ++c) {
    t.identity[c] = IsIdentity(tables.table[c]);
    for (int v = 0; v < 256; ++v) {
      const auto word = static_cast<uint16_t>(tables.table[c][v]);
      t.low[c][v] = static_cast<uint8_t>(word & 0xFF);
      t.high[c][v] = static_cast<uint8_t>(word >> 8);
    }
  }
  return t;
}

// The runs of WidenRawBytes that meet `at` .. `at` + n, cut to it. Fields
// start at even offsets, so a run starting at an odd offset has its even
// and odd tables swapped.
void WidenRawRange(int16_t* out, const uint8_t* raw, int64_t at, int64_t n, int blocks,
                   const PreparedChannelTables& tables) {
  const bool wide = UseAvx512();
  const int64_t balanced = int64_t{blocks} * kMosaicBlockSamples;
  for (int64_t i = at; i < at + n;) {
    const int64_t field = i / kMosaicFieldSamples;
    int even = kChannelPlain, odd = kChannelPlain;
    int64_t end = at + n;
    if (i < balanced) {
      const FieldTables& f = field % 2 == 0 ? kFirstField : kSecondField;
      even = f.even;
      odd = f.odd;
      end = std::min(end, (field + 1) * kMosaicFieldSamples);
    }
    if (i % 2 != 0) std::swap(even, odd);
    const bool plain = tables.identity[even] && tables.identity[odd];
#if defined(VOBREX_X86_SIMD)
    if (wide && plain) {
      ZeroExtendAvx512(out + (i - at), raw + i, end - i);
      i = end;
      continue;
    }
    // A run shorter than a vector is all tail: no tables to load for it.
    if (wide && end - i >= 64) {
      WidenPreparedAvx512(out + (i - at), raw + i, end - i, tables, even, odd);
      i = end;
      continue;
    }
#endif
    if (plain) {
      ZeroExtendPortable(out + (i - at), raw + i, end - i);
    } else {
      WidenPortable(out + (i - at), raw + i, end - i, tables.words.table[even],
                    tables.words.table[odd]);
    }
    i = end;
  }
  static_cast<void>(wide);
}

void MapByteSamples(int16_t* samples, int64_t count, int blocks,
                    const SampleChannelTables& tables) {
  const bool wide = UseAvx512();
  ForEachRun(count, blocks, [&](int64_t at, int64_t n, int even, int odd) {
    // Samples of 0..255 through tables that keep them: nothing to do.
    if (IsIdentity(tables.table[even]) && IsIdentity(tables.table[odd])) return;
#if defined(VOBREX_X86_SIMD)
    if (wide) return SamplesAvx512(samples + at, n, tables.table[even], tables.table[odd]);
#endif
    SamplesPortable(samples + at, n, tables.table[even], tables.table[odd]);
  });
  static_cast<void>(wide);
}

void MapBytes(uint8_t* bytes, int64_t count, const uint8_t* table) {
  if (count <= 0) return;
#if defined(VOBREX_X86_SIMD)
  if (UseAvx512()) return BytesAvx512(bytes, count, table, table);
#endif
  BytesPortable(bytes, count, table, table);
}

void MapPixelBytes(uint8_t* rgb, int64_t pixels, const uint8_t (&tables)[3][256]) {
  if (pixels <= 0) return;
#if defined(VOBREX_X86_SIMD)
  if (UseAvx512()) return PixelBytesAvx512(rgb, 3 * pixels, tables);
#endif
  for (int64_t i = 0; i < 3 * pixels; i += 3) {
    rgb[i] = tables[0][rgb[i]];
    rgb[i + 1] = tables[1][rgb[i + 1]];
    rgb[i + 2] = tables[2][rgb[i + 2]];
  }
}

}  // namespace vobrex
