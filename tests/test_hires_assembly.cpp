// Placement of the four exposures on the work grid and the levelling of the
// green/blue line blocks.
#include <gtest/gtest.h>

#include <vector>

#include "hires/exposure_assembly.h"
#include "hires/work_grid.h"

namespace vobrex {
namespace {

class AssemblyTest : public ::testing::Test {
 protected:
  Owned<int16_t> block_ = AllocateWorkGrid();
  WorkGrid grid_ = GridOf(block_);

  int At(int plane, int row, int col) const { return grid_.At(plane, row, col); }
};

// Every sample records its block and its position in the line (never 0).
std::vector<int16_t> TaggedFrame() {
  std::vector<int16_t> samples(kHiresSampleCount);
  for (int i = 0; i < kHiresSampleCount; ++i) {
    const int block = i / kLineBlockSamples;
    const int n = i % kExposureLineSamples;
    samples[i] = static_cast<int16_t>(block * 4096 + n + 1);
  }
  return samples;
}
int Tag(int block, int n) { return block * 4096 + n + 1; }

TEST_F(AssemblyTest, PlacementFillsTheCheckerboardsOfTheOccupancyTable) {
  const std::vector<int16_t> samples = TaggedFrame();
  PlaceGreen(samples.data(), grid_);
  PlaceRed(samples.data(), grid_);
  PlaceBlue(samples.data(), grid_);
  // Column parity that each row class holds, or -1 for an empty row.
  const int held[3][4] = {{-1, -1, 0, 1}, {0, 1, -1, -1}, {0, 1, 0, 1}};
  for (int plane = 0; plane < 3; ++plane) {
    long wrong = 0;
    for (int row = 0; row < kGridSide; ++row) {
      const int parity = held[plane][row % 4];
      for (int col = 0; col < kGridSide; ++col) {
        const bool expected = parity >= 0 && col % 2 == parity;
        if ((At(plane, row, col) != 0) != expected) ++wrong;
      }
    }
    EXPECT_EQ(wrong, 0) << "plane " << plane;
  }
  // Exposure 1 at column phase 0, exposure 0 at phase 2.
  EXPECT_EQ(At(kGreenPlane, 40, 0), Tag(2, 0));
  EXPECT_EQ(At(kGreenPlane, 40, 2), Tag(0, 0));
  EXPECT_EQ(At(kRedPlane, 42, 4), Tag(3, 2));
  EXPECT_EQ(At(kRedPlane, 43, 1), Tag(5, 0));
  EXPECT_EQ(At(kRedPlane, 43, 3), Tag(7, 0));
  EXPECT_EQ(At(kBluePlane, 41, 5), Tag(6, 1));
}

TEST_F(AssemblyTest, FirstColumnOfTheOddSampleColourIsCopiedFromTwoColumnsRight) {
  const std::vector<int16_t> samples = TaggedFrame();
  PlaceGreen(samples.data(), grid_);
  PlaceBlue(samples.data(), grid_);
  for (int y : {0, 17, 255}) {
    EXPECT_EQ(At(kBluePlane, 4 * y, 0), Tag(2, 1));
    EXPECT_EQ(At(kBluePlane, 4 * y, 2), Tag(2, 1));
    EXPECT_EQ(At(kGreenPlane, 4 * y + 2, 0), Tag(3, 1));
    EXPECT_EQ(At(kBluePlane, 4 * y + 1, 1), Tag(4, 1));
    EXPECT_EQ(At(kBluePlane, 4 * y + 1, 3), Tag(4, 1));
    EXPECT_EQ(At(kGreenPlane, 4 * y + 3, 1), Tag(5, 1));
    // The even-sample colour of those lines keeps its own first sample.
    EXPECT_EQ(At(kGreenPlane, 4 * y, 0), Tag(2, 0));
    EXPECT_EQ(At(kGreenPlane, 4 * y + 1, 1), Tag(4, 0));
  }
}

TEST_F(AssemblyTest, LastOddSampleOfExposuresZeroAndThreeIsDropped) {
  const std::vector<int16_t> samples = TaggedFrame();
  PlaceGreen(samples.data(), grid_);
  PlaceBlue(samples.data(), grid_);
  for (int y : {0, 100, 254}) {
    // Column 1023 of the odd red/green rows is exposure 2's sample 511.
    EXPECT_EQ(At(kGreenPlane, 4 * y + 3, 1023), Tag(5, 511));
    EXPECT_EQ(At(kBluePlane, 4 * y + 1, 1023), Tag(4, 511));
    EXPECT_EQ(At(kBluePlane, 4 * y, 1022), Tag(2, 511));
    // Nothing spills into the next row.
    EXPECT_EQ(At(kGreenPlane, 4 * y + 4, 1), 0);
    EXPECT_EQ(At(kBluePlane, 4 * y + 1, 0), 0);
    EXPECT_EQ(At(kBluePlane, 4 * y + 2, 1), 0);
  }
}

// A checkerboard of `upper` on the green/blue rows and `lower` on the
// red/green rows.
void FillLevels(const WorkGrid& grid, int plane, int upper, int lower) {
  for (int row = 0; row < kGridSide; ++row) {
    for (int col = row % 2; col < kGridSide; col += 2) {
      grid.At(plane, row, col) = static_cast<int16_t>(row % 4 < 2 ? upper : lower);
    }
  }
}

TEST_F(AssemblyTest, LevellingLowersFlatUpperRowsFortyAbove) {
  FillLevels(grid_, kGreenPlane, 140, 100);
  EXPECT_EQ(LevelLineBlocks(grid_, kGreenSelector), 1);
  long wrong = 0;
  for (int row = 0; row < kGridSide; ++row) {
    for (int col = row % 2; col < kGridSide; col += 2) {
      const bool corrected = row % 4 < 2 && row < 1016 && col < 1020;
      const int expected = corrected ? 100 : row % 4 < 2 ? 140 : 100;
      if (At(kGreenPlane, row, col) != expected) ++wrong;
    }
  }
  EXPECT_EQ(wrong, 0);
}

TEST_F(AssemblyTest, LevellingLeavesADifferenceOfEightyAndActsOnTheSelectedPlaneOnly) {
  FillLevels(grid_, kGreenPlane, 180, 100);
  FillLevels(grid_, kRedPlane, 140, 100);
  FillLevels(grid_, kBluePlane, 140, 100);
  LevelLineBlocks(grid_, kGreenSelector);
  LevelLineBlocks(grid_, kBlueSelector);
  EXPECT_EQ(At(kGreenPlane, 40, 40), 180);
  EXPECT_EQ(At(kRedPlane, 40, 40), 140);
  EXPECT_EQ(At(kBluePlane, 40, 40), 100);
  EXPECT_EQ(At(kBluePlane, 41, 41), 100);
}

TEST_F(AssemblyTest, LevellingSkipsGroupsWithDeviationOfOneHundredSixty) {
  FillLevels(grid_, kGreenPlane, 140, 100);
  // Upper set of band 10, group 10 (and lower set of band 10, group 20):
  // summed deviation 7 x 20 + 140 = 280.
  grid_.At(kGreenPlane, 41, 41) = 300;
  grid_.At(kGreenPlane, 43, 81) = 260;
  LevelLineBlocks(grid_, kGreenSelector);
  EXPECT_EQ(At(kGreenPlane, 40, 40), 140);  // band 10, group 10
  EXPECT_EQ(At(kGreenPlane, 36, 40), 140);  // band 9 reads row 41 too
  EXPECT_EQ(At(kGreenPlane, 40, 44), 100);  // the next group is levelled
  EXPECT_EQ(At(kGreenPlane, 40, 80), 140);  // lower set not flat
  EXPECT_EQ(At(kGreenPlane, 44, 80), 100);
  // At the limit: one upper site x above a flat 140 gives m1 = 151 and a
  // summed deviation of 77 + (x - 151): 159 for x = 233, 160 for x = 234.
  FillLevels(grid_, kRedPlane, 140, 100);
  FillLevels(grid_, kBluePlane, 140, 100);
  grid_.At(kRedPlane, 41, 41) = 233;
  grid_.At(kBluePlane, 41, 41) = 234;
  LevelLineBlocks(grid_, kRedSelector);
  LevelLineBlocks(grid_, kBlueSelector);
  EXPECT_EQ(At(kRedPlane, 40, 40), 140 - 63);  // k = (3 x 140 + 233 - 400) >> 2
  EXPECT_EQ(At(kRedPlane, 41, 41), 233 - 63);
  EXPECT_EQ(At(kBluePlane, 40, 40), 140);
}

}  // namespace
}  // namespace vobrex
