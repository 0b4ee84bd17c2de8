// The work grid of the high-resolution path, stage by stage: placement of the
// four exposures, levelling of the green/blue line blocks and completion of
// the planes.
#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "hires/exposure_assembly.h"
#include "hires/plane_completion.h"
#include "hires/work_grid.h"
#include "platform/cpu_features.h"

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

// The whole block after `pass` on the portable path and on the widest one
// the processor has, from the same start.
template <typename Pass>
std::vector<int16_t> OnBothPaths(Owned<int16_t>& block, Pass pass, std::vector<int16_t>& vector) {
  const std::vector<int16_t> start(block.get(), block.get() + kGridBlockSites);
  SetSimdLevel(SimdLevel::kScalar);
  pass();
  std::vector<int16_t> portable(block.get(), block.get() + kGridBlockSites);
  std::copy(start.begin(), start.end(), block.get());
  SetSimdLevel(SupportedSimdLevel());
  pass();
  vector.assign(block.get(), block.get() + kGridBlockSites);
  return portable;
}

long Differences(const std::vector<int16_t>& a, const std::vector<int16_t>& b) {
  long n = 0;
  for (size_t i = 0; i < a.size(); ++i) n += a[i] != b[i];
  return n;
}

TEST_F(GridTest, PlacingLineByLineClearsItsRowsAndMatchesThePlanePlacement) {
  std::mt19937 random(7);
  std::vector<int16_t> samples(kHiresSampleCount);
  for (int16_t& v : samples) v = int16_t(random());
  PlaceGreen(samples.data(), grid_);
  PlaceRed(samples.data(), grid_);
  PlaceBlue(samples.data(), grid_);
  const std::vector<int16_t> planes(block_.get(), block_.get() + kGridBlockSites);
  std::fill(grid_.origin, grid_.origin + kGridSites, int16_t(0x5A5A));  // stale rows
  std::vector<int16_t> vector;
  const std::vector<int16_t> portable = OnBothPaths(
      block_,
      [&] {
        for (int y = 0; y < 256; ++y) PlaceLines(samples.data(), grid_, y);
      },
      vector);
  EXPECT_EQ(Differences(portable, planes), 0);
  EXPECT_EQ(Differences(vector, planes), 0);
}

// Red rows 2 and 3 (mod 4) as ramps that all rows share over random
// stretches of columns, each group of four rows raised by its own level:
// the sums of the diagonal detector run monotone along a stretch with the
// top and bottom rows ordered alike, so six-column steps abound (also at
// the right edge, where they spill into the next row); noise and dark
// stretches break the walk between them. Blue rows 0 and 1 likewise in
// other areas (an object needs the other colour low), green low.
void FillObjectsAndEdges(const WorkGrid& grid, std::mt19937& random) {
  for (int i = 0; i < kGridSites; ++i) grid.origin[i] = int16_t(random() % 60);
  std::vector<int> slope(kGridSide);
  for (int c = 0; c < kGridSide;) {
    const int length = 3 + int(random() % 14), s = int(random() % 9) - 4;
    for (int k = 0; k < length && c < kGridSide; ++k, ++c) slope[c] = c < 1000 ? s : -4;
  }
  int level = 0;
  for (int row = 0; row < kGridSide; ++row) {
    if (row % 4 == 0) level = 300 + int(random() % 300);
    for (int c = 0; c < kGridSide; ++c) {
      const int ramp = level + slope[c] * (c % 64) + (random() % 16 == 0 ? 1 : 0);
      const bool red = (c / 128 + row / 64) % 2 == 0, dark = (c / 64 + row / 16) % 7 == 0;
      if (row % 4 >= 2) grid.At(kRedPlane, row, c) = int16_t(red && !dark ? ramp : 30);
      if (row % 4 < 2) grid.At(kBluePlane, row, c) = int16_t(!red && !dark ? ramp : 30);
    }
  }
}

