// The code-40 conversion end to end: stage order, dispatch and fall-back,
// failure paths, and the round trip from synthesised exposures.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "capture/sample_buffers.h"
#include "hires/hires_driver.h"
#include "mosaic/hires_mosaic.h"
#include "mosaic/image.h"

namespace vobrex {
namespace {

constexpr int kFrameSamples = 1048576;

Owned<int16_t> Widen(const std::vector<uint8_t>& frame) {
  Owned<int16_t> samples = AllocateArray<int16_t>(frame.size());
  ExpandSamples(samples.get(), frame.data(), static_cast<int32_t>(frame.size()));
  return samples;
}

// A frame whose green/blue lines read `upper` and red/green lines `lower`.
std::vector<uint8_t> TwoLevelFrame(uint8_t upper, uint8_t lower) {
  std::vector<uint8_t> frame(kFrameSamples);
  for (int i = 0; i < kFrameSamples; ++i) frame[i] = (i / 131072) % 2 == 0 ? upper : lower;
  return frame;
}

// A smooth scene: gradients and waves of 250 to 750 pixels, inside 30..225.
mosaic::Image SmoothScene() {
  mosaic::Image scene(1012, 960);
  for (int y = 0; y < scene.height; ++y) {
    for (int x = 0; x < scene.width; ++x) {
      uint8_t* p = scene.At(x, y);
      p[0] = uint8_t(128 + 60 * std::sin(x / 45.0) * std::cos(y / 120.0) + 30 * (x - 506) / 506.0);
      p[1] = uint8_t(128 + 70 * std::cos((x + y) / 60.0));
      p[2] = uint8_t(120 + 50 * std::sin(y / 40.0) + 40.0 * x / 1012.0);
    }
  }
  return scene;
}

class HighResDriverTest : public ::testing::Test {
 protected:
  void SetUp() override { SetResolution(cam_, 40, 0); }
  void TearDown() override { FailAllocation(0); }

  Owned<uint16_t> Convert(const std::vector<uint8_t>& frame) {
    Owned<int16_t> samples = Widen(frame);
    Owned<uint16_t> out = ConvertHighRes(cam_, samples);
    EXPECT_FALSE(samples) << "the samples are released once assembled";
    return out;
  }

