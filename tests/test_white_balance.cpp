// White balance on raw working samples, the estimates on samples and on
// preview images, and the colour-gain tables and pass.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <vector>

#include "preview/white_balance.h"
#include "settings/curve_tables.h"

namespace vobrex {
namespace {

using V = std::vector<int>;
using Samples = std::vector<int16_t>;
constexpr int32_t kBlock = 0x40000;
constexpr int32_t kField = 0x20000;

// Blocks with one value per colour site: green/blue lines, then red/green.
Samples Mosaic(int blocks, int r, int g, int b) {
  Samples s(static_cast<size_t>(blocks) * kBlock);
  for (size_t k = 0; k < s.size(); ++k) {
    s[k] = static_cast<int16_t>(k % kBlock < kField ? (k % 2 ? b : g) : (k % 2 ? g : r));
  }
  return s;
}
// Red, the green of each field, blue.
V Sites(const Samples& s) { return {s[kField + 1000], s[1000], s[kField + 1001], s[1001]}; }
// A call's result, then the levels it left (the body runs after the call).
V Result(const Camera& c, int r) { return {r, c.modes.ratioR, c.modes.ratioG, c.modes.ratioB}; }

TEST(ApplyRawGains, ByModeLevelsAndCode) {
  // wbMode, level R, code, result, factors R, G, B in halves; red, green, blue
  // in; red, green of each field, blue out.
  const int cases[][14] = {
      // Levels 100/100/100 weigh 95/100/103: blue dominates, green and red are lifted.
      {1, 100, 10, 1, 2, 2, 2, 500, 500, 500, 542, 515, 515, 500},
      {0, 100, 13, 1, 2, 2, 2, 321, 654, 987, 321, 654, 654, 987},
      // Samples outside the tables are clamped onto them.
      {0, 100, 10, 1, 4, 2, 1, 20000, -5, 16382, 32764, 0, 0, 8191},
      // Factor of ratio: all three channels go through both tables.
      {2, 100, 10, 1, 2, 4, 2, 500, 500, 500, 542, 1030, 1030, 500},
      // A negative level (0x8000), or no blocks: nothing changes.
      {1, 0x8000, 10, 0, 2, 2, 2, 400, 300, 200, 400, 300, 300, 200},
      {1, 100, 0, 0, 2, 2, 2, 400, 300, 200, 400, 300, 300, 200},
      {1, 100, 11, 0, 2, 2, 2, 400, 300, 200, 400, 300, 300, 200},
      {1, 100, 20, 0, 2, 2, 2, 400, 300, 200, 400, 300, 300, 200},
      {1, 100, 21, 0, 2, 2, 2, 400, 300, 200, 400, 300, 300, 200},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << "wbMode " << c[0] << " code " << c[2]);
    Camera cam;
    cam.modes.wbMode = c[0];
    SetWbFactors(cam, c[4] / 2.0, c[5] / 2.0, c[6] / 2.0);
    SetRGBratio(cam, static_cast<uint16_t>(c[1]), 100, 100);
    auto s = Mosaic(1, c[7], c[8], c[9]);
    EXPECT_EQ(ApplyRawGains(cam, s.data(), c[2], 1), c[3]);
    EXPECT_EQ(Sites(s), V(c + 10, c + 14));
  }
}

TEST(ApplyRawGains, RebuildCounterAndTableAllocationFailure) {
  Camera cam;
  cam.modes.wbStatus = 2;  // blue dominant throughout: green is lifted
  const auto green = [&](int32_t stillCall, int ratioG) {
    cam.modes.ratioG = static_cast<uint16_t>(ratioG);
    auto s = Mosaic(1, 500, 500, 500);
    ApplyRawGains(cam, s.data(), 10, stillCall);
    return Sites(s)[1];
  };
  // In order: count 0 builds for 100; count 1 keeps those tables although the
  // level changed; a still rebuilds at once; the fifth call after it again.
  EXPECT_EQ((V{green(0, 100), green(0, 50), green(1, 50), green(0, 100), green(0, 100),
               green(0, 100), green(0, 100), green(0, 100)}),
            (V{515, 515, 1030, 1030, 1030, 1030, 1030, 515}));

  // A table that cannot be had: nothing is written; the next call works.
  for (long n = 1; n <= 6; ++n) {
    Camera fresh;
    auto s = Mosaic(1, 400, 300, 200);
    FailAllocation(n);
    EXPECT_EQ(ApplyRawGains(fresh, s.data(), 10, 0), 0) << n;
    FailAllocation(0);
    EXPECT_EQ(s, Mosaic(1, 400, 300, 200));
    EXPECT_EQ(fresh.whiteBalance.ratioRebuildCount, 0);
    EXPECT_EQ((V{ApplyRawGains(fresh, s.data(), 10, 0), Sites(s)[1]}), (V{1, 309}));
  }
}

// A rebuild from the levels or factor a table was last filled from writes
// nothing: every table must still hold the entries of the levels and
// factors of the call, when only a level under the same peak changes, when
// levels and factors come back to earlier ones, and in the table of a
// channel whose level stays while another's changes.
TEST(ApplyRawGains, TablesHoldTheLevelsOfEveryCallThroughSkippedRefills) {
  Camera cam;
  cam.modes.wbMode = 2;
  // ratioR, ratioG (blue 200 is the peak throughout), factor of green in tenths
  const int calls[][3] = {{100, 100, 10}, {100, 100, 10}, {100, 120, 10},
                          {90, 120, 12},  {100, 100, 10}, {100, 100, 12}};
  for (const auto& [red, green, factor] : calls) {
    SCOPED_TRACE(testing::Message() << red << " " << green << " " << factor);
    SetRGBratio(cam, static_cast<uint16_t>(red), static_cast<uint16_t>(green), 200);
    SetWbFactors(cam, 1.5, factor / 10.0, 0.5);
    Samples s = Mosaic(1, 0, 0, 0);
    ASSERT_EQ(ApplyRawGains(cam, s.data(), 13, 1), 1);
    const WhiteBalanceState& st = cam.whiteBalance;
    const int32_t peak = 200 * 103 / 100, level[3] = {red * 100 / 105, green, peak};
    const int16_t* ratio[3] = {st.ratioTableR.get(), st.ratioTableG.get(), st.ratioTableB.get()};
    const double factors[3] = {1.5, factor / 10.0, 0.5};
    const int32_t* factorTable[3] = {st.factorTableR.get(), st.factorTableG.get(),
                                     st.factorTableB.get()};
    for (int c = 0; c < 3; ++c) {
      for (int32_t i = 0; i < kRawTableLength; ++i) {
        ASSERT_EQ(ratio[c][i], static_cast<int16_t>(i * peak / level[c])) << c << " " << i;
        ASSERT_EQ(factorTable[c][i], static_cast<int32_t>(factors[c] * i)) << c << " " << i;
      }
    }
  }
}

TEST(ApplyPositionGain, KneeOnBytesNoneOnSamples) {
  Camera cam;  // gainTable 1: divisor 150
  std::copy_n(V{255, 250, 150}.begin(), 3, &cam.positionGain[10]);
  std::vector<uint8_t> raw(kBlock, 0);
  for (int32_t at : {10, kField + 10}) std::copy_n(V{200, 150, 100}.begin(), 3, &raw[at]);
  ApplyPositionGain(cam, raw.data(), 10);
  // 340 is above the knee; 250 becomes (250 + 230) / 2; 100 stays.
  for (int32_t at : {10, kField + 10}) EXPECT_EQ(V(&raw[at], &raw[at + 3]), (V{255, 240, 100}));
  auto s = Mosaic(4, 200, 200, 200);
  cam.modes.gainTable = 9;  // divisor 50, in every half of every block
  ApplySamplePositionGain(cam, s.data(), 40);
  EXPECT_EQ(V({s[10], s[3 * kBlock + kField + 10]}), (V{1020, 1020}));
  cam.positionGain.reset();  // no table: nothing, and no crash
  ApplySamplePositionGain(cam, s.data(), 10);
  ApplyPositionGain(cam, raw.data(), 10);
  EXPECT_EQ(s[10], 1020);
}

TEST(EstimateRawWhiteBalance, DispatcherFramesSumsAndWhiteTarget) {
  Camera cam;
  const auto estimate = [&](const Samples& s, int32_t code) {
    return Result(cam, EstimateRawWhiteBalance(cam, s.data(), code));
  };
  // Through the dispatcher: the estimate runs first, then the weaker channels
  // are lifted by the weighted levels 952/750/515.
  auto s = Mosaic(1, 400, 300, 200);
  EXPECT_EQ(Result(cam, ApplyWhiteBalance(cam, s.data(), 10, 0)), (V{1, 1000, 750, 500}));
  EXPECT_EQ(Sites(s), (V{400, 300 * 952 / 750, 300 * 952 / 750, 200 * 952 / 515}));
  SetRGBratio(cam, 7, 8, 9);  // dark or one-colour frames are rejected, levels kept
  for (const auto& f : {Mosaic(1, 50, 40, 30), Mosaic(1, 700, 100, 110), Mosaic(1, 300, 300, 0)}) {
    EXPECT_EQ(estimate(f, 10), (V{0, 7, 8, 9}));
  }
  EXPECT_EQ(estimate(Mosaic(2, 700, 500, 400), 20), (V{0, 120, 100, 100}));  // no blocks
  // Two blocks and the red sum 6344 x 700 above 4000000: all sums become 100.
  EXPECT_EQ(estimate(Mosaic(2, 700, 500, 400), 23), (V{1, 1000, 1000, 1000}));
  EXPECT_EQ(estimate(Mosaic(1, 400, -3, 200), 10), (V{0, 120, 100, 100}));  // a negative sum

  // A white target, even a dark one, is trusted, saved with its count and reused.
  cam.modes.wbMode = 2;
  cam.modes.wbOnly = 1;
  EXPECT_EQ(estimate(Mosaic(1, 50, 40, 30), 10), (V{1, 1000, 800, 600}));
  EXPECT_EQ(V(cam.modes.semiFactors + 3, cam.modes.semiFactors + 7),
            (V{3172 * 50, 3172 * 40, 3172 * 30, 3172}));
  cam.modes.wbOnly = 0;
  EXPECT_EQ(estimate(Mosaic(1, 500, 500, 500), 10), (V{1, 1000, 800, 600}));
}

TEST(NormalizeLevels, PeakLimitWrapAndEmptySum) {
  // Sums, result, then levels and the dominant channel (1 red, 2 blue, 3 green).
  const uint32_t cases[][8] = {
      {2000, 1000, 500, 1, 1000, 570, 285, 1},  // spread 40: the weakest to 285
      {1000, 900, 600, 1, 1000, 900, 600, 1},   // spread 16: no limit
      {500, 2000, 1000, 1, 285, 1000, 570, 3},  // green peak: red weakest
      {300, 200, 1000, 1, 750, 500, 1000, 2},   // blue peak: limit from 2.1 times
      // Products wrap in 32 bits: 4500000 x 1000 - 2^32 = 205032704.
      {5000000, 4500000, 4000000, 1, 1000, 41, 800, 1},
      {1000, 0, 500, 0, 120, 100, 100, 1},
  };
  Camera cam;
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << c[0] << " " << c[1] << " " << c[2]);
    EXPECT_EQ(Result(cam, NormalizeLevels(cam, c[0], c[1], c[2])), V(c + 3, c + 7));
    EXPECT_EQ(cam.modes.wbStatus, c[7]);
  }
}

