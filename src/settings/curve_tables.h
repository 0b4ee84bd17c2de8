// The response curve of the sensor and the four tables derived from it.
// They depend on nothing but the fixed curve, so they are built once at
// compile time and shared read-only by every context.
#pragma once

#include <array>
#include <cstdint>

namespace vobrex {

inline constexpr int kCurvePoints = 16;
// (linear, encoded) points of the response curve, then (0, 0) ending the walk.
inline constexpr int kCurveLinear[kCurvePoints + 1] = {0,   25,  50,  75,  100, 150, 200, 250, 300,
                                                       350, 400, 500, 525, 550, 575, 600, 0};
inline constexpr int kCurveEncoded[kCurvePoints + 1] = {0,   110, 200, 265, 320, 408, 470, 509, 540,
                                                        565, 590, 630, 640, 650, 660, 670, 0};

// Piecewise-linear lookup on the response curve. Direction 1 maps encoded to
// linear, direction 0 linear to encoded; -1 for an input past the last point.
constexpr int32_t CurveInterpolate(int32_t v, int direction) {
  const int* in = direction == 1 ? kCurveEncoded : kCurveLinear;
  const int* out = direction == 1 ? kCurveLinear : kCurveEncoded;
  for (int i = 0; i < kCurvePoints; ++i) {
    const int32_t x0 = in[i], y0 = out[i], x1 = in[i + 1], y1 = out[i + 1];
    if (v == x0) return y0;
    if (v > x0 && v < x1) return ((y1 - y0) * v + y0 * x1 - y1 * x0) / (x1 - x0);
  }
  return -1;
}

inline constexpr int kExpandTableLength = 256;     // entries filled and read
inline constexpr int kCompressTableLength = 4092;

struct CurveTables {
  std::array<uint8_t, 256> previewTable{};     // encoded -> linear, 8 bits
  std::array<uint8_t, 256> gainShapeTable{};   // linear -> encoded, 8 bits
  std::array<uint16_t, kCompressTableLength> expandTable{};    // encoded 0..255 -> 0..1023
  std::array<uint16_t, kCompressTableLength> compressTable{};  // 0..4091 -> 0..255, with knee
};

constexpr CurveTables BuildCurveTables() {
  CurveTables t{};
  constexpr int32_t n = 255;
  for (int32_t i = 0; i <= n; ++i) {
    t.previewTable[i] = static_cast<uint8_t>(CurveInterpolate((655 * i) / n, 1) * n / 563);
    t.gainShapeTable[i] = static_cast<uint8_t>(CurveInterpolate((563 * i) / n, 0) * n / 655);
    t.expandTable[i] = static_cast<uint16_t>(CurveInterpolate((655 * i) / n, 1) * 1023 / 563);
  }
  constexpr int32_t m = 1023;
  for (int32_t i = 0; i <= m; ++i) {
    t.compressTable[i] = static_cast<uint16_t>(CurveInterpolate((563 * i) / m, 0) * 255 / 655);
  }
  // Highlight knee: a straight run from entry 920 up to 255 at 1840.
  const int32_t knee = t.compressTable[920];
  for (int32_t i = 921; i < 1840; ++i) {
    t.compressTable[i] = static_cast<uint16_t>(((255 - knee) * i) / 920 + (2 * knee - 255));
  }
  for (int32_t i = 1840; i < kCompressTableLength; ++i) t.compressTable[i] = 255;
  return t;
}

inline constexpr CurveTables kCurveTables = BuildCurveTables();

}  // namespace vobrex