  Camera cam_;
};

TEST_F(HighResDriverTest, LevellingRunsOnlyWhileTheDefectPassIsOff) {
  const std::vector<uint8_t> frame = TwoLevelFrame(140, 100);
  Owned<uint16_t> levelled = Convert(frame);
  ASSERT_TRUE(levelled);
  cam_.modes.defectFixOn = 1;
  Owned<uint16_t> raw = Convert(frame);
  ASSERT_TRUE(raw);
  // Interior pixels of the default (bottom-up) 1260 x 960 output.
  int unlevelledGreen = 0;
  for (int y = 100; y < 104; ++y) {
    for (int x = 600; x < 605; ++x) {
      const uint16_t* p = levelled.get() + (y * 1260 + x) * 3;
      EXPECT_EQ(p[0], 140);  // blue keeps the green/blue lines' level
      EXPECT_EQ(p[1], 100);  // green levelled onto the red/green lines
      EXPECT_EQ(p[2], 100);
      unlevelledGreen += raw.get()[(y * 1260 + x) * 3 + 1] != 100;
    }
  }
  EXPECT_GT(unlevelledGreen, 0);
}

TEST_F(HighResDriverTest, OutputFormatTwoAndUnknownFormatsGiveNull) {
  const std::vector<uint8_t> frame = TwoLevelFrame(90, 90);
  cam_.modes.outputFormat = 2;
  EXPECT_FALSE(Convert(frame));
  cam_.modes.outputFormat = 3;
  EXPECT_FALSE(Convert(frame));
}

TEST_F(HighResDriverTest, UnknownSubModeFallsBackToTheLargestSize) {
  const std::vector<uint8_t> frame = mosaic::HiresMosaic(SmoothScene());
  Owned<uint16_t> reference = Convert(frame);
  ASSERT_TRUE(reference);
  cam_.modes.sensorMode = 7;
  Owned<uint16_t> fallback = Convert(frame);
  ASSERT_TRUE(fallback);
  EXPECT_EQ(cam_.modes.sensorMode, 0);
  EXPECT_EQ(cam_.modes.width, 1260);
  EXPECT_EQ(cam_.modes.height, 960);
  EXPECT_TRUE(std::equal(fallback.get(), fallback.get() + 1260 * 960 * 3, reference.get()));
  // Sized from the record before the reset: 848 x 640 cannot hold B0's pixels.
  SetResolution(cam_, 40, 2);
  cam_.modes.sensorMode = 9;
  EXPECT_FALSE(Convert(frame));
  EXPECT_EQ(cam_.modes.width, 1260);
}

TEST_F(HighResDriverTest, FailedWorkGridLeavesTheSamplesWithTheCaller) {
  Owned<int16_t> samples = Widen(TwoLevelFrame(90, 90));
  FailAllocation(1);
  EXPECT_FALSE(ConvertHighRes(cam_, samples));
  EXPECT_TRUE(samples);
  // The output buffer is the second allocation.
  FailAllocation(2);
  EXPECT_FALSE(ConvertHighRes(cam_, samples));
  EXPECT_FALSE(samples);
}

TEST_F(HighResDriverTest, RecordsThatCannotBeServedGiveNull) {
  const std::vector<uint8_t> frame = TwoLevelFrame(90, 90);
  cam_.modes.imageBytes -= 1;
  EXPECT_FALSE(Convert(frame));
  SetResolution(cam_, 40, 1);
  cam_.modes.height = 2000;
  cam_.modes.imageBytes = 0xFFFFFFF0u;
  EXPECT_FALSE(Convert(frame));
}

mosaic::Image Resized(const mosaic::Image& scene, int width, int height) {
  mosaic::Image out(width, height);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      for (int c = 0; c < 3; ++c) {
        const double v = mosaic::Sample(scene, (x + 0.5) * scene.width / width,
                                        (y + 0.5) * scene.height / height, c);
        out.At(x, y)[c] = uint8_t(std::lround(v));
      }
    }
  }
  return out;
}

// Measured 39.0 .. 45.5 dB per channel and size. The floor leaves room for
// rounding; a swapped plane or a wrong row order falls far below it, an
// output area four grid rows off just below. (Exposure placement is pinned
// by the assembly tests.)
constexpr double kPsnrFloor = 36.0;

TEST_F(HighResDriverTest, SynthesisedExposuresConvertBackToTheScene) {
  const mosaic::Image scene = SmoothScene();
  const std::vector<uint8_t> frame = mosaic::HiresMosaic(scene);
  ASSERT_EQ(frame.size(), size_t{kFrameSamples});
  for (int subMode = 0; subMode < 3; ++subMode) {
    SetResolution(cam_, 40, subMode);
    const int width = cam_.modes.width, height = cam_.modes.height;
    Owned<uint16_t> out = Convert(frame);
    ASSERT_TRUE(out);
    // Packed to bytes as the still entry points do after clamping.
    std::vector<uint8_t> pixels(cam_.modes.imageBytes);
    for (size_t i = 0; i < pixels.size(); ++i) {
      pixels[i] = uint8_t(std::clamp<int>(int16_t(out[i]), 0, 255));
    }
    const mosaic::Image got = mosaic::FromLibraryPixels(pixels.data(), width, height);
    const mosaic::Image want = Resized(scene, width, height);
    for (int c = 0; c < 3; ++c) {
      const double psnr = mosaic::Psnr(got, want, c, 8);
      EXPECT_GT(psnr, kPsnrFloor) << width << " x " << height << " channel " << c;
    }
  }
}

}  // namespace
}  // namespace vobrex
