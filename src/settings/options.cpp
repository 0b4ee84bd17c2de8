// The option letters and the small parameter setters and getters.
#include <cstdlib>
#include <cstring>

#include "settings/camera.h"

namespace vobrex {

namespace {

// The two-valued options: 0 and 1 are stored, anything else is ignored.
template <class Field>
void SetIfBinary(Field& field, int value) {
  if (value == 0 || value == 1) field = static_cast<Field>(value);
}

// The flag options: 0 stays 0, any other value sets 1.
template <class Field>
void SetFlag(Field& field, int value) {
  field = static_cast<Field>(value == 0 ? 0 : 1);
}

// Options whose 1 is the only value that sets them.
template <class Field>
void SetOnlyOne(Field& field, int value) {
  field = static_cast<Field>(value == 1 ? 1 : 0);
}

}  // namespace

int SetOption(Camera& cam, int letterArg, int valueArg) {
  CameraModes& m = cam.modes;
  const int letter = static_cast<int8_t>(letterArg);
  const int value = static_cast<int8_t>(valueArg);
  switch (letter) {
    case 'f': SetIfBinary(m.optionF, value); break;
    case 'g': SetIfBinary(m.sharpenAllow, value); break;
    case 'h': m.wbMode = (value == 1 || value == 2) ? value : 0; break;
    case 'i': SetIfBinary(m.wbExtra, value); break;
    case 'j':
      if (value == 0) m.framing = '2';
      if (value == 1) m.framing = '3';
      break;
    case 'k':
      if (value == 0 || value == '2') m.framing = '2';
      if (value == 1 || value == '3') m.framing = '3';
      if (value == '4') m.framing = '4';
      break;
    case 'l':
      if (value >= 0 && value <= 2) m.outputFormat = static_cast<uint8_t>(value);
      break;
    case 'n': SetOnlyOne(m.optionN, value); break;
    case 'p': SetOnlyOne(m.sharpMode, value); break;
    case 'q': SetFlag(m.optionQ, value); break;
    case 'r': SetFlag(m.optionR, value); break;
    case 's': SetFlag(m.optionS, value); break;
    case 't': m.wbOnly = value; break;
    case 'u': SetFlag(m.stillFilter, value); break;
    case 'v': SetFlag(m.optionV, value); break;
    default: break;  // 'm', 'o' and letters outside 'f'..'v'
  }
  return 1;
}

int SetOrientation(Camera& cam, int operationArg) {
  CameraModes& m = cam.modes;
  const auto toggle = [](uint8_t flag) -> uint8_t { return flag == 0 ? 1 : 0; };
  switch (static_cast<int8_t>(operationArg)) {
    case 1: m.mirror = toggle(m.mirror); return 1;
    case 2: m.flip = toggle(m.flip); return 1;
    case 4:
      m.mirror = toggle(m.mirror);
      m.flip = toggle(m.flip);
      return 1;
    default: return 0;
  }
}

void SetWbFactors(Camera& cam, double r, double g, double b) {
  cam.modes.wbFactorR = r;
  cam.modes.wbFactorG = g;
  cam.modes.wbFactorB = b;
}

void SetFocusFactors(Camera& cam, int sharpenOn, int defectFixOn) {
  cam.modes.sharpenOn = static_cast<uint32_t>(sharpenOn);
  cam.modes.defectFixOn = static_cast<uint32_t>(defectFixOn);
}

void SetCBFactors(Camera& cam, int contrast, int brightness, int gamma, int level1, int level2,
                  int level3) {
  CameraModes& m = cam.modes;
  m.contrast = contrast;
  m.brightness = brightness;
  m.gamma = gamma;
  m.toneLevel1 = level1;
  m.toneLevel2 = level2;
  m.toneLevel3 = level3;
}

void SetFocusCoord(Camera& cam, int x, int y) {
  cam.modes.focusX = static_cast<uint32_t>(x);
  cam.modes.focusY = static_cast<uint32_t>(y);
}

int* WbSemiFactors(const Camera& cam) {
  // The caller frees the copy with the C runtime's free().
  auto* copy = static_cast<int*>(std::calloc(7, sizeof(int)));
  if (copy != nullptr) std::memcpy(copy, cam.modes.semiFactors, sizeof cam.modes.semiFactors);
  return copy;
}

void WbSemiFactorsRestore(Camera& cam, const int32_t (&factors)[7]) {
  std::memcpy(cam.modes.semiFactors, factors, sizeof cam.modes.semiFactors);
}

void SetRGBratio(Camera& cam, uint16_t r, uint16_t g, uint16_t b) {
  cam.modes.ratioR = r;
  cam.modes.ratioG = g;
  cam.modes.ratioB = b;
}

void GetRGBratio(const Camera& cam, int* r, int* g, int* b) {
  if (r != nullptr) *r = static_cast<int16_t>(cam.modes.ratioR);
  if (g != nullptr) *g = static_cast<int16_t>(cam.modes.ratioG);
  if (b != nullptr) *b = static_cast<int16_t>(cam.modes.ratioB);
}

int AdjustColorGain(Camera& cam, int channelArg, int valueArg) {
  if (cam.modes.gainAdjust != 1) return 0;
  ColorGainRecord& gains = cam.colorGain;
  gains.gainAdjusted = 1;
  const auto value = static_cast<uint8_t>(valueArg);
  switch (static_cast<int8_t>(channelArg)) {
    case 1: gains.gainR = value; return 1;
    case 3: gains.gainG = value; return 1;
    case 2: gains.gainB = value; return 1;
    default: return 0;
  }
}

}  // namespace vobrex
