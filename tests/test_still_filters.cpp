#include <gtest/gtest.h>

#include <vector>

#include "capture/still_filters.h"
#include "platform/memory.h"

namespace vobrex {
namespace {

// A width x height image of three bytes a pixel.
struct Picture {
  int width;
  int height;
  std::vector<uint8_t> bytes;
  Picture(int w, int h, uint8_t fill = 0)
      : width(w), height(h), bytes(static_cast<std::size_t>(w) * h * 3, fill) {}
  uint8_t& At(int row, int x, int c) {
    return bytes[(static_cast<std::size_t>(row) * width + x) * 3 + c];
  }
  void Noise(uint32_t seed) {
    for (uint8_t& b : bytes) {
      seed = seed * 1103515245u + 12345u;
      b = static_cast<uint8_t>(seed >> 16);
    }
  }
};

using Filter = int (*)(uint8_t*, int32_t, int32_t);
constexpr Filter kFilters[] = {StillFilterA, StillFilterB, StillFilterC};

TEST(StillFilters, RefuseHeightNotMultipleOfFourAndFailedCopy) {
  for (Filter filter : kFilters) {
    Picture p(8, 482);
    p.Noise(1);
    const std::vector<uint8_t> before = p.bytes;
    EXPECT_EQ(filter(p.bytes.data(), p.width, p.height), 0);
    EXPECT_EQ(p.bytes, before);

    Picture q(8, 16);
    q.Noise(2);
    const std::vector<uint8_t> unchanged = q.bytes;
    FailAllocation(1);
    EXPECT_EQ(filter(q.bytes.data(), q.width, q.height), 0);
    FailAllocation(0);
    EXPECT_EQ(q.bytes, unchanged);
  }
}

TEST(StillFilters, UniformImageUnchanged) {
  for (Filter filter : kFilters) {
    Picture p(16, 12, 77);
    EXPECT_EQ(filter(p.bytes.data(), p.width, p.height), 1);
    EXPECT_EQ(p.bytes, std::vector<uint8_t>(p.bytes.size(), 77));
  }
}

TEST(DropMinMax, ZeroesLastMinimumAndMaximum) {
  int32_t v[4] = {10, 50, 20, 40};
  DropMinMax(v, 4);
  EXPECT_EQ(v[0] + v[1] + v[2] + v[3], 60);
  int32_t equal[4] = {3, 7, 3, 7};
  DropMinMax(equal, 4);
  EXPECT_EQ(equal[0], 3);
  EXPECT_EQ(equal[1], 7);
  EXPECT_EQ(equal[2], 0);
  EXPECT_EQ(equal[3], 0);
}

TEST(StillFilterA, MiddleTwoOfFourRowsAndKeptBorders) {
  Picture p(4, 8);
  p.Noise(3);
  const uint8_t column[4] = {10, 50, 20, 40};
  for (int r = 0; r < 4; ++r) p.At(r, 0, 1) = column[r];
  Picture original = p;
  EXPECT_EQ(StillFilterA(p.bytes.data(), p.width, p.height), 1);
  EXPECT_EQ(p.At(0, 0, 1), 30);
  // Row 1 from rows 1..4, all read from the unfiltered copy.
  int32_t v[4] = {50, 20, 40, original.At(4, 0, 1)};
  DropMinMax(v, 4);
  EXPECT_EQ(p.At(1, 0, 1), (v[0] + v[1] + v[2] + v[3]) >> 1);
  for (int r = 0; r < 8; ++r) {
    for (int c = 0; c < 3; ++c) EXPECT_EQ(p.At(r, 3, c), original.At(r, 3, c));
  }
  for (int r = 2; r < 8; ++r) {
    for (int x = 0; x < 4; ++x) {
      for (int c = 0; c < 3; ++c) EXPECT_EQ(p.At(r, x, c), original.At(r, x, c));
    }
  }
}

TEST(StillFilterB, GreenOnlyBetweenRowsInsideBorders) {
  Picture p(6, 8);
  p.Noise(4);
  Picture original = p;
  EXPECT_EQ(StillFilterB(p.bytes.data(), p.width, p.height), 1);
  for (int r = 0; r < 8; ++r) {
    for (int x = 0; x < 6; ++x) {
      EXPECT_EQ(p.At(r, x, 0), original.At(r, x, 0));
      EXPECT_EQ(p.At(r, x, 2), original.At(r, x, 2));
      const bool inside = r <= 5 && x >= 1 && x <= 4;
      const int expected =
          inside ? (original.At(r, x, 1) + original.At(r + 1, x, 1)) >> 1 : original.At(r, x, 1);
      EXPECT_EQ(p.At(r, x, 1), expected) << r << "," << x;
    }
  }
}

// Greens 8 x 40 and a centre of 44: mean 40, mean deviation 4 / 9 = 0, so the
// centre lies beyond the green limit of 0 and only a dominant red lets it be
// smoothed.
TEST(StillFilterC, RedDominanceDecidesFlatness) {
  for (const int red : {100, 200}) {
    Picture p(3, 4);
    for (int r = 0; r < 4; ++r) {
      for (int x = 0; x < 3; ++x) {
        p.At(r, x, 0) = 30;
        p.At(r, x, 1) = 40;
        p.At(r, x, 2) = static_cast<uint8_t>(red);
      }
    }
    p.At(1, 1, 1) = 44;
    EXPECT_EQ(StillFilterC(p.bytes.data(), p.width, p.height), 1);
    EXPECT_EQ(p.At(1, 1, 1), red > 4 * 40 ? 40 : 44) << "red " << red;
    EXPECT_EQ(p.At(1, 1, 0), 30);
    EXPECT_EQ(p.At(1, 1, 2), red);
  }
}

TEST(StillFilterC, SmallSpreadSmoothedToMean) {
  Picture p(3, 4, 100);
  const uint8_t greens[9] = {98, 100, 102, 102, 103, 98, 100, 98, 102};  // mean 100, deviation 1
  for (int k = 0; k < 9; ++k) p.At(k / 3, k % 3, 1) = greens[k];
  EXPECT_EQ(StillFilterC(p.bytes.data(), p.width, p.height), 1);
  EXPECT_EQ(p.At(1, 1, 1), 100);
  EXPECT_EQ(p.At(0, 0, 1), 98);  // borders keep their values
}

}  // namespace
}  // namespace vobrex
