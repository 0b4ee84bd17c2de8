// The preview conversion driver: kernel choice, raw-domain stages, colour
// gain and its one-second gate, sharpening, tone curve, the limits of a
// record that may hold anything, and the focus indication.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "mosaic/image.h"
#include "mosaic/preview_mosaic.h"
#include "platform/memory.h"
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
constexpr std::size_t kGuard = 64;

Bytes RandomBytes(std::size_t n, uint32_t seed = 1) {
  std::mt19937 rng(seed);
  Bytes b(n);
  for (uint8_t& v : b) v = static_cast<uint8_t>(rng());
  return b;
}

const Bytes kFrame = RandomBytes(kPreviewFrameBytes);

// A preview context for one sub-mode, without white balance unless a test
// asks for it.
void Configure(Camera& cam, int sensorMode, int outputFormat, int32_t wbMode = 0) {
  SetMotionResolution(cam, sensorMode);
  cam.modes.outputFormat = static_cast<uint8_t>(outputFormat);
  cam.modes.wbMode = wbMode;
}

// The caller's image: imageBytes plus a guard zone, all marked untouched.
Bytes ImageBuffer(const Camera& cam) { return Bytes(cam.modes.imageBytes + kGuard, kUntouched); }

bool Untouched(const Bytes& b, std::size_t from = 0) {
  return std::all_of(b.begin() + static_cast<std::ptrdiff_t>(from), b.end(),
                     [](uint8_t v) { return v == kUntouched; });
}

Bytes KernelOutput(SensorKernel kernel, KernelSize size, const Bytes& raw) {
  Bytes out(static_cast<std::size_t>(size.Bytes()));
  kernel(raw.data(), out.data(), 2);
  return out;
}

Bytes Head(const Bytes& b, std::size_t n) { return Bytes(b.begin(), b.begin() + n); }

int Convert(Camera& cam, Bytes& raw, Bytes& rgb) {
  return ConvertPreviewFrame(cam, raw.data(), rgb.data());
}

// --- The kernel of each sub-mode and output format ------------------------------------

TEST(PreviewKernelChoice, EachSubModeRunsItsKernel) {
  struct Case {
    int sensorMode, outputFormat, sharpMode;
    SensorKernel kernel;
    KernelSize size;
  };
  const Case cases[] = {
      {0, 1, 0, KernelA1, kSizeA},  {53, 1, 0, KernelA1, kSizeA},     {0, 0, 0, KernelA0, kSizeA},
      {53, 2, 0, KernelA0, kSizeA}, {1, 1, 0, KernelB1, kSizeB},      {55, 1, 0, KernelB1, kSizeB},
      {1, 0, 0, KernelB0, kSizeB},  {55, 2, 0, KernelB0, kSizeB},     {2, 1, 0, KernelC1, kSizeC},
      {56, 1, 0, KernelC1, kSizeC}, {2, 2, 0, KernelC0, kSizeC},      {56, 0, 0, KernelC0, kSizeC},
      {51, 1, 0, KernelD1, kSizeD}, {51, 0, 0, KernelD0, kSizeD},     {51, 2, 0, KernelD0, kSizeD},
      {54, 1, 0, KernelE1, kSizeE}, {54, 0, 0, KernelE0, kSizeE},     {54, 2, 0, KernelE0, kSizeE},
      {57, 1, 0, KernelF1, kSizeF}, {57, 1, 1, KernelF1Wide, kSizeF},
  };
  for (const Case& c : cases) {
    Camera cam;
    Configure(cam, c.sensorMode, c.outputFormat);
    cam.modes.sharpMode = static_cast<uint8_t>(c.sharpMode);
    Bytes raw = kFrame, rgb = ImageBuffer(cam);
    ASSERT_EQ(Convert(cam, raw, rgb), 1) << c.sensorMode << "/" << c.outputFormat;
    EXPECT_EQ(Head(rgb, c.size.Bytes()), KernelOutput(c.kernel, c.size, kFrame))
        << "sensorMode " << c.sensorMode << " outputFormat " << c.outputFormat;
    EXPECT_TRUE(Untouched(rgb, c.size.Bytes()));
  }
}

