// The tone curve: table build and image pass.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <vector>

#include "preview/tone_curve.h"

namespace vobrex {
namespace {

struct Tables {
  std::array<int16_t, 256> t[3];
};

Tables Build(int contrast, int brightness, int gamma, int l1, int l2, int l3) {
  Camera cam;
  SetCBFactors(cam, contrast, brightness, gamma, l1, l2, l3);
  Tables out;
  BuildToneCurve(cam, out.t[0].data(), out.t[1].data(), out.t[2].data());
  return out;
}

TEST(ToneCurve, NeutralSettingsLeaveTheImageAlone) {
  Camera cam;
  std::vector<uint8_t> image(300);
  for (size_t i = 0; i < image.size(); ++i) image[i] = static_cast<uint8_t>(i * 7);
  const auto before = image;
  ApplyToneCurve(cam, image.data(), static_cast<int32_t>(image.size()));
  EXPECT_EQ(image, before);
  const Tables t = Build(0, 0, 100, 1, 1, 1);
  for (int i = 0; i < 256; ++i) EXPECT_EQ(t.t[1][i], i);
}

TEST(ToneCurve, OneBlackLevelStretchesAllThreeTables) {
  const Tables t = Build(0, 0, 100, 2, 1, 1);
  for (int k = 1; k < 3; ++k) {
    EXPECT_EQ(t.t[k][0], 0);
    EXPECT_EQ(t.t[k][1], 0);
    EXPECT_EQ(t.t[k][2], 1);  // (2 - 1) * 255 / 254
    EXPECT_EQ(t.t[k][255], 255);
  }
  EXPECT_EQ(t.t[0][2], 0);
  EXPECT_EQ(t.t[0][3], 1);
}

TEST(ToneCurve, BlackLevelOf255BlanksTheTableWithoutDividingByZero) {
  const Tables t = Build(0, 0, 100, 255, 1, 300);
  for (int i = 0; i < 256; ++i) {
    EXPECT_EQ(t.t[0][i], 0);
    EXPECT_EQ(t.t[2][i], 0);
  }
  EXPECT_EQ(t.t[1][255], 255);
}

TEST(ToneCurve, FullContrastIsAThreshold) {
  const Tables t = Build(500, 0, 100, 1, 1, 1);
  // h = 0, c = 127: 0 below c, 255 from c on.
  EXPECT_EQ(t.t[0][126], 0);
  EXPECT_EQ(t.t[0][127], 255);
  EXPECT_EQ(t.t[2][0], 0);
  EXPECT_EQ(t.t[2][255], 255);
}

TEST(ToneCurve, BrightnessAloneIsAShift) {
  // h = 128, c = (500 - 100) * 255 / 1000 = 102, low = -26, width 256.
  const Tables t = Build(0, 100, 100, 1, 1, 1);
  EXPECT_EQ(t.t[0][0], (0 + 26) * 255 / 256);
  EXPECT_EQ(t.t[0][100], (100 + 26) * 255 / 256);
  EXPECT_EQ(t.t[0][229], 254);
  EXPECT_EQ(t.t[0][230], 255);  // top = 230: from there on 255
  EXPECT_EQ(t.t[0][255], 255);
  const Tables darker = Build(0, -100, 100, 1, 1, 1);
  EXPECT_LT(darker.t[1][128], t.t[1][128]);
  EXPECT_EQ(darker.t[1][0], 0);
}

TEST(ToneCurve, NegativeContrastCompressesAndKeepsWhite) {
  const Tables t = Build(-100, 0, 100, 1, 1, 1);
  EXPECT_EQ(t.t[0][0], 25);
  EXPECT_EQ(t.t[0][254], 228);
  EXPECT_EQ(t.t[0][255], 255);
  const Tables brighter = Build(-100, 100, 100, 1, 1, 1);
  EXPECT_GT(brighter.t[0][0], t.t[0][0]);
}

TEST(ToneCurve, Gamma) {
  const Tables t = Build(0, 0, 200, 1, 1, 1);
  EXPECT_EQ(t.t[0][128], 64);
  EXPECT_EQ(t.t[0][255], 255);
  EXPECT_EQ(t.t[0][0], 0);
  const Tables flat = Build(0, 0, 0, 1, 1, 1);
  for (int i = 0; i < 256; ++i) EXPECT_EQ(flat.t[1][i], 255);  // anything to the power 0
  const Tables negative = Build(0, 0, -50, 1, 1, 1);
  EXPECT_EQ(negative.t[0][0], 255);  // 0 to a negative power is infinite, clamped
  EXPECT_EQ(negative.t[0][255], 255);
}

TEST(ToneCurve, OnlyTheLow16BitsCountInTheBuild) {
  // 0x10064 reads as gamma 100 in the build (no gamma step), yet the whole
  // field is not neutral, so the pass runs with an identity curve.
  const Tables t = Build(0, 0, 0x10064, 1, 1, 1);
  for (int i = 0; i < 256; ++i) EXPECT_EQ(t.t[0][i], i);
}

TEST(ToneCurve, PassMapsEachByteThroughItsChannelTable) {
  Camera cam;
  SetCBFactors(cam, 0, 0, 100, 100, 1, 1);  // blue only gets a real black level
  std::vector<uint8_t> image = {50, 50, 50, 150, 150, 150};
  ApplyToneCurve(cam, image.data(), 6);
  EXPECT_EQ(image[0], 0);
  EXPECT_EQ(image[3], (150 - 100) * 255 / 155);
  EXPECT_EQ(image[1], (50 - 1) * 255 / 254);
  EXPECT_EQ(image[5], (150 - 1) * 255 / 254);
}

TEST(ToneCurve, PartialLastPixelStaysInsideTheBuffer) {
  Camera cam;
  SetCBFactors(cam, 500, 0, 100, 1, 1, 1);
  std::vector<uint8_t> image = {200, 10, 200, 200, 10, 77};
  ApplyToneCurve(cam, image.data(), 5);  // byte 5 is not the caller's
  EXPECT_EQ(image[3], 255);
  EXPECT_EQ(image[4], 0);
  EXPECT_EQ(image[5], 77);
}

}  // namespace
}  // namespace vobrex
