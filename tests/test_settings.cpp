// Settings record, lifecycle defaults, geometry and the option setters.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>

#include "capture/sharpening.h"
#include "settings/camera.h"

namespace vobrex {
namespace {

TEST(Defaults, FreshContextHoldsTheDefaultRecord) {
  const Camera cam;
  const CameraModes& m = cam.modes;
  EXPECT_EQ(m.width, 640);
  EXPECT_EQ(m.height, 480);
  EXPECT_EQ(m.imageBytes, 921600u);
  EXPECT_EQ(m.resolution, 13);
  EXPECT_EQ(m.reserved9, 2);
  EXPECT_EQ(m.sensorMode, '3');
  EXPECT_EQ(m.outputFormat, 1);
  EXPECT_EQ(m.wideRange, 0);
  EXPECT_EQ(m.mirror, 0);
  EXPECT_EQ(m.flip, 0);
  EXPECT_EQ(m.sharpenOn, 0u);
  EXPECT_EQ(m.defectFixOn, 0u);
  EXPECT_EQ(m.contrast, 0);
  EXPECT_EQ(m.brightness, 0);
  EXPECT_EQ(m.gamma, 100);
  EXPECT_EQ(m.toneLevel1, 1);
  EXPECT_EQ(m.toneLevel2, 1);
  EXPECT_EQ(m.toneLevel3, 1);
  EXPECT_EQ(m.optionQ, 1);
  EXPECT_EQ(m.optionR, 0u);
  EXPECT_EQ(m.optionS, 1u);
  EXPECT_EQ(m.focusX, 4u);
  EXPECT_EQ(m.focusY, 4u);
  EXPECT_EQ(m.vfwWideRange, 0);
  EXPECT_EQ(m.gainAdjust, 0);
  EXPECT_EQ(m.ratioR, 100);
  EXPECT_EQ(m.ratioG, 100);
  EXPECT_EQ(m.ratioB, 100);
  EXPECT_EQ(m.wbFactorR, 1.0);
  EXPECT_EQ(m.wbFactorG, 1.0);
  EXPECT_EQ(m.wbFactorB, 1.0);
  EXPECT_EQ(m.wbMemo, -1);
  for (int32_t f : m.semiFactors) EXPECT_EQ(f, -1);
  EXPECT_EQ(m.reserved161, 5);
  EXPECT_EQ(m.reserved164, 30);
  EXPECT_EQ(m.reserved166, 30);
  EXPECT_EQ(m.sharpenAllow, 0);
  EXPECT_EQ(m.sharpShift, 2);
  EXPECT_EQ(m.sharpDivisor3, 332);
  EXPECT_EQ(m.sharpDivisor7, 915);
  EXPECT_EQ(m.sharpCoring, 8);
  EXPECT_EQ(m.wbOnly, 0);
  EXPECT_EQ(m.wbMode, 1);
  EXPECT_EQ(m.framing, '3');
  EXPECT_EQ(m.wbExtra, 0);
  EXPECT_EQ(m.gainTable, 1);
  EXPECT_EQ(m.sharpMode, 0);
  EXPECT_EQ(m.sharpness, 0);
  // Fields the defaults never write start at 0.
  EXPECT_EQ(m.stillFilter, 0u);
  EXPECT_EQ(m.optionV, 0u);
  EXPECT_EQ(m.focusValue, 0.0);

  EXPECT_EQ(cam.sampleCount.rawSampleCount, 262144u);
  EXPECT_EQ(cam.colorGain.gainAdjusted, 0);
  EXPECT_EQ(cam.colorGain.gainR, 100);
  EXPECT_EQ(cam.colorGain.gainG, 100);
  EXPECT_EQ(cam.colorGain.gainB, 100);
  EXPECT_EQ(cam.colorGain.gainMemo, -1);
}

TEST(Defaults, DefectBuffersAndPositionTableAreReserved) {
  const Camera cam;
  EXPECT_TRUE(cam.positionGain);
  EXPECT_TRUE(cam.defectBuffers.columnsA && cam.defectBuffers.rowsA);
  EXPECT_TRUE(cam.defectBuffers.columnsB && cam.defectBuffers.rowsB);
  EXPECT_TRUE(cam.defectBuffers.frame);
}

TEST(Defaults, FailedReservationKeepsTheBuffersBeforeIt) {
  // The third reservation (second column list) fails: the first two stay.
  DefectWorkBuffers buffers;
  FailAllocation(3);
  EXPECT_FALSE(ReserveDefectBuffers(buffers));
  FailAllocation(0);
  EXPECT_TRUE(buffers.columnsA && buffers.rowsA);
  EXPECT_FALSE(buffers.columnsB || buffers.rowsB || buffers.frame);
}

TEST(Defaults, ContextsAreIndependent) {
  Camera a;
  Camera b;
  SetResolution(a, 40, 1);
  SetOption(a, 'h', 0);
  SetOrientation(a, 4);
  EXPECT_EQ(a.modes.width, 1016);
  EXPECT_EQ(b.modes.width, 640);
  EXPECT_EQ(b.modes.wbMode, 1);
  EXPECT_EQ(b.modes.mirror, 0);
  EXPECT_EQ(b.sampleCount.rawSampleCount, 262144u);
}

struct GeometryCase {
  int code;
  int subMode;
  int width;
  int height;
  uint32_t samples;
};

TEST(Geometry, StillCodesAndSubModes) {
  const GeometryCase cases[] = {
      {13, 0, 640, 480, 262144},   {13, 1, 480, 360, 262144},  {13, 2, 320, 240, 262144},
      {23, 0, 640, 480, 524288},   {23, 2, 320, 240, 524288},  {40, 0, 1260, 960, 1048576},
      {40, 1, 1016, 768, 1048576}, {40, 2, 848, 640, 1048576}, {13, 5, 640, 480, 262144},
      {99, 0, 640, 480, 262144},   {-3, 1, 480, 360, 262144},  {40, -1, 1260, 960, 1048576},
  };
  for (const GeometryCase& c : cases) {
    Camera cam;
    SetResolution(cam, c.code, c.subMode);
    SCOPED_TRACE(testing::Message() << "code " << c.code << " sub-mode " << c.subMode);
    EXPECT_EQ(cam.modes.width, c.width);
    EXPECT_EQ(cam.modes.height, c.height);
    EXPECT_EQ(cam.modes.imageBytes, static_cast<uint32_t>(c.width * c.height * 3));
    EXPECT_EQ(cam.sampleCount.rawSampleCount, c.samples);
  }
}

TEST(Geometry, UnknownCodesFallBackToThirteenAndByteArguments) {
  Camera cam;
  SetResolution(cam, 99, 0);
  EXPECT_EQ(cam.modes.resolution, 13);
  EXPECT_EQ(cam.modes.sensorMode, 0);
  // Arguments are signed bytes: 0x128 is 40, 0x102 is 2.
  SetResolution(cam, 0x128, 0x102);
  EXPECT_EQ(cam.modes.resolution, 40);
  EXPECT_EQ(cam.modes.sensorMode, 2);
}

TEST(Geometry, CodesTenAndTwentyKeepTheSampleCount) {
  Camera cam;
  SetResolution(cam, 40, 0);
  SetResolution(cam, 10, 0);
  EXPECT_EQ(cam.modes.width, 640);
  EXPECT_EQ(cam.modes.height, 480);
  EXPECT_EQ(cam.sampleCount.rawSampleCount, 1048576u);
}

TEST(Geometry, MotionSubModes) {
  const GeometryCase cases[] = {{0, 0, 320, 240, 262144},  {0, 53, 320, 240, 262144},
                                {0, 1, 160, 120, 262144},  {0, 55, 160, 120, 262144},
                                {0, 2, 80, 60, 262144},    {0, 56, 80, 60, 262144},
                                {0, 51, 640, 480, 262144}, {0, 52, 480, 360, 262144},
                                {0, 54, 240, 180, 262144}, {0, 57, 176, 144, 262144},
                                {0, 58, 352, 288, 262144}, {0, 3, 160, 120, 262144},
                                {0, 59, 160, 120, 262144}};
  for (const GeometryCase& c : cases) {
    Camera cam;
    SetResolution(cam, 40, 0);
    SetMotionResolution(cam, c.subMode);
    SCOPED_TRACE(testing::Message() << "sub-mode " << c.subMode);
    EXPECT_EQ(cam.modes.resolution, 0);
    EXPECT_EQ(cam.modes.width, c.width);
    EXPECT_EQ(cam.modes.height, c.height);
    EXPECT_EQ(cam.modes.imageBytes, static_cast<uint32_t>(c.width * c.height * 3));
    EXPECT_EQ(cam.sampleCount.rawSampleCount, c.samples);
  }
  Camera cam;
  SetMotionResolution(cam, 3);
  EXPECT_EQ(cam.modes.sensorMode, 55);
}

TEST(Geometry, ResolutionSettersLeaveWideRangeAndSharpeningOn) {
  Camera cam;
  cam.modes.optionF = 1;
  SetResolution(cam, 0, 0);
  EXPECT_EQ(cam.modes.optionF, 1);  // only a non-zero code clears it
  EXPECT_EQ(cam.modes.wideRange, 1);
  EXPECT_EQ(cam.modes.vfwWideRange, 1);
  EXPECT_EQ(cam.modes.sharpenAllow, 1);
  SetResolution(cam, 13, 0);
  EXPECT_EQ(cam.modes.optionF, 0);
  cam.modes.wideRange = 0;
  cam.modes.sharpenAllow = 0;
  SetMotionResolution(cam, 51);
  EXPECT_EQ(cam.modes.wideRange, 1);
  EXPECT_EQ(cam.modes.sharpenAllow, 1);
}

TEST(Geometry, FrozenImageBytesOutsideTheOutputFormats) {
  Camera cam;
  cam.modes.outputFormat = 3;
  SetResolution(cam, 13, 2);
  EXPECT_EQ(cam.modes.width, 320);
  EXPECT_EQ(cam.modes.height, 240);
  EXPECT_EQ(cam.modes.imageBytes, 921600u);
}

TEST(Geometry, CodesElevenAndTwentyOneKeepTheSize) {
  Camera cam;
  SetResolution(cam, 13, 1);
  SetGeometry(cam, 11, 2);
  EXPECT_EQ(cam.modes.width, 480);
  SetGeometry(cam, 21, 0);
  EXPECT_EQ(cam.modes.height, 360);
}

TEST(Geometry, OrientationCodeAndScale) {
  EXPECT_EQ(OrientationCode(0, 0), 2);
  EXPECT_EQ(OrientationCode(1, 0), 1);
  EXPECT_EQ(OrientationCode(0, 1), 4);
  EXPECT_EQ(OrientationCode(1, 1), 3);
  EXPECT_EQ(OrientationCode(2, 0), 2);
  EXPECT_EQ(OrientationCode(1, 7), 2);
  const int codes[] = {0, 10, 11, 13, 20, 21, 23, 40};
  const int scales[] = {0, 1, 0, 1, 0, 0, 2, 4};
  for (int i = 0; i < 8; ++i) EXPECT_EQ(ResolutionScale(codes[i]), scales[i]) << codes[i];
}

TEST(Options, LetterTable) {
  struct Case {
    char letter;
    int value;
    int expected;  // -1: field unchanged
  };
  const auto field = [](Camera& cam, char letter) -> int64_t {
    const CameraModes& m = cam.modes;
    switch (letter) {
      case 'f': return m.optionF;
      case 'g': return m.sharpenAllow;
      case 'h': return m.wbMode;
      case 'i': return m.wbExtra;
      case 'j':
      case 'k': return m.framing;
      case 'l': return m.outputFormat;
      case 'n': return m.optionN;
      case 'p': return m.sharpMode;
      case 'q': return m.optionQ;
      case 'r': return m.optionR;
      case 's': return m.optionS;
      case 't': return m.wbOnly;
      case 'u': return m.stillFilter;
      case 'v': return m.optionV;
    }
    return -999;
  };
  const Case cases[] = {
      {'f', 1, 1},   {'f', 2, -1},  {'g', 1, 1},   {'g', 2, -1},  {'h', 2, 2},   {'h', 3, 0},
      {'h', -1, 0},  {'i', 1, 1},   {'i', 7, -1},  {'j', 0, '2'}, {'j', 2, -1},  {'k', 0, '2'},
      {'k', 52, '4'}, {'k', 51, '3'}, {'k', 50, '2'}, {'k', 2, -1}, {'k', 53, -1}, {'l', 2, 2},
      {'l', 3, -1},  {'n', 2, 0},   {'n', 1, 1},   {'p', 1, 1},   {'p', 5, 0},   {'q', 2, 1},
      {'q', 0, 0},   {'r', -4, 1},  {'s', 0, 0},   {'t', 1, 1},   {'u', 9, 1},   {'v', 1, 1},
  };
  for (const Case& c : cases) {
    Camera cam;
    cam.modes.sharpenAllow = 0;
    cam.modes.wbExtra = 0;
    const int64_t before = field(cam, c.letter);
    SetOption(cam, c.letter, c.value);
    SCOPED_TRACE(testing::Message() << "option " << c.letter << " = " << c.value);
    if (c.expected == -1) {
      EXPECT_EQ(field(cam, c.letter), before);
    } else {
      EXPECT_EQ(field(cam, c.letter), c.expected);
    }
  }
}

TEST(Options, WbOnlyStoresTheSignedByte) {
  Camera cam;
  SetOption(cam, 't', 255);
  EXPECT_EQ(cam.modes.wbOnly, -1);
  SetOption(cam, 't', 0x17F);
  EXPECT_EQ(cam.modes.wbOnly, 127);
}

TEST(Options, IgnoredLettersChangeNothing) {
  Camera cam;
  const CameraModes before = cam.modes;
  // 'h' + 0x80 is a negative signed byte, no letter at all.
  for (int letter : {int{'a'}, int{'e'}, int{'m'}, int{'o'}, int{'w'}, int{'z'}, 0, 'h' + 0x80}) {
    SetOption(cam, letter, 1);
  }
  EXPECT_EQ(std::memcmp(&before, &cam.modes, sizeof before), 0);
  // The letter is a signed byte too: 'h' + 256 still means 'h'.
  SetOption(cam, 'h' + 256, 0);
  EXPECT_EQ(cam.modes.wbMode, 0);
}

TEST(Options, OrientationToggles) {
  Camera cam;
  EXPECT_EQ(SetOrientation(cam, 4), 1);
  EXPECT_EQ(OrientationCode(cam.modes), 3);
  EXPECT_EQ(SetOrientation(cam, 4), 1);
  EXPECT_EQ(OrientationCode(cam.modes), 2);
  EXPECT_EQ(SetOrientation(cam, 3), 0);
  EXPECT_EQ(SetOrientation(cam, 1), 1);
  EXPECT_EQ(cam.modes.mirror, 1);
  cam.modes.flip = 7;  // anything but 0 toggles to 0
  EXPECT_EQ(SetOrientation(cam, 2), 1);
  EXPECT_EQ(cam.modes.flip, 0);
}

TEST(Options, ColorGainNeedsManualMode) {
  Camera cam;
  EXPECT_EQ(AdjustColorGain(cam, 2, 80), 0);
  EXPECT_EQ(cam.colorGain.gainAdjusted, 0);
  EXPECT_EQ(cam.colorGain.gainB, 100);
  cam.modes.gainAdjust = 1;
  EXPECT_EQ(AdjustColorGain(cam, 2, 80), 1);
  EXPECT_EQ(cam.colorGain.gainB, 80);
  EXPECT_EQ(AdjustColorGain(cam, 1, 300), 1);  // the value is a byte
  EXPECT_EQ(cam.colorGain.gainR, 44);
  EXPECT_EQ(AdjustColorGain(cam, 3, 7), 1);
  EXPECT_EQ(cam.colorGain.gainG, 7);
  cam.colorGain.gainAdjusted = 0;
  EXPECT_EQ(AdjustColorGain(cam, 4, 1), 0);
  EXPECT_EQ(cam.colorGain.gainAdjusted, 1);  // set before the channel is looked at
}

TEST(Options, FactorSettersAndRatios) {
  Camera cam;
  SetCBFactors(cam, -100, 20, 180, 3, 4, 5);
  EXPECT_EQ(cam.modes.contrast, -100);
  EXPECT_EQ(cam.modes.brightness, 20);
  EXPECT_EQ(cam.modes.gamma, 180);
  EXPECT_EQ(cam.modes.toneLevel3, 5);
  SetFocusFactors(cam, 1, 2);
  EXPECT_EQ(cam.modes.sharpenOn, 1u);
  EXPECT_EQ(cam.modes.defectFixOn, 2u);
  SetRGBratio(cam, 65535, 200, 300);
  int r = 0, g = 0, b = 0;
  GetRGBratio(cam, &r, &g, &b);
  EXPECT_EQ(r, -1);  // sign-extended from 16 bits
  EXPECT_EQ(g, 200);
  EXPECT_EQ(b, 300);
}

TEST(Options, SemiFactorsRoundTrip) {
  Camera cam;
  int* initial = WbSemiFactors(cam);
  ASSERT_NE(initial, nullptr);
  for (int i = 0; i < 7; ++i) EXPECT_EQ(initial[i], -1);
  std::free(initial);
  WbSemiFactorsRestore(cam, {1, 2, 3, 4, 5, 6, 7});
  int* saved = WbSemiFactors(cam);
  for (int i = 0; i < 7; ++i) EXPECT_EQ(saved[i], i + 1);
  std::free(saved);
}

TEST(Sharpness, LevelRule) {
  struct Case {
    int level, shift, divisor3, divisor7, coring;
  };
  const Case cases[] = {{0, 4, 1600, 3000, 2},   {63, 3, 813, 2016, 2},  {64, 3, 800, 2000, 4},
                        {150, 2, 332, 915, 8},   {160, 1, 300, 875, 8},  {192, 1, 200, 750, 12},
                        {255, 0, 102, 504, 12}};
  for (const Case& c : cases) {
    Camera cam;
    SetSharpnessLevel(cam, c.level);
    SCOPED_TRACE(c.level);
    EXPECT_EQ(cam.modes.sharpShift, c.shift);
    EXPECT_EQ(cam.modes.sharpDivisor3, c.divisor3);
    EXPECT_EQ(cam.modes.sharpDivisor7, c.divisor7);
    EXPECT_EQ(cam.modes.sharpCoring, c.coring);
    EXPECT_EQ(cam.modes.sharpness, 0);  // the level is not stored
  }
}

}  // namespace
}  // namespace vobrex
