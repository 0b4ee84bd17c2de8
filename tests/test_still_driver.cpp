// The standard still driver: accepted and refused codes, ownership of the
// raw frame, the kernel table with its sub-mode fall-back, the output size
// rule, allocation failures and the round trip through a synthesised frame.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <numbers>
#include <vector>

#include "mosaic/image.h"
#include "mosaic/still_mosaic.h"
#include "platform/cpu_features.h"
#include "still/picture_rows.h"
#include "still/still_demosaic.h"
#include "still/still_driver.h"
#include "still/still_kernels.h"
#include "still/still_planes.h"
#include "still/still_stream.h"

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

// A frame of groups of four samples: full-range noise, stripe pairs (one
// sample up, the next down) or flat ones, at random.
std::vector<int16_t> StripedNoise(uint32_t seed) {
  auto next = [&seed] { return seed = seed * 1664525u + 1013904223u, int(seed >> 8); };
  std::vector<int16_t> raw(262144);
  for (std::size_t i = 0; i < raw.size(); i += 4) {
    const int kind = next() % 3;
    for (std::size_t k = i; k < i + 4; ++k)
      raw[k] = int16_t(kind == 0   ? next()
                       : kind == 1 ? 1000 + next() % 400 * (k % 2 ? -1 : 3)
                                   : 1000 + next() % 300);
  }
  return raw;
}

// The conversion fills the plane rows a few at a time beside the kernel;
// its picture is the one the whole planes give (DemosaicStill, then the
// kernel), for every kernel, content and orientation, with and without the
// pair smoothing, in the portable and the vector code. The frame mixes
// full-range noise with stripe pairs followed by flat ones (so the
// smoothing happens).
TEST(ConvertStill, RowByRowMatchesTheWholePlanes) {
  const std::vector<int16_t> raw = StripedNoise(99);
  std::vector<SimdLevel> levels{SimdLevel::kScalar};
  if (SupportedSimdLevel() == SimdLevel::kAvx512) levels.push_back(SimdLevel::kAvx512);
  const SimdLevel before = ActiveSimdLevel();
  for (SimdLevel level : levels)
    for (int n = 0; n < 24; ++n) {
      SetSimdLevel(level);
      const int size = n % 3, content = n / 3 % 4, optionV = n / 12;
      Camera cam;
      SetResolution(cam, 13, size);
      cam.modes.outputFormat = uint8_t(content < 2 ? content : 2);
      cam.modes.optionQ = uint8_t(content == 3 ? 1 : 0);
      if (content == 3) cam.modes.outputFormat = 0;
      cam.modes.optionV = uint32_t(optionV);
      cam.modes.mirror = uint8_t(n % 2), cam.modes.flip = uint8_t(n / 2 % 2);
      std::vector<int16_t> planes(kStillPlanesAllocation, 0);
      DemosaicStill(raw.data(), planes.data(), uint32_t(optionV));
      std::vector<uint16_t> expected(cam.modes.imageBytes, 0);
      const int orientation = OrientationCode(cam.modes);
      void (*const grey[])(const int16_t*, uint16_t*, int) = {StillToGrey, StillToGrey480,
                                                              StillToGrey320};
      void (*const colour[])(const CameraModes&, const int16_t*, uint16_t*, int) = {
          StillToColour, StillToColour480, StillToColour320};
      if (cam.modes.outputFormat == 2) grey[size](planes.data(), expected.data(), orientation);
      if (cam.modes.outputFormat != 2)
        colour[size](cam.modes, planes.data(), expected.data(), orientation);

      Owned<int16_t> samples = AllocateArray<int16_t>(raw.size());
      std::copy(raw.begin(), raw.end(), samples.get());
      Owned<uint16_t> out = ConvertStill(cam, samples, 13);
      ASSERT_NE(out, nullptr);
      ASSERT_TRUE(std::equal(expected.begin(), expected.end(), out.get()))
          << int(level) << " " << size << content << optionV << orientation;
    }
  SetSimdLevel(before);
}

// A frame read a stretch at a time, as the raw bytes are widened on the
// entry's route; every read must lie inside the frame.
class CountedSource final : public StillFrameSource {
 public:
  explicit CountedSource(const std::vector<int16_t>& frame) : frame_(frame) {}
  void Read(int at, int n, int16_t* out) const override {
    EXPECT_TRUE(at >= 0 && n >= 0 && at + n <= int(frame_.size())) << at << " " << n;
    if (at < 0 || n < 0 || at + n > int(frame_.size())) return;
    std::copy(frame_.begin() + at, frame_.begin() + at + n, out);
  }

 private:
  const std::vector<int16_t>& frame_;
};

// Widening each field line into the small line buffer just before the
// stream reads it gives the picture of the widened frame, for codes 11 and
// 13, every size, content and orientation, with and without the pair
// smoothing (whose look-ahead crosses from one line into the next, and from
// the first field into the second), in the portable and the vector code.
// The line buffer stands for the samples: it is released, and the codes
// without a demosaic convert as from a frame.
TEST(ConvertStill, LineByLineMatchesTheWidenedFrame) {
  std::vector<int16_t> raw = StripedNoise(7);
  // Stripe pairs across every line end, so the smoothing of a line's first
  // pair depends on the line before.
  for (std::size_t i = 510; i + 4 < raw.size(); i += 512) {
    for (std::size_t k = i; k < i + 4; ++k) raw[k] = int16_t(k % 2 ? 200 : 2000);
  }
  std::vector<SimdLevel> levels{SimdLevel::kScalar};
  if (SupportedSimdLevel() == SimdLevel::kAvx512) levels.push_back(SimdLevel::kAvx512);
  const SimdLevel before = ActiveSimdLevel();
  for (SimdLevel level : levels)
    for (int n = 0; n < 28; ++n) {
      SetSimdLevel(level);
      const int size = n % 3, content = n / 3 % 3, optionV = n / 9 % 2;
      const int code = n < 18 ? 13 : n < 26 ? 11 : 23;
      auto setUp = [&](Camera& cam) {
        SetResolution(cam, code, size);
        cam.modes.outputFormat = uint8_t(content);
        cam.modes.optionV = uint32_t(optionV);
        cam.modes.mirror = uint8_t(n / 4 % 2), cam.modes.flip = uint8_t(n / 5 % 2);
      };
      Camera cam, fromFrame;
      setUp(cam);
      setUp(fromFrame);

      Owned<int16_t> samples = AllocateArray<int16_t>(raw.size());
      std::copy(raw.begin(), raw.end(), samples.get());
      Owned<uint16_t> expected = ConvertStill(fromFrame, samples, code);
      ASSERT_NE(expected, nullptr) << n;

      std::vector<uint16_t> out(cam.modes.imageBytes, 0);
      StillArray rows(out.data());
      Owned<int16_t> lines = AllocateStillLines();
      std::size_t written = 0;
      ASSERT_TRUE(ConvertStillRowsFromLines(cam, CountedSource(raw), lines, code, rows, written));
      EXPECT_EQ(lines, nullptr);
      EXPECT_EQ(std::memcmp(&cam.modes, &fromFrame.modes, sizeof(CameraModes)), 0);
      ASSERT_TRUE(std::equal(out.begin(), out.end(), expected.get()))
          << int(level) << " " << code << " " << size << content << optionV;
    }
  SetSimdLevel(before);
}

}  // namespace
}  // namespace vobrex
