// The tone curve: table build and image pass.
#include <gtest/gtest.h>

#include <array>
#include <vector>

#include "preview/tone_curve.h"

namespace vobrex {
namespace {

using Tables = std::array<std::array<int16_t, 256>, 3>;

Tables Build(int contrast, int brightness, int gamma, int l1, int l2, int l3) {
  Camera cam;
  SetCBFactors(cam, contrast, brightness, gamma, l1, l2, l3);
  Tables t;
  BuildToneCurve(cam, t[0].data(), t[1].data(), t[2].data());
  return t;
}

TEST(ToneCurve, TableEntries) {
  struct Probe {
    int table, index, expected;
  };
  struct Case {
    int contrast, brightness, gamma, l1, l2, l3;
    std::vector<Probe> probes;
  };
  const Case cases[] = {
      // One level off 1: all three tables are stretched, level-1 ones by 255/254.
      {0, 0, 100, 2, 1, 1, {{1, 1, 0}, {1, 2, 1}, {2, 255, 255}, {0, 2, 0}, {0, 3, 1}}},
      // Full contrast: width 0, a threshold at c = 127.
      {500, 0, 100, 1, 1, 1, {{0, 126, 0}, {2, 127, 255}}},
      // Brightness alone shifts by low = -26; from top = 230 on 255.
      {0, 100, 100, 1, 1, 1, {{0, 0, 25}, {0, 100, 125}, {0, 229, 254}, {0, 230, 255}}},
      // Darker: low = 25 > 0 blanks the entries below it.
      {0, -100, 100, 1, 1, 1, {{1, 0, 0}, {1, 24, 0}, {1, 128, 102}}},
      // Negative contrast: base 25, span 204; entry 255 keeps 255 on purpose.
      {-100, 0, 100, 1, 1, 1, {{0, 0, 25}, {0, 254, 228}, {0, 255, 255}}},
      {-100, 100, 100, 1, 1, 1, {{0, 0, 51}}},
      {0, 0, 200, 1, 1, 1, {{0, 128, 64}, {0, 0, 0}, {0, 255, 255}}},
      {0, 0, -50, 1, 1, 1, {{0, 0, 255}}},  // 0 to a negative power: infinite, clamped
  };
  for (const Case& c : cases) {
    const Tables t = Build(c.contrast, c.brightness, c.gamma, c.l1, c.l2, c.l3);
    for (const Probe& p : c.probes) {
      SCOPED_TRACE(testing::Message() << c.contrast << " " << c.brightness << " " << c.gamma << " "
                                      << c.l1 << ": table " << p.table << "[" << p.index << "]");
      EXPECT_EQ(t[p.table][p.index], p.expected);
    }
  }
}

TEST(ToneCurve, WholeTables) {
  const Tables flat = Build(0, 0, 0, 1, 1, 1);  // anything to the power 0
  // Only the low 16 bits reach the build: 0x10064 is gamma 100, no gamma step.
  const Tables low16 = Build(0, 0, 0x10064, 1, 1, 1);
  const Tables blank = Build(0, 0, 100, 255, 1, 300);  // level 255 must not divide by 0
  for (int i = 0; i < 256; ++i) {
    SCOPED_TRACE(i);
    EXPECT_EQ(flat[1][i], 255);
    EXPECT_EQ(low16[0][i], i);
    EXPECT_EQ(blank[0][i], 0);
    EXPECT_EQ(blank[2][i], 0);
  }
  EXPECT_EQ(blank[1][255], 255);
}

TEST(ToneCurve, PassMapsEachByteThroughItsChannelTable) {
  Camera cam;
  std::vector<uint8_t> image(300);
  for (size_t i = 0; i < image.size(); ++i) image[i] = static_cast<uint8_t>(i * 7);
  const auto before = image;
  ApplyToneCurve(cam, image.data(), static_cast<int32_t>(image.size()));
  EXPECT_EQ(image, before);  // neutral settings

  SetCBFactors(cam, 0, 0, 100, 100, 1, 1);  // blue alone gets a real black level
  image = {50, 50, 50, 150, 150, 150};
  ApplyToneCurve(cam, image.data(), 6);
  EXPECT_EQ(image, (std::vector<uint8_t>{0, 49, 49, 82, 149, 149}));

  // A partial last pixel is mapped, but never past the caller's byte count.
  SetCBFactors(cam, 500, 0, 100, 1, 1, 1);
  image = {200, 10, 200, 200, 10, 77};
  ApplyToneCurve(cam, image.data(), 5);
  EXPECT_EQ(image, (std::vector<uint8_t>{255, 0, 255, 255, 0, 77}));
}

}  // namespace
}  // namespace vobrex
