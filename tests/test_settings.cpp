// Settings record, lifecycle defaults, geometry and the option setters.
#include <gtest/gtest.h>

#include <bit>
#include <cstdlib>
#include <cstring>
#include <map>
#include <vector>

#include "settings/camera.h"

namespace vobrex {
namespace {

// Expected records name only their non-zero fields.
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"
static_assert(std::endian::native == std::endian::little, "the record is little-endian");

// Several values compared at once, printed whole on a mismatch.
template <class... T>
std::vector<int64_t> Ints(T... v) {
  return {static_cast<int64_t>(v)...};
}

template <class Record>
std::vector<uint8_t> Bytes(const Record& r) {
  const auto* p = reinterpret_cast<const uint8_t*>(&r);
  return {p, p + sizeof r};
}

TEST(Defaults, FreshContextHoldsTheDefaultRecordWhateverOthersDo) {
  const Camera cam;
  Camera other;  // contexts are independent
  SetResolution(other, 40, 1);
  SetOption(other, 'h', 0);
  SetOrientation(other, 4);
  EXPECT_EQ(other.modes.width, 1016);
  // Fields the defaults never write (and the reserved bytes) start at 0.
  // clang-format off
  const CameraModes expected = {.width = 640, .height = 480, .imageBytes = 921600,
      .resolution = 13, .reserved9 = 2, .sensorMode = '3', .outputFormat = 1, .gamma = 100,
      .toneLevel1 = 1, .toneLevel2 = 1, .toneLevel3 = 1, .optionQ = 1, .optionS = 1, .focusX = 4,
      .focusY = 4, .ratioR = 100, .ratioG = 100, .ratioB = 100, .wbFactorR = 1.0,
      .wbFactorG = 1.0, .wbFactorB = 1.0, .wbMemo = -1,
      .semiFactors = {-1, -1, -1, -1, -1, -1, -1}, .reserved161 = 5, .reserved164 = 30,
      .reserved166 = 30, .sharpShift = 2, .sharpDivisor3 = 332, .sharpDivisor7 = 915,
      .sharpCoring = 8, .wbMode = 1, .framing = '3', .gainTable = 1};
  // clang-format on
  EXPECT_EQ(Bytes(cam.modes), Bytes(expected));
  EXPECT_EQ(Bytes(cam.colorGain),
            Bytes(ColorGainRecord{.gainR = 100, .gainG = 100, .gainB = 100, .gainMemo = -1}));
  EXPECT_EQ(cam.sampleCount.rawSampleCount, 262144u);
  const DefectWorkBuffers& d = cam.defectBuffers;
  EXPECT_TRUE(cam.positionGain && d.columnsA && d.rowsA && d.columnsB && d.rowsB && d.frame);
}

TEST(Defaults, FailedReservationKeepsTheBuffersBeforeIt) {
  DefectWorkBuffers buffers;
  FailAllocation(3);  // the second column list
  EXPECT_FALSE(ReserveDefectBuffers(buffers));
  FailAllocation(0);
  EXPECT_TRUE(buffers.columnsA && buffers.rowsA);
  EXPECT_FALSE(buffers.columnsB || buffers.rowsB || buffers.frame);
}

TEST(Geometry, CodesAndSubModes) {
  constexpr int M = -100;  // SetMotionResolution(subMode)
  constexpr int k1 = 0x40000, k2 = 0x80000, k4 = 0x100000;
  // Code, sub-mode; then resolution, sensorMode, width, height and sample count.
  // Every case starts from code 40: codes 10 and 20 keep its sample count.
  // Unknown codes fall back to 13, unknown sub-modes to 0 (55 in motion).
  const int cases[][7] = {
      {13, 1, 13, 1, 480, 360, k1},   {13, 2, 13, 2, 320, 240, k1},  {23, 2, 23, 2, 320, 240, k2},
      {40, 0, 40, 0, 1260, 960, k4},  {40, 1, 40, 1, 1016, 768, k4}, {40, 2, 40, 2, 848, 640, k4},
      {40, -1, 40, 0, 1260, 960, k4}, {13, 5, 13, 0, 640, 480, k1},  {99, 0, 13, 0, 640, 480, k1},
      {-3, 1, 13, 1, 480, 360, k1},   {10, 0, 10, 0, 640, 480, k4},  {20, 1, 20, 1, 480, 360, k4},
      {0, 1, 0, 1, 160, 120, k1},     {M, 0, 0, 0, 320, 240, k1},    {M, 53, 0, 53, 320, 240, k1},
      {M, 1, 0, 1, 160, 120, k1},     {M, 55, 0, 55, 160, 120, k1},  {M, 2, 0, 2, 80, 60, k1},
      {M, 56, 0, 56, 80, 60, k1},     {M, 51, 0, 51, 640, 480, k1},  {M, 52, 0, 52, 480, 360, k1},
      {M, 54, 0, 54, 240, 180, k1},   {M, 57, 0, 57, 176, 144, k1},  {M, 58, 0, 58, 352, 288, k1},
      {M, 3, 0, 55, 160, 120, k1},    {M, 59, 0, 55, 160, 120, k1},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << "code " << c[0] << " sub-mode " << c[1]);
    Camera cam;
    SetResolution(cam, 40, 0);
    c[0] == M ? SetMotionResolution(cam, c[1]) : SetResolution(cam, c[0], c[1]);
    const CameraModes& m = cam.modes;
    EXPECT_EQ(Ints(m.resolution, m.sensorMode, m.width, m.height, m.imageBytes,
                   cam.sampleCount.rawSampleCount),
              Ints(c[2], c[3], c[4], c[5], c[4] * c[5] * 3, c[6]));
  }
}

TEST(Geometry, SideEffectsAndFrozenFields) {
  Camera cam;
  const CameraModes& m = cam.modes;
  cam.modes.optionF = 1;
  cam.modes.outputFormat = 3;  // outside the output formats: imageBytes is frozen
  SetResolution(cam, 0, 0);    // only a non-zero code clears optionF
  EXPECT_EQ(Ints(m.optionF, m.wideRange, m.vfwWideRange, m.sharpenAllow, m.width, m.imageBytes),
            Ints(1, 1, 1, 1, 320, 921600));
  SetResolution(cam, 0x10D, 0x101);  // signed bytes: 13 and 1
  SetGeometry(cam, 11, 2);           // codes 11 and 21 keep the size
  SetGeometry(cam, 21, 0);
  EXPECT_EQ(Ints(m.resolution, m.sensorMode, m.optionF, m.width, m.height, m.imageBytes),
            Ints(13, 1, 0, 480, 360, 921600));
  cam.modes.wideRange = cam.modes.vfwWideRange = cam.modes.sharpenAllow = 0;
  SetMotionResolution(cam, 51);
  EXPECT_EQ(Ints(m.wideRange, m.vfwWideRange, m.sharpenAllow), Ints(1, 1, 1));
}

// Where an option letter writes: byte offset and width within the record.
using Field = std::pair<size_t, size_t>;
#define F(name) Field(offsetof(CameraModes, name), sizeof(CameraModes::name))

TEST(Options, LetterTable) {
  const std::map<int8_t, Field> fields = {
      {'f', F(optionF)},   {'g', F(sharpenAllow)}, {'h', F(wbMode)},       {'i', F(wbExtra)},
      {'j', F(framing)},   {'k', F(framing)},      {'l', F(outputFormat)}, {'n', F(optionN)},
      {'p', F(sharpMode)}, {'q', F(optionQ)},      {'r', F(optionR)},      {'s', F(optionS)},
      {'t', F(wbOnly)},    {'u', F(stillFilter)},  {'v', F(optionV)}};
  constexpr int X = 999;  // nothing changes
  // Letter, value, expected field. Both arguments are signed bytes: 360 is
  // 'h' + 256, so 'h'; 232 is 'h' + 0x80, no letter at all.
  const int cases[][3] = {
      {'f', 1, 1},  {'f', 2, X},   {'g', 1, 1},    {'g', 2, X},       {'h', 2, 2},
      {'h', 3, 0},  {'h', -1, 0},  {'i', 1, 1},    {'i', 7, X},       {'j', 0, '2'},
      {'j', 2, X},  {'k', 0, '2'}, {'k', 52, '4'}, {'k', 51, '3'},    {'k', 50, '2'},
      {'k', 2, X},  {'k', 53, X},  {'l', 2, 2},    {'l', 3, X},       {'n', 2, 0},
      {'n', 1, 1},  {'p', 1, 1},   {'p', 5, 0},    {'q', 2, 1},       {'q', 0, 0},
      {'r', -4, 1}, {'s', 0, 0},   {'t', 255, -1}, {'t', 0x17F, 127}, {'u', 9, 1},
      {'v', 1, 1},  {360, 0, 0},   {'a', 1, X},    {'e', 1, X},       {'m', 1, X},
      {'o', 1, X},  {'w', 0, X},   {'z', 1, X},    {0, 1, X},         {232, 0, X},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << "option " << c[0] << " = " << c[1]);
    Camera cam;
    CameraModes expected = cam.modes;
    const Field f = c[2] == X ? Field(0, 0) : fields.at(static_cast<int8_t>(c[0]));
    std::memcpy(reinterpret_cast<uint8_t*>(&expected) + f.first, &c[2], f.second);
    SetOption(cam, c[0], c[1]);
    EXPECT_EQ(Bytes(cam.modes), Bytes(expected));
  }
}

