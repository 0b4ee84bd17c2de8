// The work grid of the high-resolution path, stage by stage: placement of the
// four exposures, levelling of the green/blue line blocks and completion of
// the planes.
#include <gtest/gtest.h>

#include <vector>

#include "hires/exposure_assembly.h"
#include "hires/plane_completion.h"
#include "hires/work_grid.h"

namespace vobrex {
namespace {

class GridTest : public ::testing::Test {
 protected:
  Owned<int16_t> block_ = AllocateWorkGrid();
  WorkGrid grid_ = GridOf(block_);

  // The full checkerboard: even rows at even columns, odd rows at odd ones.
  template <typename Value>
  void Checkerboard(int plane, Value value) {
    for (int i = 0; i < kPlaneSites; ++i) {
      if ((i / kGridSide + i) % 2 == 0) grid_.Plane(plane)[i] = value(i / kGridSide, i % kGridSide);
    }
  }
  // `upper` on the green/blue rows (0, 1 mod 4), `lower` on the red/green rows.
  void Levels(int plane, int upper, int lower) {
    Checkerboard(plane, [&](int row, int) { return row % 4 < 2 ? upper : lower; });
  }
};

// Each sample records its block and its position in the line (never 0).
int Tag(int block, int n) { return block * 4096 + n + 1; }

TEST_F(GridTest, PlacementFollowsTheOccupancyTableWithItsColumnCopiesAndDrops) {
  std::vector<int16_t> samples(kHiresSampleCount);
  for (int i = 0; i < kHiresSampleCount; ++i) {
    samples[i] = int16_t(Tag(i / kLineBlockSamples, i % kExposureLineSamples));
  }
  PlaceGreen(samples.data(), grid_);
  PlaceRed(samples.data(), grid_);
  PlaceBlue(samples.data(), grid_);
  // Column parity each row class (mod 4) holds, or -1 for an empty row. A
  // sample pushed past column 1023 would show in the next row.
  const int held[3][4] = {{-1, -1, 0, 1}, {0, 1, -1, -1}, {0, 1, 0, 1}};
  long wrong = 0;
  for (int i = 0; i < kGridSites; ++i) {
    wrong += (grid_.origin[i] != 0) != (held[i / kPlaneSites][i / kGridSide % 4] == i % 2);
  }
  EXPECT_EQ(wrong, 0);
  // {plane, row - 4y, column, block, sample}: exposure 1 at column phase 0 and 0 at 2; then
  // the first odd-sample column of exposures 1 and 2 copied from two columns right; then
  // column 1023 from exposure 2's sample 511 (exposure 3's is dropped).
  // clang-format off
  const int sites[][5] = {
      {kGreenPlane, 0, 0, 2, 0}, {kGreenPlane, 0, 2, 0, 0}, {kRedPlane, 2, 4, 3, 2},
      {kRedPlane, 3, 3, 7, 0}, {kBluePlane, 1, 5, 6, 1}, {kRedPlane, 3, 1, 5, 0},
      {kBluePlane, 0, 0, 2, 1}, {kBluePlane, 0, 2, 2, 1}, {kGreenPlane, 2, 0, 3, 1},
      {kBluePlane, 1, 1, 4, 1}, {kBluePlane, 1, 3, 4, 1}, {kGreenPlane, 3, 1, 5, 1},
      {kGreenPlane, 3, 1023, 5, 511}, {kBluePlane, 1, 1023, 4, 511}, {kBluePlane, 0, 1022, 2, 511}};
  // clang-format on
  for (int y : {0, 17, 255}) {
    for (const auto& s : sites) {
      EXPECT_EQ(grid_.At(s[0], 4 * y + s[1], s[2]), Tag(s[3], s[4])) << y << " " << s[2];
    }
  }
}

TEST_F(GridTest, LevellingLowersUpperRowsFortyAboveButNotEightyAboveOnTheSelectedPlane) {
  Levels(kGreenPlane, 140, 100);
  Levels(kRedPlane, 180, 100);
  Levels(kBluePlane, 140, 100);
  EXPECT_EQ(LevelLineBlocks(grid_, kGreenSelector), 1);
  LevelLineBlocks(grid_, kRedSelector);
  long wrong = 0;
  for (int row = 0; row < kGridSide; ++row) {
    for (int col = row % 2; col < kGridSide; col += 2) {
      const bool upper = row % 4 < 2, corrected = upper && row < 1016 && col < 1020;
      wrong += grid_.At(kGreenPlane, row, col) != (upper && !corrected ? 140 : 100);
      wrong += grid_.At(kRedPlane, row, col) != (upper ? 180 : 100);
      wrong += grid_.At(kBluePlane, row, col) != (upper ? 140 : 100);
    }
  }
  EXPECT_EQ(wrong, 0);
}

TEST_F(GridTest, LevellingSkipsGroupsWhoseDeviationReachesOneHundredSixty) {
  // One upper site x over a flat 140 deviates by 77 + (x - 151): 159 at 233, 160 at 234.
  Levels(kRedPlane, 140, 100);
  Levels(kBluePlane, 140, 100);
  grid_.At(kRedPlane, 41, 41) = 233;
  grid_.At(kBluePlane, 41, 41) = 234;
  LevelLineBlocks(grid_, kRedSelector);
  LevelLineBlocks(grid_, kBlueSelector);
  EXPECT_EQ(grid_.At(kRedPlane, 40, 40), 140 - 63);  // k = (3 x 140 + 233 - 400) >> 2
  EXPECT_EQ(grid_.At(kBluePlane, 40, 40), 140);
  EXPECT_EQ(grid_.At(kBluePlane, 36, 40), 140);  // band 9 reads row 41 before band 10 levels it
}

TEST_F(GridTest, GreenCompletionKeepsAFlatPlaneAndFollowsAOneColumnStripe) {
  for (const int stripe : {120, 250}) {  // 250 over 50 would come out as 150 by the median
    const int base = stripe == 120 ? 120 : 50;
    Checkerboard(kGreenPlane, [&](int, int col) { return col == 501 ? stripe : base; });
    EXPECT_EQ(LineDetect(grid_, 501, 500, kGreenSelector), stripe == 120 ? kNoLine : kVerticalLine);
    CompleteGreen(grid_);
    long wrong = 0;
    for (int row = 4; row < 1016; ++row) {
      for (int col = 4; col < 1016; ++col) {
        wrong += grid_.At(kGreenPlane, row, col) != (col == 501 ? stripe : base);
      }
    }
    EXPECT_EQ(wrong, 0) << stripe;
    EXPECT_EQ(grid_.At(kGreenPlane, 1, 0), 0);  // rows 0 and 1 are never filled
  }
}

TEST_F(GridTest, RedObjectNeedsTwentyOneAfterHalvingTheRedAbove) {
  const int r = 200, c = 100;
  grid_.At(kRedPlane, r + 2, c) = 2;  // b has no lower limit, only above green and blue (0)
  for (int above : {41, 42}) {
    grid_.At(kRedPlane, r - 2, c) = int16_t(above);
    EXPECT_EQ(IsRBObject(grid_, c, r, kRedSelector, kRowFillMode), above == 42) << above;
  }
  grid_.At(kBluePlane, r, c) = 1;  // b = 1 is no longer above the blue at the site
  EXPECT_FALSE(IsRBObject(grid_, c, r, kRedSelector, kRowFillMode));
}

TEST_F(GridTest, RedObjectWithADiagonalEdgeTakesTheSixColumnStep) {
  // Red rows 6/10 (even columns) and 7/11 (odd) over columns 100..105: sums
  // falling strictly, top below bottom everywhere.
  for (int k = 0; k < 6; ++k) {
    grid_.At(kRedPlane, k % 2 ? 7 : 6, 100 + k) = int16_t(60 + k);
    grid_.At(kRedPlane, k % 2 ? 11 : 10, 100 + k) = int16_t(200 - 20 * k);
  }
  grid_.At(kRedPlane, 7, 99) = 77;
  FillRedRows(grid_);
  // Two-column steps would give 63 and 160 at columns 102 and 103.
  const int want[][3] = {{8, 100, 77},  {9, 101, 160}, {8, 102, 61},
                         {9, 103, 120}, {8, 104, 63},  {9, 105, (100 + 65) >> 1}};
  for (const auto& w : want) EXPECT_EQ(grid_.At(kRedPlane, w[0], w[1]), w[2]) << w[1];
}

}  // namespace
}  // namespace vobrex