TEST(PreviewKernelChoice, NoKernelLeavesTheImageToTheLaterStages) {
  const std::pair<int, int> noKernel[] = {{52, 0}, {52, 1}, {52, 2}, {58, 0}, {58, 1},
                                          {58, 2}, {57, 0}, {57, 2}, {0, 3},  {3, 3}};
  for (auto [mode, format] : noKernel) {
    Camera cam;
    Configure(cam, mode, format);
    cam.modes.sensorMode = static_cast<uint8_t>(mode);
    Bytes raw = kFrame, rgb = ImageBuffer(cam);
    EXPECT_EQ(Convert(cam, raw, rgb), 1) << mode << "/" << format;
    EXPECT_TRUE(Untouched(rgb)) << mode << "/" << format;
  }
  // outputFormat 3: sharpening and tone curve as set, no colour gain.
  Camera cam;
  Configure(cam, 0, 3);
  cam.modes.sharpenOn = 1;
  cam.modes.gamma = 150;
  cam.modes.wbFactorR = 0.5;
  const Bytes before = RandomBytes(cam.modes.imageBytes, 2);
  Bytes expected = before, raw = kFrame, rgb = before;
  SharpenPreview(expected.data(), 320, 240);
  ApplyToneCurve(cam, expected.data(), static_cast<int32_t>(expected.size()));
  EXPECT_EQ(Convert(cam, raw, rgb), 1);
  EXPECT_EQ(rgb, expected);
}

TEST(PreviewKernelChoice, UnknownSubModeFailsAfterTheRawStagesAndFocus) {
  for (int mode : {3, 50, 59, 127, 200, 255}) {  // read as signed bytes
    Camera cam;
    Configure(cam, 0, 1);
    cam.modes.sensorMode = static_cast<uint8_t>(mode);
    cam.modes.optionR = 1;
    cam.modes.focusValue = -1.0;
    cam.modes.wideRange = 0;
    Bytes raw = kFrame, rgb = ImageBuffer(cam);
    EXPECT_EQ(Convert(cam, raw, rgb), 0) << mode;
    EXPECT_TRUE(Untouched(rgb)) << mode;
    EXPECT_GE(cam.modes.focusValue, 0.0) << "focus did not run for " << mode;
    EXPECT_EQ(cam.modes.wideRange, 1);
  }
}

// --- Raw-domain stages ---------------------------------------------------------------------

TEST(PreviewRawStage, FailedWorkingBufferLeavesBothBuffers) {
  Camera cam;
  Configure(cam, 0, 1, 1);
  Bytes raw = kFrame, rgb = ImageBuffer(cam);
  FailAllocation(1);
  const int result = Convert(cam, raw, rgb);
  FailAllocation(0);
  EXPECT_EQ(result, 0);
  EXPECT_EQ(raw, kFrame);
  EXPECT_TRUE(Untouched(rgb));
}

TEST(PreviewRawStage, RawBalanceIsFollowedOnlyByTheToneCurve) {
  Camera cam;
  Configure(cam, 0, 1, 1);
  cam.modes.sharpenOn = 1;
  cam.modes.wbFactorR = 0.5;
  cam.modes.gamma = 160;
  Bytes raw = kFrame, rgb = ImageBuffer(cam);
  ASSERT_EQ(Convert(cam, raw, rgb), 1);
  EXPECT_NE(raw, kFrame);
  Bytes expected = KernelOutput(KernelA1, kSizeA, raw);  // raw holds the balanced samples
  ApplyToneCurve(cam, expected.data(), kSizeA.Bytes());
  EXPECT_EQ(Head(rgb, kSizeA.Bytes()), expected);

  // Grey output and sub-mode 1 keep the raw frame; grey still skips sharpening.
  for (auto [mode, format] : {std::pair{0, 0}, std::pair{0, 2}, std::pair{1, 1}}) {
    Camera other;
    Configure(other, mode, format, 1);
    other.modes.sharpenOn = 1;
    raw = kFrame;
    rgb = ImageBuffer(other);
    ASSERT_EQ(Convert(other, raw, rgb), 1);
    EXPECT_EQ(raw, kFrame) << mode << "/" << format;
    if (mode == 0) {
      EXPECT_EQ(Head(rgb, kSizeA.Bytes()), KernelOutput(KernelA0, kSizeA, kFrame));
    }
  }
}

