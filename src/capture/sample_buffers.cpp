#include "capture/sample_buffers.h"

#include <algorithm>
#include <initializer_list>

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

// One component as the pass packs it.
inline uint8_t PackComponent(ComponentPacking packing, uint16_t value) {
  const int32_t v = static_cast<int16_t>(value);
  switch (packing) {
    case ComponentPacking::kCompress:
      return kCompressBytes.table[v < 0                       ? 0
                                  : v >= kCompressTableLength ? kCompressTableLength - 1
                                                              : v];
    case ComponentPacking::kClamp: return static_cast<uint8_t>(v < 0 ? 0 : v > 255 ? 255 : v);
    case ComponentPacking::kLowByte: break;
  }
  return static_cast<uint8_t>(value & 0xFF);
}

template <ComponentPacking kPacking>
void PackLinePortable(uint8_t* pixels, const uint16_t* values, int32_t count) {
  for (int32_t i = 0; i < count; ++i) pixels[i] = PackComponent(kPacking, values[i]);
}

// --- The compressing table without a gather -------------------------------------
//
// The table has three stretches: the response curve up to the knee at 920,
// a straight run from the knee to 255 at 1840, and 255 beyond: past 1840
// the run's own formula only has to be capped at 255.
//
// The straight run is entry = offset + slope * v / 920 (slope = 255 - knee,
// offset = 2 * knee - 255, the knee's own entry included), computed as
// (v * kRunMultiplier) >> 20 with kRunMultiplier = ceil(slope * 2^20 / 920)
// (the high half of a 16 x 16-bit product, shifted by 4):
// that is slope * v / 920 plus v * kRunExcess / (920 * 2^20), where
// kRunExcess = kRunMultiplier * 920 - slope * 2^20, and v * kRunExcess stays
// below 2^20 for v up to 1840, so the excess is below 1/920 while the
// fraction of slope * v / 920 is at most 919/920: the floor is the same.
//
// Entries below 1020 go by groups of four: the entry at the group's start
// (four 64-byte permute tables of 256 groups) plus the rise within the group,
// which takes few enough shapes that a third table holds all of them, four
// bytes a shape. Both forms are checked against the table below, and the
// tests run every 16-bit value through the vector pass.

constexpr int32_t kKnee = 920;
constexpr int32_t kRunEnd = 1840;  // the first entry of 255
constexpr int32_t kKneeEntry = kCurveTables.compressTable[kKnee];
constexpr int32_t kRunSlope = 255 - kKneeEntry;
constexpr int32_t kRunOffset = 2 * kKneeEntry - 255;
constexpr int32_t kRunShift = 20;
constexpr int32_t kRunMultiplier = (kRunSlope * (1 << kRunShift) + kKnee - 1) / kKnee;
constexpr int64_t kRunExcess = int64_t{kRunMultiplier} * kKnee - (int64_t{kRunSlope} << kRunShift);
static_assert(kRunMultiplier < 65536 && kRunExcess >= 0 &&
              kRunEnd * kRunExcess < (int64_t{1} << kRunShift));

constexpr int kGroup = 4;
constexpr int kGroups = 256;
constexpr int kMaxShapes = 16;  // a shape is kGroup bytes of a 64-byte table
// The vector form finds the group by a shift of 2 and looks it up in four
// 64-byte quarters.
static_assert(kGroup == 4 && kGroups == 256);

struct CompressGroups {
  uint8_t start[kGroups];  // entry kGroup * g
  uint8_t shape[kGroups];  // kGroup * the shape of group g
  uint8_t rise[64];        // by kGroup * shape + offset in the group
  int shapes;
};

constexpr CompressGroups MakeCompressGroups() {
  CompressGroups c{};
  for (int g = 0; g < kGroups; ++g) {
    const int first = kCompressBytes.table[kGroup * g];
    c.start[g] = static_cast<uint8_t>(first);
    uint8_t rise[kGroup] = {};
    for (int o = 0; o < kGroup; ++o) {
      rise[o] = static_cast<uint8_t>(kCompressBytes.table[kGroup * g + o] - first);
    }
    int found = 0;
    while (found < c.shapes) {
      bool same = true;
      for (int o = 0; o < kGroup; ++o) same = same && c.rise[kGroup * found + o] == rise[o];
      if (same) break;
      ++found;
    }
    if (found == c.shapes) {
      if (c.shapes == kMaxShapes) return CompressGroups{};  // fails the check below
      for (int o = 0; o < kGroup; ++o) c.rise[kGroup * found + o] = rise[o];
      ++c.shapes;
    }
    c.shape[g] = static_cast<uint8_t>(kGroup * found);
  }
  return c;
}

