// Raw-domain white balance: the dispatcher, the per-channel gains through
// the lazily built tables, and the gain by sensor position.
#include "preview/white_balance.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "platform/cpu_features.h"
#include "platform/simd.h"

namespace vobrex {

namespace {

constexpr int32_t kBlockSamples = 0x40000;  // 512 x 512
constexpr int32_t kFieldSamples = 0x20000;  // one field: 256 lines of 512
constexpr int32_t kLastTableIndex = kRawTableLength - 1;
// Colours of RawGainMaps.
constexpr int kMapGreen = 0;
constexpr int kMapBlue = 1;
constexpr int kMapRed = 2;

// Working samples normally lie in 0..1023, but unusual factors or levels in
// the record (or a ratio entry fed into a factor table) can leave 0..16382:
// such an index is clamped to the nearest entry so no lookup leaves a table.
int32_t TableIndex(int32_t s) { return std::clamp(s, 0, kLastTableIndex); }

// Samples are 16 bits wide; a larger table value keeps its low 16 bits.
int16_t Low16(int32_t v) { return static_cast<int16_t>(static_cast<uint16_t>(v)); }

// Walks every block and maps each site through its colour's map.
void MapChannels(int16_t* samples, int blocks, const RawGainMaps& maps) {
  auto active = [&maps](int colour) {
    return maps.ratio[colour] != nullptr || maps.factor[colour] != nullptr;
  };
  const bool green = active(kMapGreen), blue = active(kMapBlue), red = active(kMapRed);
  for (int b = 0; b < blocks; ++b) {
    int16_t* greenBlue = samples + static_cast<std::ptrdiff_t>(b) * kBlockSamples;
    int16_t* redGreen = greenBlue + kFieldSamples;
    for (int32_t k = 0; k < kFieldSamples; k += 2) {
      if (green) greenBlue[k] = maps.Map(kMapGreen, greenBlue[k]);
      if (blue) greenBlue[k + 1] = maps.Map(kMapBlue, greenBlue[k + 1]);
      if (red) redGreen[k] = maps.Map(kMapRed, redGreen[k]);
      if (green) redGreen[k + 1] = maps.Map(kMapGreen, redGreen[k + 1]);
    }
  }
}

// Allocates the missing tables; false (with nothing written) when one fails.
// A table allocated here starts zero-filled, from no levels or factor.
bool EnsureRawTables(WhiteBalanceState& st) {
  Owned<int16_t>* ratio[3] = {&st.ratioTableR, &st.ratioTableG, &st.ratioTableB};
  Owned<int32_t>* factor[3] = {&st.factorTableR, &st.factorTableG, &st.factorTableB};
  for (int c = 0; c < 3; ++c) {
    if (*ratio[c]) continue;
    *ratio[c] = AllocateArray<int16_t>(kRawTableLength, true);
    if (!*ratio[c]) return false;
    st.ratioFill[c] = {};
    ++st.rawTableVersion;
  }
  for (int c = 0; c < 3; ++c) {
    if (*factor[c]) continue;
    *factor[c] = AllocateArray<int32_t>(kRawTableLength, true);
    if (!*factor[c]) return false;
    st.factorFill[c] = {};
    ++st.rawTableVersion;
  }
  return true;
}

void FillFactorTable(WhiteBalanceState& st, int channel, int32_t* table, double factor) {
  uint64_t bits = 0;
  std::memcpy(&bits, &factor, sizeof bits);
  WhiteBalanceState::FactorFill& fill = st.factorFill[channel];
  if (fill.filled && fill.factorBits == bits) return;
  for (int32_t i = 0; i < kRawTableLength; ++i) table[i] = TruncateProduct(factor, i);
  fill = {true, bits};
  ++st.rawTableVersion;
}

void FillFactorTables(WhiteBalanceState& st, const CameraModes& m) {
  FillFactorTable(st, kBlue, st.factorTableB.get(), m.wbFactorB);
  FillFactorTable(st, kGreen, st.factorTableG.get(), m.wbFactorG);
  FillFactorTable(st, kRed, st.factorTableR.get(), m.wbFactorR);
}

// Entry i = (i x peak) / level, truncated, low 16 bits, for i = 0..16382.
// i x peak stays below 2^31 (peak is at most 32767 x 103 / 100) and both are
// at least 0 with level above 0, so from entry i to entry i + k the quotient
// grows by (k x peak) / level plus a carry of at most 1 from the remainder:
// (i + k) x peak = (q + step) x level + r + carry with 0 <= r + carry <
// 2 x level. Stepping each of kLanes running quotients by kLanes entries
// gives the same entries as dividing, without a division.
constexpr int32_t kLanes = 16;

void FillRatioTablePortable(int16_t* table, int32_t peak, int32_t level) {
  const int32_t step = peak / level;
  const int32_t carry = peak % level;
  int32_t q = 0;
  int32_t r = 0;
  for (int32_t i = 0; i < kRawTableLength; ++i) {
    table[i] = Low16(q);
    q += step;
    r += carry;
    const int32_t over = r >= level ? 1 : 0;
    q += over;
    r -= over * level;
  }
}

#if defined(VOBREX_X86_SIMD)
VOBREX_TARGET_AVX512 void FillRatioTableAvx512(int16_t* table, int32_t peak, int32_t level) {
  alignas(64) int32_t q0[kLanes], r0[kLanes];
  for (int32_t l = 0; l < kLanes; ++l) {
    q0[l] = l * peak / level;
    r0[l] = l * peak % level;
  }
  __m512i q = _mm512_load_si512(q0), r = _mm512_load_si512(r0);
  const __m512i step = _mm512_set1_epi32(kLanes * peak / level);
  const __m512i carry = _mm512_set1_epi32(kLanes * peak % level);
  const __m512i lvl = _mm512_set1_epi32(level);
  const __m512i one = _mm512_set1_epi32(1);
  int32_t i = 0;
  for (; i + kLanes <= kRawTableLength; i += kLanes) {
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(table + i),
                        _mm512_maskz_cvtepi32_epi16(0xFFFF, q));
    q = _mm512_add_epi32(q, step);
    r = _mm512_add_epi32(r, carry);
    const __mmask16 over = _mm512_cmpge_epi32_mask(r, lvl);
    q = _mm512_mask_add_epi32(q, over, q, one);
    r = _mm512_mask_sub_epi32(r, over, r, lvl);
  }
  for (; i < kRawTableLength; ++i) table[i] = Low16(i * peak / level);
}
#endif

// A table last filled from the same peak and level already holds these
// entries: a preview of a steady scene refills nothing.
void FillRatioTable(WhiteBalanceState& st, int channel, int16_t* table, int32_t peak,
                    int32_t level) {
  WhiteBalanceState::RatioFill& fill = st.ratioFill[channel];
  if (fill.filled && fill.peak == peak && fill.level == level) return;
  fill = {true, peak, level};
  ++st.rawTableVersion;
#if defined(VOBREX_X86_SIMD)
  if (ActiveSimdLevel() == SimdLevel::kAvx512) return FillRatioTableAvx512(table, peak, level);
#endif
  FillRatioTablePortable(table, peak, level);
}

struct WeightedLevels {
  int32_t red;
  int32_t green;
  int32_t blue;
  int32_t peak;
};

// Ratio tables lift each channel from its weighted level to the peak. A still
// always rebuilds them; a run of previews rebuilds on every fifth frame and
// reuses the tables in between. False when a rebuild is due but a weighted
// level truncated to 0 (a ratio below 2): there is nothing to divide by, so
// the frame is left as it is.
bool RebuildRatioTables(WhiteBalanceState& st, const WeightedLevels& w, int32_t stillCall) {
  if (stillCall != 0) st.ratioRebuildCount = 0;
  if (st.ratioRebuildCount % 5 == 0) {
    if (w.red == 0 || w.green == 0 || w.blue == 0) return false;
    FillRatioTable(st, kRed, st.ratioTableR.get(), w.peak, w.red);
    FillRatioTable(st, kGreen, st.ratioTableG.get(), w.peak, w.green);
    FillRatioTable(st, kBlue, st.ratioTableB.get(), w.peak, w.blue);
  }
  st.ratioRebuildCount =
      static_cast<int32_t>(static_cast<uint32_t>(st.ratioRebuildCount) + 1u);  // wraps
  return true;
}

}  // namespace

