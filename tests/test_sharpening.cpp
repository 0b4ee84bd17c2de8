#include <gtest/gtest.h>

#include <vector>

#include "capture/sharpening.h"
#include "platform/memory.h"

namespace vobrex {
namespace {

// A w x h image of three bytes a pixel, every byte `fill`.
struct Picture {
  int width;
  std::vector<uint8_t> bytes;
  Picture(int w, int h, uint8_t fill) : width(w), bytes(std::size_t(w) * h * 3, fill) {}
  uint8_t* At(int x, int y) { return &bytes[(std::size_t(y) * width + x) * 3]; }
  std::vector<int> Pixel(int x, int y) { return std::vector<int>(At(x, y), At(x, y) + 3); }
};

// The kernels sum to zero, so a flat image stays as it is; on noise the
// outermost row and column (three of each for the 7x7 kernel) keep theirs.
TEST(Sharpening, FlatImagesAndBordersStay) {
  Camera cam;
  for (int n = 0; n < 4; ++n) {  // divisor and shift mode, 3x3 and 7x7 kernel
    cam.modes.sharpMode = uint8_t(n % 2);
    const auto pass = n < 2 ? Sharpen3 : Sharpen7;
    const int border = n < 2 ? 1 : 3;
    Picture flat(20, 16, 90), p(20, 16, 0);
    EXPECT_EQ(pass(cam, flat.bytes.data(), 20, 16), 1);
    EXPECT_EQ(flat.bytes, std::vector<uint8_t>(flat.bytes.size(), 90)) << n;
    for (std::size_t i = 0; i < p.bytes.size(); ++i) p.bytes[i] = uint8_t(i * 2654435761u >> 24);
    Picture original = p;
    EXPECT_EQ(pass(cam, p.bytes.data(), 20, 16), 1);
    EXPECT_NE(p.bytes, original.bytes) << n;
    for (int i = 0; i < 20 * 16; ++i) {
      const int x = i % 20, y = i / 20;
      const bool edge = x < border || y < border || x >= 20 - border || y >= 16 - border;
      EXPECT_TRUE(!edge || p.Pixel(x, y) == original.Pixel(x, y)) << n << " " << x << "," << y;
    }
  }
}

// One bright green pixel on a flat grey 16 x 16 image through the stage:
// - the 3x3 kernel (every code but 40) with divisor 332 adds 400 x 100 / 332
//   = 120 to the pixel and -100 x 100 / 332 = -30 to each edge neighbour;
// - the 7x7 cross kernel (code 40 in divisor mode) adds 800 x 100 / 332
//   (clamped) and 100 x 100 / 332 = 30; shift mode takes the 3x3 kernel for
//   code 40 too, and shifts arithmetically: -1 >> 2 = -1;
// - coring 8 (level 150) turns d = 5 (divisor 160) into trunc(25 / 64 x 8 +
//   0.5) = 3, -5 into -3, 6 (divisor 120) into 4.5 + 0.5 = 5, and keeps 9
//   (divisor 88);
// - sharpMode 2 returns 0; sharpenAllow 0, an image larger than imageBytes, a
//   height not a multiple of 4, a zero divisor or no copy change nothing.
// Corners have weight 0 in both kernels.
TEST(Sharpening, StageKernelsCoringAndRefusals) {
  struct Case {
    int code, mode, allow, shortBy, height, divisor, failing, excess, blue, green, side;
  };
  const Case cases[] = {
      {13, 0, 1, 0, 16, 332, 0, 100, 154, 254, 4}, {40, 0, 1, 0, 16, 332, 0, 100, 255, 255, 64},
      {40, 1, 1, 0, 16, 332, 0, 100, 134, 234, 9}, {13, 1, 1, 0, 16, 332, 0, 1, 35, 36, 33},
      {40, 0, 1, 0, 16, 160, 0, 1, 37, 38, 34},    {40, 0, 1, 0, 16, 160, 0, -1, 31, 30, 34},
      {40, 0, 1, 0, 16, 88, 0, 1, 43, 44, 34},     {40, 0, 1, 0, 16, 120, 0, 1, 39, 40, 34},
      {13, 2, 1, 0, 16, 332, 0, 100, 34, 134, 34}, {13, 0, 0, 0, 16, 332, 0, 100, 34, 134, 34},
      {13, 0, 1, 1, 16, 332, 0, 100, 34, 134, 34}, {13, 0, 1, 0, 14, 332, 0, 100, 34, 134, 34},
      {13, 0, 1, 0, 16, 0, 0, 100, 34, 134, 34},   {40, 0, 1, 0, 16, 0, 0, 100, 34, 134, 34},
      {13, 0, 1, 0, 16, 332, 1, 100, 34, 134, 34}};
  for (const Case& c : cases) {
    SCOPED_TRACE(&c - cases);
    Camera cam;  // sharpShift 2 and sharpCoring 8 from level 150
    cam.modes.resolution = uint8_t(c.code);
    cam.modes.width = 16;
    cam.modes.height = int16_t(c.height);
    cam.modes.imageBytes = uint32_t(16 * c.height * 3 - c.shortBy);
    cam.modes.sharpMode = uint8_t(c.mode);
    cam.modes.sharpenAllow = uint8_t(c.allow);
    cam.modes.sharpDivisor3 = cam.modes.sharpDivisor7 = c.divisor;
    Picture p(16, c.height, 34);
    p.At(4, 4)[1] = uint8_t(34 + c.excess);
    FailAllocation(c.failing);
    EXPECT_EQ(SharpenStill(cam, p.bytes.data(), c.code), c.mode == 2 ? 0 : 1);
    FailAllocation(0);
    EXPECT_EQ(p.Pixel(4, 4), (std::vector<int>{c.blue, c.green, c.blue}));
    EXPECT_EQ(p.Pixel(5, 4), std::vector<int>(3, c.side));
    EXPECT_EQ(p.Pixel(3, 3), std::vector<int>(3, 34));
  }
}

// The level rule's band edges: each band changes shift, divisors or coring.
TEST(SharpnessLevel, BandEdges) {
  const int cases[][5] = {{0, 4, 1600, 3000, 2},  {63, 3, 813, 2016, 2},  {64, 3, 800, 2000, 4},
                          {150, 2, 332, 915, 8},  {160, 1, 300, 875, 8},  {192, 1, 200, 750, 12},
                          {255, 0, 102, 504, 12}};
  for (const auto& c : cases) {
    Camera cam;
    SetSharpnessLevel(cam, c[0]);
    const CameraModes& m = cam.modes;
    EXPECT_EQ((std::vector<int>{m.sharpShift, m.sharpDivisor3, m.sharpDivisor7, m.sharpCoring}),
              (std::vector<int>{c[1], c[2], c[3], c[4]}))
        << "level " << c[0];
  }
}

}  // namespace
}  // namespace vobrex
