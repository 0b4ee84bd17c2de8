#include "capture/sharpening.h"

namespace vobrex {

void SetSharpnessLevel(Camera& cam, int level) {
  CameraModes& m = cam.modes;
  const int32_t L = level;
  if (L < 32) {
    m.sharpShift = 4;
  } else if (L < 96) {
    m.sharpShift = 3;
  } else if (L < 160) {
    m.sharpShift = 2;
  } else if (L < 224) {
    m.sharpShift = 1;
  } else {
    m.sharpShift = 0;
  }
  // The coring of the shift rule is always replaced by the divisor rule's.
  if (L < 64) {
    m.sharpDivisor3 = 1600 - ((25 * L) >> 1);
    m.sharpDivisor7 = 3000 - ((125 * L) >> 3);
    m.sharpCoring = 2;
  } else if (L < 128) {
    m.sharpDivisor3 = 1200 - ((25 * L) >> 2);
    m.sharpDivisor7 = 3000 - ((125 * L) >> 3);
    m.sharpCoring = 4;
  } else if (L < 192) {
    m.sharpDivisor3 = 800 - ((25 * L) >> 3);
    m.sharpDivisor7 = 1500 - ((125 * L) >> 5);
    m.sharpCoring = 8;
  } else {
    m.sharpDivisor3 = 500 - ((25 * L) >> 4);
    m.sharpDivisor7 = 1500 - ((125 * L) >> 5);
    m.sharpCoring = 12;
  }
}

// Placeholders until the sharpening passes land: they leave the image as it is.
int SharpenStill(Camera& cam, uint8_t* pixels, int code) {
  static_cast<void>(cam);
  static_cast<void>(pixels);
  static_cast<void>(code);
  return 1;
}

int Sharpen3(const Camera& cam, uint8_t* pixels, int32_t width, int32_t height) {
  static_cast<void>(cam);
  static_cast<void>(pixels);
  static_cast<void>(width);
  static_cast<void>(height);
  return 1;
}

int Sharpen7(const Camera& cam, uint8_t* pixels, int32_t width, int32_t height) {
  static_cast<void>(cam);
  static_cast<void>(pixels);
  static_cast<void>(width);
  static_cast<void>(height);
  return 1;
}

}  // namespace vobrex