int32_t TruncateProduct(double factor, int32_t value) {
  const double product = factor * value;
  if (!(product > -2147483649.0 && product < 2147483648.0)) return INT32_MIN;
  return static_cast<int32_t>(product);
}

void SetDefaultLevels(CameraModes& m) {
  m.ratioR = 120;
  m.ratioG = 100;
  m.ratioB = 100;
}

int32_t PositionGainDivisor(uint8_t gainTable) {
  static constexpr int32_t kDivisor[6] = {200, 150, 110, 80, 75, 50};
  return gainTable <= 5 ? kDivisor[gainTable] : 50;
}

int ApplyWhiteBalance(Camera& cam, int16_t* samples, int32_t resolutionCode, int32_t stillCall) {
  const CameraModes& m = cam.modes;
  if (m.wbMode != 0) {
    // Manual colour gain: the caller owns the gains, only the lens fall-off
    // is still corrected here.
    if (m.gainAdjust != 0) {
      if (m.wbExtra != 0) ApplySamplePositionGain(cam, samples, resolutionCode);
      return 1;
    }
    EstimateRawWhiteBalance(cam, samples, resolutionCode);
  }
  if (m.gainAdjust == 0) ApplyRawGains(cam, samples, resolutionCode, stillCall);
  if (m.wbExtra != 0) ApplySamplePositionGain(cam, samples, resolutionCode);
  return 1;
}

