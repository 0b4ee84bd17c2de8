// Completion of the work grid's planes: green interpolation along lines,
// the red and blue row fills with object and diagonal-edge handling, and the
// red and blue checkerboard completion.
#include <gtest/gtest.h>

#include "hires/plane_completion.h"
#include "hires/work_grid.h"

namespace vobrex {
namespace {

class CompletionTest : public ::testing::Test {
 protected:
  Owned<int16_t> block_ = AllocateWorkGrid();
  WorkGrid grid_ = GridOf(block_);

  void Set(int plane, int row, int col, int value) {
    grid_.At(plane, row, col) = static_cast<int16_t>(value);
  }
  int At(int plane, int row, int col) const { return grid_.At(plane, row, col); }
  // The green checkerboard (even rows at even columns, odd rows at odd).
  void FillGreenCheckerboard(int value, int stripeColumn = -1, int stripeValue = 0) {
    for (int row = 0; row < kGridSide; ++row) {
      for (int col = row % 2; col < kGridSide; col += 2) {
        Set(kGreenPlane, row, col, col == stripeColumn ? stripeValue : value);
      }
    }
  }
};

TEST_F(CompletionTest, FlatGreenPlaneCompletesToItsValue) {
  FillGreenCheckerboard(120);
  EXPECT_EQ(LineDetect(grid_, 501, 500, kGreenSelector), kNoLine);
  CompleteGreen(grid_);
  long wrong = 0;
  for (int row = 4; row < 1016; ++row) {
    for (int col = 4; col < 1016; ++col) wrong += At(kGreenPlane, row, col) != 120;
  }
  EXPECT_EQ(wrong, 0);
  // Rows 0 and 1 are never filled.
  EXPECT_EQ(At(kGreenPlane, 0, 1), 0);
  EXPECT_EQ(At(kGreenPlane, 1, 0), 0);
}

TEST_F(CompletionTest, OneColumnStripeIsInterpolatedAlongTheStripe) {
  FillGreenCheckerboard(50, 501, 250);
  EXPECT_EQ(LineDetect(grid_, 501, 500, kGreenSelector), kVerticalLine);
  EXPECT_EQ(IP4G(grid_, 501, 500, kGreenSelector), 250);  // the median would give 150
  CompleteGreen(grid_);
  for (int row = 4; row < 1016; ++row) {
    ASSERT_EQ(At(kGreenPlane, row, 501), 250) << row;
    ASSERT_EQ(At(kGreenPlane, row, 500), 50) << row;
    ASSERT_EQ(At(kGreenPlane, row, 502), 50) << row;
  }
}

TEST_F(CompletionTest, LineDetectPivotsOnTheLeftNeighbourAndNeedsNoDominantH) {
  // Around (r, c) = (300, 301): flat 100 but for the up/down neighbours and
  // the far reads; |v| = 800 exceeds |h| = 300, yet |U - D| > |U - L| rules
  // out the vertical, and L = Rt makes it horizontal.
  const int r = 300, c = 301;
  for (int dr = -3; dr <= 3; ++dr) {
    for (int dc = -3; dc <= 3; ++dc) Set(kGreenPlane, r + dr, c + dc, 100);
  }
  Set(kGreenPlane, r - 1, c, 0);
  Set(kGreenPlane, r + 1, c, 300);
  Set(kGreenPlane, r, c - 3, 300);
  Set(kGreenPlane, r, c + 3, 300);
  Set(kGreenPlane, r - 3, c, 400);
  Set(kGreenPlane, r + 3, c, 400);
  EXPECT_EQ(LineDetect(grid_, c, r, kGreenSelector), kHorizontalLine);
  EXPECT_EQ(IP4G(grid_, c, r, kGreenSelector), 100);
  // Right neighbour far from the left one while up equals left: no line,
  // although the horizontal measure is strong.
  Set(kGreenPlane, r - 1, c, 100);
  Set(kGreenPlane, r, c + 1, 400);
  EXPECT_EQ(LineDetect(grid_, c, r, kGreenSelector), kNoLine);
  EXPECT_EQ(IP4G(grid_, c, r, kGreenSelector), MedianPair(100, 400, 100, 300));
  // A selector that names no plane has no direction; IP4G answers the selector.
  EXPECT_EQ(IP4G(grid_, c, r, 7), 7);
}

TEST_F(CompletionTest, DiagonalColourDifferenceByRowParity) {
  // Odd row: the neighbour down-left.
  Set(kRedPlane, 12, 20, 90);
  Set(kGreenPlane, 11, 21, 60);
  Set(kGreenPlane, 12, 20, 70);
  EXPECT_EQ(DiagonalColorDifference(grid_, 21, 11, kRedSelector), 90 + 60 - 70);
  // Even row: the neighbour up-right.
  Set(kBluePlane, 9, 31, 40);
  Set(kGreenPlane, 9, 31, 100);
  Set(kGreenPlane, 10, 30, 80);
  EXPECT_EQ(DiagonalColorDifference(grid_, 30, 10, kBlueSelector), 40 - 100 + 80);
}

TEST_F(CompletionTest, RedObjectNeedsHalfTheRedAboveToReachTwentyOne) {
  const int r = 200, c = 100;
  Set(kRedPlane, r + 2, c, 10);  // b has no lower limit, only > green and blue (0)
  Set(kRedPlane, r - 2, c, 41);
  EXPECT_FALSE(IsRBObject(grid_, c, r, kRedSelector, kRowFillMode));
  Set(kRedPlane, r - 2, c, 42);
  EXPECT_TRUE(IsRBObject(grid_, c, r, kRedSelector, kRowFillMode));
  Set(kBluePlane, r, c, 5);  // b = 5 is no longer above the blue at the site
  EXPECT_FALSE(IsRBObject(grid_, c, r, kRedSelector, kRowFillMode));
  // Blue in row-fill mode mirrors red; in site-fill mode it never counts.
  Set(kBluePlane, r - 2, c, 200);
  Set(kBluePlane, r + 2, c, 200);
  EXPECT_TRUE(IsRBObject(grid_, c, r, kBlueSelector, kRowFillMode));
  Set(kBluePlane, r - 1, c, 200);
  Set(kBluePlane, r + 1, c, 200);
  EXPECT_FALSE(IsRBObject(grid_, c, r, kBlueSelector, kSiteFillMode));
  EXPECT_FALSE(IsRBObject(grid_, c, r, kGreenSelector, kRowFillMode));
  // Site fill on red needs both values at 21 and above green and blue.
  Set(kRedPlane, r - 1, c, 42);
  Set(kRedPlane, r + 1, c, 40);
  Set(kBluePlane, r - 1, c, 0);
  Set(kBluePlane, r + 1, c, 0);
  EXPECT_FALSE(IsRBObject(grid_, c, r, kRedSelector, kSiteFillMode));
  Set(kRedPlane, r + 1, c, 42);
  EXPECT_TRUE(IsRBObject(grid_, c, r, kRedSelector, kSiteFillMode));
  EXPECT_FALSE(IsRBObject(grid_, c, r, kRedSelector, 2));
}

TEST_F(CompletionTest, RedObjectWithDiagonalEdgeTakesTheSixColumnStep) {
  // Red rows 6/10 (even columns) and 7/11 (odd columns) over columns
  // 100..105: sums falling strictly, top below bottom everywhere.
  const int top[6] = {60, 61, 62, 63, 64, 65};
  for (int k = 0; k < 6; ++k) {
    const int bottom = 200 - 20 * k;
    Set(kRedPlane, k % 2 ? 7 : 6, 100 + k, top[k]);
    Set(kRedPlane, k % 2 ? 11 : 10, 100 + k, bottom);
  }
  Set(kRedPlane, 7, 99, 77);
  EXPECT_EQ(RedDiagonalLine(grid_, 100, 8), 1);
  FillRedRows(grid_);
  EXPECT_EQ(At(kRedPlane, 8, 100), 77);   // R(7, 99)
  EXPECT_EQ(At(kRedPlane, 9, 101), 160);  // R(10, 102)
  EXPECT_EQ(At(kRedPlane, 8, 102), 61);   // R(7, 101); a two-column step gives 63
  EXPECT_EQ(At(kRedPlane, 9, 103), 120);  // R(10, 104); a two-column step gives 160
  EXPECT_EQ(At(kRedPlane, 8, 104), 63);   // R(7, 103)
  EXPECT_EQ(At(kRedPlane, 9, 105), (100 + 65) >> 1);
  // Off the object the empty rows take the colour difference (flat green).
  EXPECT_EQ(At(kRedPlane, 8, 98), 77);   // R(7, 99)
  EXPECT_EQ(At(kRedPlane, 9, 99), 0);    // R(10, 98)
  EXPECT_EQ(At(kRedPlane, 5, 101), 60);  // R(6, 100)
  // Mirrored slant: sums rising, top above bottom.
  for (int k = 0; k < 6; ++k) {
    Set(kRedPlane, k % 2 ? 7 : 6, 100 + k, 100 + 20 * k);
    Set(kRedPlane, k % 2 ? 11 : 10, 100 + k, 60 + k);
  }
  EXPECT_EQ(RedDiagonalLine(grid_, 100, 8), 1);
  for (int k = 0; k < 6; ++k) Set(kRedPlane, k % 2 ? 11 : 10, 100 + k, 300 + k);
  EXPECT_EQ(RedDiagonalLine(grid_, 100, 8), 2);
}

TEST_F(CompletionTest, BlueObjectRowsAreFilledVertically) {
  // Blue rows 0 and 4 at column 50 (even), rows 1 and 5 at column 51.
  Set(kBluePlane, 0, 50, 200);
  Set(kBluePlane, 4, 50, 100);
  Set(kBluePlane, 1, 51, 30);
  Set(kBluePlane, 5, 51, 50);
  Set(kBluePlane, 1, 53, 30);
  FillBlueRows(grid_);
  EXPECT_EQ(At(kBluePlane, 2, 50), 150);
  EXPECT_EQ(At(kBluePlane, 3, 51), 40);
  // Off the object (no blue two rows above): the colour difference.
  EXPECT_EQ(At(kBluePlane, 2, 52), 30);  // B(1, 53)
}

TEST_F(CompletionTest, RedTakesTheMedianPairAndBlueTheDifferenceBelow) {
  Set(kRedPlane, 10, 20, 10);
  Set(kRedPlane, 10, 22, 100);
  Set(kRedPlane, 9, 21, 30);
  Set(kRedPlane, 11, 21, 20);
  CompleteRed(grid_);
  EXPECT_EQ(At(kRedPlane, 10, 21), (20 + 30) >> 1);

  Set(kBluePlane, 11, 21, 90);
  Set(kGreenPlane, 11, 21, 70);
  Set(kGreenPlane, 10, 21, 50);
  Set(kBluePlane, 12, 20, 10);
  Set(kGreenPlane, 12, 20, 40);
  Set(kGreenPlane, 11, 20, 25);
  // Blue starts at row 0, two rows before red.
  Set(kBluePlane, 1, 7, 33);
  CompleteBlue(grid_);
  EXPECT_EQ(At(kBluePlane, 10, 21), 90 - 70 + 50);
  EXPECT_EQ(At(kBluePlane, 11, 20), 10 - 40 + 25);  // negative, stored as is
  EXPECT_EQ(At(kBluePlane, 0, 7), 33);
}

}  // namespace
}  // namespace vobrex