// A 160 x 120 preview image in runs of four pixels alternating between two
// colours (blue, green, red), each channel of the second `step` above the first.
constexpr int32_t kImageBytes = 160 * 120 * 3;
std::vector<uint8_t> Image(int b, int g, int r, int step) {
  std::vector<uint8_t> img(kImageBytes);
  for (int p = 0; p < kImageBytes / 3; ++p) {
    const int up = (p / 4) % 2 ? step : 0;
    std::copy_n(V{b + up, g + up, r + up}.begin(), 3, &img[3 * p]);
  }
  return img;
}

TEST(EstimateWhiteBalance, SumOfTheLastFourFallbackAndWhiteTarget) {
  Camera cam;
  cam.modes.sensorMode = 1;  // every pixel sampled
  const auto measure = [&](const std::vector<uint8_t>& img) {
    return Result(cam, MeasureColorLevels(cam, img.data(), kImageBytes));
  };
  const auto dark = Image(0, 1, 1, 1);
  EXPECT_EQ(measure(dark), (V{0, 120, 100, 100}));  // no history to fall back on
  const auto fit = Image(60, 100, 140, 40);         // sums 1536000 / 2304000 / 3072000
  for (int frame = 1; frame <= 4; ++frame) {
    EXPECT_EQ(Result(cam, EstimateWhiteBalance(cam, fit.data(), kImageBytes)),
              (V{1, 1000 * frame, 750 * frame, 500 * frame}));
  }
  // Blue is the weakest channel; 3072000 x 10 / 1536000 = 20.
  EXPECT_EQ(V({cam.modes.wbStatus2, cam.modes.wbMemo}), (V{2, 20}));
  EXPECT_EQ(measure(Image(60, 100, 140, 20))[0], 1);
  EXPECT_EQ(cam.whiteBalance.levelPushCount, 4u);  // a marginal frame is not kept
  measure(Image(140, 100, 60, 40));                // blue and red swapped
  // A flat frame falls back on the robust means of the history, without the
  // outlier, and that level is appended: the sum holds three fit ones and it.
  EXPECT_EQ(Result(cam, EstimateWhiteBalance(cam, Image(60, 100, 140, 0).data(), kImageBytes)),
            (V{1, 4000, 3000, 2000}));
  // Fewer than two values within the deviation of a channel: defaults.
  std::copy_n(std::array<uint32_t, 5>{100, 100, 200, 300, 300}.begin(), 5,
              cam.whiteBalance.levelHistory[kGreen]);
  EXPECT_EQ(measure(dark), (V{0, 120, 100, 100}));
  for (int c = 0; c < 3; ++c) std::fill_n(cam.whiteBalance.levelHistory[c], 5, 100u);
  std::fill_n(cam.whiteBalance.levelHistory[kBlue], 5, 599u);  // 600 would be too far apart
  EXPECT_EQ(measure(dark), (V{0, 166, 166, 1000}));  // the fallback succeeds, the frame not

  // A white-target run is folded, not averaged: (x + x) / 2 = x, then (x + x) / 3.
  cam.modes.wbMode = 2;
  cam.modes.wbOnly = 1;
  for (int call = 0; call < 3; ++call) measure(fit);
  EXPECT_EQ(V(cam.modes.semiFactors, cam.modes.semiFactors + 3), (V{1024000, 1536000, 2048000}));
  cam.modes.wbOnly = 0;  // ends the run; the reference stays in use
  EXPECT_EQ(measure(Image(100, 100, 100, 40)), (V{1, 1000, 750, 500}));
  EXPECT_EQ(cam.whiteBalance.targetRunCount, 0);
}

