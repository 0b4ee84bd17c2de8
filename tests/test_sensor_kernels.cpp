// The sensor-mode kernels of the preview, on hand-made and synthesised frames.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <vector>

#include "mosaic/image.h"
#include "mosaic/preview_mosaic.h"
#include "platform/cpu_features.h"
#include "preview/sensor_kernels.h"

namespace vobrex {
namespace {

using Bytes = std::vector<uint8_t>;
using Px = std::array<int, 3>;  // blue, green, red

constexpr double kPi = 3.14159265358979323846;

const Bytes kFrame = [] {  // noise: a multiplicative hash of the offset
  Bytes b(kPreviewFrameBytes);
  for (uint32_t i = 0; i < b.size(); ++i) b[i] = static_cast<uint8_t>(i * 2654435761u >> 13);
  return b;
}();

Bytes Apply(SensorKernel kernel, const Bytes& frame, KernelSize size, int code) {
  Bytes out(static_cast<std::size_t>(size.Bytes()), 0);
  kernel(frame.data(), out.data(), code);
  return out;
}

// Pixel x of buffer row `row`.
Px Pixel(const Bytes& out, KernelSize size, int row, int x) {
  const uint8_t* p = out.data() + (static_cast<std::size_t>(row) * size.width + x) * 3;
  return {p[0], p[1], p[2]};
}

struct KernelCase {
  const char* name;
  SensorKernel kernel;
  KernelSize size;
  int sensorMode, otherCodesAs;  // the code an orientation outside 1..4 counts as
  double floorDb;                // round-trip PSNR floor of a colour kernel (0: grey)
};

// Colour kernels each followed by their grey twin, where there is one.
const KernelCase kKernels[] = {
    {"A1", KernelA1, kSizeA, 0, 1, 42},  {"A0", KernelA0, kSizeA, 0, 1, 0},
    {"B1", KernelB1, kSizeB, 1, 1, 42},  {"B0", KernelB0, kSizeB, 1, 1, 0},
    {"C1", KernelC1, kSizeC, 2, 1, 38},  {"C0", KernelC0, kSizeC, 2, 1, 0},
    {"D1", KernelD1, kSizeD, 51, 2, 45}, {"D0", KernelD0, kSizeD, 51, 2, 0},
    {"E1", KernelE1, kSizeE, 54, 1, 48}, {"E0", KernelE0, kSizeE, 54, 1, 0},
    {"F1", KernelF1, kSizeF, 57, 1, 47}, {"F1Wide", KernelF1Wide, kSizeF, 57, 1, 52},
};

TEST(ColourKernels, GroupsAndLineEndsOfA1B1D1) {
  for (int blue : {200, 201}) {
    Bytes frame(kPreviewFrameBytes, 0);  // line 4 of each field only
    for (int c = 0; c < 512; ++c) {
      if (c % 2 == 1) frame[4 * 512 + c] = static_cast<uint8_t>(blue);
      frame[kFullSecondField + 4 * 512 + c] = c % 2 == 0 ? 100 : 50;
    }
    const Bytes out = Apply(KernelA1, frame, kSizeA, 2);
    for (int x = 0; x < 320; ++x) {
      // 5g and 5g + 4 copy a sample; the averages halve before adding; pixel
      // 319 copies 318 instead of reading red from the next line.
      const bool copied = (x % 5 == 0 || x % 5 == 4) && x != 319;
      EXPECT_EQ(Pixel(out, kSizeA, 239, x), (Px{copied ? blue : 200, 50, 100})) << blue << " " << x;
    }
  }

  // A1, group 9 of line 17 (field line 21): blue from the first field, the rest from the second.
  auto avg = [](int a, int c) { return (a >> 1) + (c >> 1); };
  const Bytes a1 = Apply(KernelA1, kFrame, kSizeA, 1);
  const uint8_t *b = kFrame.data() + 21 * 512 + 72, *s = b + kFullSecondField;
  EXPECT_EQ(Pixel(a1, kSizeA, 17, 45), (Px{b[1], s[1], avg(s[0], s[2])}));
  EXPECT_EQ(Pixel(a1, kSizeA, 17, 46), (Px{avg(b[1], b[3]), avg(s[3], s[1]), s[2]}));
  EXPECT_EQ(Pixel(a1, kSizeA, 17, 49), (Px{b[7], s[7], avg(s[6], s[8])}));

  // Unlike A1, B1 replaces only the red of pixel 159, by that of pixel 157.
  const Bytes b1 = Apply(KernelB1, kFrame, kSizeB, 1);
  const uint8_t* f = kFrame.data() + 9 * 256 + 255;  // the last samples of line 7 (half line 9)
  EXPECT_EQ(Pixel(b1, kSizeB, 7, 159), (Px{f[0], f[0x8000], Pixel(b1, kSizeB, 7, 157)[2]}));

  // D1: the first group drops the terms left of column 0 (a middle one keeps
  // them), the last one runs into the next field line; 5k + 3 repeats 5k + 2.
  auto F1 = [](int l, int c) { return int{kFrame[l * 512 + c]}; };
  auto F2 = [](int l, int c) { return int{kFrame[kFullSecondField + l * 512 + c]}; };
  auto avgT = [](int a, int c) { return (a + c) >> 1; };
  const Bytes d1 = Apply(KernelD1, kFrame, kSizeD, 1);
  for (int i : {0, 50, 239}) {
    SCOPED_TRACE(i);
    const int L = 4 + i, c = 124;  // group 31: column 124, pixel 155
    auto px = [&](int line, int x) { return Pixel(d1, kSizeD, 2 * i + line, x); };
    EXPECT_EQ(px(0, 0), (Px{avgT(F1(L, 1), F1(L + 1, 1)), F1(L, 0), F2(L, 0)}));
    EXPECT_EQ(px(1, 0), (Px{F1(L, 1), F2(L, 1), avgT(F2(L, 0), F2(L + 1, 0))}));
    const int red4 = (F2(L, c - 2) + F2(L, c) + F2(L + 1, c - 2) + F2(L + 1, c)) >> 2;
    EXPECT_EQ(px(0, 155),
              (Px{avgT(F1(L, c + 1), F1(L + 1, c + 1)), F1(L, c), avgT(F2(L, c - 2), F2(L, c))}));
    EXPECT_EQ(px(1, 155), (Px{F1(L, c + 1), avgT(F2(L, c - 1), F2(L, c + 1)), red4}));
    EXPECT_EQ(px(0, 158), px(0, 157));
    const int blue = (F1(L, 511) + F1(L + 1, 1) + F1(L + 1, 511) + F1(L + 2, 1)) >> 2;
    EXPECT_EQ(px(0, 639), (Px{blue, avgT(F1(L, 510), F1(L + 1, 0)), F2(L, 510)}));
    EXPECT_EQ(px(1, 639),
              (Px{avgT(F1(L, 511), F1(L + 1, 1)), F2(L, 511), avgT(F2(L, 510), F2(L + 1, 510))}));
  }
}

// Per kernel: the orientation codes, a grey kernel against the green of its
// colour twin, and a colour kernel's recovery of a smooth scene of about two
// cycles across the picture (PSNR of every channel, 2 pixels from the
// border). That each writes exactly its image is checked through the driver.
TEST(EveryKernel, OrientationGreyTwinAndRoundTrip) {
  Bytes twin;  // the upright image of the last colour kernel
  for (const KernelCase& k : kKernels) {
    SCOPED_TRACE(k.name);
    const int w = k.size.width, h = k.size.height;
    auto image = [&](int code) { return Apply(k.kernel, kFrame, k.size, code); };
    const Bytes up = image(2), down = image(1), mirror = image(4), both = image(3);
    for (int p = 0; p < w * h; ++p) {
      const int y = p / w, x = p % w;
      ASSERT_EQ(Pixel(down, k.size, y, x), Pixel(up, k.size, h - 1 - y, x)) << y << " " << x;
      ASSERT_EQ(Pixel(mirror, k.size, y, x), Pixel(up, k.size, y, w - 1 - x)) << y << " " << x;
      ASSERT_EQ(Pixel(both, k.size, y, x), Pixel(down, k.size, y, w - 1 - x)) << y << " " << x;
    }
    const Bytes& other = k.otherCodesAs == 1 ? down : up;
    for (int code : {0, 5, 255}) EXPECT_TRUE(image(code) == other) << code;
    if (k.floorDb == 0) {
      for (std::size_t p = 0; p < twin.size(); p += 3) twin[p] = twin[p + 2] = twin[p + 1];
      EXPECT_TRUE(up == twin);
      continue;
    }
    twin = up;
    mosaic::Image scene(w, h);
    for (int p = 0; p < w * h; ++p) {
      const double u = 2 * kPi * (p % w + 0.5) / w, v = 2 * kPi * (p / w + 0.5) / h;
      const double c[3] = {128 + 90 * std::sin(2.5 * u + 1.2 * v),
                           128 + 80 * std::cos(1.8 * u - 2.1 * v),
                           128 + 70 * std::sin(1.5 * v) * std::cos(1.7 * u)};
      for (int i = 0; i < 3; ++i) scene.rgb[p * 3 + i] = static_cast<uint8_t>(std::lround(c[i]));
    }
    const Bytes out = Apply(k.kernel, mosaic::PreviewMosaic(scene, k.sensorMode), k.size, 2);
    const mosaic::Image back = mosaic::FromLibraryPixels(out.data(), w, h);
    for (int ch = 0; ch < 3; ++ch) EXPECT_GE(mosaic::Psnr(scene, back, ch, 2), k.floorDb) << ch;
  }
}

// The vector forms against the portable ones on frames of extreme samples,
// where a sum or an average in narrow lanes would overflow or lose a bit:
// every sample 255, 255 beside 0 or 254 beside 1 (odd values whose halves
// both lose their low bit), and 255 at every site of one colour only.
TEST(EveryKernel, VectorAndPortableFormsAgreeOnExtremeFrames) {
  if (SupportedSimdLevel() == SimdLevel::kScalar) GTEST_SKIP() << "only the portable path here";
  auto frameOf = [](auto sample) {
    Bytes b(kPreviewFrameBytes);
    for (uint32_t i = 0; i < b.size(); ++i) b[i] = static_cast<uint8_t>(sample(i));
    return b;
  };
  const Bytes frames[] = {
      frameOf([](uint32_t) { return 255; }),
      frameOf([](uint32_t i) { return (i / 2 + i / 512) % 2 ? 255 : 0; }),
      frameOf([](uint32_t i) { return (i * 2654435761u >> 20) % 2 ? 254 : 1; }),
      frameOf([](uint32_t i) { return i % 2 == 1 && i < kFullSecondField ? 255 : 0; }),
      frameOf([](uint32_t i) { return i % 2 == 0 && i >= kFullSecondField ? 255 : 3; }),
  };
  const SimdLevel before = ActiveSimdLevel();
  for (const KernelCase& k : kKernels) {
    for (std::size_t f = 0; f < std::size(frames); ++f) {
      for (int code = 1; code <= 4; ++code) {
        SetSimdLevel(SimdLevel::kScalar);
        const Bytes portable = Apply(k.kernel, frames[f], k.size, code);
        SetSimdLevel(before);
        EXPECT_TRUE(Apply(k.kernel, frames[f], k.size, code) == portable)
            << k.name << " frame " << f << " code " << code;
      }
    }
  }
}

}  // namespace
}  // namespace vobrex
