// The preview conversion driver: kernel choice, raw-domain stages, colour
// gain and its one-second gate, sharpening, tone curve, a record that asks
// for more than the caller's image holds, and the focus indication.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <tuple>
#include <utility>
#include <vector>

#include "mosaic/image.h"
#include "mosaic/preview_mosaic.h"
#include "preview/focus.h"
#include "preview/preview_driver.h"
#include "preview/sensor_kernels.h"
#include "preview/tone_curve.h"
#include "preview/white_balance.h"
#include "settings/camera.h"
#include "settings/curve_tables.h"

namespace vobrex {
namespace {

using Bytes = std::vector<uint8_t>;

constexpr uint8_t kUntouched = 0x5A;

const Bytes kFrame = [] {  // noise: a multiplicative hash of the offset
  Bytes b(kPreviewFrameBytes);
  for (uint32_t i = 0; i < b.size(); ++i) b[i] = static_cast<uint8_t>(i * 2654435761u >> 13);
  return b;
}();

Bytes KernelOutput(SensorKernel kernel, KernelSize size, const Bytes& raw) {
  Bytes out(static_cast<std::size_t>(size.Bytes()));
  kernel(raw.data(), out.data(), 2);
  return out;
}

// A preview context of its own that converts kFrame into `image`, or into
// imageBytes plus a guard zone all marked untouched.
struct Preview {
  Preview(int mode, int format, int32_t wbMode = 0) {
    SetMotionResolution(cam, mode);
    cam.modes.sensorMode = static_cast<uint8_t>(mode);  // also one without a read-out
    cam.modes.outputFormat = static_cast<uint8_t>(format);
    cam.modes.wbMode = wbMode;
  }
  int Convert(const Bytes* image = nullptr) {
    raw = kFrame;
    rgb = image ? *image : Bytes(cam.modes.imageBytes + 64, kUntouched);
    return ConvertPreviewFrame(cam, raw.data(), rgb.data());
  }
  bool Untouched(std::size_t from = 0) const {
    return std::all_of(rgb.begin() + from, rgb.end(), [](uint8_t v) { return v == kUntouched; });
  }
  bool Shows(const Bytes& b) const { return std::equal(b.begin(), b.end(), rgb.begin()); }
  Camera cam;
  Bytes raw, rgb;
};

// Each kernel writes exactly its image, and manual factors gain colour output
// only; a mode without a kernel leaves the caller's image to the later
// stages; an unknown sub-mode (a signed byte) fails, after the focus stage;
// wideRange always ends at 1. An imageBytes below the kernel's output is
// refused before any stage.
TEST(PreviewKernelChoice, ByOutputFormatAndSubMode) {
  const std::tuple<int, int, SensorKernel, KernelSize, int> cases[] = {
      // sensorMode, outputFormat, kernel (none: no kernel or, with result 0, failure)
      {0, 1, KernelA1, kSizeA, 1},  {53, 1, KernelA1, kSizeA, 1}, {53, 2, KernelA0, kSizeA, 1},
      {1, 1, KernelB1, kSizeB, 1},  {55, 1, KernelB1, kSizeB, 1}, {1, 0, KernelB0, kSizeB, 1},
      {2, 1, KernelC1, kSizeC, 1},  {56, 1, KernelC1, kSizeC, 1}, {2, 2, KernelC0, kSizeC, 1},
      {51, 1, KernelD1, kSizeD, 1}, {51, 0, KernelD0, kSizeD, 1}, {54, 1, KernelE1, kSizeE, 1},
      {54, 2, KernelE0, kSizeE, 1}, {57, 1, KernelF1, kSizeF, 1}, {57, 1, KernelF1Wide, kSizeF, 1},
      {57, 0, nullptr, {}, 1},      {57, 2, nullptr, {}, 1},      {52, 0, nullptr, {}, 1},
      {58, 2, nullptr, {}, 1},      {0, 3, nullptr, {}, 1},       {3, 3, nullptr, {}, 1},
      {3, 1, nullptr, {}, 0},       {59, 0, nullptr, {}, 0},      {200, 2, nullptr, {}, 0}};
  for (const auto& [mode, format, kernel, size, result] : cases) {
    SCOPED_TRACE(::testing::Message() << mode << "/" << format);
    Preview p(mode, format);
    p.cam.modes.sharpMode = kernel == KernelF1Wide;
    p.cam.modes.optionR = 1;
    p.cam.modes.wideRange = 0;
    p.cam.modes.wbFactorB = 0.5;  // manual gain, on colour output only
    EXPECT_EQ(p.Convert(), result);
    Bytes e = kernel ? KernelOutput(kernel, size, kFrame) : Bytes();
    if (format == 1) ApplyColorGain(p.cam, e.data(), size.Bytes(), {}, {}, {}, 10);
    EXPECT_TRUE(p.Shows(e) && p.Untouched(e.size()));
    EXPECT_TRUE(p.cam.modes.focusValue > 0 && p.cam.modes.wideRange == 1);
  }
  Preview refused(0, 1, 1);  // wbMode 1 would rewrite the raw frame
  refused.cam.modes.imageBytes = kSizeA.Bytes() - 1;
  EXPECT_TRUE(refused.Convert() == 0 && refused.Untouched() && refused.raw == kFrame);

  // outputFormat 3: no kernel, no colour gain, but sharpening and the tone
  // curve as set. Sharpening adds half the green step to the right and below
  // (rounded down, clamped) to all bytes of pixels 1 .. width - 3 of rows
  // 1 .. height - 2, reading neighbours not yet changed.
  Preview p(0, 3);
  p.cam.modes.width = 5;
  p.cam.modes.height = 3;
  p.cam.modes.imageBytes = 45;
  p.cam.modes.sharpenOn = 1;
  p.cam.modes.gamma = 150;
  p.cam.modes.wbFactorR = 0.5;
  // A 5 x 3 image: d is (200 - 60 - 81) >> 1 = 29 at (1, 1) and
  // (120 - 60 - 61) >> 1 = -1 at (2, 1); (3, 1) lies outside the pass.
  const Bytes image = {0, 60, 0, 0,   60,  0,  0, 60, 0, 0, 60, 0, 0, 60, 0,   // row 0
                       0, 60, 0, 250, 100, 10, 0, 60, 0, 0, 60, 0, 0, 60, 0,   // row 1
                       0, 60, 0, 0,   81,  0,  0, 61, 0, 0, 40, 0, 0, 60, 0};  // row 2
  Bytes expected = image;
  std::copy_n(Bytes{255, 129, 39, 0, 59, 0}.begin(), 6, expected.begin() + 18);
  ApplyToneCurve(p.cam, expected.data(), 45);
  EXPECT_EQ(p.Convert(&image), 1);
  EXPECT_EQ(p.rgb, expected);
}

// Automatic balance rewrites the raw frame of colour output outside
// sub-mode 1, and then only the tone curve follows the kernel, grey output
// included: no sharpening, no manual gain.
TEST(PreviewRawStage, BalanceThenOnlyTheToneCurve) {
  // sensorMode, outputFormat, wbMode, whether the raw frame is balanced
  const int cases[][4] = {{0, 1, 1, 1}, {53, 1, 2, 1}, {0, 0, 1, 0},
                          {0, 2, 1, 0}, {1, 1, 1, 0},  {1, 1, 2, 0}};
  for (const auto& [mode, format, wbMode, balanced] : cases) {
    Preview p(mode, format, wbMode);
    p.cam.modes.sharpenOn = 1;
    p.cam.modes.wbFactorR = 0.5;
    p.cam.modes.gamma = 160;
    ASSERT_EQ(p.Convert(), 1);
    EXPECT_EQ(balanced == 1, p.raw != kFrame) << mode << "/" << format << "/" << wbMode;
    if (mode == 1) continue;
    Bytes expected = KernelOutput(format == 1 ? KernelA1 : KernelA0, kSizeA, p.raw);
    ApplyToneCurve(p.cam, expected.data(), kSizeA.Bytes());
    EXPECT_TRUE(p.Shows(expected)) << mode << "/" << format << "/" << wbMode;
  }
}

// The raw-domain balance keeps its byte tables and its ratio and factor
// tables from frame to frame. Against a context that rebuilds all of them on
// every frame: the same raw bytes, image and levels, through changes of the
// scene (so of the levels, taken up on every fifth frame), of wbMode, of the
// manual factors, of the dominant channel and of manual gain control, and
// through a still balance in between (which rebuilds at once).
TEST(PreviewRawStage, KeptTablesFollowEveryChangeOfWhatTheyAreMadeOf) {
  auto tinted = [](int red, int green, int blue) {  // kFrame with each colour scaled, in %
    Bytes b = kFrame;
    for (uint32_t i = 0; i < b.size(); ++i) {
      const bool second = i % 0x40000 >= 0x20000, odd = i % 2 == 1;
      const int percent = second ? (odd ? green : red) : (odd ? blue : green);
      b[i] = static_cast<uint8_t>(std::min(255u, b[i] * percent / 100u));
    }
    return b;
  };
  const Bytes scenes[] = {kFrame, tinted(60, 100, 90), tinted(100, 80, 50), tinted(70, 60, 100)};
  Camera kept, fresh;
  for (Camera* c : {&kept, &fresh}) SetMotionResolution(*c, 0);
  // scene, wbMode, green factor, gainAdjust, wbStatus forced (-1: as left), a still first
  const int steps[][6] = {{0, 1, 10, 0, -1, 0}, {0, 1, 10, 0, -1, 0}, {1, 1, 10, 0, -1, 0},
                          {1, 1, 10, 0, -1, 0}, {2, 1, 10, 0, -1, 0}, {2, 1, 10, 0, -1, 0},
                          {3, 1, 10, 0, -1, 0}, {3, 1, 10, 0, 1, 0},  {3, 1, 10, 0, 3, 0},
                          {0, 1, 10, 0, -1, 1}, {0, 2, 10, 0, -1, 0}, {0, 2, 13, 0, -1, 0},
                          {1, 2, 13, 0, -1, 0}, {1, 2, 9, 0, -1, 1},  {1, 1, 9, 0, -1, 0},
                          {2, 1, 9, 1, -1, 0},  {2, 1, 9, 0, -1, 0},  {2, 1, 9, 0, -1, 0}};
  int n = 0;
  for (const auto& [scene, wbMode, factorG, gainAdjust, status, still] : steps) {
    SCOPED_TRACE(testing::Message() << "step " << n++);
    Bytes raw[2], rgb[2];
    for (int k = 0; k < 2; ++k) {
      Camera& cam = k == 0 ? kept : fresh;
      cam.modes.wbMode = wbMode;
      cam.modes.gainAdjust = static_cast<uint8_t>(gainAdjust);
      cam.modes.wbFactorG = factorG / 10.0;
      if (status >= 0) cam.modes.wbStatus = static_cast<uint8_t>(status);
      if (still) {
        std::vector<int16_t> samples(0x40000, 300);
        ApplyWhiteBalance(cam, samples.data(), 13, 1);
      }
      if (k == 1) {
        cam.preview.rawByteTables.valid = false;
        for (int c = 0; c < 3; ++c) {
          cam.whiteBalance.ratioFill[c].filled = false;
          cam.whiteBalance.factorFill[c].filled = false;
        }
      }
      raw[k] = scenes[scene];
      rgb[k] = Bytes(kSizeA.Bytes());
      ASSERT_EQ(ConvertPreviewFrame(cam, raw[k].data(), rgb[k].data()), 1);
    }
    EXPECT_TRUE(raw[0] == raw[1]);
    EXPECT_TRUE(rgb[0] == rgb[1]);
    EXPECT_EQ(std::tie(kept.modes.ratioR, kept.modes.ratioG, kept.modes.ratioB),
              std::tie(fresh.modes.ratioR, fresh.modes.ratioG, fresh.modes.ratioB));
  }
}

// Sub-mode 1 with automatic balance, on a clock the test sets: the kernel's
// image goes through the preview table, the gains are estimated when more
// than 1000 ms (a signed 32-bit difference) passed, or on every frame with
// wbOnly, and every frame applies the tables of the last estimate.
TEST(PreviewEstimate, OnceASecondUnlessALevelIsZero) {
  Preview p(1, 1, 1), probe(1, 1, 1);
  PreviewState& s = p.cam.preview;
  uint32_t now = 5000, tick = 0;
  p.cam.SetClock([&] { return now += tick; });
  Bytes previewed = KernelOutput(KernelB1, kSizeB, kFrame);  // as the estimate sees the image
  ApplyByteTable(previewed.data(), kSizeB.Bytes(), kCurveTables.previewTable.data());

  // A level is the 16-bit sum of the last four measurements: seed the green
  // history with what wraps this frame's measurement (taken on a context of
  // its own) to 0. The frame fails; tables and lastEstimateTime stay.
  EstimateWhiteBalance(probe.cam, previewed.data(), kSizeB.Bytes());
  p.cam.whiteBalance.estimateHistory[kGreen][1] = 0x10000u - probe.cam.modes.ratioG;
  EXPECT_EQ(p.Convert(), 0);
  EXPECT_TRUE(s.lastFrameTime == 5000 && s.lastEstimateTime == 0 && s.gainTableR[200] == 0);
  EXPECT_TRUE(p.Shows(previewed));

  // lastEstimateTime, clock, wbOnly, whether the gains are estimated, clock step
  const uint32_t cases[][5] = {{0, 1001, 0, 1, 0},          {1001, 2001, 0, 0, 0},
                               {1001, 2002, 0, 1, 0},       {2002, 2003, 1, 1, 0},
                               {0xFFFFFE00u, 400, 0, 0, 0}, {0xFFFFFE00u, 600, 0, 1, 0},
                               {5000, 100, 0, 0, 0},        {0, 2000, 0, 1, 7}};
  for (const auto& [last, clock, wbOnly, estimates, step] : cases) {
    s.lastEstimateTime = last;
    p.cam.modes.wbOnly = static_cast<uint8_t>(wbOnly);
    now = clock;
    tick = step;  // the estimate time is a fresh reading, taken after the tables
    ASSERT_EQ(p.Convert(), 1);
    EXPECT_EQ(s.lastFrameTime, clock + step);
    EXPECT_EQ(s.lastEstimateTime, estimates ? clock + 2 * step : last) << last << " " << clock;
    Bytes e = previewed;
    ApplyColorGain(p.cam, e.data(), kSizeB.Bytes(), s.gainTableR, s.gainTableG, s.gainTableB, 10);
    EXPECT_TRUE(p.Shows(e));
  }
}

// The focus value of the read-out of a grey vertical edge through the centre
// of the picture, blurred by a Gaussian of `sigma` pixels, focused there.
double FocusOfEdge(Camera& cam, double sigma) {
  const int w = cam.modes.width, h = cam.modes.height;
  SetFocusCoord(cam, w / 2, h / 2);
  mosaic::Image scene(w, h);
  for (int p = 0; p < w * h; ++p) {
    const double v = 125 + 75 * std::erf((p % w + 0.5 - w / 2) / (sigma * std::sqrt(2.0)));
    std::fill_n(&scene.rgb[p * 3], 3, static_cast<uint8_t>(std::lround(v)));
  }
  Bytes raw = mosaic::PreviewMosaic(scene, cam.modes.sensorMode);
  MeasureFocus(cam, raw.data(), w, h);
  return cam.modes.focusValue;
}

// The focus position is clamped per sub-mode (the upper limits inclusive,
// the lower ones exclusive) and written back. A sharper edge gives a higher
// value; repeated frames of one picture settle within 0.2 % of its value and
// then hold it.
TEST(MeasureFocus, ClampsRisesWithSharpnessAndHoldsSteady) {
  // sensorMode, focusX, focusY, clamped focusX, focusY
  const int clamps[][5] = {
      {51, 1000, 900, 630, 474}, {51, 629, 473, 629, 473}, {51, 5, 5, 8, 8},
      {51, 6, -7, 6, 8},         {0, 400, 300, 314, 238},  {0, 313, 237, 313, 237},
      {0, 2, 3, 3, 4},           {1, 158, 119, 157, 118},  {1, 0, 3, 1, 4},
      {54, 5000, -9, 5000, -9},
  };
  for (const auto& [mode, x, y, clampedX, clampedY] : clamps) {
    Preview p(mode, 1);
    p.cam.modes.optionR = 1;
    SetFocusCoord(p.cam, x, y);
    p.Convert();
    EXPECT_EQ(static_cast<int32_t>(p.cam.modes.focusX), clampedX) << mode << ": " << x;
    EXPECT_EQ(static_cast<int32_t>(p.cam.modes.focusY), clampedY) << mode << ": " << y;
  }
  for (int mode : {51, 0, 1, 54}) {
    double previous = 0.0;
    for (double sigma : {6.0, 3.0, 1.5, 0.7, 0.3}) {
      Preview p(mode, 1);
      const double value = FocusOfEdge(p.cam, sigma);
      EXPECT_GT(value, std::exchange(previous, value)) << "sensorMode " << mode << " " << sigma;
    }
  }
  Preview p(51, 1), fresh(51, 1);
  const double soft = FocusOfEdge(fresh.cam, 4.0);
  ASSERT_GT(FocusOfEdge(p.cam, 0.3), soft * 1.01);
  for (int i = 0; i < 12; ++i) FocusOfEdge(p.cam, 4.0);
  const double settled = p.cam.modes.focusValue;
  EXPECT_NEAR(settled, soft, soft * 0.002);
  for (int i = 0; i < 4; ++i) EXPECT_EQ(FocusOfEdge(p.cam, 4.0), settled);
}

}  // namespace
}  // namespace vobrex