TEST(ColorGain, TablesAndThePass) {
  std::vector<uint8_t> t(1024, 7);
  EXPECT_EQ(V({BuildGainTable(t.data(), 200, 0), t[0]}), (V{0, 7}));  // level 0: table kept
  EXPECT_EQ(V({BuildGainTable(t.data(), 200, 100), t[0], t[1], t[126], t[127]}),
            (V{1, 0, 2, 252, 254}));
  EXPECT_EQ(std::count(t.begin() + 128, t.end(), 255), 1024 - 128);
  BuildGainTable(t.data(), 100, -100);  // a negative level keeps the low byte
  EXPECT_EQ(t[2], 254);
  BuildGainTable(t.data(), 100, 100);
  RemapGainTable(t.data());
  EXPECT_TRUE(std::equal(t.begin(), t.begin() + 255, kCurveTables.gainShapeTable.begin()));

  // The pass: fixed modes map two channels each, mode 10 follows wbMode.
  std::array<uint8_t, 1024> red, green, blue;
  BuildGainTable(red.data(), 100, 200);    // halves
  BuildGainTable(green.data(), 150, 100);  // 1.5 times
  BuildGainTable(blue.data(), 200, 100);   // doubles
  // Mode, wbMode, factors R, G, B in halves, byte count; then the pixel
  // (blue, green, red) and the byte after it.
  const int cases[][10] = {
      {1, 1, 2, 2, 2, 3, 200, 90, 30, 9},  {2, 1, 2, 2, 2, 3, 100, 90, 15, 9},
      {3, 1, 2, 2, 2, 3, 200, 60, 15, 9},  {4, 1, 2, 2, 2, 3, 100, 60, 30, 9},
      {11, 1, 2, 2, 2, 3, 100, 60, 30, 9}, {1, 1, 2, 2, 2, 2, 100, 60, 30, 9},
      {1, 1, 2, 2, 2, 5, 200, 90, 30, 9},  {10, 1, 2, 2, 2, 3, 200, 90, 15, 9},
      {10, 0, 1, 2, 4, 3, 200, 60, 15, 9}, {10, 2, 2, 6, 2, 3, 200, 255, 15, 9},
      {10, 2, 2, 2, 2, 3, 200, 90, 15, 9}, {10, 3, 2, 2, 2, 3, 100, 60, 30, 9},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << "mode " << c[0] << " wbMode " << c[1] << " bytes " << c[5]);
    Camera cam;
    cam.modes.wbMode = c[1];
    SetWbFactors(cam, c[2] / 2.0, c[3] / 2.0, c[4] / 2.0);
    std::vector<uint8_t> px = {100, 60, 30, 9, 9, 9};
    ApplyColorGain(cam, px.data(), c[5], red.data(), green.data(), blue.data(), c[0]);
    EXPECT_EQ(V(px.begin(), px.begin() + 4), V(c + 6, c + 10));
  }
}