TEST(PreviewRawStage, PositionGainRunsWithManualBalanceOutsideSubModeOne) {
  for (int mode : {0, 1}) {
    Camera cam;
    Configure(cam, mode, 1);
    cam.modes.wbExtra = 1;
    Bytes expected = kFrame, raw = kFrame, rgb = ImageBuffer(cam);
    if (mode != 1) ApplyPositionGain(cam, expected.data(), 10);
    ASSERT_EQ(Convert(cam, raw, rgb), 1);
    EXPECT_EQ(raw, expected) << "sensorMode " << mode;
  }
}

// --- Colour gain on the image ------------------------------------------------------------

TEST(PreviewColourGain, ManualFactorsGainOnlyTheColourOutput) {
  for (auto [format, factor] : {std::pair{1, 1.0}, std::pair{1, 0.5}, std::pair{0, 0.5}}) {
    Camera cam;
    Configure(cam, 0, format);
    cam.modes.wbFactorB = factor;
    Bytes raw = kFrame, rgb = ImageBuffer(cam);
    ASSERT_EQ(Convert(cam, raw, rgb), 1);
    Bytes expected = KernelOutput(format == 1 ? KernelA1 : KernelA0, kSizeA, kFrame);
    if (format == 1 && factor != 1.0) {
      ApplyColorGain(cam, expected.data(), kSizeA.Bytes(), cam.preview.gainTableR,
                     cam.preview.gainTableG, cam.preview.gainTableB, 10);
    }
    EXPECT_EQ(Head(rgb, kSizeA.Bytes()), expected) << format << " " << factor;
  }
}

TEST(PreviewColourGain, SubModeOneColourGoesThroughThePreviewTable) {
  // wbMode 3 (only a whole record can hold it): no estimate, no gain.
  Camera cam;
  Configure(cam, 1, 1, 3);
  Bytes raw = kFrame, rgb = ImageBuffer(cam);
  ASSERT_EQ(Convert(cam, raw, rgb), 1);
  Bytes expected = KernelOutput(KernelB1, kSizeB, kFrame);
  for (uint8_t& v : expected) v = kCurveTables.previewTable[v];
  EXPECT_EQ(Head(rgb, kSizeB.Bytes()), expected);
  EXPECT_EQ(cam.preview.lastFrameTime, 0u);
}

// Sub-mode 1 with automatic balance, converting a colourful frame on a
// clock the test sets.
class EstimateGate : public ::testing::Test {
 protected:
  void SetUp() override {
    Configure(cam, 1, 1, 1);
    cam.SetClock([this] { return now; });
    mosaic::Image scene(160, 120);
    for (int y = 0; y < 120; ++y) {
      for (int x = 0; x < 160; ++x) {
        uint8_t* p = scene.At(x, y);
        p[0] = static_cast<uint8_t>(60 + x), p[1] = static_cast<uint8_t>(70 + y);
        p[2] = static_cast<uint8_t>(90 + (x + y) / 5);
      }
    }
    frame = mosaic::PreviewMosaic(scene, 1);
  }
  int FrameAt(uint32_t t) {
    now = t;
    raw = frame;
    rgb = ImageBuffer(cam);
    return Convert(cam, raw, rgb);
  }
  // The kernel's image after the preview table, as the estimate sees it.
  Bytes Previewed() const {
    Bytes image = KernelOutput(KernelB1, kSizeB, frame);
    ApplyByteTable(image.data(), kSizeB.Bytes(), kCurveTables.previewTable.data());
    return image;
  }

  Camera cam;
  uint32_t now = 0;
  Bytes frame, raw, rgb;
};

TEST_F(EstimateGate, EstimatesWhenMoreThan1000MsPassed) {
  ASSERT_EQ(FrameAt(1001), 1);  // the first frame after start
  EXPECT_EQ(cam.preview.lastEstimateTime, 1001u);
  ASSERT_EQ(FrameAt(2001), 1);
  EXPECT_EQ(cam.preview.lastFrameTime, 2001u);
  EXPECT_EQ(cam.preview.lastEstimateTime, 1001u);
  ASSERT_EQ(FrameAt(2002), 1);
  EXPECT_EQ(cam.preview.lastEstimateTime, 2002u);
  cam.modes.wbOnly = 1;  // every frame
  ASSERT_EQ(FrameAt(2003), 1);
  EXPECT_EQ(cam.preview.lastEstimateTime, 2003u);
}

