#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "capture/sharpening.h"

namespace vobrex {
namespace {

struct Picture {
  int width;
  int height;
  std::vector<uint8_t> bytes;
  Picture(int w, int h, uint8_t fill)
      : width(w), height(h), bytes(static_cast<std::size_t>(w) * h * 3, fill) {}
  uint8_t* At(int x, int y) { return bytes.data() + (static_cast<std::size_t>(y) * width + x) * 3; }
  void Noise(uint32_t seed) {
    for (uint8_t& b : bytes) {
      seed = seed * 1103515245u + 12345u;
      b = static_cast<uint8_t>(seed >> 16);
    }
  }
};

// A camera whose settings describe a w x h still of resolution `code`.
void Describe(Camera& cam, int code, int w, int h) {
  cam.modes.resolution = static_cast<uint8_t>(code);
  cam.modes.width = static_cast<int16_t>(w);
  cam.modes.height = static_cast<int16_t>(h);
  cam.modes.imageBytes = static_cast<uint32_t>(w * h * 3);
  cam.modes.sharpenAllow = 1;
}

TEST(Sharpening, FlatImageUnchangedByEveryKernel) {
  Camera cam;
  for (uint8_t mode : {0, 1}) {
    cam.modes.sharpMode = mode;
    cam.modes.sharpShift = 0;
    Picture p(24, 16, 90);
    EXPECT_EQ(Sharpen3(cam, p.bytes.data(), p.width, p.height), 1);
    EXPECT_EQ(Sharpen7(cam, p.bytes.data(), p.width, p.height), 1);
    EXPECT_EQ(p.bytes, std::vector<uint8_t>(p.bytes.size(), 90));
  }
}

// Level 150 gives divisor 332: a green excess of 100 adds 400 * 100 / 332 =
// 120 to the pixel and -100 * 100 / 332 = -30 to each edge neighbour.
TEST(Sharpening, BrightPixelOnFullSizeStill) {
  Camera cam;
  Describe(cam, 13, 640, 480);
  ASSERT_EQ(cam.modes.sharpDivisor3, 332);
  Picture p(640, 480, 34);
  p.At(100, 200)[1] = 134;
  EXPECT_EQ(SharpenStill(cam, p.bytes.data(), 13), 1);
  EXPECT_EQ(p.At(100, 200)[0], 154);
  EXPECT_EQ(p.At(100, 200)[1], 254);
  EXPECT_EQ(p.At(100, 200)[2], 154);
  for (auto [x, y] : {std::pair{99, 200}, {101, 200}, {100, 199}, {100, 201}}) {
    for (int c = 0; c < 3; ++c) EXPECT_EQ(p.At(x, y)[c], 4) << x << "," << y;
  }
  EXPECT_EQ(p.At(99, 199)[1], 34);  // corners have weight 0
}

TEST(Sharpening, ShiftModeShiftsArithmetically) {
  Camera cam;
  cam.modes.sharpMode = 1;
  cam.modes.sharpShift = 3;
  Picture p(8, 8, 100);
  p.At(4, 4)[1] = 99;  // s = -4, and -4 >> 3 = -1
  EXPECT_EQ(Sharpen3(cam, p.bytes.data(), p.width, p.height), 1);
  EXPECT_EQ(p.At(4, 4)[0], 99);
  EXPECT_EQ(p.At(4, 4)[1], 98);
  EXPECT_EQ(p.At(5, 4)[1], 100);  // s = 1, 1 >> 3 = 0
}

// Divisor 160 turns a centre step of +-1 into d = +-5, divisor 88 into 9;
// coring 8 reduces 5 to trunc(25 / 64 * 8 + 0.5) = 3 and keeps 9.
TEST(Sharpening, CoringOfTheSevenKernel) {
  Camera cam;
  cam.modes.sharpMode = 0;
  cam.modes.sharpCoring = 8;
  struct Case {
    int divisor;
    int step;
    int added;
  };
  for (const Case& c : {Case{160, 1, 3}, Case{160, -1, -3}, Case{88, 1, 9}}) {
    cam.modes.sharpDivisor7 = c.divisor;
    Picture p(16, 16, 100);
    p.At(8, 8)[1] = static_cast<uint8_t>(100 + c.step);
    EXPECT_EQ(Sharpen7(cam, p.bytes.data(), p.width, p.height), 1);
    EXPECT_EQ(p.At(8, 8)[0], 100 + c.added) << "divisor " << c.divisor << " step " << c.step;
    EXPECT_EQ(p.At(8, 8)[1], 100 + c.step + c.added);
    EXPECT_EQ(p.At(8, 8)[2], 100 + c.added);
  }
}

TEST(Sharpening, BordersNeverChange) {
  Camera cam;
  cam.modes.sharpShift = 0;
  cam.modes.sharpDivisor3 = 50;
  cam.modes.sharpDivisor7 = 100;
  cam.modes.sharpCoring = 2;
  for (uint8_t mode : {0, 1}) {
    cam.modes.sharpMode = mode;
    for (int border : {1, 3}) {
      Picture p(20, 16, 0);
      p.Noise(7 + border);
      Picture original = p;
      if (border == 1) {
        Sharpen3(cam, p.bytes.data(), p.width, p.height);
      } else {
        Sharpen7(cam, p.bytes.data(), p.width, p.height);
      }
      int changed = 0;
      for (int y = 0; y < p.height; ++y) {
        for (int x = 0; x < p.width; ++x) {
          const bool edge =
              x < border || y < border || x >= p.width - border || y >= p.height - border;
          const bool same = std::equal(p.At(x, y), p.At(x, y) + 3, original.At(x, y));
          if (edge) {
            EXPECT_TRUE(same) << "mode " << int(mode) << " at " << x << "," << y;
          }
          changed += same ? 0 : 1;
        }
      }
      EXPECT_GT(changed, 0);
    }
  }
}

// sharpMode 0 picks the 7x7 kernel for code 40: pixel (1, 1) is then border.
TEST(Sharpening, StageChoosesKernelByResolution) {
  for (int code : {13, 40}) {
    Camera cam;
    Describe(cam, code, 16, 16);
    Picture p(16, 16, 100);
    p.At(1, 1)[1] = 150;
    EXPECT_EQ(SharpenStill(cam, p.bytes.data(), 0), 1);
    EXPECT_EQ(p.At(1, 1)[0] != 100, code != 40) << "code " << code;
  }
}

TEST(Sharpening, StageRefusalsLeaveImage) {
  Camera cam;
  Describe(cam, 13, 16, 16);
  Picture p(16, 16, 100);
  p.At(5, 5)[1] = 200;
  const std::vector<uint8_t> before = p.bytes;

  cam.modes.sharpMode = 2;
  EXPECT_EQ(SharpenStill(cam, p.bytes.data(), 13), 0);
  cam.modes.sharpMode = 0;
  cam.modes.sharpenAllow = 0;
  EXPECT_EQ(SharpenStill(cam, p.bytes.data(), 13), 1);
  cam.modes.sharpenAllow = 1;
  cam.modes.imageBytes = 16 * 16 * 3 - 1;  // smaller than width x height x 3
  EXPECT_EQ(SharpenStill(cam, p.bytes.data(), 13), 1);
  EXPECT_EQ(p.bytes, before);

  EXPECT_EQ(Sharpen3(cam, p.bytes.data(), 16, 14), 0);  // height not a multiple of 4
  cam.modes.sharpDivisor3 = 0;
  cam.modes.sharpDivisor7 = 0;
  EXPECT_EQ(Sharpen3(cam, p.bytes.data(), 16, 16), 0);
  EXPECT_EQ(Sharpen7(cam, p.bytes.data(), 16, 16), 0);
  cam.modes.sharpDivisor3 = 100;
  FailAllocation(1);
  EXPECT_EQ(Sharpen3(cam, p.bytes.data(), 16, 16), 0);
  FailAllocation(0);
  EXPECT_EQ(p.bytes, before);
}

}  // namespace
}  // namespace vobrex
