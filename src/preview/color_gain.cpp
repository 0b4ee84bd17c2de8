// Colour gain on finished images: the 1024-byte gain tables the preview
// keeps, and the pass that maps pixels through them.
#include <cstddef>

#include "preview/white_balance.h"
#include "settings/curve_tables.h"

namespace vobrex {

namespace {

constexpr int32_t kGainTableLength = 1024;

// Per-byte tables of the three manual factors, saturating at 255.
struct FactorTables {
  uint8_t blue[256];
  uint8_t green[256];
  uint8_t red[256];
};

void FillByteFactorTable(uint8_t (&table)[256], double factor) {
  for (int32_t v = 0; v < 256; ++v) {
    const int32_t scaled = TruncateProduct(factor, v);
    table[v] = scaled >= 255 ? 255 : static_cast<uint8_t>(scaled);
  }
}

FactorTables MakeFactorTables(const CameraModes& m) {
  FactorTables t;
  FillByteFactorTable(t.blue, m.wbFactorB);
  FillByteFactorTable(t.green, m.wbFactorG);
  FillByteFactorTable(t.red, m.wbFactorR);
  return t;
}

// Maps each pixel's bytes (blue, green, red) through the tables; a null
// table keeps its channel. A byte indexes the first 256 entries only.
void MapPixels(uint8_t* rgb, int32_t pixels, const uint8_t* blue, const uint8_t* green,
               const uint8_t* red) {
  for (int32_t p = 0; p < pixels; ++p) {
    uint8_t* pixel = rgb + static_cast<std::ptrdiff_t>(p) * 3;
    if (blue != nullptr) pixel[0] = blue[pixel[0]];
    if (green != nullptr) pixel[1] = green[pixel[1]];
    if (red != nullptr) pixel[2] = red[pixel[2]];
  }
}

}  // namespace

int BuildGainTable(uint8_t* table, int16_t peak, int16_t level) {
  if (level == 0) return 0;
  for (int32_t i = 0; i < 255; ++i) {
    const auto v = static_cast<int16_t>(i * peak / level);
    table[i] = v >= 256 ? 255 : static_cast<uint8_t>(v);
  }
  for (int32_t i = 255; i < kGainTableLength; ++i) table[i] = 255;
  return 1;
}

void RemapGainTable(uint8_t* table) {
  // The gains were worked out on linear values; the shape table brings them
  // back onto the encoded scale of the preview image.
  for (int32_t i = 0; i < 255; ++i) table[i] = kCurveTables.gainShapeTable[table[i]];
}

bool ColorGainMaps(const Camera& cam, const uint8_t* tableR, const uint8_t* tableG,
                   const uint8_t* tableB, int32_t mode, uint8_t (&maps)[3][256]) {
  if (mode < 1 || mode > 10) return false;
  const CameraModes& m = cam.modes;
  const uint8_t* through[3] = {nullptr, nullptr, nullptr};  // blue, green, red
  FactorTables factors;
  uint8_t composed[3][256];
  switch (mode) {
    case 1: through[0] = tableB, through[1] = tableG; break;
    case 2: through[1] = tableG, through[2] = tableR; break;
    case 3: through[0] = tableB, through[2] = tableR; break;
    case 10:
      switch (m.wbMode) {
        case 0:
          factors = MakeFactorTables(m);
          through[0] = factors.blue, through[1] = factors.green, through[2] = factors.red;
          break;
        case 1: through[0] = tableB, through[1] = tableG, through[2] = tableR; break;
        case 2:
          if (m.wbFactorR == 1.0 && m.wbFactorG == 1.0 && m.wbFactorB == 1.0) {
            through[0] = tableB, through[1] = tableG, through[2] = tableR;
            break;
          }
          // The manual trim applies on top of the automatic gain: factor of gain.
          factors = MakeFactorTables(m);
          for (int32_t v = 0; v < 256; ++v) {
            composed[0][v] = factors.blue[tableB[v]];
            composed[1][v] = factors.green[tableG[v]];
            composed[2][v] = factors.red[tableR[v]];
          }
          through[0] = composed[0], through[1] = composed[1], through[2] = composed[2];
          break;
        default: return false;
      }
      break;
    default: return false;  // 4..9 do nothing
  }
  for (int c = 0; c < 3; ++c) {
    for (int32_t v = 0; v < 256; ++v) {
      maps[c][v] = through[c] != nullptr ? through[c][v] : static_cast<uint8_t>(v);
    }
  }
  return true;
}

void ApplyColorGain(const Camera& cam, uint8_t* rgb, int32_t byteCount, const uint8_t* tableR,
                    const uint8_t* tableG, const uint8_t* tableB, int32_t mode) {
  const int32_t pixels = byteCount / 3;
  if (pixels <= 0) return;
  uint8_t maps[3][256];
  if (!ColorGainMaps(cam, tableR, tableG, tableB, mode, maps)) return;
  MapPixels(rgb, pixels, maps[0], maps[1], maps[2]);
}

}  // namespace vobrex