TEST_F(EstimateGate, DifferenceIsSigned32Bit) {
  cam.preview.lastEstimateTime = 0xFFFFFE00u;  // 512 ms before the clock wraps
  ASSERT_EQ(FrameAt(400), 1);
  EXPECT_EQ(cam.preview.lastEstimateTime, 0xFFFFFE00u);
  ASSERT_EQ(FrameAt(600), 1);
  EXPECT_EQ(cam.preview.lastEstimateTime, 600u);
  cam.preview.lastEstimateTime = 5000;  // a clock behind it is not later
  ASSERT_EQ(FrameAt(100), 1);
  EXPECT_EQ(cam.preview.lastEstimateTime, 5000u);
}

TEST_F(EstimateGate, EstimateTimeIsAFreshReadingAfterTheTables) {
  cam.SetClock([this] { return now += 7; });
  ASSERT_EQ(FrameAt(2000), 1);
  EXPECT_EQ(cam.preview.lastFrameTime, 2007u);
  EXPECT_EQ(cam.preview.lastEstimateTime, 2014u);
}

TEST_F(EstimateGate, FrameBetweenEstimatesAppliesTheLastTables) {
  PreviewState& s = cam.preview;
  for (int i = 0; i < kColorGainTableBytes; ++i) {
    const int v = std::min(i, 255);
    s.gainTableR[i] = static_cast<uint8_t>(v / 2);
    s.gainTableG[i] = static_cast<uint8_t>(255 - v);
    s.gainTableB[i] = static_cast<uint8_t>(std::min(v + 40, 255));
  }
  s.lastEstimateTime = 5000;
  ASSERT_EQ(FrameAt(5500), 1);
  Bytes expected = Previewed();
  for (std::size_t p = 0; p < expected.size(); p += 3) {
    expected[p] = s.gainTableB[expected[p]];
    expected[p + 1] = s.gainTableG[expected[p + 1]];
    expected[p + 2] = s.gainTableR[expected[p + 2]];
  }
  EXPECT_EQ(Head(rgb, kSizeB.Bytes()), expected);
}

TEST_F(EstimateGate, ZeroLevelFailsTheFrameAndKeepsTheTables) {
  // A level is the 16-bit sum of the last four measurements: measure this
  // frame's green on a separate context, then seed the history so that the
  // green sum wraps to exactly 0.
  Camera probe;
  Configure(probe, 1, 1, 1);
  const Bytes image = Previewed();
  EstimateWhiteBalance(probe, image.data(), kSizeB.Bytes());
  ASSERT_GT(probe.modes.ratioG, 0u);
  cam.whiteBalance.estimateHistory[kGreen][1] = 0x10000u - probe.modes.ratioG;
  std::fill(std::begin(cam.preview.gainTableG), std::end(cam.preview.gainTableG), uint8_t{7});

  EXPECT_EQ(FrameAt(5000), 0);
  EXPECT_EQ(cam.modes.ratioG, 0u);
  EXPECT_EQ(cam.preview.lastFrameTime, 5000u);
  EXPECT_EQ(cam.preview.lastEstimateTime, 0u);
  EXPECT_TRUE(std::all_of(std::begin(cam.preview.gainTableG), std::end(cam.preview.gainTableG),
                          [](uint8_t v) { return v == 7; }));
  EXPECT_EQ(Head(rgb, kSizeB.Bytes()), image);  // no colour gain
}

// --- Sharpening and tone curve -------------------------------------------------------------

TEST(SharpenPreview, AddsHalfTheGreenStepToAllBytesAndClamps) {
  // 5 x 3 pixels: only (1, 1) and (2, 1) lie inside the pass.
  Bytes img(5 * 3 * 3, 0);
  auto px = [&](int x, int y) { return img.data() + (y * 5 + x) * 3; };
  for (int i = 0; i < 15; ++i) img[i * 3 + 1] = 60;
  px(1, 1)[0] = 250, px(1, 1)[1] = 100, px(1, 1)[2] = 10;  // d = (200 - 60 - 80) >> 1 = 30
  px(1, 2)[1] = 80;
  px(2, 2)[1] = 61;  // at (2, 1): d = (120 - 60 - 61) >> 1 = -1
  Bytes expected = img;
  std::copy_n(Bytes{255, 130, 40, 0, 59, 0}.begin(), 6, expected.begin() + 6 * 3);
  EXPECT_EQ(SharpenPreview(img.data(), 5, 3), 1);
  EXPECT_EQ(img, expected);
  EXPECT_EQ(SharpenPreview(img.data(), 3, 5), 1);   // too narrow: nothing
  EXPECT_EQ(SharpenPreview(img.data(), 15, 2), 1);  // too short: nothing
  EXPECT_EQ(img, expected);
}