constexpr CompressGroups kCompressGroups = MakeCompressGroups();

// The vector pass on one value, step by step, with no clamp of its own:
// the group index saturates at 0 below 0 and at 255 from 1020 (4 x 255) up,
// where the straight run takes over; the offset in the group is 0 below 0;
// the run's quotient (the value read as unsigned) is capped at its value at
// 1840, where the table reaches 255 and stays.
constexpr int32_t CompressByParts(int16_t v) {
  const int32_t g = std::clamp(v >> 2, 0, kGroups - 1);
  if (g == kGroups - 1) {
    const int32_t quotient = (static_cast<uint16_t>(v) * kRunMultiplier) >> kRunShift;
    return kRunOffset + std::min({quotient, 255, 255 - kRunOffset});
  }
  const int32_t offset = v < 0 ? 0 : v & (kGroup - 1);
  return kCompressGroups.start[g] + kCompressGroups.rise[kCompressGroups.shape[g] + offset];
}

// Every value below 0 takes group 0 at offset 0, and every value from 1840
// up the capped quotient, so the values from just below 0 to just past the
// table's end cover every case; the tests run all 65536 values as well.
// (The whole 16-bit range would exceed some compilers' evaluation limits.)
constexpr bool PartsMatchTable() {
  if (kCompressGroups.shapes == 0) return false;
  for (int32_t v = -8; v < kCompressTableLength + 8; ++v) {
    const int32_t i = v < 0 ? 0 : v >= kCompressTableLength ? kCompressTableLength - 1 : v;
    if (CompressByParts(static_cast<int16_t>(v)) != kCompressBytes.table[i]) return false;
  }
  return true;
}
static_assert(kKnee <= (kGroups - 1) * kGroup && PartsMatchTable(),
              "the compressing table splits into its group form and its straight run");

#if defined(VOBREX_X86_SIMD)

// Bytes of 64 values packed from two vectors of 32 words come in the order
// of the 128-bit pack: lane L of the result holds values 8L..8L+7 of the
// first vector, then 8L..8L+7 of the second. Value j of a block is at byte:
constexpr int PackedLane(int j) {
  return j < 32 ? 16 * (j / 8) + j % 8 : 16 * ((j - 32) / 8) + 8 + (j - 32) % 8;
}

struct CompressRegs {
  __m512i start[4], shape[4], rise;
};

VOBREX_TARGET_AVX512 inline CompressRegs LoadCompressRegs() {
  CompressRegs r;
  for (int k = 0; k < 4; ++k) {
    r.start[k] = _mm512_loadu_si512(kCompressGroups.start + 64 * k);
    r.shape[k] = _mm512_loadu_si512(kCompressGroups.shape + 64 * k);
  }
  r.rise = _mm512_loadu_si512(kCompressGroups.rise);
  return r;
}

// Index bits 6 and 7 of 64 byte indices as masks, by moves from the sign
// bits (a 16-bit shift by one brings each byte's bit 6 to its bit 7):
// cheaper than compares, which compete with the permutes.
struct QuarterMasks {
  __mmask64 bit6, bit7;
};

VOBREX_TARGET_AVX512 inline QuarterMasks MasksOf(__m512i index) {
  return {_mm512_movepi8_mask(_mm512_slli_epi16(index, 1)), _mm512_movepi8_mask(index)};
}

// A 256-entry byte table as four permutes: bit 6 picks the quarter within
// each half, bit 7 the half.
VOBREX_TARGET_AVX512 inline __m512i LookupQuarters(const __m512i (&t)[4], __m512i index,
                                                   QuarterMasks m) {
  const __m512i low =
      _mm512_mask_permutexvar_epi8(_mm512_permutexvar_epi8(index, t[0]), m.bit6, index, t[1]);
  const __m512i high =
      _mm512_mask_permutexvar_epi8(_mm512_permutexvar_epi8(index, t[2]), m.bit6, index, t[3]);
  return _mm512_mask_blend_epi8(m.bit7, low, high);
}

template <ComponentPacking kPacking>
struct PackRegs;

template <>
struct PackRegs<ComponentPacking::kCompress> {
  CompressRegs table;
};
template <>
struct PackRegs<ComponentPacking::kClamp> {};
template <>
struct PackRegs<ComponentPacking::kLowByte> {};

template <ComponentPacking kPacking>
VOBREX_TARGET_AVX512 inline PackRegs<kPacking> LoadPackRegs() {
  if constexpr (kPacking == ComponentPacking::kCompress) {
    return {LoadCompressRegs()};
  } else {
    return {};
  }
}

