#include "preview/tone_curve.h"

#include <algorithm>
#include <cmath>

namespace vobrex {

namespace {

int16_t Clamp255(int32_t v) { return static_cast<int16_t>(std::clamp<int32_t>(v, 0, 255)); }

// Contrast >= 0 stretches an input window of width 2h around c onto 0..255.
void StretchContrast(int16_t* const tables[3], int16_t contrast, int16_t brightness) {
  const auto h = static_cast<int16_t>((500 - contrast) * 128 / 500);
  const auto c = static_cast<int16_t>((500 - brightness) * 255 / 1000);
  const auto low = static_cast<int16_t>(c - h);
  const auto width = static_cast<int16_t>(2 * h);
  for (int16_t* t : {tables[0], tables[1], tables[2]}) {
    for (int32_t i = 0; i < std::min<int32_t>(low, 256); ++i) t[i] = 0;
    const int32_t end = std::min<int32_t>(low + width, 256);
    for (int32_t i = std::max<int32_t>(low, 0); i < end; ++i) {
      const auto difference = static_cast<uint16_t>(t[i] - low);
      const int32_t v = (difference * 255) / static_cast<uint16_t>(width);
      t[i] = static_cast<int16_t>(v > 255 ? 255 : v);
    }
    const int32_t top = low + width;
    if (top >= 0 && top <= 255) {
      for (int32_t i = top; i <= 255; ++i) t[i] = 255;
    }
  }
}

// Contrast < 0 compresses 0..255 onto an output range of width 2h around c.
// Entry 255 keeps its value, so white stays white.
void CompressContrast(int16_t* const tables[3], int16_t contrast, int16_t brightness) {
  const auto h = static_cast<int16_t>((500 + contrast) * 128 / 500);
  const auto c = static_cast<int16_t>((500 + brightness) * 255 / 1000);
  const auto base = static_cast<int16_t>(c - h);
  const auto span = static_cast<int16_t>(2 * h);
  for (int16_t* t : {tables[0], tables[1], tables[2]}) {
    for (int32_t i = 0; i < 255; ++i) t[i] = Clamp255(span * t[i] / 255 + base);
  }
}

void StretchBlackLevel(int16_t* t, int16_t level, int16_t percent) {
  for (int32_t i = 0; i < 256; ++i) {
    const int32_t v = t[i];
    // Entries never exceed 255, so a level of 255 (or more) maps everything
    // to 0 here and its zero divisor below is never reached.
    if (v <= level || level == 255) {
      t[i] = 0;
      continue;
    }
    const int32_t q = (v - level) * 255 / (255 - level);
    t[i] = Clamp255(q * percent / 100);
  }
}

void ApplyGamma(int16_t* const tables[3], int16_t gamma) {
  const double exponent = gamma * 0.01;
  for (int16_t* t : {tables[0], tables[1], tables[2]}) {
    for (int32_t i = 0; i < 256; ++i) {
      const double v = std::pow(t[i] * 0.00392156862745098, exponent) * 255.0;
      // pow(0, negative) is infinite: compare before truncating.
      t[i] = !(v < 255.0) ? 255 : v <= 0.0 ? 0 : static_cast<int16_t>(v);
    }
  }
}

}  // namespace

bool ToneCurveIsNeutral(const CameraModes& m) {
  return m.contrast == 0 && m.brightness == 0 && m.gamma == 100 && m.toneLevel1 == 1 &&
         m.toneLevel2 == 1 && m.toneLevel3 == 1;
}

void BuildToneCurve(const Camera& cam, int16_t* table0, int16_t* table1, int16_t* table2) {
  const CameraModes& m = cam.modes;
  // The build reads the low 16 bits of each field.
  const auto contrast = static_cast<int16_t>(m.contrast);
  const auto brightness = static_cast<int16_t>(m.brightness);
  const auto gamma = static_cast<int16_t>(m.gamma);
  const int16_t levels[3] = {static_cast<int16_t>(m.toneLevel1), static_cast<int16_t>(m.toneLevel2),
                             static_cast<int16_t>(m.toneLevel3)};
  int16_t* const tables[3] = {table0, table1, table2};

  for (int16_t* t : tables) {
    for (int32_t i = 0; i < 256; ++i) t[i] = static_cast<int16_t>(i);
  }
  if (contrast != 0 || brightness != 0) {
    if (contrast >= 0) {
      StretchContrast(tables, contrast, brightness);
    } else {
      CompressContrast(tables, contrast, brightness);
    }
  }
  if (levels[0] != 1 || levels[1] != 1 || levels[2] != 1) {
    // One level off 1 sends all three tables through the stretch.
    for (int k = 0; k < 3; ++k) StretchBlackLevel(tables[k], levels[k], toneGainPercent[k]);
  }
  if (gamma != 100) ApplyGamma(tables, gamma);
}

void ApplyToneCurve(const Camera& cam, uint8_t* rgb, int32_t byteCount) {
  if (ToneCurveIsNeutral(cam.modes)) return;
  int16_t tables[3][256];
  BuildToneCurve(cam, tables[0], tables[1], tables[2]);
  if (byteCount < 1) return;
  // The curve is one lookup a byte; the image pass runs on byte tables.
  uint8_t lookup[3][256];
  for (int k = 0; k < 3; ++k) {
    for (int i = 0; i < 256; ++i) lookup[k][i] = static_cast<uint8_t>(tables[k][i] & 0xFF);
  }
  const int32_t whole = byteCount / 3 * 3;
  for (int32_t o = 0; o < whole; o += 3) {
    rgb[o] = lookup[0][rgb[o]];
    rgb[o + 1] = lookup[1][rgb[o + 1]];
    rgb[o + 2] = lookup[2][rgb[o + 2]];
  }
  // The last pixel counts as whole, but only the bytes the caller owns change.
  for (int32_t o = whole; o < byteCount; ++o) rgb[o] = lookup[o - whole][rgb[o]];
}

}  // namespace vobrex