int16_t RawGainMaps::Map(int colour, int16_t s) const {
  if (ratio[colour] != nullptr) s = ratio[colour][TableIndex(s)];
  if (factor[colour] != nullptr) s = Low16(factor[colour][TableIndex(s)]);
  return s;
}

int PrepareRawGains(Camera& cam, int32_t resolutionCode, int32_t stillCall, RawGainMaps& maps,
                    int& blocks) {
  maps = RawGainMaps{};
  blocks = 0;
  WhiteBalanceState& st = cam.whiteBalance;
  const CameraModes& m = cam.modes;
  if (!EnsureRawTables(st)) return 0;
  if (m.ratioR == 0 || m.ratioB == 0 || m.ratioG == 0) return 0;
  const int blockCount = ResolutionScale(resolutionCode);
  if (blockCount == 0) return 0;

  // The red and blue sites of the mosaic respond differently from green;
  // the levels are weighted before the channels are compared.
  WeightedLevels w{};
  w.red = static_cast<int16_t>(m.ratioR) * 100 / 105;
  w.blue = static_cast<int16_t>(m.ratioB) * 103 / 100;
  w.green = static_cast<int16_t>(m.ratioG);
  w.peak = std::max({w.red, w.blue, w.green});
  if (std::min({w.red, w.blue, w.green}) < 0) return 0;

  int dominant = m.wbStatus;
  if (dominant == 0) dominant = w.peak == w.red ? 1 : w.peak == w.blue ? 2 : 3;

  const int16_t* ratio[3] = {st.ratioTableG.get(), st.ratioTableB.get(), st.ratioTableR.get()};
  const int32_t* factor[3] = {st.factorTableG.get(), st.factorTableB.get(), st.factorTableR.get()};

  switch (m.wbMode) {
    case 0:
      FillFactorTables(st, m);
      for (int c = 0; c < 3; ++c) maps.factor[c] = factor[c];
      blocks = blockCount;
      return 1;
    case 2:
      // A factor of 0.0 means the trim is not set: the previous factor
      // tables (zero until first filled) stay in use.
      if (m.wbFactorR != 0.0 && m.wbFactorG != 0.0 && m.wbFactorB != 0.0) FillFactorTables(st, m);
      if (!RebuildRatioTables(st, w, stillCall)) return 0;
      for (int c = 0; c < 3; ++c) {
        maps.ratio[c] = ratio[c];
        maps.factor[c] = factor[c];
      }
      blocks = blockCount;
      return 1;
    case 1:
      if (!RebuildRatioTables(st, w, stillCall)) return 0;
      // Only the two channels below the dominant one are lifted; a state
      // byte outside 1..3 names no channel and nothing is lifted.
      if (dominant >= 1 && dominant <= 3) {
        const int kept = dominant == 1 ? kMapRed : dominant == 2 ? kMapBlue : kMapGreen;
        for (int c = 0; c < 3; ++c) {
          if (c != kept) maps.ratio[c] = ratio[c];
        }
      }
      blocks = blockCount;
      return 1;
    default: return 1;
  }
}

