// The tone-curve build with any six tone settings, and the image pass over
// an image of any length.
//
// Input: contrast, brightness, gamma and the three black levels (i32 each),
// then the image bytes.
#include "preview/tone_curve.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "harness.h"
#include "settings/camera.h"

using namespace vobrex;

namespace {

bool LowHalvesNeutral(const CameraModes& m) {
  return static_cast<int16_t>(m.contrast) == 0 && static_cast<int16_t>(m.brightness) == 0 &&
         static_cast<int16_t>(m.gamma) == 100 && static_cast<int16_t>(m.toneLevel1) == 1 &&
         static_cast<int16_t>(m.toneLevel2) == 1 && static_cast<int16_t>(m.toneLevel3) == 1;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  fuzz::Input in(data, size);
  // The tone curve reads the settings only; one context serves every input.
  static Camera cam;
  CameraModes& m = cam.modes;
  m.contrast = in.I32();
  m.brightness = in.I32();
  m.gamma = in.I32();
  m.toneLevel1 = in.I32();
  m.toneLevel2 = in.I32();
  m.toneLevel3 = in.I32();

  int16_t tables[3][256];
  BuildToneCurve(cam, tables[0], tables[1], tables[2]);
  const bool identity = LowHalvesNeutral(m);
  for (int k = 0; k < 3; ++k) {
    for (int i = 0; i < 256; ++i) {
      FUZZ_CHECK(tables[k][i] >= 0 && tables[k][i] <= 255);
      // The build reads the low 16 bits: neutral low halves give the identity.
      if (identity) FUZZ_CHECK(tables[k][i] == i);
    }
  }

  // The image pass on a buffer of exactly the byte count it is given.
  std::size_t count = 0;
  const uint8_t* image = in.Rest(&count);
  auto* pixels = static_cast<uint8_t*>(std::malloc(count));
  FUZZ_CHECK(count == 0 || pixels != nullptr);
  if (count > 0) std::memcpy(pixels, image, count);
  ApplyToneCurve(cam, pixels, static_cast<int32_t>(count));
  const bool neutral = ToneCurveIsNeutral(m);
  for (std::size_t o = 0; o < count; ++o) {
    const uint8_t expected =
        neutral ? image[o] : static_cast<uint8_t>(tables[o % 3][image[o]] & 0xFF);
    FUZZ_CHECK(pixels[o] == expected);
  }
  std::free(pixels);
  return 0;
}
