// The sensor-mode kernels of the preview, on hand-made and synthesised frames.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "mosaic/image.h"
#include "mosaic/preview_mosaic.h"
#include "preview/sensor_kernels.h"

namespace vobrex {
namespace {

using Bytes = std::vector<uint8_t>;

constexpr int kSecond = kFullSecondField;

Bytes RandomFrame(uint32_t seed) {
  std::mt19937 rng(seed);
  Bytes frame(kPreviewFrameBytes);
  for (uint8_t& b : frame) b = static_cast<uint8_t>(rng());
  return frame;
}

Bytes RunKernel(SensorKernel kernel, const Bytes& frame, KernelSize size, int code) {
  Bytes out(static_cast<std::size_t>(size.Bytes()), 0);
  kernel(frame.data(), out.data(), code);
  return out;
}

// Pixel x of buffer row `row`, as blue, green, red.
std::array<int, 3> Pixel(const Bytes& out, KernelSize size, int row, int x) {
  const uint8_t* p = out.data() + (static_cast<std::size_t>(row) * size.width + x) * 3;
  return {p[0], p[1], p[2]};
}

Bytes Row(const Bytes& out, KernelSize size, int row) {
  const auto begin = out.begin() + static_cast<std::ptrdiff_t>(row) * size.width * 3;
  return Bytes(begin, begin + size.width * 3);
}

Bytes Reversed(const Bytes& row) {
  Bytes r(row.size());
  const std::size_t n = row.size() / 3;
  for (std::size_t x = 0; x < n; ++x) std::copy_n(&row[(n - 1 - x) * 3], 3, &r[x * 3]);
  return r;
}

struct KernelCase {
  std::string name;
  SensorKernel kernel;
  KernelSize size;
  int sensorMode;
  int otherCodesAs;  // the code an orientation outside 1..4 counts as
};

const std::vector<KernelCase>& AllKernels() {
  static const std::vector<KernelCase> kernels = {
      {"A1", KernelA1, kSizeA, 0, 1},  {"A0", KernelA0, kSizeA, 0, 1},
      {"B1", KernelB1, kSizeB, 1, 1},  {"B0", KernelB0, kSizeB, 1, 1},
      {"C1", KernelC1, kSizeC, 2, 1},  {"C0", KernelC0, kSizeC, 2, 1},
      {"D1", KernelD1, kSizeD, 51, 2}, {"D0", KernelD0, kSizeD, 51, 2},
      {"E1", KernelE1, kSizeE, 54, 1}, {"E0", KernelE0, kSizeE, 54, 1},
      {"F1", KernelF1, kSizeF, 57, 1}, {"F1Wide", KernelF1Wide, kSizeF, 57, 1},
  };
  return kernels;
}

// --- Kernel A1: the stated lines -------------------------------------------

Bytes LineFourFrame(int blue) {
  Bytes frame(kPreviewFrameBytes, 0);
  for (int c = 0; c < 512; ++c) {
    if (c % 2 == 1) frame[4 * 512 + c] = static_cast<uint8_t>(blue);
    frame[kSecond + 4 * 512 + c] = static_cast<uint8_t>(c % 2 == 0 ? 100 : 50);
  }
  return frame;
}

TEST(KernelA1, FlatLineFillsTheTopRowAndOddValuesLoseTheirLowBit) {
  const Bytes out = RunKernel(KernelA1, LineFourFrame(200), kSizeA, 2);
  for (int x = 0; x < 320; ++x) {
    EXPECT_EQ(Pixel(out, kSizeA, 239, x), (std::array<int, 3>{200, 50, 100})) << "pixel " << x;
  }
  const Bytes odd = RunKernel(KernelA1, LineFourFrame(201), kSizeA, 2);
  for (int x = 0; x < 320; ++x) {
    // Pixels 5g and 5g + 4 copy a sample; the averaged ones and the last
    // pixel (a copy of pixel 318) halve before adding.
    const int expected = (x % 5 == 0 || x % 5 == 4) && x != 319 ? 201 : 200;
    EXPECT_EQ(Pixel(odd, kSizeA, 239, x)[0], expected) << "pixel " << x;
  }
}

TEST(KernelA1, LastPixelRepeatsItsNeighbour) {
  const Bytes frame = RandomFrame(1);
  const Bytes upright = RunKernel(KernelA1, frame, kSizeA, 2);
  const Bytes mirrored = RunKernel(KernelA1, frame, kSizeA, 4);
  for (int row = 0; row < 240; ++row) {
    EXPECT_EQ(Pixel(upright, kSizeA, row, 319), Pixel(upright, kSizeA, row, 318));
    EXPECT_EQ(Pixel(mirrored, kSizeA, row, 0), Pixel(mirrored, kSizeA, row, 1));
  }
}

TEST(KernelA1, GroupUsesOddBlueAndSecondFieldRedGreen) {
  const Bytes frame = RandomFrame(2);
  const Bytes out = RunKernel(KernelA1, frame, kSizeA, 1);
  const int y = 17, g = 9;
  const uint8_t* b = frame.data() + (y + 4) * 512 + 8 * g;
  const uint8_t* s = frame.data() + kSecond + (y + 4) * 512 + 8 * g;
  auto half = [](int a, int c) { return (a >> 1) + (c >> 1); };
  EXPECT_EQ(Pixel(out, kSizeA, y, 5 * g), (std::array<int, 3>{b[1], s[1], half(s[0], s[2])}));
  EXPECT_EQ(Pixel(out, kSizeA, y, 5 * g + 1),
            (std::array<int, 3>{half(b[1], b[3]), half(s[3], s[1]), s[2]}));
  EXPECT_EQ(Pixel(out, kSizeA, y, 5 * g + 4), (std::array<int, 3>{b[7], s[7], half(s[6], s[8])}));
}

// --- Kernel B1 ---------------------------------------------------------------

TEST(KernelB1, LastPixelTakesOnlyTheRedOfPixel157) {
  const Bytes frame = RandomFrame(3);
  const Bytes out = RunKernel(KernelB1, frame, kSizeB, 1);
  for (int y = 0; y < 120; ++y) {
    const uint8_t* first = frame.data() + (y + 2) * 256;
    const uint8_t* second = frame.data() + kHalfSecondField + (y + 2) * 256;
    const auto last = Pixel(out, kSizeB, y, 159);
    EXPECT_EQ(last[2], Pixel(out, kSizeB, y, 157)[2]);
    EXPECT_EQ(last[0], first[255]);
    EXPECT_EQ(last[1], second[255]);
  }
}

// --- Kernel D1: the ends of a line ---------------------------------------------

TEST(KernelD1, FirstGroupDropsTheTermsLeftOfColumnZero) {
  const Bytes f = RandomFrame(4);
  auto F1 = [&](int l, int c) { return int{f[l * 512 + c]}; };
  auto F2 = [&](int l, int c) { return int{f[kSecond + l * 512 + c]}; };
  const Bytes out = RunKernel(KernelD1, f, kSizeD, 1);
  for (int i : {0, 100, 239}) {
    const int L = 4 + i;
    EXPECT_EQ(Pixel(out, kSizeD, 2 * i, 0),
              (std::array<int, 3>{(F1(L, 1) + F1(L + 1, 1)) >> 1, F1(L, 0), F2(L, 0)}));
    EXPECT_EQ(Pixel(out, kSizeD, 2 * i + 1, 0),
              (std::array<int, 3>{F1(L, 1), F2(L, 1), (F2(L, 0) + F2(L + 1, 0)) >> 1}));
  }
}

TEST(KernelD1, LastGroupRunsIntoTheNextFieldLine) {
  const Bytes f = RandomFrame(5);
  auto F1 = [&](int l, int c) { return int{f[l * 512 + c]}; };
  auto F2 = [&](int l, int c) { return int{f[kSecond + l * 512 + c]}; };
  const Bytes out = RunKernel(KernelD1, f, kSizeD, 1);
  for (int i : {0, 239}) {
    const int L = 4 + i;
    // Columns 512 and 513 are columns 0 and 1 of the following line.
    const int blue = (F1(L, 511) + F1(L + 1, 1) + F1(L + 1, 511) + F1(L + 2, 1)) >> 2;
    EXPECT_EQ(Pixel(out, kSizeD, 2 * i, 639),
              (std::array<int, 3>{blue, (F1(L, 510) + F1(L + 1, 0)) >> 1, F2(L, 510)}));
    EXPECT_EQ(Pixel(out, kSizeD, 2 * i + 1, 639),
              (std::array<int, 3>{(F1(L, 511) + F1(L + 1, 1)) >> 1, F2(L, 511),
                                  (F2(L, 510) + F2(L + 1, 510)) >> 1}));
  }
}

TEST(KernelD1, MiddleGroupFollowsTheTables) {
  const Bytes f = RandomFrame(6);
  auto F1 = [&](int l, int c) { return int{f[l * 512 + c]}; };
  auto F2 = [&](int l, int c) { return int{f[kSecond + l * 512 + c]}; };
  const Bytes out = RunKernel(KernelD1, f, kSizeD, 1);
  const int i = 50, L = 54, k = 31, c = 4 * k;
  EXPECT_EQ(Pixel(out, kSizeD, 2 * i, 5 * k),
            (std::array<int, 3>{(F1(L, c + 1) + F1(L + 1, c + 1)) >> 1, F1(L, c),
                                (F2(L, c - 2) + F2(L, c)) >> 1}));
  EXPECT_EQ(Pixel(out, kSizeD, 2 * i + 1, 5 * k),
            (std::array<int, 3>{F1(L, c + 1), (F2(L, c - 1) + F2(L, c + 1)) >> 1,
                                (F2(L, c - 2) + F2(L, c) + F2(L + 1, c - 2) + F2(L + 1, c)) >> 2}));
  for (int row : {2 * i, 2 * i + 1}) {
    EXPECT_EQ(Pixel(out, kSizeD, row, 5 * k + 3), Pixel(out, kSizeD, row, 5 * k + 2));
  }
}

// --- Every kernel ---------------------------------------------------------------

class EveryKernel : public ::testing::TestWithParam<KernelCase> {};

TEST_P(EveryKernel, WritesExactlyItsImage) {
  const KernelCase& k = GetParam();
  const Bytes frame = RandomFrame(7);
  const std::size_t bytes = static_cast<std::size_t>(k.size.Bytes());
  Bytes a(bytes + 64, 0xAA), b(bytes + 64, 0x55);
  k.kernel(frame.data(), a.data(), 2);
  k.kernel(frame.data(), b.data(), 2);
  EXPECT_TRUE(std::equal(a.begin(), a.begin() + bytes, b.begin())) << "a byte was not written";
  EXPECT_TRUE(std::all_of(a.begin() + bytes, a.end(), [](uint8_t v) { return v == 0xAA; }));
  EXPECT_TRUE(std::all_of(b.begin() + bytes, b.end(), [](uint8_t v) { return v == 0x55; }));
}

TEST_P(EveryKernel, OrientationCodesReorderRowsAndPixels) {
  const KernelCase& k = GetParam();
  const Bytes frame = RandomFrame(8);
  const Bytes up = RunKernel(k.kernel, frame, k.size, 2);
  const Bytes down = RunKernel(k.kernel, frame, k.size, 1);
  const Bytes mirror = RunKernel(k.kernel, frame, k.size, 4);
  const Bytes both = RunKernel(k.kernel, frame, k.size, 3);
  const int h = k.size.height;
  for (int row = 0; row < h; ++row) {
    ASSERT_EQ(Row(down, k.size, row), Row(up, k.size, h - 1 - row)) << "row " << row;
    ASSERT_EQ(Row(mirror, k.size, row), Reversed(Row(up, k.size, row))) << "row " << row;
    ASSERT_EQ(Row(both, k.size, row), Reversed(Row(down, k.size, row))) << "row " << row;
  }
  const Bytes& expected = k.otherCodesAs == 1 ? down : up;
  for (int code : {0, 5, 255})
    EXPECT_EQ(RunKernel(k.kernel, frame, k.size, code), expected) << code;
}

INSTANTIATE_TEST_SUITE_P(SensorKernels, EveryKernel, ::testing::ValuesIn(AllKernels()),
                         [](const auto& info) { return info.param.name; });

// A grey kernel gives the green of its colour twin in all three bytes.
TEST(GreyKernels, AreTheGreenOfTheirColourTwin) {
  const Bytes frame = RandomFrame(9);
  const auto& all = AllKernels();
  for (std::size_t i = 0; i + 1 < 10; i += 2) {
    const KernelCase& colour = all[i];
    const KernelCase& grey = all[i + 1];
    for (int code : {1, 3}) {
      const Bytes c = RunKernel(colour.kernel, frame, colour.size, code);
      const Bytes g = RunKernel(grey.kernel, frame, grey.size, code);
      for (std::size_t p = 0; p < c.size(); p += 3) {
        ASSERT_TRUE(g[p] == c[p + 1] && g[p + 1] == c[p + 1] && g[p + 2] == c[p + 1])
            << grey.name << " pixel " << p / 3 << " code " << code;
      }
    }
  }
}

// --- Round trip through synthesised frames ---------------------------------------

mosaic::Image SmoothScene(int width, int height) {
  mosaic::Image scene(width, height);
  const double pi = 3.14159265358979323846;
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      const double u = (x + 0.5) / width, v = (y + 0.5) / height;
      uint8_t* p = scene.At(x, y);
      p[0] = static_cast<uint8_t>(std::lround(128 + 90 * std::sin(2 * pi * (2.5 * u + 1.2 * v))));
      p[1] = static_cast<uint8_t>(std::lround(128 + 80 * std::cos(2 * pi * (1.8 * u - 2.1 * v))));
      p[2] = static_cast<uint8_t>(
          std::lround(128 + 70 * std::sin(2 * pi * 1.5 * v) * std::cos(2 * pi * 1.7 * u)));
    }
  }
  return scene;
}

