// Colour-gain tables and the colour-gain pass on finished images.
#include <gtest/gtest.h>

#include <array>
#include <vector>

#include "preview/white_balance.h"
#include "settings/curve_tables.h"

namespace vobrex {
namespace {

using GainTable = std::array<uint8_t, 1024>;

GainTable Filled(uint8_t v) {
  GainTable t;
  t.fill(v);
  return t;
}

TEST(BuildGainTable, LiftsToThePeakAndSaturates) {
  GainTable t = Filled(7);
  ASSERT_EQ(BuildGainTable(t.data(), 200, 100), 1);
  EXPECT_EQ(t[0], 0);
  EXPECT_EQ(t[1], 2);
  EXPECT_EQ(t[127], 254);
  for (int i = 128; i < 1024; ++i) ASSERT_EQ(t[i], 255) << i;

  ASSERT_EQ(BuildGainTable(t.data(), 100, -100), 1);  // a negative level keeps the low byte
  EXPECT_EQ(t[2], 254);

  t = Filled(7);
  EXPECT_EQ(BuildGainTable(t.data(), 200, 0), 0);
  EXPECT_EQ(t, Filled(7));
}

TEST(RemapGainTable, ShapesEntriesBelow255) {
  GainTable t;
  BuildGainTable(t.data(), 100, 100);
  RemapGainTable(t.data());
  for (int i = 0; i < 255; ++i) ASSERT_EQ(t[i], kCurveTables.gainShapeTable[i]) << i;
  for (int i = 255; i < 1024; ++i) ASSERT_EQ(t[i], 255) << i;
}

class ApplyColorGainTest : public ::testing::Test {
 protected:
  // Blue doubles, green adds 1, red halves.
  void SetUp() override {
    for (int i = 0; i < 1024; ++i) {
      blue[i] = static_cast<uint8_t>(i < 128 ? 2 * i : 255);
      green[i] = static_cast<uint8_t>(i < 255 ? i + 1 : 255);
      red[i] = static_cast<uint8_t>(i / 2);
    }
  }
  std::vector<uint8_t> Run(int32_t mode, int32_t byteCount = 6) {
    std::vector<uint8_t> px = {10, 20, 30, 100, 200, 250, 9};
    ApplyColorGain(cam, px.data(), byteCount, red.data(), green.data(), blue.data(), mode);
    return px;
  }
  Camera cam;
  GainTable red, green, blue;
};

TEST_F(ApplyColorGainTest, FixedModesMapTwoChannels) {
  using V = std::vector<uint8_t>;
  EXPECT_EQ(Run(1), (V{20, 21, 30, 200, 201, 250, 9}));
  EXPECT_EQ(Run(2), (V{10, 21, 15, 100, 201, 125, 9}));
  EXPECT_EQ(Run(3), (V{20, 20, 15, 200, 200, 125, 9}));
  const V untouched = {10, 20, 30, 100, 200, 250, 9};
  for (int mode : {0, 4, 9, 11, -1}) EXPECT_EQ(Run(mode), untouched) << mode;
  EXPECT_EQ(Run(1, 2), untouched);  // no whole pixel
  EXPECT_EQ(Run(1, 5), (V{20, 21, 30, 100, 200, 250, 9}));
}

TEST_F(ApplyColorGainTest, ModeTenFollowsTheWhiteBalanceMode) {
  using V = std::vector<uint8_t>;
  cam.modes.wbMode = 1;
  EXPECT_EQ(Run(10), (V{20, 21, 15, 200, 201, 125, 9}));

  cam.modes.wbMode = 0;  // the factors alone
  cam.modes.wbFactorB = 2.0;
  cam.modes.wbFactorR = 0.5;
  EXPECT_EQ(Run(10), (V{20, 20, 15, 200, 200, 125, 9}));

  cam.modes.wbMode = 2;  // factor of gain
  cam.modes.wbFactorB = 1.0;
  cam.modes.wbFactorG = 1.5;
  cam.modes.wbFactorR = 1.0;
  EXPECT_EQ(Run(10), (V{20, 31, 15, 200, 255, 125, 9}));
  cam.modes.wbFactorG = 1.0;  // all exactly 1.0: the gains alone
  EXPECT_EQ(Run(10), (V{20, 21, 15, 200, 201, 125, 9}));

  cam.modes.wbMode = 3;
  EXPECT_EQ(Run(10), (V{10, 20, 30, 100, 200, 250, 9}));
}

}  // namespace
}  // namespace vobrex