TEST_F(GridTest, RowFillsGiveTheSameGridOnTheVectorAndPortablePaths) {
  std::mt19937 random(11);
  FillObjectsAndEdges(grid_, random);
  long steps = 0, atTheEdge = 0;
  for (int t = 4; t <= 1016; t += 4) {
    for (int c = 0; c <= 1022; c += 2) {
      if (!IsRBObject(grid_, c, t, kRedSelector, kRowFillMode)) continue;
      if (RedDiagonalLine(grid_, c, t) == 0) continue;
      ++steps;
      atTheEdge += c >= 1020;
    }
  }
  ASSERT_GT(steps, 5000);  // the data reach the walk's six-column steps
  ASSERT_GT(atTheEdge, 5);
  std::vector<int16_t> vector;
  const std::vector<int16_t> portable = OnBothPaths(
      block_, [&] { FillRedRows(grid_), FillBlueRows(grid_); }, vector);
  EXPECT_EQ(Differences(portable, vector), 0);
}

// Groups near flat with the upper rows up to 100 off (some levelled, some
// not, k of either sign), some at the ends of the 16-bit range where the
// levelled sites wrap.
TEST_F(GridTest, LevellingGivesTheSameGridOnTheVectorAndPortablePaths) {
  std::mt19937 random(5);
  std::vector<int> offsets(kGridGroups * kGridGroups);
  for (int& o : offsets) o = int(random() % 101) - 50;
  for (int row = 0; row < kGridSide; ++row) {
    for (int c = 0; c < kGridSide; ++c) {
      const int area = (row / 8 + c / 4) % 9;
      const int base = area == 0 ? 32700 : area == 1 ? -32700 : 500;
      const int offset = row % 4 < 2 ? offsets[row / 4 * kGridGroups + c / 4] : 0;
      grid_.At(kGreenPlane, row, c) = int16_t(base + offset + int(random() % 24));
    }
  }
  const std::vector<int16_t> start(block_.get(), block_.get() + kGridBlockSites);
  std::vector<int16_t> vector;
  const std::vector<int16_t> portable = OnBothPaths(
      block_, [&] { LevelLineBlocks(grid_, kGreenSelector); }, vector);
  EXPECT_GT(Differences(start, portable), 100000);  // many groups levelled
  EXPECT_EQ(Differences(portable, vector), 0);
}

// Green bands of sixteen rows in turn: stripes in both directions over
// near-flat stretches (lines, flat and median sites), noise between the
// ends -1024 and 3071 of the range the 16-bit form serves (the largest
// second differences and deviations it meets) with one row far outside it,
// steps of 33 and 90 at random (second differences past 160 beside
// deviations on both sides of 48), noise in -12000 .. 12000 (sums that
// leave 16 bits) and noise over the whole 16-bit range. Red and blue hold
// noise over the whole range (median pairs whose sums leave 16 bits).
TEST_F(GridTest, CompletionsGiveTheSameGridOnTheVectorAndPortablePaths) {
  std::mt19937 random(3);
  for (int row = 0; row < kGridSide; ++row) {
    for (int c = 0; c < kGridSide; ++c) {
      const int noise = int(random() % 64);
      int value = 0;
      switch (row / 16 % 5) {
        case 0:
          value = 200 + (c / 7 % 3 == 0 ? 400 : 0) + (row / 5 % 4 == 0 ? 300 : 0) + noise % 8;
          break;
        case 1:
          value = random() % 2 ? -1024 + noise : 3071 - noise;
          // One row far outside, three below the last row of a group.
          if (row % 16 == 10) value = value < 0 ? -30000 : 30000;
          break;
        case 2: value = 500 + (noise % 8 == 0 ? 90 : noise % 8 == 1 ? 33 : 0) + noise % 3; break;
        case 3: value = random() % 2 ? -12000 + noise : 12000 - noise; break;
        default: value = int16_t(random()); break;
      }
      grid_.At(kGreenPlane, row, c) = int16_t(value);
      grid_.At(kRedPlane, row, c) = int16_t(random());
      grid_.At(kBluePlane, row, c) = int16_t(random());
    }
  }
  std::vector<int16_t> vector;
  const std::vector<int16_t> portable = OnBothPaths(
      block_, [&] { CompleteGreen(grid_), CompleteRed(grid_), CompleteBlue(grid_); }, vector);
  EXPECT_EQ(Differences(portable, vector), 0);
}

}  // namespace
}  // namespace vobrex
