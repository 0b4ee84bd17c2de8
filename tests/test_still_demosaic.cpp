// Demosaic of the two-field still read-out: field split and pair smoothing,
// green estimation, red and blue completion by colour difference.
#include <gtest/gtest.h>

#include <cstdint>
#include <utility>
#include <vector>

#include "still/still_demosaic.h"
#include "still/still_planes.h"

namespace vobrex {
namespace {

// A raw frame addressed by sensor row and column (field = row parity).
struct RawFrame {
  std::vector<int16_t> samples = std::vector<int16_t>(kStillFrameSamples, 0);
  int16_t& At(int row, int column) {
    return samples[(row % 2) * kFieldSamples + (row / 2) * kStillSide + column];
  }
};

struct Planes {
  std::vector<int16_t> values = std::vector<int16_t>(kStillPlanesAllocation, 0);
  int At(int plane, int row, int column) const { return values[PlaneIndex(plane, row, column)]; }
};

// Even sensor rows read G B G B, odd rows R G R G.
int SiteColour(int row, int column) {
  if (row % 2 == 0) return column % 2 == 0 ? kGreenPlane : kBluePlane;
  return column % 2 == 0 ? kRedPlane : kGreenPlane;
}

Planes Split(const RawFrame& raw, uint32_t optionV) {
  Planes planes;
  SplitFields(raw.samples.data(), planes.values.data(), optionV);
  return planes;
}

Planes Demosaic(const RawFrame& raw) {
  Planes planes;
  DemosaicStill(raw.samples.data(), planes.values.data(), 0);
  return planes;
}

// Stripes at pixel pitch: bright odd columns in both fields.
RawFrame Stripes(int dark, int bright) {
  RawFrame raw;
  for (int y = 0; y < kStillSide; ++y) {
    for (int x = 0; x < kStillSide; ++x) raw.At(y, x) = static_cast<int16_t>(x % 2 ? bright : dark);
  }
  return raw;
}

TEST(SplitFields, PlacesEachSampleAtItsSiteOnly) {
  RawFrame raw;
  for (int y = 0; y < kStillSide; ++y) {
    for (int x = 0; x < kStillSide; ++x) raw.At(y, x) = static_cast<int16_t>(1 + (y * 7 + x) % 97);
  }
  const Planes planes = Split(raw, 0);
  for (int y = 0; y < kStillSide; ++y) {
    for (int x = 0; x < kStillSide; ++x) {
      for (int p = 0; p < kStillPlaneCount; ++p) {
        ASSERT_EQ(planes.At(p, y, x), p == SiteColour(y, x) ? raw.At(y, x) : 0) << y << "," << x;
      }
    }
  }
}

TEST(SplitFields, PairSmoothingFollowsAStripePatternUnderOptionV1Only) {
  const Planes smoothed = Split(Stripes(10, 100), 1);
  EXPECT_EQ(smoothed.At(kGreenPlane, 0, 0), 10);  // the flag starts cleared
  EXPECT_EQ(smoothed.At(kBluePlane, 0, 1), 100);
  for (int x : {2, 510}) {
    EXPECT_EQ(smoothed.At(kGreenPlane, 0, x), 55);
    EXPECT_EQ(smoothed.At(kBluePlane, 0, x + 1), 55);
    EXPECT_EQ(smoothed.At(kRedPlane, 1, x), 55);
    EXPECT_EQ(smoothed.At(kGreenPlane, 1, x + 1), 55);
  }
  EXPECT_EQ(smoothed.At(kGreenPlane, 2, 0), 55);  // the flag carries across lines
  for (uint32_t option : {0u, 2u}) {
    EXPECT_EQ(Split(Stripes(10, 100), option).At(kGreenPlane, 0, 200), 10) << option;
  }
  // Strict ratios: exactly 2.25 is no stripe.
  EXPECT_EQ(Split(Stripes(4, 9), 1).At(kGreenPlane, 0, 200), 4);
}

TEST(SplitFields, LookAheadOfTheLastPairIsTheNextLinesStart) {
  RawFrame raw = Stripes(10, 100);
  // Line 1 starts with a pair that is no stripe: the last pair of line 0
  // sees it and clears the flag, so line 1's first pair stays as read.
  for (int y : {2, 3}) {
    raw.At(y, 0) = 40;
    raw.At(y, 1) = 60;
  }
  const Planes planes = Split(raw, 1);
  EXPECT_EQ(planes.At(kGreenPlane, 0, 510), 55);
  EXPECT_EQ(planes.At(kGreenPlane, 2, 0), 40);
  EXPECT_EQ(planes.At(kRedPlane, 3, 0), 40);
}

int Estimate(int left, int right, int up, int down) {
  std::vector<int16_t> green(3 * kStillSide, 0);
  green[kStillSide + 0] = static_cast<int16_t>(left);
  green[kStillSide + 2] = static_cast<int16_t>(right);
  green[1] = static_cast<int16_t>(up);
  green[2 * kStillSide + 1] = static_cast<int16_t>(down);
  return GreenEstimate(green.data(), 1, 1);
}

TEST(GreenEstimate, ChoosesTheFlatAxisOrTheMiddleTwo) {
  EXPECT_EQ(Estimate(100, 102, 90, 101), 101);  // 5h < v: horizontal
  EXPECT_EQ(Estimate(100, 102, 90, 100), 100);  // 5h == v: middle two
  EXPECT_EQ(Estimate(90, 101, 100, 102), 101);  // 5v < h: vertical
  EXPECT_EQ(Estimate(50, 50, 100, 105), 50);    // h 0, v 5: horizontal
  EXPECT_EQ(Estimate(50, 50, 100, 104), 75);    // h 0, v 4: middle two
  EXPECT_EQ(Estimate(10, 15, 80, 80), 80);      // v 0, h 5: vertical
  EXPECT_EQ(Estimate(-3, 0, 100, 200), -2);     // arithmetic halving
}

TEST(DemosaicStill, LinearSceneIsRecoveredInTheInterior) {
  // Green a plane in x and y, red and blue at fixed offsets from it.
  auto green = [](int y, int x) { return 2 * x + 3 * y + 10; };
  RawFrame raw;
  for (int y = 0; y < kStillSide; ++y) {
    for (int x = 0; x < kStillSide; ++x) {
      const int colour = SiteColour(y, x);
      raw.At(y, x) = static_cast<int16_t>(green(y, x) + (colour == kRedPlane    ? 20
                                                         : colour == kBluePlane ? -5
                                                                                : 0));
    }
  }
  const Planes planes = Demosaic(raw);
  for (int y = 2; y <= 509; ++y) {
    for (int x = 2; x <= 510; ++x) {  // columns 0, 1 and 511 copy a neighbour
      ASSERT_EQ(planes.At(kGreenPlane, y, x), green(y, x)) << y << "," << x;
      ASSERT_EQ(planes.At(kRedPlane, y, x), green(y, x) + 20) << y << "," << x;
      ASSERT_EQ(planes.At(kBluePlane, y, x), green(y, x) - 5) << y << "," << x;
    }
  }
}

// Sites of `plane` that change when one sample of a flat frame rises by 100.
std::vector<std::pair<int, int>> SpikeFootprint(int plane, int row, int column) {
  RawFrame flat;
  for (int16_t& s : flat.samples) s = 60;
  RawFrame spiked = flat;
  spiked.At(row, column) = 160;
  const Planes a = Demosaic(flat), b = Demosaic(spiked);
  std::vector<std::pair<int, int>> changed;
  for (int y = 0; y < kStillSide; ++y) {
    for (int x = 0; x < kStillSide; ++x) {
      if (b.At(plane, y, x) != a.At(plane, y, x)) {
        EXPECT_EQ(b.At(plane, y, x) - a.At(plane, y, x), 100);
        changed.emplace_back(y, x);
      }
    }
  }
  return changed;
}

TEST(DemosaicStill, RedAndBlueTakeOneNeighbourEachNeverAnAverage) {
  // Red reaches the sites whose right, upper or upper-right neighbour it is;
  // blue, the mirror, those whose right, lower or lower-left neighbour it is.
  const std::vector<std::pair<int, int>> red = {{3, 3}, {3, 4}, {4, 3}, {4, 4}};
  EXPECT_EQ(SpikeFootprint(kRedPlane, 3, 4), red);
  const std::vector<std::pair<int, int>> blue = {{3, 4}, {3, 5}, {4, 4}, {4, 5}};
  EXPECT_EQ(SpikeFootprint(kBluePlane, 4, 5), blue);
}

}  // namespace
}  // namespace vobrex
