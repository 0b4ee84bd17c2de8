// The six still kernels: resampling weights, the wrap at the row end, the
// orientations and the output contents.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "still/still_kernels.h"
#include "still/still_planes.h"

namespace vobrex {
namespace {

struct Planes {
  std::vector<int16_t> values = std::vector<int16_t>(kStillPlanesAllocation, 0);
  int16_t& At(int plane, int row, int column) { return values[PlaneIndex(plane, row, column)]; }
  // Sets every site of the planes in `which` to f(plane, row, column).
  template <class F>
  void Set(std::initializer_list<int> which, F f) {
    for (int p : which) {
      for (int y = 0; y < kStillSide; ++y) {
        for (int x = 0; x < kStillSide; ++x) At(p, y, x) = static_cast<int16_t>(f(p, y, x));
      }
    }
  }
};

Planes RandomPlanes(unsigned seed) {
  std::mt19937 rng(seed);
  Planes planes;
  planes.Set({0, 1, 2}, [&](int, int, int) { return int(rng() % 3300) - 300; });
  return planes;
}

// One kernel with one content (outputFormat, optionQ).
struct Picture {
  std::string name;
  int width, height, format, optionQ;
  std::vector<uint16_t> Convert(const Planes& planes, int orientation) const {
    CameraModes modes{};
    modes.outputFormat = static_cast<uint8_t>(format);
    modes.optionQ = static_cast<uint8_t>(optionQ);
    std::vector<uint16_t> out(static_cast<std::size_t>(width) * height * 3, 0xBEEF);
    const int16_t* in = planes.values.data();
    const std::string kernel = name.substr(0, name.find('/'));
    if (kernel == "Grey640") StillToGrey(in, out.data(), orientation);
    if (kernel == "Grey480") StillToGrey480(in, out.data(), orientation);
    if (kernel == "Grey320") StillToGrey320(in, out.data(), orientation);
    if (kernel == "Colour640") StillToColour(modes, in, out.data(), orientation);
    if (kernel == "Colour480") StillToColour480(modes, in, out.data(), orientation);
    if (kernel == "Colour320") StillToColour320(modes, in, out.data(), orientation);
    return out;
  }
  // Component k (0 blue, 1 green, 2 red) of picture pixel (r, c), upright.
  int Upright(const std::vector<uint16_t>& out, int r, int c, int k) const {
    return out[(static_cast<std::size_t>(height - 1 - r) * width + c) * 3 + k];
  }
};

std::vector<Picture> AllPictures() {
  std::vector<Picture> all = {
      {"Grey640", 640, 480, 2, 0}, {"Grey480", 480, 360, 2, 0}, {"Grey320", 320, 240, 2, 0}};
  for (auto [name, w, h] : {std::tuple{"Colour640", 640, 480}, std::tuple{"Colour480", 480, 360},
                            std::tuple{"Colour320", 320, 240}}) {
    all.push_back({std::string(name) + "/colour", w, h, 1, 0});
    all.push_back({std::string(name) + "/green", w, h, 0, 1});
    all.push_back({std::string(name) + "/mean", w, h, 0, 0});
  }
  return all;
}

Picture Find(const std::string& name) {
  for (const Picture& p : AllPictures()) {
    if (p.name == name) return p;
  }
  ADD_FAILURE() << name;
  return {};
}

TEST(StillKernels, FlatFieldStaysFlatInEveryContent) {
  for (int v : {200, -3}) {
    Planes planes;
    planes.Set({0, 1, 2}, [v](int, int, int) { return v; });
    for (const Picture& p : AllPictures()) {
      for (int orientation : {2, 3}) {
        const std::vector<uint16_t> out = p.Convert(planes, orientation);
        EXPECT_TRUE(std::all_of(out.begin(), out.end(),
                                [v](uint16_t c) { return c == static_cast<uint16_t>(v); }))
            << p.name << " " << orientation;
      }
    }
  }
}

TEST(StillKernels, OrientationsFlipRowsAndColumns) {
  const Planes planes = RandomPlanes(7);
  for (const Picture& p : AllPictures()) {
    const std::vector<uint16_t> upright = p.Convert(planes, 2);
    for (int orientation : {1, 3, 4}) {
      const bool topDown = orientation != 4, mirrored = orientation != 1;
      std::vector<uint16_t> expected(upright.size());
      for (int r = 0; r < p.height; ++r) {
        for (int c = 0; c < p.width; ++c) {
          const std::size_t at =
              static_cast<std::size_t>(topDown ? r : p.height - 1 - r) * p.width +
              (mirrored ? p.width - 1 - c : c);
          for (int k = 0; k < 3; ++k) expected[at * 3 + k] = p.Upright(upright, r, c, k);
        }
      }
      EXPECT_TRUE(p.Convert(planes, orientation) == expected) << p.name << " " << orientation;
    }
  }
}

TEST(StillKernels, ContentsMixAndTruncateTowardZeroWithoutClamping) {
  Planes planes;
  planes.Set({kRedPlane}, [](int, int, int) { return 30; });
  planes.Set({kGreenPlane}, [](int, int, int) { return 61; });
  planes.Set({kBluePlane}, [](int, int, int) { return -1; });
  for (std::string size : {"Colour640", "Colour480", "Colour320"}) {
    const std::vector<uint16_t> c = Find(size + "/colour").Convert(planes, 2);
    EXPECT_EQ(c[0], 0xFFFF) << size;  // blue first, negative and unclamped
    EXPECT_EQ(c[1], 61) << size;
    EXPECT_EQ(c[2], 30) << size;
    EXPECT_EQ(Find(size + "/green").Convert(planes, 2)[2], 61) << size;
    EXPECT_EQ(Find(size + "/mean").Convert(planes, 2)[2], 30) << size;
  }
  EXPECT_EQ(Find("Grey480").Convert(planes, 2)[0], (60 + 244 - 1) / 7);
  // Negative quotients truncate toward zero: -6 / 7 and -2 / 3 give 0.
  Planes negative;
  negative.Set({kBluePlane}, [](int, int, int) { return -6; });
  EXPECT_EQ(Find("Grey320").Convert(negative, 2)[0], 0);
  negative.Set({kBluePlane}, [](int, int, int) { return -2; });
  EXPECT_EQ(Find("Colour320/mean").Convert(negative, 2)[0], 0);
  // (0 + 4 x -1) / 5 in the 640 widening, (14 x 0 - 1) / 15 in the 480 one.
  negative.Set({kGreenPlane}, [](int, int, int x) { return x % 2 ? -1 : 0; });
  EXPECT_EQ(Find("Colour640/green").Convert(negative, 1)[3], 0);
  negative.Set({kGreenPlane}, [](int, int, int x) { return x == 2 ? -1 : 0; });
  EXPECT_EQ(Find("Colour480/green").Convert(negative, 1)[3], 0);
}

TEST(StillKernels640, PhaseZeroColumns) {
  // A step between columns 40 and 41 (k = 10) in every plane and row.
  Planes step;
  step.Set({0, 1, 2}, [](int, int, int x) { return x > 40 ? 70 : 0; });
  // The colour picture takes column 4k at output column 5k, the grey one
  // column 4k + 1 already.
  const Picture colour = Find("Colour640/colour"), grey = Find("Grey640");
  const std::vector<uint16_t> c = colour.Convert(step, 2), g = grey.Convert(step, 2);
  EXPECT_EQ(colour.Upright(c, 10, 50, 0), 0);
  EXPECT_EQ(colour.Upright(c, 10, 51, 0), 56);  // 4/5 of column 41
  EXPECT_EQ(grey.Upright(g, 10, 49, 0), 0);
  EXPECT_EQ(grey.Upright(g, 10, 50, 0), 70);
  EXPECT_EQ(grey.Upright(g, 10, 51, 0), 56);

  // Colour column 5k is plane column 4k of row 4 + r exactly.
  Planes random = RandomPlanes(5);
  const std::vector<uint16_t> r = colour.Convert(random, 2);
  for (int row = 0; row < 480; ++row) {
    for (int k = 0; k < 128; ++k) {
      ASSERT_EQ(colour.Upright(r, row, 5 * k, 0),
                static_cast<uint16_t>(random.At(kBluePlane, 4 + row, 4 * k)));
    }
  }
}

TEST(StillKernels640, LastColumnWrapsIntoTheNextRow) {
  // Even plane rows 50, odd rows 100: column 639 of picture row r mixes 4/5
  // of row 4 + r with 1/5 of column 0 of row 5 + r (row 484 for the last).
  Planes planes;
  planes.Set({0, 1, 2}, [](int, int y, int) { return y % 2 ? 100 : 50; });
  for (const char* name : {"Colour640/colour", "Grey640"}) {
    const Picture p = Find(name);
    const std::vector<uint16_t> out = p.Convert(planes, 2);
    EXPECT_EQ(p.Upright(out, 0, 639, 1), 60) << name;
    EXPECT_EQ(p.Upright(out, 479, 639, 1), 90) << name;
    EXPECT_EQ(p.Upright(out, 0, 638, 1), 50) << name;
  }
}

TEST(StillKernels480, LastColumnAndTheReversedThirdRow) {
  // Rows a..d of t = 5 (plane rows 24..27) at columns 510 and 511.
  const int values[4][2] = {{10, 20}, {30, 40}, {50, 60}, {70, 80}};
  Planes planes;
  planes.Set({0, 1, 2}, [&](int, int y, int x) {
    return (y >= 24 && y < 28 && x >= 510) ? values[y - 24][x - 510] : 0;
  });
  for (const char* name : {"Colour480/colour", "Grey480"}) {
    const Picture p = Find(name);
    const std::vector<uint16_t> out = p.Convert(planes, 2);
    EXPECT_EQ(p.Upright(out, 15, 479, 1), 19) << name;  // (10 + 14 x 20) / 15
    EXPECT_EQ(p.Upright(out, 16, 479, 1), 46) << name;  // (50 + 60 + 14 (60 + 80)) / 45
    // The right-hand column weights rows c : d as 2 : 1:
    EXPECT_EQ(p.Upright(out, 17, 479, 1), 66) << name;  // (50 + 140 + 14 (80 + 120)) / 45
  }
}

TEST(StillKernels320, EightColumnsToFiveFromEvenRowsOnly) {
  Planes a;
  a.Set({kGreenPlane}, [](int, int, int x) { return 5 * x; });
  const Picture p = Find("Colour320/green");
  const std::vector<uint16_t> out = p.Convert(a, 1);
  // Positions 0, 1.6, 3.2, 4.8, 6.4 of columns 16..23, times 5.
  const int expected[5] = {80, 88, 96, 104, 112};
  for (int j = 0; j < 5; ++j) EXPECT_EQ(out[(10 + j) * 3], expected[j]) << j;

  a = RandomPlanes(9);
  Planes b = a;
  b.Set({0, 1, 2}, [&](int p, int y, int x) { return y % 2 ? (x * y) % 2000 : a.At(p, y, x); });
  for (const char* name : {"Grey320", "Colour320/colour"}) {
    EXPECT_TRUE(Find(name).Convert(a, 2) == Find(name).Convert(b, 2)) << name;
  }
}

}  // namespace
}  // namespace vobrex