// --- A record that may hold anything ---------------------------------------------------------

TEST(PreviewRecord, ImageBytesBelowTheKernelOutputIsRefused) {
  Camera cam;
  Configure(cam, 0, 1, 1);
  cam.modes.imageBytes = kSizeA.Bytes() - 1;
  Bytes raw = kFrame, rgb(kSizeA.Bytes() + kGuard, kUntouched);
  EXPECT_EQ(Convert(cam, raw, rgb), 0);
  EXPECT_TRUE(Untouched(rgb));
  EXPECT_EQ(raw, kFrame);
}

TEST(PreviewRecord, NeverWritesPastImageBytes) {
  struct Case {
    int sensorMode, outputFormat;
    int16_t width, height;
    uint32_t imageBytes;
  };
  const Case cases[] = {
      {0, 1, 640, 480, 230400},  {0, 1, 640, 480, 230401},     {0, 1, -5, 480, 230400},
      {0, 1, 320, -240, 230400}, {0, 1, 32767, 32767, 230400}, {52, 1, 640, 480, 10},
      {0, 3, 640, 480, 7},       {0, 3, 640, 480, 0},
  };
  for (const Case& c : cases) {
    Camera cam;
    Configure(cam, c.sensorMode, c.outputFormat);
    cam.modes.width = c.width;
    cam.modes.height = c.height;
    cam.modes.imageBytes = c.imageBytes;
    cam.modes.sharpenOn = 1;
    cam.modes.gamma = 150;
    cam.modes.wbFactorG = 0.75;
    Bytes raw = kFrame, rgb = ImageBuffer(cam);
    Convert(cam, raw, rgb);
    EXPECT_TRUE(Untouched(rgb, c.imageBytes)) << c.width << " x " << c.height;
  }
}

// --- Focus -----------------------------------------------------------------------------------

TEST(MeasureFocus, ClampsAndWritesBackTheCoordinates) {
  struct Case {
    int sensorMode;
    int32_t x, y, clampedX, clampedY;
  };
  const Case cases[] = {
      {51, 630, 474, 630, 474}, {51, 1000, 900, 630, 474}, {51, 629, 473, 629, 473},
      {51, 5, 5, 8, 8},         {51, 6, 6, 6, 6},          {51, -1, -7, 8, 8},
      {0, 314, 238, 314, 238},  {0, 400, 300, 314, 238},   {0, 2, 3, 3, 4},
      {0, 3, 4, 3, 4},          {1, 158, 119, 157, 118},   {1, 157, 118, 157, 118},
      {1, 0, 3, 1, 4},          {1, 1, 4, 1, 4},           {54, 5000, -9, 5000, -9},
  };
  for (const Case& c : cases) {
    Camera cam;
    SetMotionResolution(cam, c.sensorMode);
    SetFocusCoord(cam, c.x, c.y);
    Bytes raw = kFrame;
    MeasureFocus(cam, raw.data(), cam.modes.width, cam.modes.height);
    EXPECT_EQ(static_cast<int32_t>(cam.modes.focusX), c.clampedX) << c.sensorMode << ": " << c.x;
    EXPECT_EQ(static_cast<int32_t>(cam.modes.focusY), c.clampedY) << c.sensorMode << ": " << c.y;
    EXPECT_EQ(raw, kFrame);
  }
}

// A grey corner of four quadrants at (cx, cy), its edges blurred by a
// Gaussian of `sigma` output pixels.
mosaic::Image Corner(int width, int height, double sigma, int cx, int cy) {
  mosaic::Image scene(width, height);
  auto step = [&](double d) { return 0.5 * std::erfc(-d / (sigma * std::sqrt(2.0))); };
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      const double a = step(x + 0.5 - cx), b = step(y + 0.5 - cy);
      const double v = 50 + 150 * (a * b + (1 - a) * (1 - b));
      std::fill_n(scene.At(x, y), 3, static_cast<uint8_t>(std::lround(v)));
    }
  }
  return scene;
}