TEST(Options, OrientationColorGainAndRatios) {
  const int orientation[][3] = {{0, 0, 2}, {1, 0, 1}, {0, 1, 4}, {1, 1, 3}, {2, 0, 2}, {1, 7, 2}};
  for (const auto& o : orientation) EXPECT_EQ(OrientationCode(o[0], o[1]), o[2]) << o[0] << o[1];
  Camera cam;
  // Braced lists run in order: toggle both twice, refuse operation 3, then a
  // flip of 7 (no flag value) toggles to 0.
  EXPECT_EQ(
      (std::vector<int>{SetOrientation(cam, 4), OrientationCode(cam.modes), SetOrientation(cam, 4),
                        OrientationCode(cam.modes), SetOrientation(cam, 3), (cam.modes.flip = 7),
                        SetOrientation(cam, 2), cam.modes.flip}),
      (std::vector<int>{1, 3, 1, 2, 0, 7, 1, 0}));

  const ColorGainRecord& g = cam.colorGain;
  EXPECT_EQ(AdjustColorGain(cam, 2, 80), 0);  // only in manual colour-gain mode
  EXPECT_EQ(Ints(g.gainAdjusted, g.gainB), Ints(0, 100));
  cam.modes.gainAdjust = 1;
  // In order: channel 4 is refused after gainAdjusted is set; 300 is the byte 44.
  EXPECT_EQ((std::vector<int>{AdjustColorGain(cam, 4, 1), g.gainAdjusted,
                              AdjustColorGain(cam, 2, 80), AdjustColorGain(cam, 1, 300),
                              AdjustColorGain(cam, 3, 7), g.gainR, g.gainG, g.gainB}),
            (std::vector<int>{0, 1, 1, 1, 1, 44, 7, 80}));

  SetRGBratio(cam, 65535, 200, 300);
  int r = 0, gr = 0, b = 0;
  GetRGBratio(cam, &r, &gr, &b);
  EXPECT_EQ(Ints(r, gr, b), Ints(-1, 200, 300));  // sign-extended from 16 bits
  WbSemiFactorsRestore(cam, {1, 2, 3, 4, 5, 6, 7});
  int* saved = WbSemiFactors(cam);
  ASSERT_NE(saved, nullptr);
  EXPECT_EQ(std::vector<int>(saved, saved + 7), std::vector<int>({1, 2, 3, 4, 5, 6, 7}));
  std::free(saved);
}

}  // namespace
}  // namespace vobrex
