// Demosaic of the two-field still read-out: field split and pair smoothing,
// green estimation, red and blue completion by colour difference.
#include <gtest/gtest.h>

#include <vector>

#include "platform/cpu_features.h"
#include "still/still_demosaic.h"
#include "still/still_planes.h"

namespace vobrex {
namespace {

using Samples = std::vector<int16_t>;

// A raw frame whose sensor site (row, column) reads f(row, column): field 1
// carries the even rows, field 2 the odd ones.
template <class F>
Samples Frame(F f) {
  Samples raw(kStillFrameSamples);
  for (int i = 0; i < kStillFrameSamples; ++i)
    raw[i] = int16_t(f(i / kStillSide % kFieldLines * 2 + i / kFieldSamples, i % kStillSide));
  return raw;
}

// The planes after `step` (SplitFields alone or the whole DemosaicStill).
Samples Planes(const Samples& raw, uint32_t v, void (*step)(const int16_t*, int16_t*, uint32_t)) {
  Samples planes(kStillPlanesAllocation, 0);
  step(raw.data(), planes.data(), v);
  return planes;
}

int At(const Samples& planes, int p, int y, int x) { return planes[PlaneIndex(p, y, x)]; }
constexpr int R = kRedPlane, B = kBluePlane, G = kGreenPlane;

// Under optionV 1 a pixel-pitch stripe pattern smooths the pair after it:
// each field's two samples become their mean. The flag starts cleared and
// carries from a line's last pair to the next line's first, which the last
// pair sees as its look-ahead: here line 1 starts with no stripe (40, 60).
// Ratios are strict: 9 against 4 (exactly 2.25) is no stripe.
TEST(SplitFields, PairSmoothingFollowsAStripePattern) {
  auto stripes = [](int d, int b) {
    return Frame([=](int y, int x) { return y / 2 == 1 && x < 2 ? 40 + 20 * x : x % 2 ? b : d; });
  };
  const Samples planes = Planes(stripes(10, 100), 1, SplitFields);
  const int checks[][4] = {{G, 0, 0, 10},   {G, 0, 2, 55}, {B, 0, 3, 55}, {R, 1, 2, 55},
                           {G, 0, 510, 55}, {G, 2, 0, 40}, {R, 3, 0, 40}, {G, 4, 0, 55}};
  for (const auto& c : checks) EXPECT_EQ(At(planes, c[0], c[1], c[2]), c[3]) << c[1] << "," << c[2];
  for (auto [d, b, v, g] : {std::tuple{10, 100, 0u, 10}, {10, 100, 2u, 10}, {4, 9, 1u, 4}})
    EXPECT_EQ(At(Planes(stripes(d, b), v, SplitFields), G, 0, 200), g) << d << " " << v;
}

// Green at a red or blue site from left, right, up, down: the axis that
// changes far less wins (5 h < v, or h 0 and v at least 5), else the mean of
// the middle two; halving is an arithmetic shift.
TEST(GreenEstimate, ChoosesTheFlatAxisOrTheMiddleTwo) {
  const int16_t cases[][5] = {{100, 102, 90, 101, 101}, {100, 102, 90, 100, 100},
                              {90, 101, 100, 102, 101}, {50, 50, 100, 105, 50},
                              {50, 50, 100, 104, 75},   {10, 15, 80, 80, 80},
                              {-3, 0, 100, 200, -2}};
  for (const auto& c : cases) {
    Samples green(3 * kStillSide, 0);  // rows 0..2 around site (1, 1)
    green[512] = c[0], green[514] = c[1], green[1] = c[2], green[1025] = c[3];
    EXPECT_EQ(GreenEstimate(green.data(), 1, 1), c[4]) << c[0] << "," << c[1];
  }
}

// Green a plane in x and y, red 20 above it, blue 5 below.
int Linear(int y, int x) { return 2 * x + 3 * y + 10 + (y & ~x & 1) * 20 - (~y & x & 1) * 5; }

// The interior is recovered exactly (columns 0, 1 and 511 copy a
// neighbour). Red and blue come by colour difference from one neighbour
// each, never an average: a red spike reaches the sites whose right, upper
// or upper-right neighbour it is, a blue one, the mirror, those whose right,
// lower or lower-left neighbour it is; each by the full 100.
TEST(DemosaicStill, LinearSceneAndOneNeighbourColourDifferences) {
  const Samples planes = Planes(Frame(Linear), 0, DemosaicStill);
  const int offset[3] = {20, -5, 0};  // red, blue, green planes
  for (int p = 0; p < 3; ++p)
    for (int y = 2; y <= 509; ++y)
      for (int x = 2; x <= 510; ++x)
        ASSERT_EQ(At(planes, p, y, x), 2 * x + 3 * y + 10 + offset[p]) << p << " " << y << "," << x;
  for (auto [plane, row, column, top] : {std::tuple{R, 3, 4, 3}, {B, 4, 5, 3}}) {
    const Samples spiked =
        Planes(Frame([&](int y, int x) { return Linear(y, x) + 100 * (y == row && x == column); }),
               0, DemosaicStill);
    std::vector<int> changed;
    for (int i = plane * kStillPlaneValues; i < (plane + 1) * kStillPlaneValues; ++i)
      if (spiked[i] != planes[i])
        changed.push_back(spiked[i] - planes[i] == 100 ? i % kStillPlaneValues : -1);
    // Rows top and top + 1, columns column - 1 and column.
    const int corner = top * kStillSide + column - 1;
    EXPECT_EQ(changed, (std::vector<int>{corner, corner + 1, corner + 512, corner + 513})) << plane;
  }
}

// The vector steps on samples that stress them: the full 16-bit range
// (differences up to 65535, sums past 16 bits, wrapping colour
// differences) and small values whose differences sit at the thresholds of
// the estimate (0, 5 and the 5 : 1 ratio). Every plane value equals the
// portable code's, with and without the pair smoothing.
TEST(DemosaicStill, VectorStepsMatchThePortableOnes) {
  if (SupportedSimdLevel() != SimdLevel::kAvx512) GTEST_SKIP() << "no AVX-512";
  uint32_t seed = 12345;
  auto next = [&seed] { return seed = seed * 1664525u + 1013904223u, int(seed >> 8); };
  const Samples wide = Frame([&](int, int) { return int16_t(next()); });
  const Samples narrow = Frame([&](int, int) { return next() % 13 - 3; });
  const SimdLevel before = ActiveSimdLevel();
  for (const Samples* raw : {&wide, &narrow})
    for (uint32_t v : {0u, 1u}) {
      SetSimdLevel(SimdLevel::kScalar);
      const Samples portable = Planes(*raw, v, DemosaicStill);
      SetSimdLevel(SimdLevel::kAvx512);
      const Samples vector = Planes(*raw, v, DemosaicStill);
      for (std::size_t i = 0; i < portable.size(); ++i)
        ASSERT_EQ(vector[i], portable[i]) << (raw == &wide) << v << " at " << i;
    }
  SetSimdLevel(before);
}

// Without the pair smoothing the row steps may read the field lines in place
// of split rows: each row they write equals the row DemosaicStill leaves, on
// wide (wrapping) and narrow samples, on both code paths. Rows 3 to 508 are
// the ones whose lines lie inside the frame; red and blue of the other
// parity read their filled neighbour row from the demosaiced planes.
TEST(DemosaicStill, StepsFromFieldLinesFillTheRowsOfTheSplit) {
  uint32_t seed = 777;
  auto next = [&seed] { return seed = seed * 1664525u + 1013904223u, int(seed >> 8); };
  const Samples wide = Frame([&](int, int) { return int16_t(next()); });
  const Samples narrow = Frame([&](int, int) { return next() % 13 - 3; });
  const SimdLevel before = ActiveSimdLevel();
  for (SimdLevel level : {SimdLevel::kScalar, SupportedSimdLevel()}) {
    SetSimdLevel(level);
    for (const Samples* raw : {&wide, &narrow}) {
      const Samples full = Planes(*raw, 0, DemosaicStill);
      Samples row(kStillSide);
      auto same = [&](int p, int y) {
        for (int x = 0; x < kStillSide; ++x)
          if (row[x] != At(full, p, y, x)) return false;
        return true;
      };
      // The line of row y: field y % 2, line y / 2.
      auto line = [raw](int y) {
        return raw->data() + (y % 2) * 256 * kStillSide + y / 2 * kStillSide;
      };
      GreenSiteRows sites;  // the rows in order, as a stream takes them
      for (int y = 3; y <= 508; ++y) {
        const int16_t* green = full.data() + PlaneIndex(G, y, 0);
        FillGreenRowFromSites(sites, line(y - 1), line(y), line(y + 1), row.data(), y);
        EXPECT_TRUE(same(G, y)) << "green from gathered sites " << y;
        FillGreenRowFromLines(raw->data(), row.data(), y);
        EXPECT_TRUE(same(G, y)) << "green " << y;
        if (y % 2 == 1) {
          FillRedRowFromLine(raw->data(), row.data(), green, y);
          EXPECT_TRUE(same(R, y)) << "red " << y;
        } else {
          FillBlueRowFromLine(raw->data(), row.data(), green, y);
          EXPECT_TRUE(same(B, y)) << "blue " << y;
        }
      }
    }
  }
  SetSimdLevel(before);
}

}  // namespace
}  // namespace vobrex
