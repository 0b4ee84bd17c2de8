// The exported C calls. They forward to one process-wide camera context,
// created by VobrexInit and released by VobrexExit; without it every call
// does nothing and returns 0.
#include <memory>
#include <new>

#include "capture/preview_entry.h"
#include "capture/still_entry.h"
#include "settings/camera.h"
#include "vobrex32.h"

namespace {

std::unique_ptr<vobrex::Camera> processCamera;

template <class Call>
auto WithCamera(Call call) -> decltype(call(*processCamera)) {
  using Result = decltype(call(*processCamera));
  if (!processCamera) {
    if constexpr (std::is_void_v<Result>) {
      return;
    } else {
      return Result{};
    }
  }
  return call(*processCamera);
}

}  // namespace

extern "C" {

int VOBREX_CALL VobrexInit(void) {
  if (processCamera) return 0;
  try {
    processCamera = std::make_unique<vobrex::Camera>();
  } catch (const std::bad_alloc&) {
    return 0;
  }
  return 1;
}

int VOBREX_CALL VobrexExit(void) {
  if (!processCamera) return 0;
  processCamera.reset();
  return 1;
}

void VOBREX_CALL SetModes(const CameraModes* modes) {
  WithCamera([&](vobrex::Camera& cam) {
    if (modes != nullptr) cam.modes = *modes;
  });
}

void VOBREX_CALL GetModes(CameraModes* modes) {
  WithCamera([&](vobrex::Camera& cam) {
    if (modes != nullptr) *modes = cam.modes;
  });
}

void VOBREX_CALL SetResolution(int code, int subMode) {
  WithCamera([&](vobrex::Camera& cam) { vobrex::SetResolution(cam, code, subMode); });
}

void VOBREX_CALL SetMotionResolution(int subMode) {
  WithCamera([&](vobrex::Camera& cam) { vobrex::SetMotionResolution(cam, subMode); });
}

int VOBREX_CALL GetImageSize(int* width, int* height, int* imageBytes) {
  return WithCamera([&](vobrex::Camera& cam) {
    vobrex::GetImageSize(cam, width, height, imageBytes);
    return 1;
  });
}

int VOBREX_CALL SetOption(int letter, int value) {
  return WithCamera([&](vobrex::Camera& cam) { return vobrex::SetOption(cam, letter, value); });
}

int VOBREX_CALL SetOrientation(int operation) {
  return WithCamera([&](vobrex::Camera& cam) { return vobrex::SetOrientation(cam, operation); });
}

void VOBREX_CALL SetWbFactors(double r, double g, double b) {
  WithCamera([&](vobrex::Camera& cam) { vobrex::SetWbFactors(cam, r, g, b); });
}

void VOBREX_CALL SetFocusFactors(int sharpenOn, int defectFixOn) {
  WithCamera([&](vobrex::Camera& cam) { vobrex::SetFocusFactors(cam, sharpenOn, defectFixOn); });
}

void VOBREX_CALL SetCBFactors(int contrast, int brightness, int gamma, int level1, int level2,
                              int level3) {
  WithCamera([&](vobrex::Camera& cam) {
    vobrex::SetCBFactors(cam, contrast, brightness, gamma, level1, level2, level3);
  });
}

void VOBREX_CALL SetFocusCoord(int x, int y) {
  WithCamera([&](vobrex::Camera& cam) { vobrex::SetFocusCoord(cam, x, y); });
}

double VOBREX_CALL FocusIndication(void) {
  return WithCamera([&](vobrex::Camera& cam) { return cam.modes.focusValue; });
}

int* VOBREX_CALL WbSemiFactors(void) {
  return WithCamera([&](vobrex::Camera& cam) { return vobrex::WbSemiFactors(cam); });
}

void VOBREX_CALL WbSemiFactorsRestore(int f1, int f2, int f3, int f4, int f5, int f6, int f7) {
  WithCamera([&](vobrex::Camera& cam) {
    const int32_t factors[7] = {f1, f2, f3, f4, f5, f6, f7};
    vobrex::WbSemiFactorsRestore(cam, factors);
  });
}

int VOBREX_CALL SetRGBratio(unsigned short r, unsigned short g, unsigned short b) {
  return WithCamera([&](vobrex::Camera& cam) {
    vobrex::SetRGBratio(cam, r, g, b);
    return 1;
  });
}

int VOBREX_CALL GetRGBratio(int* r, int* g, int* b) {
  return WithCamera([&](vobrex::Camera& cam) {
    vobrex::GetRGBratio(cam, r, g, b);
    return 1;
  });
}

int VOBREX_CALL AdjustColorGain(int channel, int value) {
  return WithCamera(
      [&](vobrex::Camera& cam) { return vobrex::AdjustColorGain(cam, channel, value); });
}

unsigned char VOBREX_CALL GetSharpness(void) {
  return WithCamera([&](vobrex::Camera& cam) { return cam.modes.sharpness; });
}

int VOBREX_CALL ReadPreviewImage(HGLOBAL* image, HGLOBAL* raw) {
  return WithCamera([&](vobrex::Camera& cam) { return vobrex::ReadPreviewImage(cam, image, raw); });
}

int VOBREX_CALL VX_CCDtoRGB(uint8_t* raw, uint8_t* pixels) {
  return WithCamera([&](vobrex::Camera& cam) { return vobrex::VX_CCDtoRGB(cam, raw, pixels); });
}

int VOBREX_CALL ReadCamImage(HGLOBAL* frame) {
  return WithCamera([&](vobrex::Camera& cam) { return vobrex::ReadCamImage(cam, frame); });
}

int VOBREX_CALL GetVFWImage(const uint8_t* raw, uint8_t* pixels, int code) {
  return WithCamera(
      [&](vobrex::Camera& cam) { return vobrex::GetVFWImage(cam, raw, pixels, code); });
}

}  // extern "C"