VOBREX_TARGET_AVX512 inline __m512i CompressBlock(__m512i a, __m512i b, const CompressRegs& t) {
  const __m512i group = _mm512_packus_epi16(_mm512_srai_epi16(a, 2), _mm512_srai_epi16(b, 2));
  // The sign bit kept with the offset makes a negative value's offset 0.
  const __m512i offsetBits = _mm512_set1_epi16(static_cast<int16_t>(0x8000 | (kGroup - 1)));
  const __m512i offset =
      _mm512_packus_epi16(_mm512_and_si512(a, offsetBits), _mm512_and_si512(b, offsetBits));
  const QuarterMasks quarter = MasksOf(group);
  const __m512i start = LookupQuarters(t.start, group, quarter);
  const __m512i shape = LookupQuarters(t.shape, group, quarter);
  const __m512i rise = _mm512_permutexvar_epi8(_mm512_or_si512(shape, offset), t.rise);
  const __m512i curve = _mm512_add_epi8(start, rise);
  const __mmask64 onRun = _mm512_cmpeq_epi8_mask(group, _mm512_set1_epi8(-1));
  // Blocks below the run throughout (most of a picture) skip it.
  if (onRun == 0) return curve;
  const __m512i multiplier = _mm512_set1_epi16(kRunMultiplier);
  const __m512i runA = _mm512_srli_epi16(_mm512_mulhi_epu16(a, multiplier), kRunShift - 16);
  const __m512i runB = _mm512_srli_epi16(_mm512_mulhi_epu16(b, multiplier), kRunShift - 16);
  const __m512i quotient =
      _mm512_min_epu8(_mm512_packus_epi16(runA, runB), _mm512_set1_epi8(255 - kRunOffset));
  const __m512i run = _mm512_add_epi8(quotient, _mm512_set1_epi8(static_cast<char>(kRunOffset)));
  return _mm512_mask_blend_epi8(onRun, curve, run);
}

// 64 values from `values` (two vectors of 32) packed into bytes, in the
// order PackedLane gives.
template <ComponentPacking kPacking>
VOBREX_TARGET_AVX512 inline __m512i PackBlock(__m512i a, __m512i b,
                                              const PackRegs<kPacking>& regs) {
  if constexpr (kPacking == ComponentPacking::kCompress) {
    return CompressBlock(a, b, regs.table);
  } else if constexpr (kPacking == ComponentPacking::kClamp) {
    return _mm512_packus_epi16(a, b);  // signed words saturated to 0..255
  } else {
    const __m512i low = _mm512_set1_epi16(0xFF);
    return _mm512_packus_epi16(_mm512_and_si512(a, low), _mm512_and_si512(b, low));
  }
}

template <ComponentPacking kPacking>
VOBREX_TARGET_AVX512 inline __m512i PackBlockAt(const uint16_t* values,
                                                const PackRegs<kPacking>& regs) {
  return PackBlock<kPacking>(_mm512_loadu_si512(values), _mm512_loadu_si512(values + 32), regs);
}

template <ComponentPacking kPacking>
VOBREX_TARGET_AVX512 void PackLineAvx512(uint8_t* pixels, const uint16_t* values, int32_t count) {
  const PackRegs<kPacking> regs = LoadPackRegs<kPacking>();
  // Packed lanes back into value order: quadwords 0, 2, 4, 6 hold the first
  // 32 values, 1, 3, 5, 7 the rest.
  const __m512i order = _mm512_set_epi64(7, 5, 3, 1, 6, 4, 2, 0);
  int32_t i = 0;
  for (; i + 64 <= count; i += 64) {
    const __m512i r = PackBlockAt<kPacking>(values + i, regs);
    _mm512_storeu_si512(pixels + i, _mm512_permutexvar_epi64(order, r));
  }
  PackLinePortable<kPacking>(pixels + i, values + i, count - i);
}

#endif  // VOBREX_X86_SIMD

template <ComponentPacking kPacking>
void PackLine(uint8_t* pixels, const uint16_t* values, int32_t count) {
#if defined(VOBREX_X86_SIMD)
  if (ActiveSimdLevel() == SimdLevel::kAvx512)
    return PackLineAvx512<kPacking>(pixels, values, count);
#endif
  PackLinePortable<kPacking>(pixels, values, count);
}

}  // namespace

