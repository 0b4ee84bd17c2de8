// The six output resamplers of the high-resolution path: weights, loop
// counts, truncation, orientation and the size rule.
#include <gtest/gtest.h>

#include <functional>
#include <random>
#include <vector>

#include "hires/hires_resample.h"
#include "hires/work_grid.h"

namespace vobrex {
namespace {

struct Member {
  HiresResampler which;
  int width;
  int height;
  bool grey;
};
constexpr Member kMembers[] = {
    {HiresResampler::kB0, 1260, 960, false}, {HiresResampler::kB1, 1016, 768, false},
    {HiresResampler::kB2, 848, 640, false},  {HiresResampler::kA0, 1260, 960, true},
    {HiresResampler::kA1, 1016, 768, true},  {HiresResampler::kA2, 848, 640, true}};

class ResampleTest : public ::testing::Test {
 protected:
  Owned<int16_t> block_ = AllocateWorkGrid();
  WorkGrid grid_ = GridOf(block_);

  void Fill(int plane, const std::function<int(int row, int col)>& value) {
    for (int row = 0; row < kGridSide; ++row) {
      for (int col = 0; col < kGridSide; ++col) {
        grid_.At(plane, row, col) = static_cast<int16_t>(value(row, col));
      }
    }
  }
  std::vector<uint16_t> Run(HiresResampler which, int width, int height, int orientation) {
    std::vector<uint16_t> out(static_cast<size_t>(width) * height * 3, 0xABCD);
    EXPECT_TRUE(ResampleFits(which, width, height, orientation, uint32_t(out.size())));
    Resample(grid_, which, width, height, orientation, out.data());
    return out;
  }
};

// Component c (0 blue, 1 green, 2 red) of output pixel (x, y), y counted
// from the start of the buffer.
uint16_t Component(const std::vector<uint16_t>& out, int width, int x, int y, int c) {
  return out[(static_cast<size_t>(y) * width + x) * 3 + c];
}

TEST_F(ResampleTest, ConstantPlanesComeOutExactlyInEveryMember) {
  Fill(kRedPlane, [](int, int) { return 100; });
  Fill(kGreenPlane, [](int, int) { return 200; });
  Fill(kBluePlane, [](int, int) { return 50; });
  for (const Member& m : kMembers) {
    const std::vector<uint16_t> out = Run(m.which, m.width, m.height, 2);
    long wrong = 0;
    for (size_t i = 0; i < out.size(); i += 3) {
      if (m.grey) {
        wrong += out[i] != 150 || out[i + 1] != 150 || out[i + 2] != 150;
      } else {
        wrong += out[i] != 50 || out[i + 1] != 200 || out[i + 2] != 100;
      }
    }
    EXPECT_EQ(wrong, 0) << m.width << (m.grey ? " grey" : " colour");
  }
}

TEST_F(ResampleTest, LinearRampsLandAtTheStatedGridPositions) {
  // 5 x column: B0 samples column 4 + 0.8 x, B2's plain rows 2 + 1.2 x.
  Fill(kRedPlane, [](int, int col) { return 5 * col; });
  // 4 x row: B1 samples row 8 + 1.25 y.
  Fill(kGreenPlane, [](int row, int) { return 4 * row; });
  std::vector<uint16_t> out = Run(HiresResampler::kB0, 1260, 960, 1);
  for (int x = 0; x < 1260; ++x) ASSERT_EQ(Component(out, 1260, x, 7, 2), 20 + 4 * x) << x;
  out = Run(HiresResampler::kB1, 1016, 768, 1);
  for (int y = 0; y < 768; ++y) ASSERT_EQ(Component(out, 1016, 9, y, 1), 32 + 5 * y) << y;
  out = Run(HiresResampler::kB2, 848, 640, 1);
  for (int x = 0; x < 848; ++x) {
    ASSERT_EQ(Component(out, 848, x, 4, 2), 10 + 6 * x) << x;
    ASSERT_EQ(Component(out, 848, x, 6, 2), 10 + 6 * x) << x;
  }
}

TEST_F(ResampleTest, MixedRowsOfTheSmallestSizeUseDiagonalPairs) {
  Fill(kBluePlane, [](int row, int col) { return 16 * row + col; });
  const std::vector<uint16_t> out = Run(HiresResampler::kB2, 848, 640, 1);
  // Group q = 2: grid rows 20..25; group g = 3: grid columns 20..25.
  auto z = [](int r, int k) { return 16 * (20 + r) + 20 + k; };
  auto at = [&](int m, int y) { return int(Component(out, 848, 15 + m, y, 0)); };
  EXPECT_EQ(at(0, 9), z(2, 0));  // the lower row starts row 4q + 1
  EXPECT_EQ(at(1, 9), (z(1, 1) + z(2, 2)) / 2);
  EXPECT_EQ(at(2, 9), (z(1, 3) + z(2, 2)) / 2);
  EXPECT_EQ(at(4, 9), (z(1, 5) + z(2, 4)) / 2);
  EXPECT_EQ(at(0, 11), z(4, 0));  // the upper row starts row 4q + 3
  EXPECT_EQ(at(1, 11), (z(4, 2) + z(5, 1)) / 2);
  EXPECT_EQ(at(3, 11), (z(4, 4) + z(5, 3)) / 2);
  EXPECT_EQ(at(4, 11), (z(4, 4) + z(5, 5)) / 2);
  EXPECT_EQ(at(2, 10), (3 * z(3, 2) + 2 * z(3, 3)) / 5);
}

TEST_F(ResampleTest, NegativeSumsTruncateTowardZero) {
  Fill(kRedPlane, [](int, int) { return -1; });
  Fill(kGreenPlane, [](int, int col) { return col % 4 == 0 ? -3 : 0; });
  const std::vector<uint16_t> out = Run(HiresResampler::kB0, 1260, 960, 1);
  EXPECT_EQ(Component(out, 1260, 1, 0, 2), 0xFFFF);  // (-1 + 4 x -1) / 5 = -1
  EXPECT_EQ(Component(out, 1260, 0, 0, 1), 0xFFFD);  // X(0) = -3, stored as 16 bits
  EXPECT_EQ(Component(out, 1260, 1, 0, 1), 0);       // (-3 + 0) / 5 = 0
  EXPECT_EQ(Component(out, 1260, 4, 0, 1), 0);       // (0 - 3) / 5 = 0
  // Grey truncates the mix too: (2 x -1 + 0 + 0) / 7 = 0.
  const std::vector<uint16_t> grey = Run(HiresResampler::kA0, 1260, 960, 1);
  EXPECT_EQ(Component(grey, 1260, 1, 0, 0), 0);
}

TEST_F(ResampleTest, OrientationDecidesRowAndColumnOrder) {
  Fill(kRedPlane, [](int row, int) { return row; });
  Fill(kGreenPlane, [](int, int col) { return col; });
  const int w = 1260, h = 960;
  // 2 (the default): the first computed row is the last in the buffer.
  std::vector<uint16_t> out = Run(HiresResampler::kB0, w, h, 2);
  EXPECT_EQ(Component(out, w, 0, h - 1, 2), 8);
  EXPECT_EQ(Component(out, w, 0, 0, 2), 967);
  EXPECT_EQ(Component(out, w, 0, 0, 1), 4);
  out = Run(HiresResampler::kB0, w, h, 1);
  EXPECT_EQ(Component(out, w, 0, 0, 2), 8);
  EXPECT_EQ(Component(out, w, w - 1, 0, 1), 1011);
  out = Run(HiresResampler::kB0, w, h, 3);
  EXPECT_EQ(Component(out, w, 0, 0, 2), 8);
  EXPECT_EQ(Component(out, w, 0, 0, 1), 1011);
  EXPECT_EQ(Component(out, w, w - 1, 0, 1), 4);
  for (int code : {4, 0, 9}) {
    out = Run(HiresResampler::kB0, w, h, code);
    EXPECT_EQ(Component(out, w, w - 1, h - 1, 2), 8) << code;
    EXPECT_EQ(Component(out, w, w - 1, h - 1, 1), 4) << code;
  }
}

TEST_F(ResampleTest, GreyMembersMixTheirColourTwinsValues) {
  std::mt19937 random(7);
  for (int plane = 0; plane < 3; ++plane) {
    Fill(plane, [&](int, int) { return int(random() % 2000) - 1000; });
  }
  for (int i = 0; i < 3; ++i) {
    const Member& colour = kMembers[i];
    const Member& grey = kMembers[i + 3];
    const std::vector<uint16_t> c = Run(colour.which, colour.width, colour.height, 4);
    const std::vector<uint16_t> g = Run(grey.which, grey.width, grey.height, 4);
    long wrong = 0;
    for (size_t p = 0; p < c.size(); p += 3) {
      const int level = (2 * int16_t(c[p + 2]) + 4 * int16_t(c[p + 1]) + int16_t(c[p])) / 7;
      wrong += g[p] != uint16_t(level) || g[p + 1] != g[p] || g[p + 2] != g[p];
    }
    EXPECT_EQ(wrong, 0) << colour.width;
  }
}

TEST(ResampleFitsTest, WritesMustStayInsideTheBufferAndReadsInsideTheGrid) {
  for (const Member& m : kMembers) {
    const uint32_t bytes = uint32_t(m.width) * m.height * 3;
    for (int orientation = 1; orientation <= 4; ++orientation) {
      EXPECT_TRUE(ResampleFits(m.which, m.width, m.height, orientation, bytes));
      EXPECT_FALSE(ResampleFits(m.which, m.width, m.height, orientation, bytes - 1));
    }
  }
  // Width 1264: phase 4 runs (W + 1) / 5 = 253 times, one pixel past the
  // row; it fits left to right with three spare components, never right to left.
  const uint32_t exact = 1264u * 960 * 3;
  EXPECT_FALSE(ResampleFits(HiresResampler::kB0, 1264, 960, 1, exact));
  EXPECT_TRUE(ResampleFits(HiresResampler::kB0, 1264, 960, 1, exact + 3));
  EXPECT_FALSE(ResampleFits(HiresResampler::kB0, 1264, 960, 3, exact + 3));
  // Taller than the grid: the reads would leave the green plane.
  EXPECT_FALSE(ResampleFits(HiresResampler::kB0, 1260, 1017, 2, 0xFFFFFFFFu));
  EXPECT_TRUE(ResampleFits(HiresResampler::kB0, 1260, 1016, 2, 0xFFFFFFFFu));
  // Nothing to compute.
  EXPECT_TRUE(ResampleFits(HiresResampler::kB1, 0, 768, 2, 0));
  EXPECT_TRUE(ResampleFits(HiresResampler::kB2, 848, -5, 2, 0));
}

}  // namespace
}  // namespace vobrex