int ApplyRawGains(Camera& cam, int16_t* samples, int32_t resolutionCode, int32_t stillCall) {
  RawGainMaps maps;
  int blocks = 0;
  const int result = PrepareRawGains(cam, resolutionCode, stillCall, maps, blocks);
  MapChannels(samples, blocks, maps);
  return result;
}

namespace {

template <class Source>
int WhiteBalanceMapsOf(Camera& cam, const Source& source, int32_t resolutionCode, int32_t stillCall,
                       RawGainMaps& maps) {
  maps = RawGainMaps{};
  const CameraModes& m = cam.modes;
  if (m.wbMode != 0) {
    if (m.gainAdjust != 0) return 1;
    EstimateRawWhiteBalance(cam, source, resolutionCode);
  }
  if (m.gainAdjust == 0) {
    int blocks = 0;
    PrepareRawGains(cam, resolutionCode, stillCall, maps, blocks);
  }
  return 1;
}

}  // namespace

int WhiteBalanceMaps(Camera& cam, const WidenedBytes& source, int32_t resolutionCode,
                     int32_t stillCall, RawGainMaps& maps) {
  return WhiteBalanceMapsOf(cam, source, resolutionCode, stillCall, maps);
}

int WhiteBalanceMaps(Camera& cam, const WidenedSamples& source, int32_t resolutionCode,
                     int32_t stillCall, RawGainMaps& maps) {
  return WhiteBalanceMapsOf(cam, source, resolutionCode, stillCall, maps);
}

void ApplyPositionGain(const Camera& cam, uint8_t* raw, int32_t resolutionCode) {
  const uint8_t* position = cam.positionGain.get();
  if (position == nullptr) return;
  const int blocks = ResolutionScale(resolutionCode);
  const int32_t divisor = PositionGainDivisor(cam.modes.gainTable);
  for (int half = 0; half < 2 * blocks; ++half) {
    uint8_t* field = raw + static_cast<std::ptrdiff_t>(half) * kFieldSamples;
    for (int32_t k = 0; k < kFieldSamples; ++k) {
      const int32_t v = field[k] * position[k] / divisor;
      // Soft knee: lifted highlights roll off into 231..255 instead of
      // clipping hard at 255.
      if (v < 231) {
        field[k] = static_cast<uint8_t>(v);
      } else if (v <= 280) {
        field[k] = static_cast<uint8_t>((v + 230) >> 1);
      } else {
        field[k] = 255;
      }
    }
  }
}

void ApplySamplePositionGain(const Camera& cam, int16_t* samples, int32_t resolutionCode) {
  const uint8_t* position = cam.positionGain.get();
  if (position == nullptr) return;
  const int blocks = ResolutionScale(resolutionCode);
  const int32_t divisor = PositionGainDivisor(cam.modes.gainTable);
  for (int half = 0; half < 2 * blocks; ++half) {
    int16_t* field = samples + static_cast<std::ptrdiff_t>(half) * kFieldSamples;
    for (int32_t k = 0; k < kFieldSamples; ++k) {
      field[k] = Low16(field[k] * position[k] / divisor);
    }
  }
}

}  // namespace vobrex