ComponentPacking PackingFor(const Camera& cam, bool compress) {
  if (!compress) return ComponentPacking::kLowByte;
  const int32_t mode = cam.modes.wbMode;
  return mode == 1 || mode == 2 ? ComponentPacking::kCompress : ComponentPacking::kClamp;
}

void PackSamples(const Camera& cam, uint8_t* pixels, const uint16_t* values, int32_t count,
                 bool compress) {
  if (count <= 0) return;
  switch (PackingFor(cam, compress)) {
    case ComponentPacking::kCompress:
      return PackLine<ComponentPacking::kCompress>(pixels, values, count);
    case ComponentPacking::kClamp: return PackLine<ComponentPacking::kClamp>(pixels, values, count);
    case ComponentPacking::kLowByte:
      return PackLine<ComponentPacking::kLowByte>(pixels, values, count);
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

template <ComponentPacking kPacking>
void PackRowPortable(uint8_t* pixels, const uint16_t* blue, const uint16_t* green,
                     const uint16_t* red, int32_t first, int32_t width, bool reversed,
                     int32_t limit) {
  for (int32_t c = first; c < width && 3 * c < limit; ++c) {
    const int32_t from = reversed ? width - 1 - c : c;
    const uint8_t v[3] = {PackComponent(kPacking, blue[from]), PackComponent(kPacking, green[from]),
                          PackComponent(kPacking, red[from])};
    for (int k = 0; k < 3 && 3 * c + k < limit; ++k) pixels[3 * c + k] = v[k];
  }
}

#if defined(VOBREX_X86_SIMD)

// For the 192 bytes of 64 pixels: where each byte comes from. Blue and
// green by one two-table permute (green at 64 + its lane), red by a second.
// `lane(j)` is where pixel j's component sits in its line's vector.
struct InterleaveTables {
  uint8_t blueGreen[3][64];
  uint8_t red[3][64];
  uint64_t redLanes[3];
  uint8_t grey[3][64];  // one line for all three: the byte's pixel alone
};

template <class Lane>
constexpr InterleaveTables MakeInterleave(bool reversed, Lane lane) {
  InterleaveTables t{};
  for (int o = 0; o < 192; ++o) {
    const int v = o / 64, at = o % 64;
    const int pixel = lane(reversed ? 63 - o / 3 : o / 3);
    t.grey[v][at] = static_cast<uint8_t>(pixel);
    if (o % 3 == 2) {
      t.red[v][at] = static_cast<uint8_t>(pixel);
      t.redLanes[v] |= uint64_t{1} << at;
    } else {
      t.blueGreen[v][at] = static_cast<uint8_t>(o % 3 == 0 ? pixel : 64 + pixel);
    }
  }
  return t;
}

constexpr int InLineOrder(int j) { return j; }
constexpr InterleaveTables kInterleave[2] = {MakeInterleave(false, InLineOrder),
                                             MakeInterleave(true, InLineOrder)};
constexpr InterleaveTables kInterleavePacked[2] = {MakeInterleave(false, PackedLane),
                                                   MakeInterleave(true, PackedLane)};

struct InterleaveRegs {
  __m512i blueGreen[3], red[3];
  __mmask64 redLanes[3];
};

VOBREX_TARGET_AVX512 inline InterleaveRegs LoadInterleave(const InterleaveTables& t) {
  InterleaveRegs r;
  for (int k = 0; k < 3; ++k) {
    r.blueGreen[k] = _mm512_loadu_si512(t.blueGreen[k]);
    r.red[k] = _mm512_loadu_si512(t.red[k]);
    r.redLanes[k] = t.redLanes[k];
  }
  return r;
}

// 64 pixels from their three component vectors into 192 bytes.
VOBREX_TARGET_AVX512 inline void StorePixels(uint8_t* pixels, __m512i b, __m512i g, __m512i r,
                                             const InterleaveRegs& t) {
  for (int k = 0; k < 3; ++k) {
    __m512i v = _mm512_permutex2var_epi8(b, t.blueGreen[k], g);
    v = _mm512_mask_permutexvar_epi8(v, t.redLanes[k], t.red[k], r);
    _mm512_storeu_si512(pixels + 64 * k, v);
  }
}

// 64 grey pixels from one component vector: one permute a 64-byte store.
VOBREX_TARGET_AVX512 inline void StoreGreyPixels(uint8_t* pixels, __m512i v,
                                                 const InterleaveTables& t) {
  for (int k = 0; k < 3; ++k) {
    _mm512_storeu_si512(pixels + 64 * k, _mm512_permutexvar_epi8(_mm512_loadu_si512(t.grey[k]), v));
  }
}

// The blocks of 64 pixels a row of `width` pixels takes within `limit`
// bytes: `whole` blocks from pixel 0 on and, when the row is whole and at
// least 64 wide, one more ending at the row's end (rewriting some pixels
// with the same bytes); `rest` is the first pixel left to the portable code.
struct RowBlocks {
  int32_t whole;
  bool last;
  int32_t rest;

  RowBlocks(int32_t width, int32_t limit)
      : whole(std::min(width / 64, limit / 192)),
        last(64 * whole < width && width >= 64 && width <= limit / 3),
        rest(last ? width : 64 * whole) {}
  int32_t Count() const { return whole + (last ? 1 : 0); }
  int32_t At(int32_t k, int32_t width) const { return k < whole ? 64 * k : width - 64; }
};

VOBREX_TARGET_AVX512 void InterleaveAvx512(uint8_t* pixels, const uint8_t* blue,
                                           const uint8_t* green, const uint8_t* red, int32_t width,
                                           bool reversed, int32_t limit) {
  const InterleaveRegs t = LoadInterleave(kInterleave[reversed ? 1 : 0]);
  const RowBlocks blocks(width, limit);
  for (int32_t k = 0; k < blocks.Count(); ++k) {
    const int32_t at = blocks.At(k, width);
    const int32_t from = reversed ? width - 64 - at : at;
    StorePixels(pixels + 3 * at, _mm512_loadu_si512(blue + from), _mm512_loadu_si512(green + from),
                _mm512_loadu_si512(red + from), t);
  }
  InterleavePortable(pixels, blue, green, red, blocks.rest, width, reversed, limit);
}

template <ComponentPacking kPacking>
VOBREX_TARGET_AVX512 void PackRowAvx512(uint8_t* pixels, const uint16_t* blue,
                                        const uint16_t* green, const uint16_t* red, int32_t width,
                                        bool reversed, int32_t limit) {
  const InterleaveTables& tables = kInterleavePacked[reversed ? 1 : 0];
  const PackRegs<kPacking> regs = LoadPackRegs<kPacking>();
  const RowBlocks blocks(width, limit);
  if (green == blue && red == blue) {
    for (int32_t k = 0; k < blocks.Count(); ++k) {
      const int32_t at = blocks.At(k, width);
      const int32_t from = reversed ? width - 64 - at : at;
      StoreGreyPixels(pixels + 3 * at, PackBlockAt<kPacking>(blue + from, regs), tables);
    }
  } else {
    const InterleaveRegs t = LoadInterleave(tables);
    for (int32_t k = 0; k < blocks.Count(); ++k) {
      const int32_t at = blocks.At(k, width);
      const int32_t from = reversed ? width - 64 - at : at;
      const __m512i b = PackBlockAt<kPacking>(blue + from, regs);
      const __m512i g = green == blue ? b : PackBlockAt<kPacking>(green + from, regs);
      const __m512i r = red == blue    ? b
                        : red == green ? g
                                       : PackBlockAt<kPacking>(red + from, regs);
      StorePixels(pixels + 3 * at, b, g, r, t);
    }
  }
  PackRowPortable<kPacking>(pixels, blue, green, red, blocks.rest, width, reversed, limit);
}

#endif  // VOBREX_X86_SIMD

template <ComponentPacking kPacking>
void PackRow(uint8_t* pixels, const uint16_t* blue, const uint16_t* green, const uint16_t* red,
             int32_t width, bool reversed, int32_t limit) {
#if defined(VOBREX_X86_SIMD)
  if (ActiveSimdLevel() == SimdLevel::kAvx512) {
    return PackRowAvx512<kPacking>(pixels, blue, green, red, width, reversed, limit);
  }
#endif
  PackRowPortable<kPacking>(pixels, blue, green, red, 0, width, reversed, limit);
}

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

void PackPixelRow(uint8_t* pixels, const uint16_t* blue, const uint16_t* green, const uint16_t* red,
                  int32_t width, bool reversed, int32_t limit, ComponentPacking packing) {
  if (width <= 0 || limit <= 0) return;
  switch (packing) {
    case ComponentPacking::kCompress:
      return PackRow<ComponentPacking::kCompress>(pixels, blue, green, red, width, reversed, limit);
    case ComponentPacking::kClamp:
      return PackRow<ComponentPacking::kClamp>(pixels, blue, green, red, width, reversed, limit);
    case ComponentPacking::kLowByte:
      return PackRow<ComponentPacking::kLowByte>(pixels, blue, green, red, width, reversed, limit);
  }
}

}  // namespace vobrex
