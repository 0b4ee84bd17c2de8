// The response-curve tables and the position-gain table.
#include <gtest/gtest.h>

#include <vector>

#include "settings/camera.h"
#include "settings/curve_tables.h"

namespace vobrex {
namespace {

TEST(CurveTables, CurveInterpolate) {
  EXPECT_EQ(CurveInterpolate(0, 1), 0);
  EXPECT_EQ(CurveInterpolate(110, 1), 25);
  EXPECT_EQ(CurveInterpolate(670, 1), 600);
  EXPECT_EQ(CurveInterpolate(155, 1), 37);  // between the points (110, 25) and (200, 50)
  EXPECT_EQ(CurveInterpolate(700, 1), -1);  // past the last point
  EXPECT_EQ(CurveInterpolate(601, 0), -1);
  EXPECT_EQ(CurveInterpolate(-1, 0), -1);
  EXPECT_EQ(CurveInterpolate(600, 0), 670);
  EXPECT_EQ(CurveInterpolate(12, 0), 52);
}

TEST(CurveTables, ExpandTable) {
  const auto& t = kCurveTables.expandTable;
  EXPECT_EQ(t[0], 0);
  EXPECT_EQ(t[2], 1);
  EXPECT_EQ(t[4], 3);
  EXPECT_EQ(t[128], 188);
  EXPECT_EQ(t[255], 1021);
  for (int i = 1; i < 256; ++i) EXPECT_GE(t[i], t[i - 1]) << i;
  for (int i = 256; i < kCompressTableLength; ++i) ASSERT_EQ(t[i], 0) << i;
}

TEST(CurveTables, CompressTableKnee) {
  const auto& t = kCurveTables.compressTable;
  EXPECT_EQ(t[0], 0);
  EXPECT_EQ(t[920], 246);
  EXPECT_EQ(t[921], 246);
  EXPECT_EQ(t[1839], 254);
  EXPECT_EQ(t[1840], 255);
  EXPECT_EQ(t[4091], 255);
  for (int i = 1; i < kCompressTableLength; ++i) ASSERT_GE(t[i], t[i - 1]) << i;
}

TEST(CurveTables, EightBitTables) {
  EXPECT_EQ(kCurveTables.previewTable[0], 0);
  EXPECT_EQ(kCurveTables.previewTable[255], 254);
  EXPECT_EQ(kCurveTables.gainShapeTable[0], 0);
  EXPECT_EQ(kCurveTables.gainShapeTable[255], 255);
  for (int i = 1; i < 256; ++i) {
    EXPECT_GE(kCurveTables.previewTable[i], kCurveTables.previewTable[i - 1]) << i;
    EXPECT_GE(kCurveTables.gainShapeTable[i], kCurveTables.gainShapeTable[i - 1]) << i;
  }
  // Encoded to linear darkens the mid-tones; linear to encoded lifts them.
  EXPECT_LT(kCurveTables.previewTable[128], 128);
  EXPECT_GT(kCurveTables.gainShapeTable[128], 128);
}

TEST(PositionGain, CentreAndSymmetry) {
  std::vector<uint8_t> table(kPositionGainBytes);
  BuildPositionGainTable(table.data(), 1);
  const auto at = [&](int row, int column) { return table[row * kPositionGainColumns + column]; };
  EXPECT_EQ(at(127, 255), 150);
  EXPECT_EQ(at(127, 256), 150);
  EXPECT_EQ(at(128, 255), 150);
  EXPECT_EQ(at(128, 256), 150);
  for (int r = 0; r < 128; r += 9) {
    for (int s = 0; s < 256; s += 13) {
      EXPECT_EQ(at(128 + r, 256 + s), at(127 - r, 255 - s));
      EXPECT_EQ(at(128 + r, 256 + s), at(127 - r, 256 + s));
    }
  }
  // Gains grow toward the edges (rows faster than columns).
  EXPECT_GT(at(255, 256), at(128, 256 + 127));
  EXPECT_GT(at(128, 511), at(128, 256));
}

TEST(PositionGain, SelectorOutsideTheTableUsesRadiusZeroAndGainFifty) {
  std::vector<uint8_t> seven(kPositionGainBytes), zero(kPositionGainBytes);
  BuildPositionGainTable(seven.data(), 7);
  BuildPositionGainTable(zero.data(), 0);
  EXPECT_EQ(seven[127 * kPositionGainColumns + 255], 50);
  EXPECT_EQ(zero[127 * kPositionGainColumns + 255], 200);
  // Same radius: the profiles match up to the gain ratio 1/4.
  const int edge = 255 * kPositionGainColumns + 511;
  EXPECT_NEAR(seven[edge], zero[edge] / 4.0, 1.0);
}

TEST(PositionGain, ContextBuildsItsTableFromTheDefaultSelector) {
  const Camera cam;
  ASSERT_TRUE(cam.positionGain);
  EXPECT_EQ(cam.positionGain[128 * kPositionGainColumns + 256], 150);
}

}  // namespace
}  // namespace vobrex
