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

void ApplyColorGain(const Camera& cam, uint8_t* rgb, int32_t byteCount, const uint8_t* tableR,
                    const uint8_t* tableG, const uint8_t* tableB, int32_t mode) {
  const int32_t pixels = byteCount / 3;
  if (mode < 1 || mode > 10 || pixels <= 0) return;
  const CameraModes& m = cam.modes;
  switch (mode) {
    case 1: MapPixels(rgb, pixels, tableB, tableG, nullptr); return;
    case 2: MapPixels(rgb, pixels, nullptr, tableG, tableR); return;
    case 3: MapPixels(rgb, pixels, tableB, nullptr, tableR); return;
    case 10: break;
    default: return;  // 4..9 do nothing
  }
  switch (m.wbMode) {
    case 0: {
      const FactorTables f = MakeFactorTables(m);
      MapPixels(rgb, pixels, f.blue, f.green, f.red);
      return;
    }
    case 1: MapPixels(rgb, pixels, tableB, tableG, tableR); return;
    case 2: {
      if (m.wbFactorR == 1.0 && m.wbFactorG == 1.0 && m.wbFactorB == 1.0) {
        MapPixels(rgb, pixels, tableB, tableG, tableR);
        return;
      }
      // The manual trim applies on top of the automatic gain: factor of gain.
      const FactorTables f = MakeFactorTables(m);
      uint8_t blue[256], green[256], red[256];
      for (int32_t v = 0; v < 256; ++v) {
        blue[v] = f.blue[tableB[v]];
        green[v] = f.green[tableG[v]];
        red[v] = f.red[tableR[v]];
      }
      MapPixels(rgb, pixels, blue, green, red);
      return;
    }
    default: return;
  }
}

}  // namespace vobrex