// Lowest PSNR (dB, any channel, 2 pixels from the border) that each colour
// kernel reaches on a smooth scene of about two cycles across the picture.
struct RoundTrip {
  const char* name;
  SensorKernel kernel;
  KernelSize size;
  int sensorMode;
  double floorDb;
};

TEST(RoundTrip, ColourKernelsRecoverASmoothScene) {
  const RoundTrip cases[] = {
      {"A1", KernelA1, kSizeA, 0, 42},  {"A1 (53)", KernelA1, kSizeA, 53, 42},
      {"B1", KernelB1, kSizeB, 1, 42},  {"B1 (55)", KernelB1, kSizeB, 55, 42},
      {"C1", KernelC1, kSizeC, 2, 38},  {"C1 (56)", KernelC1, kSizeC, 56, 38},
      {"D1", KernelD1, kSizeD, 51, 45}, {"E1", KernelE1, kSizeE, 54, 48},
      {"F1", KernelF1, kSizeF, 57, 47}, {"F1 wide", KernelF1Wide, kSizeF, 57, 52},
  };
  for (const RoundTrip& t : cases) {
    const mosaic::Image scene = SmoothScene(t.size.width, t.size.height);
    const Bytes frame = mosaic::PreviewMosaic(scene, t.sensorMode);
    ASSERT_EQ(frame.size(), static_cast<std::size_t>(kPreviewFrameBytes));
    const Bytes out = RunKernel(t.kernel, frame, t.size, 2);
    const mosaic::Image back = mosaic::FromLibraryPixels(out.data(), t.size.width, t.size.height);
    for (int channel = 0; channel < 3; ++channel) {
      const double psnr = mosaic::Psnr(scene, back, channel, 2);
      EXPECT_GE(psnr, t.floorDb) << t.name << " channel " << channel;
    }
  }
}

TEST(RoundTrip, UnknownSubModeGivesAnEmptyFrame) {
  const Bytes frame = mosaic::PreviewMosaic(SmoothScene(64, 48), 3);
  ASSERT_EQ(frame.size(), static_cast<std::size_t>(kPreviewFrameBytes));
  EXPECT_TRUE(std::all_of(frame.begin(), frame.end(), [](uint8_t v) { return v == 0; }));
}

}  // namespace
}  // namespace vobrex
