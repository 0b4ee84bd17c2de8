// Raw-domain white balance: the dispatcher, the per-channel gains through
// the lazily built tables, and the gain by sensor position.
#include "preview/white_balance.h"

#include <algorithm>
#include <cstddef>

namespace vobrex {

namespace {

constexpr int32_t kBlockSamples = 0x40000;  // 512 x 512
constexpr int32_t kFieldSamples = 0x20000;  // one field: 256 lines of 512
constexpr int32_t kLastTableIndex = kRawTableLength - 1;

// Working samples normally lie in 0..1023, but unusual factors or levels in
// the record (or a ratio entry fed into a factor table) can leave 0..16382:
// such an index is clamped to the nearest entry so no lookup leaves a table.
int32_t TableIndex(int32_t s) { return std::clamp(s, 0, kLastTableIndex); }

// Samples are 16 bits wide; a larger table value keeps its low 16 bits.
int16_t Low16(int32_t v) { return static_cast<int16_t>(static_cast<uint16_t>(v)); }

struct Keep {
  int16_t operator()(int16_t s) const { return s; }
};

// Walks every block and maps each site through the function of its colour.
template <class Green, class Blue, class Red>
void MapChannels(int16_t* samples, int blocks, Green green, Blue blue, Red red) {
  for (int b = 0; b < blocks; ++b) {
    int16_t* greenBlue = samples + static_cast<std::ptrdiff_t>(b) * kBlockSamples;
    int16_t* redGreen = greenBlue + kFieldSamples;
    for (int32_t k = 0; k < kFieldSamples; k += 2) {
      greenBlue[k] = green(greenBlue[k]);
      greenBlue[k + 1] = blue(greenBlue[k + 1]);
      redGreen[k] = red(redGreen[k]);
      redGreen[k + 1] = green(redGreen[k + 1]);
    }
  }
}

// Allocates the missing tables; false (with nothing written) when one fails.
bool EnsureRawTables(WhiteBalanceState& st) {
  for (Owned<int16_t>* t : {&st.ratioTableR, &st.ratioTableG, &st.ratioTableB}) {
    if (!*t) *t = AllocateArray<int16_t>(kRawTableLength, true);
    if (!*t) return false;
  }
  for (Owned<int32_t>* t : {&st.factorTableR, &st.factorTableG, &st.factorTableB}) {
    if (!*t) *t = AllocateArray<int32_t>(kRawTableLength, true);
    if (!*t) return false;
  }
  return true;
}

void FillFactorTable(int32_t* table, double factor) {
  for (int32_t i = 0; i < kRawTableLength; ++i) table[i] = TruncateProduct(factor, i);
}

void FillFactorTables(WhiteBalanceState& st, const CameraModes& m) {
  FillFactorTable(st.factorTableB.get(), m.wbFactorB);
  FillFactorTable(st.factorTableG.get(), m.wbFactorG);
  FillFactorTable(st.factorTableR.get(), m.wbFactorR);
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
    int16_t* r = st.ratioTableR.get();
    int16_t* g = st.ratioTableG.get();
    int16_t* b = st.ratioTableB.get();
    // i x peak stays below 2^31: peak is at most 32767 x 103 / 100.
    for (int32_t i = 0; i < kRawTableLength; ++i) {
      r[i] = Low16(i * w.peak / w.red);
      g[i] = Low16(i * w.peak / w.green);
      b[i] = Low16(i * w.peak / w.blue);
    }
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

int ApplyRawGains(Camera& cam, int16_t* samples, int32_t resolutionCode, int32_t stillCall) {
  WhiteBalanceState& st = cam.whiteBalance;
  const CameraModes& m = cam.modes;
  if (!EnsureRawTables(st)) return 0;
  if (m.ratioR == 0 || m.ratioB == 0 || m.ratioG == 0) return 0;
  const int blocks = ResolutionScale(resolutionCode);
  if (blocks == 0) return 0;

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

  const int16_t* ratioR = st.ratioTableR.get();
  const int16_t* ratioG = st.ratioTableG.get();
  const int16_t* ratioB = st.ratioTableB.get();
  const int32_t* factorR = st.factorTableR.get();
  const int32_t* factorG = st.factorTableG.get();
  const int32_t* factorB = st.factorTableB.get();

  switch (m.wbMode) {
    case 0: {
      FillFactorTables(st, m);
      auto through = [](const int32_t* factor) {
        return [factor](int16_t s) { return Low16(factor[TableIndex(s)]); };
      };
      MapChannels(samples, blocks, through(factorG), through(factorB), through(factorR));
      return 1;
    }
    case 2: {
      // A factor of 0.0 means the trim is not set: the previous factor
      // tables (zero until first filled) stay in use.
      if (m.wbFactorR != 0.0 && m.wbFactorG != 0.0 && m.wbFactorB != 0.0) FillFactorTables(st, m);
      if (!RebuildRatioTables(st, w, stillCall)) return 0;
      auto through = [](const int16_t* ratio, const int32_t* factor) {
        return
            [ratio, factor](int16_t s) { return Low16(factor[TableIndex(ratio[TableIndex(s)])]); };
      };
      MapChannels(samples, blocks, through(ratioG, factorG), through(ratioB, factorB),
                  through(ratioR, factorR));
      return 1;
    }
    case 1: {
      if (!RebuildRatioTables(st, w, stillCall)) return 0;
      auto through = [](const int16_t* ratio) {
        return [ratio](int16_t s) { return ratio[TableIndex(s)]; };
      };
      // Only the two channels below the dominant one are lifted.
      switch (dominant) {
        case 1: MapChannels(samples, blocks, through(ratioG), through(ratioB), Keep{}); break;
        case 2: MapChannels(samples, blocks, through(ratioG), Keep{}, through(ratioR)); break;
        case 3: MapChannels(samples, blocks, Keep{}, through(ratioB), through(ratioR)); break;
        default: break;  // a state byte outside 1..3 names no channel
      }
      return 1;
    }
    default: return 1;
  }
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
