#include <gtest/gtest.h>

#include <vector>

#include "capture/still_filters.h"
#include "platform/memory.h"

namespace vobrex {
namespace {

using Bytes = std::vector<uint8_t>;

// w x h pixels of three bytes of noise.
Bytes Noise(int w, int h, uint32_t seed) {
  Bytes bytes(std::size_t(w) * h * 3);
  for (uint8_t& b : bytes) b = uint8_t((seed = seed * 1103515245u + 12345u) >> 16);
  return bytes;
}

// Each filter: a height of 482 (not a multiple of 4) or a failed copy
// leave the image as it is and return 0; a uniform image stays uniform.
TEST(StillFilters, RefusalsAndUniformImages) {
  for (int n = 0; n < 9; ++n) {
    const auto filter = n < 3 ? StillFilterA : n < 6 ? StillFilterB : StillFilterC;
    Bytes p = n % 3 == 2 ? Bytes(8 * 12 * 3, 77) : Noise(8, n % 3 ? 12 : 482, n);
    const Bytes before = p;
    FailAllocation(n % 3 == 1);  // the copy; every third round switches the hook off
    EXPECT_EQ(filter(p.data(), 8, int(p.size() / 24)), n % 3 == 2 ? 1 : 0);
    EXPECT_EQ(p, before) << n;
  }
}

// DropMinMax zeroes the last of equal minima and maxima. On 6 x 8 pixels:
// StillFilterA writes each component as the mean of the middle two of four
// rows down its column, read from the unfiltered copy (10, 50, 20, 40 give
// 30, the next row's 50, 20, 40, 90 give 45), and keeps the last column and
// the last six rows. StillFilterB writes green as the mean of itself and
// the pixel below; blue and red, the first and last columns and the last two
// rows keep their values.
TEST(StillFilters, FiltersAAndB) {
  int32_t equal[4] = {3, 7, 3, 7};
  DropMinMax(equal, 4);
  EXPECT_EQ(std::vector<int32_t>(equal, equal + 4), (std::vector<int32_t>{3, 7, 0, 0}));
  Bytes original = Noise(6, 8, 3);
  // Green of column 0, rows 0..4.
  original[1] = 10, original[19] = 50, original[37] = 20, original[55] = 40, original[73] = 90;
  Bytes a = original, b = original;
  EXPECT_EQ(StillFilterA(a.data(), 6, 8), 1);
  EXPECT_EQ(StillFilterB(b.data(), 6, 8), 1);
  EXPECT_EQ(a[1], 30);
  EXPECT_EQ(a[18 + 1], 45);
  for (std::size_t i = 0; i < original.size(); ++i) {
    const std::size_t r = i / 18, x = i % 18 / 3;
    EXPECT_TRUE((r < 2 && x < 5) || a[i] == original[i]) << r << "," << x;
    const bool inside = i % 3 == 1 && r <= 5 && x >= 1 && x <= 4;
    EXPECT_EQ(b[i], inside ? (original[i] + original[i + 18]) >> 1 : original[i]) << r << "," << x;
  }
}

// On 3 x 4 pixels (blue 30), the interior pixels (1, 1) and (2, 1). Greens 40
// with 44 at (1, 1): mean 40, mean deviation 4 / 9 = 0, so 44 lies beyond the
// green limit of 0 and only a dominant red (above 4 x 40) lets the centre be
// smoothed. A small spread (deviation 1) is smoothed to the truncated mean.
// Blue and red never change.
TEST(StillFilterC, FlatNeighbourhoodsTakeTheMeanGreen) {
  const uint8_t spike[12] = {40, 40, 40, 40, 44, 40, 40, 40, 40, 40, 40, 40};
  const uint8_t spread[12] = {98, 100, 102, 102, 103, 98, 100, 98, 102, 98, 100, 102};
  for (auto [red, greens, green11, green21] :
       {std::tuple{100, spike, 44, 40}, {200, spike, 40, 40}, {100, spread, 100, 100}}) {
    Bytes p(3 * 4 * 3);
    for (int i = 0; i < 12; ++i) p[3 * i] = 30, p[3 * i + 1] = greens[i], p[3 * i + 2] = red;
    Bytes expected = p;
    expected[3 * 4 + 1] = green11, expected[3 * 7 + 1] = green21;
    EXPECT_EQ(StillFilterC(p.data(), 3, 4), 1);
    EXPECT_EQ(p, expected) << red << " " << int(greens[0]);
  }
}

}  // namespace
}  // namespace vobrex