// The grid sums on raw bytes read through a widening table (with vectors
// where the processor has them) equal those of the same values as working
// samples. A white-target measurement stores them in semiFactors 3..6.
// Frames of noise, of 255 everywhere and of 255 at the grid's own sites only
// (its first and last columns and lines included); widening tables of the
// expanding curve, of the largest value and with a negative entry; one and
// two blocks.
TEST(EstimateRawWhiteBalance, GridSumsOfWidenedBytesEqualThoseOfSamples) {
  auto gridSite = [](int32_t i) {
    const int32_t line = i % kField / 512, column = i % 512;
    const bool onGrid = line >= 10 && line <= 214 && line % 4 == 2;
    return onGrid && column >= 8 && column <= 489 && column % 8 <= 1;
  };
  std::vector<std::vector<uint8_t>> frames(3, std::vector<uint8_t>(2 * kBlock));
  for (int32_t i = 0; i < 2 * kBlock; ++i) {
    frames[0][i] = static_cast<uint8_t>(i * 2654435761u >> 24);
    frames[1][i] = 255;
    frames[2][i] = gridSite(i) ? 255 : 0;
  }
  std::array<int16_t, 256> curve{}, largest{}, negative{};
  for (int v = 0; v < 256; ++v) {
    curve[v] = static_cast<int16_t>(kCurveTables.expandTable[v]);
    largest[v] = static_cast<int16_t>(v == 255 ? 32767 : 32767 - v);
    negative[v] = static_cast<int16_t>(v == 7 ? -1 : 4 * v);
  }
  for (const auto& frame : frames) {
    for (const auto* widen : {&curve, &largest, &negative}) {
      for (int32_t code : {10, 23}) {
        Samples samples(frame.size());
        for (std::size_t i = 0; i < frame.size(); ++i) samples[i] = (*widen)[frame[i]];
        Camera bytes, reference;
        for (Camera* c : {&bytes, &reference}) {
          c->modes.wbMode = 2;
          c->modes.wbOnly = 1;
        }
        EstimateRawWhiteBalance(bytes, WidenedBytes{frame.data(), widen->data()}, code);
        EstimateRawWhiteBalance(reference, samples.data(), code);
        EXPECT_EQ(V(bytes.modes.semiFactors + 3, bytes.modes.semiFactors + 7),
                  V(reference.modes.semiFactors + 3, reference.modes.semiFactors + 7))
            << "code " << code << " frame " << (&frame - frames.data());
      }
    }
  }
}

}  // namespace
}  // namespace vobrex
