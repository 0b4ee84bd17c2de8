// Resolution codes, sample counts, output sizes and orientation.
#include "settings/camera.h"

namespace vobrex {

void SetSampleCount(Camera& cam, int code) {
  switch (code) {
    case 0:
    case 11:
    case 13: cam.sampleCount.rawSampleCount = 0x40000; break;
    case 21:
    case 23: cam.sampleCount.rawSampleCount = 0x80000; break;
    case 40: cam.sampleCount.rawSampleCount = 0x100000; break;
    default: break;  // 10, 20 and unknown codes keep the count they had
  }
}

namespace {

struct Size {
  int16_t width;
  int16_t height;
};

Size MotionSize(int subMode) {
  switch (subMode) {
    case 0:
    case 53: return {320, 240};
    case 1:
    case 55: return {160, 120};
    case 2:
    case 56: return {80, 60};
    case 51: return {640, 480};
    case 52: return {480, 360};
    case 54: return {240, 180};
    case 57: return {176, 144};
    case 58: return {352, 288};
    default: return {160, 120};
  }
}

bool OutputSize(int code, int subMode, Size& size) {
  switch (code) {
    case 0: size = MotionSize(subMode); return true;
    case 10:
    case 13:
    case 20:
    case 23:
      size = subMode == 1 ? Size{480, 360} : subMode == 2 ? Size{320, 240} : Size{640, 480};
      return true;
    case 40:
      size = subMode == 1 ? Size{1016, 768} : subMode == 2 ? Size{848, 640} : Size{1260, 960};
      return true;
    default: return false;  // 11, 21 and unknown codes keep the size they had
  }
}

}  // namespace

void SetGeometry(Camera& cam, int code, int subMode) {
  CameraModes& m = cam.modes;
  Size size{};
  if (OutputSize(code, subMode, size)) {
    m.width = size.width;
    m.height = size.height;
  }
  if (m.outputFormat <= 2) {
    // A record copied in whole may hold any width and height: the product
    // is formed wide and wraps like the 32-bit field it is stored in.
    m.imageBytes = static_cast<uint32_t>(static_cast<int64_t>(m.height) * m.width * 3);
  }
}

int OrientationCode(int mirror, int flip) {
  if (mirror == 0 && flip == 0) return 2;
  if (mirror == 1 && flip == 0) return 1;
  if (mirror == 0 && flip == 1) return 4;
  if (mirror == 1 && flip == 1) return 3;
  return 2;
}

int ResolutionScale(int code) {
  switch (code) {
    case 10:
    case 13: return 1;
    case 23: return 2;
    case 40: return 4;
    default: return 0;
  }
}

void SetResolution(Camera& cam, int codeArg, int subModeArg) {
  CameraModes& m = cam.modes;
  const int code = static_cast<int8_t>(codeArg);
  const int subMode = static_cast<int8_t>(subModeArg);
  switch (code) {
    case 0:
    case 10:
    case 13:
    case 20:
    case 23:
    case 40: m.resolution = static_cast<uint8_t>(code); break;
    default: m.resolution = 13; break;
  }
  m.sensorMode = (subMode >= 0 && subMode <= 2) ? static_cast<uint8_t>(subMode) : 0;
  SetSampleCount(cam, m.resolution);
  SetGeometry(cam, m.resolution, m.sensorMode);
  if (m.resolution != 0) {
    m.optionF = 0;
  }
  // Both branches end with the wide range on and sharpening allowed.
  m.wideRange = 1;
  m.vfwWideRange = 1;
  m.sharpenAllow = 1;
}

void SetMotionResolution(Camera& cam, int subModeArg) {
  CameraModes& m = cam.modes;
  const int subMode = static_cast<int8_t>(subModeArg);
  m.resolution = 0;
  const bool known = (subMode >= 0 && subMode <= 2) || (subMode >= 51 && subMode <= 58);
  m.sensorMode = known ? static_cast<uint8_t>(subMode) : 55;
  SetSampleCount(cam, 0);
  SetGeometry(cam, 0, m.sensorMode);
  m.wideRange = 1;
  m.vfwWideRange = 1;
  m.sharpenAllow = 1;
}

void GetImageSize(const Camera& cam, int* width, int* height, int* imageBytes) {
  if (width != nullptr) *width = cam.modes.width;
  if (height != nullptr) *height = cam.modes.height;
  if (imageBytes != nullptr) *imageBytes = static_cast<int32_t>(cam.modes.imageBytes);
}

}  // namespace vobrex
