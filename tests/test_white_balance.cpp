// White balance on raw working samples and the estimates on samples and on
// preview images.
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "preview/white_balance.h"

namespace vobrex {
namespace {

constexpr int32_t kBlock = 0x40000;
constexpr int32_t kField = 0x20000;

// Blocks with one value per colour site.
std::vector<int16_t> Mosaic(int blocks, int16_t red, int16_t green, int16_t blue) {
  std::vector<int16_t> s(static_cast<size_t>(blocks) * kBlock);
  for (int b = 0; b < blocks; ++b) {
    int16_t* gb = s.data() + b * kBlock;
    for (int32_t k = 0; k < kField; k += 2) {
      gb[k] = green;
      gb[k + 1] = blue;
      gb[kField + k] = red;
      gb[kField + k + 1] = green;
    }
  }
  return s;
}

struct Sites {
  int16_t green1, blue, red, green2;
};
Sites SitesOf(const std::vector<int16_t>& s, int block = 0, int32_t k = 1000) {
  const int16_t* gb = s.data() + block * kBlock;
  return {gb[k], gb[k + 1], gb[kField + k], gb[kField + k + 1]};
}

void SetLevels(Camera& cam, uint16_t r, uint16_t g, uint16_t b) {
  cam.modes.ratioR = r;
  cam.modes.ratioG = g;
  cam.modes.ratioB = b;
}

void ExpectLevels(const Camera& cam, int r, int g, int b) {
  EXPECT_EQ(cam.modes.ratioR, r);
  EXPECT_EQ(cam.modes.ratioG, g);
  EXPECT_EQ(cam.modes.ratioB, b);
}

// ---------------------------------------------------------------- raw gains

TEST(ApplyRawGains, AutomaticLiftsTheTwoChannelsBelowTheDominantOne) {
  Camera cam;  // wbMode 1, levels 100/100/100: weighted 95/100/103, blue dominant
  auto s = Mosaic(1, 500, 500, 500);
  ASSERT_EQ(ApplyRawGains(cam, s.data(), 10, 0), 1);
  const Sites v = SitesOf(s);
  EXPECT_EQ(v.blue, 500);
  EXPECT_EQ(v.red, 500 * 103 / 95);
  EXPECT_EQ(v.green1, 515);
  EXPECT_EQ(v.green2, 515);
}

TEST(ApplyRawGains, ManualFactorsWithClampedIndices) {
  Camera cam;
  cam.modes.wbMode = 0;
  auto s = Mosaic(1, 321, 654, 987);
  ASSERT_EQ(ApplyRawGains(cam, s.data(), 13, 1), 1);
  EXPECT_EQ(s, Mosaic(1, 321, 654, 987));  // factors 1.0: identity

  cam.modes.wbFactorR = 2.0;
  cam.modes.wbFactorB = 0.5;
  ASSERT_EQ(ApplyRawGains(cam, s.data(), 13, 1), 1);
  const Sites v = SitesOf(s);
  EXPECT_EQ(v.red, 642);
  EXPECT_EQ(v.green1, 654);
  EXPECT_EQ(v.blue, 493);

  auto odd = Mosaic(1, 20000, -5, 16382);  // outside the tables: clamped onto them
  ApplyRawGains(cam, odd.data(), 10, 0);
  const Sites w = SitesOf(odd);
  EXPECT_EQ(w.red, 32764);
  EXPECT_EQ(w.green2, 0);
  EXPECT_EQ(w.blue, 8191);
}

TEST(ApplyRawGains, SemiAutomaticAppliesTheFactorOfTheRatio) {
  Camera cam;
  cam.modes.wbMode = 2;
  cam.modes.wbFactorG = 2.0;
  auto s = Mosaic(1, 500, 500, 500);
  ASSERT_EQ(ApplyRawGains(cam, s.data(), 10, 0), 1);
  const Sites v = SitesOf(s);
  EXPECT_EQ(v.green1, 1030);
  EXPECT_EQ(v.blue, 500);  // all three channels go through both tables
  EXPECT_EQ(v.red, 542);
}

TEST(ApplyRawGains, UnusableLevelsAndCodesChangeNothing) {
  const auto original = Mosaic(1, 400, 300, 200);
  for (int code : {0, 20, 11, 21}) {
    Camera cam;
    auto s = original;
    EXPECT_EQ(ApplyRawGains(cam, s.data(), code, 0), 0) << code;
    EXPECT_EQ(s, original);
  }
  Camera negative;
  SetLevels(negative, 0x8000, 100, 100);  // read as -32768
  auto s = original;
  EXPECT_EQ(ApplyRawGains(negative, s.data(), 10, 0), 0);
  EXPECT_EQ(s, original);
}

TEST(ApplyRawGains, RatioTablesRebuildOnEveryFifthPreviewAndOnEveryStill) {
  Camera cam;
  cam.modes.wbStatus = 2;  // blue dominant throughout: green is lifted
  auto green = [&](int32_t stillCall) {
    auto s = Mosaic(1, 500, 500, 500);
    ApplyRawGains(cam, s.data(), 10, stillCall);
    return SitesOf(s).green1;
  };
  EXPECT_EQ(green(0), 515);  // count 0: built for 100
  cam.modes.ratioG = 50;
  EXPECT_EQ(green(0), 515);   // count 1: old tables
  EXPECT_EQ(green(1), 1030);  // a still rebuilds at once
  cam.modes.ratioG = 100;
  for (int frame = 0; frame < 4; ++frame) EXPECT_EQ(green(0), 1030);
  EXPECT_EQ(green(0), 515);  // the fifth after the still
}

TEST(ApplyRawGains, TableAllocationFailureWritesNothing) {
  for (long n = 1; n <= 6; ++n) {
    Camera cam;
    cam.modes.wbFactorR = 3.0;
    auto s = Mosaic(1, 400, 300, 200);
    FailAllocation(n);
    EXPECT_EQ(ApplyRawGains(cam, s.data(), 10, 0), 0) << n;
    FailAllocation(0);
    EXPECT_EQ(s, Mosaic(1, 400, 300, 200));
    EXPECT_EQ(cam.whiteBalance.ratioRebuildCount, 0);
    ASSERT_EQ(ApplyRawGains(cam, s.data(), 10, 0), 1);
    EXPECT_EQ(SitesOf(s).green1, 309);
  }
}

// ------------------------------------------------------------ position gain

TEST(ApplyPositionGain, RawBytesPassTheSoftKnee) {
  Camera cam;  // gainTable 1: divisor 150
  uint8_t* position = cam.positionGain.get();
  position[10] = 255;
  position[11] = 250;
  position[12] = 150;
  std::vector<uint8_t> raw(kBlock, 0);
  for (int32_t half : {0, kField}) {
    raw[half + 10] = 200;
    raw[half + 11] = 150;
    raw[half + 12] = 100;
  }
  ApplyPositionGain(cam, raw.data(), 10);
  for (int32_t half : {0, kField}) {
    EXPECT_EQ(raw[half + 10], 255);  // 340
    EXPECT_EQ(raw[half + 11], 240);  // 250 -> (250 + 230) / 2
    EXPECT_EQ(raw[half + 12], 100);
  }
}

TEST(ApplyPositionGain, SamplesHaveNoKneeAndFollowTheDivisor) {
  Camera cam;
  cam.positionGain[10] = 255;
  auto s = Mosaic(4, 200, 200, 200);
  ApplySamplePositionGain(cam, s.data(), 40);
  EXPECT_EQ(s[3 * kBlock + kField + 10], 340);
  cam.modes.gainTable = 9;  // divisor 50
  ApplySamplePositionGain(cam, s.data(), 10);
  EXPECT_EQ(s[10], 340 * 255 / 50);

  const auto before = s;  // no blocks, or no table: nothing happens
  ApplySamplePositionGain(cam, s.data(), 20);
  cam.positionGain.reset();
  ApplySamplePositionGain(cam, s.data(), 10);
  std::vector<uint8_t> raw(kBlock, 100);
  ApplyPositionGain(cam, raw.data(), 10);
  EXPECT_EQ(s, before);
  EXPECT_EQ(raw, std::vector<uint8_t>(kBlock, 100));
}

// ------------------------------------------------------- raw-domain estimate

TEST(EstimateRawWhiteBalance, OrdinaryFrameReachesTheLevels) {
  Camera cam;
  auto s = Mosaic(1, 400, 300, 200);
  EXPECT_EQ(EstimateRawWhiteBalance(cam, s.data(), 10), 1);
  ExpectLevels(cam, 1000, 750, 500);
  EXPECT_EQ(cam.modes.wbStatus, 1);
}

TEST(EstimateRawWhiteBalance, RejectsDarkAndOneColourFramesInAutomaticMode) {
  Camera cam;
  SetLevels(cam, 7, 8, 9);
  for (const auto& s : {Mosaic(1, 50, 40, 30), Mosaic(1, 700, 100, 110), Mosaic(1, 300, 300, 0)}) {
    EXPECT_EQ(EstimateRawWhiteBalance(cam, s.data(), 10), 0);
    ExpectLevels(cam, 7, 8, 9);
  }
  // The same dark frame taken as a white target is trusted.
  cam.modes.wbMode = 2;
  cam.modes.wbOnly = 1;
  auto dark = Mosaic(1, 50, 40, 30);
  EXPECT_EQ(EstimateRawWhiteBalance(cam, dark.data(), 10), 1);
  ExpectLevels(cam, 1000, 800, 600);
}

TEST(EstimateRawWhiteBalance, WhiteTargetIsSavedAndReused) {
  Camera cam;
  cam.modes.wbMode = 2;
  cam.modes.wbOnly = 1;
  auto target = Mosaic(1, 200, 400, 100);
  EstimateRawWhiteBalance(cam, target.data(), 10);
  EXPECT_EQ(cam.modes.semiFactors[3], 3172 * 200);
  EXPECT_EQ(cam.modes.semiFactors[4], 3172 * 400);
  EXPECT_EQ(cam.modes.semiFactors[5], 3172 * 100);
  EXPECT_EQ(cam.modes.semiFactors[6], 3172);
  cam.modes.wbOnly = 0;
  auto scene = Mosaic(1, 500, 500, 500);
  EstimateRawWhiteBalance(cam, scene.data(), 10);
  ExpectLevels(cam, 570, 1000, 285);              // 500 / 250 limited: spread 40
  std::fill_n(cam.modes.semiFactors + 3, 3, -1);  // none saved: the stored sums serve
  EstimateRawWhiteBalance(cam, scene.data(), 10);
  ExpectLevels(cam, 570, 1000, 285);
}

TEST(EstimateRawWhiteBalance, DefaultsNeutralAndNegativeSums) {
  Camera cam;
  auto s = Mosaic(2, 700, 500, 400);
  EXPECT_EQ(EstimateRawWhiteBalance(cam, s.data(), 20), 0);
  ExpectLevels(cam, 120, 100, 100);
  EXPECT_EQ(EstimateRawWhiteBalance(cam, s.data(), 23), 1);  // red sum 6344 x 700 > 4000000
  ExpectLevels(cam, 1000, 1000, 1000);
  auto negative = Mosaic(1, 400, -3, 200);
  EXPECT_EQ(EstimateRawWhiteBalance(cam, negative.data(), 10), 0);
  ExpectLevels(cam, 120, 100, 100);
}

// ------------------------------------------------------------- dispatcher

TEST(ApplyWhiteBalance, EstimatesThenLiftsTheWeakerChannels) {
  Camera cam;
  auto s = Mosaic(1, 400, 300, 200);
  EXPECT_EQ(ApplyWhiteBalance(cam, s.data(), 10, 0), 1);
  // Levels 1000/750/500, weighted 952/750/515, red dominant.
  const Sites v = SitesOf(s);
  EXPECT_EQ(v.red, 400);
  EXPECT_EQ(v.green1, 300 * 952 / 750);
  EXPECT_EQ(v.blue, 200 * 952 / 515);
}

TEST(ApplyWhiteBalance, ManualColourGainSkipsTheGainStage) {
  Camera cam;
  cam.modes.gainAdjust = 1;
  cam.modes.wbExtra = 1;
  cam.positionGain[0] = 150;
  auto s = Mosaic(1, 400, 300, 200);
  auto expected = s;
  ApplySamplePositionGain(cam, expected.data(), 10);
  EXPECT_EQ(ApplyWhiteBalance(cam, s.data(), 10, 1), 1);
  EXPECT_EQ(s, expected);
  ExpectLevels(cam, 100, 100, 100);
}

// ------------------------------------------------------------ normalisation

TEST(NormalizeLevels, ScalesToThePeakAndLimitsTheCorrection) {
  Camera cam;
  EXPECT_EQ(NormalizeLevels(cam, 2000, 1000, 500), 1);
  ExpectLevels(cam, 1000, 570, 285);
  EXPECT_EQ(cam.modes.wbStatus, 1);
  NormalizeLevels(cam, 1000, 900, 600);
  ExpectLevels(cam, 1000, 900, 600);
  NormalizeLevels(cam, 500, 2000, 1000);  // green peak: red weakest
  ExpectLevels(cam, 285, 1000, 570);
  EXPECT_EQ(cam.modes.wbStatus, 3);
  NormalizeLevels(cam, 300, 200, 1000);  // blue peak: limit from 2.1 times
  ExpectLevels(cam, 750, 500, 1000);
  EXPECT_EQ(cam.modes.wbStatus, 2);
}

TEST(NormalizeLevels, ProductsWrapIn32BitsAndAnEmptySumFails) {
  Camera cam;
  NormalizeLevels(cam, 5000000, 4500000, 4000000);
  ExpectLevels(cam, 1000, 41, 800);  // 4500000000 - 2^32 = 205032704
  EXPECT_EQ(NormalizeLevels(cam, 1000, 0, 500), 0);
  ExpectLevels(cam, 120, 100, 100);
}

// -------------------------------------------------- preview-image estimate

// A 160 x 120 preview image in runs of four pixels alternating between two
// colours, each channel of the second `step` above the first.
std::vector<uint8_t> Image(uint8_t b, uint8_t g, uint8_t r, uint8_t step) {
  std::vector<uint8_t> img(160 * 120 * 3);
  for (size_t p = 0; p < img.size() / 3; ++p) {
    const uint8_t up = (p / 4) % 2 ? step : 0;
    img[3 * p] = static_cast<uint8_t>(b + up);
    img[3 * p + 1] = static_cast<uint8_t>(g + up);
    img[3 * p + 2] = static_cast<uint8_t>(r + up);
  }
  return img;
}

TEST(MeasureColorLevels, FitFrameSetsStateLevelsAndHistory) {
  Camera cam;
  cam.modes.sensorMode = 1;                  // every pixel sampled
  const auto img = Image(60, 100, 140, 40);  // sums 1536000 / 2304000 / 3072000
  EXPECT_EQ(MeasureColorLevels(cam, img.data(), static_cast<int32_t>(img.size())), 1);
  ExpectLevels(cam, 1000, 750, 500);
  EXPECT_EQ(cam.modes.wbStatus2, 2);
  EXPECT_EQ(cam.modes.wbMemo, 20);
  EXPECT_EQ(cam.whiteBalance.levelPushCount, 1u);
  EXPECT_EQ(cam.whiteBalance.levelHistory[kRed][4], 3072000u);

  const auto marginal = Image(60, 100, 140, 20);  // measured but not kept
  EXPECT_EQ(MeasureColorLevels(cam, marginal.data(), static_cast<int32_t>(marginal.size())), 1);
  EXPECT_EQ(cam.whiteBalance.levelPushCount, 1u);
}

TEST(MeasureColorLevels, UnfitFramesFallBackOnTheHistory) {
  Camera cam;
  cam.modes.sensorMode = 1;  // every pixel sampled
  const auto dark = Image(0, 1, 1, 1);
  const auto flat = Image(60, 100, 140, 0);
  const auto n = static_cast<int32_t>(dark.size());
  SetLevels(cam, 7, 8, 9);
  EXPECT_EQ(MeasureColorLevels(cam, dark.data(), n), 0);
  ExpectLevels(cam, 120, 100, 100);  // no history yet

  const auto fit = Image(60, 100, 140, 40);
  for (int i = 0; i < 4; ++i) MeasureColorLevels(cam, fit.data(), n);
  const auto outlier = Image(140, 100, 60, 40);  // blue and red swapped
  MeasureColorLevels(cam, outlier.data(), n);
  SetLevels(cam, 7, 8, 9);
  EXPECT_EQ(MeasureColorLevels(cam, flat.data(), n), 0);
  ExpectLevels(cam, 1000, 750, 500);  // the outlier lies outside the deviation
  EXPECT_EQ(cam.whiteBalance.levelPushCount, 5u);

  // Fewer than two values within the deviation of a channel: no fallback levels.
  const uint32_t scattered[5] = {100, 100, 200, 300, 300};
  std::copy(scattered, scattered + 5, cam.whiteBalance.levelHistory[kGreen]);
  EXPECT_EQ(MeasureColorLevels(cam, dark.data(), n), 0);
  ExpectLevels(cam, 120, 100, 100);
  for (int c = 0; c < 3; ++c) std::fill_n(cam.whiteBalance.levelHistory[c], 5, 100u);
  std::fill_n(cam.whiteBalance.levelHistory[kBlue], 5, 599u);  // 600 would be too far apart
  MeasureColorLevels(cam, dark.data(), n);
  ExpectLevels(cam, 166, 166, 1000);
}

TEST(MeasureColorLevels, WhiteTargetRunIsFoldedNotAveraged) {
  Camera cam;
  cam.modes.sensorMode = 1;  // every pixel sampled
  cam.modes.wbMode = 2;
  cam.modes.wbOnly = 1;
  const auto img = Image(60, 100, 140, 40);
  const auto n = static_cast<int32_t>(img.size());
  MeasureColorLevels(cam, img.data(), n);
  MeasureColorLevels(cam, img.data(), n);
  EXPECT_EQ(cam.modes.semiFactors[0], 1536000);
  MeasureColorLevels(cam, img.data(), n);  // (x + x) / 3
  EXPECT_EQ(cam.modes.semiFactors[0], 1024000);
  EXPECT_EQ(cam.modes.semiFactors[1], 1536000);
  EXPECT_EQ(cam.modes.semiFactors[2], 2048000);
  cam.modes.wbOnly = 0;  // ends the run; the reference stays in use
  const auto other = Image(100, 100, 100, 40);
  MeasureColorLevels(cam, other.data(), n);
  ExpectLevels(cam, 1000, 750, 500);
  EXPECT_EQ(cam.whiteBalance.targetRunCount, 0);
}

TEST(MeasureColorLevels, FullSizeModeSamplesEveryThirdPixelAndQuarters) {
  Camera cam;
  cam.modes.sensorMode = 51;
  std::vector<uint8_t> img(640 * 480 * 3);
  for (size_t p = 0; p < img.size() / 3; ++p) {
    img[3 * p] = p % 3 ? 0 : 40;  // blue only on sampled pixels
    img[3 * p + 1] = 80;
    img[3 * p + 2] = static_cast<uint8_t>(p % 8 < 4 ? 20 : 40);
  }
  MeasureColorLevels(cam, img.data(), static_cast<int32_t>(img.size()));
  EXPECT_EQ(cam.modes.wbStatus, 3);  // sums 1024000 / 2048000 / 768000
  ExpectLevels(cam, 375, 1000, 500);
}

TEST(EstimateWhiteBalance, LevelsAreTheSumOfTheLastFour) {
  Camera cam;
  cam.modes.sensorMode = 1;  // every pixel sampled
  const auto img = Image(60, 100, 140, 40);
  const auto n = static_cast<int32_t>(img.size());
  for (int frame = 1; frame <= 5; ++frame) {
    EXPECT_EQ(EstimateWhiteBalance(cam, img.data(), n), 1);
    const int depth = frame < 4 ? frame : 4;
    ExpectLevels(cam, 1000 * depth, 750 * depth, 500 * depth);
  }
  // A rejected frame with the history full appends the fallback levels.
  const auto flat = Image(60, 100, 140, 0);
  EstimateWhiteBalance(cam, flat.data(), n);
  ExpectLevels(cam, 4000, 3000, 2000);
}

}  // namespace
}  // namespace vobrex
