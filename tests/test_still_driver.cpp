// The standard still driver: accepted and refused codes, ownership of the
// raw frame, the kernel table with its sub-mode fall-back, the output size
// rule, allocation failures and the round trip through a synthesised frame.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <vector>

#include "mosaic/image.h"
#include "mosaic/still_mosaic.h"
#include "still/still_driver.h"

namespace vobrex {
namespace {

// Converts a flat frame of 90; the frame is released unless `keeps`.
Owned<uint16_t> ConvertFlat(Camera& cam, int code = 13, long failing = 0, bool keeps = false) {
  Owned<int16_t> samples = AllocateArray<int16_t>(262144);
  std::fill(samples.get(), samples.get() + 262144, int16_t{90});
  FailAllocation(failing);
  Owned<uint16_t> out = ConvertStill(cam, samples, code);
  FailAllocation(0);
  EXPECT_EQ(samples != nullptr, keeps) << code;
  return out;
}

// True when the output exists and its first n components all equal v.
bool AllAre(const Owned<uint16_t>& out, std::size_t n, int v) {
  return out && std::count(out.get(), out.get() + n, uint16_t(v)) == std::ptrdiff_t(n);
}

// Only the low byte of the code counts, read as a signed 8-bit value.
// Refused codes, and a failure to obtain the planes, leave the frame the
// caller's; accepted codes release it. 21 and 23 convert unfilled planes.
TEST(ConvertStill, CodesAndOwnership) {
  Camera cam;
  SetResolution(cam, 13, 2);
  for (int code : {10, 12, 14, 20, 22, 24, 0, 40, -1, 0x1FF, 0x10C})
    EXPECT_EQ(ConvertFlat(cam, code, 0, true), nullptr) << code;
  EXPECT_EQ(ConvertFlat(cam, 13, 1, true), nullptr);  // no planes
  for (int code : {11, 13, 21, 23, 0x10B, 13 - 256})
    EXPECT_TRUE(AllAre(ConvertFlat(cam, code), cam.modes.imageBytes, (code & 0xFF) > 20 ? 0 : 90));
  EXPECT_EQ(ConvertFlat(cam, 13, 2), nullptr);  // no output array
  cam.modes.imageBytes = 320 * 240 * 3 - 1;     // one component short of the picture
  EXPECT_EQ(ConvertFlat(cam), nullptr);
}

// The kernel by outputFormat and sensorMode, in every content (mean, green
// alone, colour, grey, and outputFormat 3: no kernel, the array unfilled).
// An unknown sub-mode falls back to code 13, sub-mode 0 and the 640 x 480
// kernel after the output was sized: one sized for 480 x 360 is then too
// small and refused, the settings changed all the same.
TEST(ConvertStill, KernelTableAndSubModeFallBack) {
  for (int n = 0; n < 25; ++n) {
    const int content = n / 5, sized = n % 5 % 3, sensorMode = n % 5 < 3 ? sized : 7;
    Camera cam;
    cam.modes.outputFormat = uint8_t(content < 2 ? 0 : content - 1);
    cam.modes.optionQ = uint8_t(content == 1);
    SetResolution(cam, 23, sized);
    cam.modes.sensorMode = uint8_t(sensorMode);
    Owned<uint16_t> out = ConvertFlat(cam);
    const bool fallsBack = sensorMode == 7 && content < 4;
    EXPECT_EQ(cam.modes.resolution, fallsBack ? 13 : 23) << n;
    EXPECT_EQ(cam.modes.sensorMode, fallsBack ? 0 : sensorMode) << n;
    EXPECT_EQ(out == nullptr, fallsBack && sized != 0) << n;
    EXPECT_TRUE(!out || AllAre(out, cam.modes.imageBytes, content == 4 ? 0 : 90)) << n;
  }
}

// A smooth scene, sampled at the pixel centres whatever its size.
mosaic::Image Scene(int width, int height) {
  using std::numbers::pi;
  mosaic::Image scene(width, height);
  for (int i = 0; i < width * height; ++i) {
    const double u = (i % width + 0.5) / width, v = (i / width + 0.5) / height;
    scene.rgb[3 * i] = uint8_t(128 + 90 * std::sin(2 * pi * u) * std::cos(pi * v));
    scene.rgb[3 * i + 1] = uint8_t(40 + 170 * (0.6 * u + 0.4 * v));
    scene.rgb[3 * i + 2] = uint8_t(128 + 80 * std::cos(2 * pi * (u + v)));
  }
  return scene;
}

// A synthesised frame converts back to the scene at every output size; a
// misplaced row, column or colour costs far more than the margin (measured
// 47 to 57 dB).
TEST(ConvertStill, RoundTripThroughASynthesisedFrame) {
  const std::vector<uint8_t> raw = mosaic::StillMosaic(Scene(400, 300), 13);
  for (int sensorMode : {0, 1, 2}) {
    Camera cam;
    SetResolution(cam, 13, sensorMode);
    Owned<int16_t> samples = AllocateArray<int16_t>(raw.size());
    std::copy(raw.begin(), raw.end(), samples.get());
    Owned<uint16_t> out = ConvertStill(cam, samples, 13);
    ASSERT_NE(out, nullptr);
    std::vector<uint8_t> pixels(cam.modes.imageBytes);
    for (std::size_t i = 0; i < pixels.size(); ++i)
      pixels[i] = uint8_t(std::clamp<int>(int16_t(out[i]), 0, 255));
    const int w = cam.modes.width, h = cam.modes.height;
    const mosaic::Image back = mosaic::FromLibraryPixels(pixels.data(), w, h);
    for (int c = 0; c < 3; ++c) EXPECT_GE(mosaic::Psnr(back, Scene(w, h), c, 2), 44.0) << w << c;
  }
}

}  // namespace
}  // namespace vobrex
