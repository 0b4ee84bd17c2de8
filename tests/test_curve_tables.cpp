// The response-curve tables and the position-gain table.
#include <gtest/gtest.h>

#include <algorithm>
#include <utility>
#include <vector>

#include "settings/camera.h"
#include "settings/curve_tables.h"

namespace vobrex {
namespace {

// Entry, expected value.
template <class Table>
void ExpectEntries(const Table& table, std::initializer_list<std::pair<int, int>> entries) {
  for (const auto& [i, v] : entries) EXPECT_EQ(table[i], v) << "entry " << i;
}

TEST(CurveTables, InterpolationAndBuiltTables) {
  // Value, direction (1: encoded to linear), result; -1 past the last point.
  const int cases[][3] = {{0, 1, 0},    {110, 1, 25}, {670, 1, 600}, {155, 1, 37}, {700, 1, -1},
                          {601, 0, -1}, {-1, 0, -1},  {600, 0, 670}, {12, 0, 52}};
  for (const auto& c : cases) EXPECT_EQ(CurveInterpolate(c[0], c[1]), c[2]) << c[0] << "/" << c[1];

  const auto& k = kCurveTables;
  ExpectEntries(k.expandTable, {{0, 0}, {2, 1}, {4, 3}, {128, 188}, {255, 1021}});
  // The knee of compressTable runs from entry 920 to 255 at 1840.
  ExpectEntries(k.compressTable,
                {{0, 0}, {920, 246}, {921, 246}, {1839, 254}, {1840, 255}, {4091, 255}});
  EXPECT_TRUE(std::is_sorted(k.expandTable.begin(), k.expandTable.begin() + 256));
  EXPECT_TRUE(std::is_sorted(k.compressTable.begin(), k.compressTable.end()));
  // Encoded to linear darkens the mid-tones; linear to encoded lifts them.
  ExpectEntries(k.previewTable, {{0, 0}, {128, 47}, {255, 254}});
  ExpectEntries(k.gainShapeTable, {{0, 0}, {128, 205}, {255, 255}});
  EXPECT_TRUE(std::is_sorted(k.previewTable.begin(), k.previewTable.end()));
  EXPECT_TRUE(std::is_sorted(k.gainShapeTable.begin(), k.gainShapeTable.end()));
}

TEST(PositionGain, CentreEdgesAndSymmetry) {
  std::vector<std::vector<uint8_t>> t(3, std::vector<uint8_t>(kPositionGainBytes));
  const int selectors[3] = {1, 7, 0};  // 7 is outside the table: radius of 0, gain 50
  for (int k = 0; k < 3; ++k) BuildPositionGainTable(t[k].data(), selectors[k]);
  const auto at = [&](int k, int r, int c) { return t[k][r * kPositionGainColumns + c]; };
  // Row, column, then the gain for selectors 1, 7 and 0. Rows step twice as
  // fast as columns.
  const int probes[][5] = {{128, 256, 150, 50, 200},
                           {255, 511, 233, 61, 246},
                           {255, 256, 186, 55, 221},
                           {128, 511, 187, 55, 222}};
  for (const auto& p : probes) {
    for (int k = 0; k < 3; ++k) EXPECT_EQ(at(k, p[0], p[1]), p[2 + k]) << p[0] << "," << p[1];
  }
  // Each value is stored mirrored about the centre rows and columns.
  for (int r = 0; r < kPositionGainRows; ++r) {
    for (int c = 0; c < kPositionGainColumns; ++c) {
      ASSERT_EQ(at(0, r, c), at(0, kPositionGainRows - 1 - r, c)) << r << "," << c;
      ASSERT_EQ(at(0, r, c), at(0, r, kPositionGainColumns - 1 - c)) << r << "," << c;
    }
  }
  const Camera cam;  // built from the default selector 1
  EXPECT_TRUE(std::equal(t[0].begin(), t[0].end(), cam.positionGain.get()));
}

}  // namespace
}  // namespace vobrex