double FocusOf(int mode, const mosaic::Image& scene, int x, int y, int mirror = 0, int flip = 0) {
  Camera cam;
  SetMotionResolution(cam, mode);
  SetFocusCoord(cam, x, y);
  cam.modes.mirror = static_cast<uint8_t>(mirror);
  cam.modes.flip = static_cast<uint8_t>(flip);
  Bytes raw = mosaic::PreviewMosaic(scene, mode);
  MeasureFocus(cam, raw.data(), cam.modes.width, cam.modes.height);
  return cam.modes.focusValue;
}

TEST(MeasureFocus, RisesWithSharpness) {
  for (int mode : {51, 0, 1, 54}) {
    Camera sizes;
    SetMotionResolution(sizes, mode);
    const int w = sizes.modes.width, h = sizes.modes.height;
    double previous = 0.0;
    for (double sigma : {6.0, 3.0, 1.5, 0.7, 0.3}) {
      const double value = FocusOf(mode, Corner(w, h, sigma, w / 2, h / 2), w / 2, h / 2);
      EXPECT_GT(value, previous) << "sensorMode " << mode << " sigma " << sigma;
      previous = value;
    }
  }
}

TEST(MeasureFocus, AveragesFourFramesThenHoldsSteady) {
  Camera cam;
  SetMotionResolution(cam, 51);
  SetFocusCoord(cam, 320, 240);
  Bytes sharp = mosaic::PreviewMosaic(Corner(640, 480, 0.3, 320, 240), 51);
  Bytes soft = mosaic::PreviewMosaic(Corner(640, 480, 4.0, 320, 240), 51);
  const double vSharp = FocusOf(51, Corner(640, 480, 0.3, 320, 240), 320, 240);
  const double vSoft = FocusOf(51, Corner(640, 480, 4.0, 320, 240), 320, 240);
  ASSERT_GT(vSharp, vSoft * 1.01);
  MeasureFocus(cam, sharp.data(), 640, 480);
  MeasureFocus(cam, soft.data(), 640, 480);
  EXPECT_DOUBLE_EQ(cam.modes.focusValue, (vSharp + vSoft) / 2);
  MeasureFocus(cam, soft.data(), 640, 480);
  MeasureFocus(cam, soft.data(), 640, 480);
  EXPECT_DOUBLE_EQ(cam.modes.focusValue, (vSharp + 3 * vSoft) / 4);
  for (int i = 0; i < 10; ++i) {  // repeated frames: the first leaves the band, then it holds
    MeasureFocus(cam, soft.data(), 640, 480);
    EXPECT_NEAR(cam.modes.focusValue, vSoft, vSoft * 0.002) << "frame " << i;
  }
  SetFocusCoord(cam, 100, 100);  // a new window restarts, here on a flat quadrant
  MeasureFocus(cam, sharp.data(), 640, 480);
  EXPECT_EQ(cam.modes.focusValue, 0.0);
}

TEST(MeasureFocus, WindowFollowsMirrorAndFlip) {
  // A bright square left of centre in the top half: flip shows the picture
  // right to left, mirror upside down.
  mosaic::Image scene(640, 480);
  for (int y = 0; y < 480; ++y) {
    for (int x = 0; x < 640; ++x) {
      const bool bright = x >= 160 && x < 200 && y >= 100 && y < 140;
      std::fill_n(scene.At(x, y), 3, bright ? 200 : 60);
    }
  }
  EXPECT_GT(FocusOf(51, scene, 160, 120), 0.0);
  EXPECT_EQ(FocusOf(51, scene, 160, 120, 0, 1), 0.0);
  EXPECT_GT(FocusOf(51, scene, 479, 120, 0, 1), 0.0);
  EXPECT_EQ(FocusOf(51, scene, 160, 120, 1, 0), 0.0);
  EXPECT_GT(FocusOf(51, scene, 160, 359, 1, 0), 0.0);
}

}  // namespace
}  // namespace vobrex
