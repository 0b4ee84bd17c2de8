// The code-40 conversion: the output resamplers (positions, truncation,
// orientation) and the driver end to end (dispatch and fall-back, failure
// paths, the round trip from synthesised exposures).
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <random>
#include <vector>

#include "capture/channel_tables.h"
#include "hires/hires_driver.h"
#include "hires/hires_resample.h"
#include "mosaic/hires_mosaic.h"
#include "mosaic/image.h"
#include "platform/cpu_features.h"
#include "still/picture_rows.h"

namespace vobrex {
namespace {

// The six resamplers; each grey member has the size of its colour twin.
using enum HiresResampler;
constexpr HiresResampler kMembers[] = {kB0, kB1, kB2, kA0, kA1, kA2};
constexpr int kWidths[] = {1260, 1016, 848}, kHeights[] = {960, 768, 640};

class ResampleTest : public ::testing::Test {
 protected:
  Owned<int16_t> block_ = AllocateWorkGrid();
  WorkGrid grid_ = GridOf(block_);

  template <typename Value>
  void Fill(int plane, Value value) {
    for (int i = 0; i < kPlaneSites; ++i)
      grid_.Plane(plane)[i] = value(i / kGridSide, i % kGridSide);
  }
  std::vector<uint16_t> Run(int member, int orientation) {
    const HiresResampler which = kMembers[member];
    const int width = kWidths[member % 3], height = kHeights[member % 3];
    std::vector<uint16_t> out(size_t(width) * height * 3, 0xABCD);
    EXPECT_TRUE(ResampleFits(which, width, height, orientation, uint32_t(out.size())));
    Resample(grid_, which, width, height, orientation, out.data());
    return out;
  }
};

TEST_F(ResampleTest, ConstantPlanesComeOutExactlyAndGreyMixesTwoFourOne) {
  Fill(kRedPlane, [](int, int) { return 100; });
  Fill(kGreenPlane, [](int, int) { return 200; });
  Fill(kBluePlane, [](int, int) { return 50; });
  const int want[2][3] = {{50, 200, 100}, {150, 150, 150}};  // grey: (2 x 100 + 4 x 200 + 50) / 7
  for (int member = 0; member < 6; ++member) {
    const std::vector<uint16_t> out = Run(member, 2);
    long wrong = 0;
    for (size_t i = 0; i < out.size(); ++i) wrong += out[i] != want[member / 3][i % 3];
    EXPECT_EQ(wrong, 0) << member;
  }
}

TEST_F(ResampleTest, PositionsFollowTheGridInEveryOrientation) {
  Fill(kRedPlane, [](int row, int) { return 4 * row; });    // B0: row 8 + y; B1: 8 + 1.25 y
  Fill(kGreenPlane, [](int, int col) { return 5 * col; });  // B0: column 4 + 0.8 x
  const int w = 1260, h = 960;
  // Where the first computed pixel lands: 2 (the default) writes the first row last.
  for (auto [code, x0, y0] :
       {std::array{2, 0, h - 1}, {1, 0, 0}, {3, w - 1, 0}, {4, w - 1, h - 1}, {0, w - 1, h - 1}}) {
    const std::vector<uint16_t> out = Run(0, code);
    long wrong = 0;
    for (int y = 0; y < h; ++y) {
      for (int x = 0; x < w; ++x) {
        const uint16_t* p = &out[((y0 ? y0 - y : y) * w + (x0 ? x0 - x : x)) * 3];
        wrong += p[2] != 32 + 4 * y || p[1] != 20 + 4 * x;
      }
    }
    EXPECT_EQ(wrong, 0) << code;
  }
  const std::vector<uint16_t> b1 = Run(1, 1);
  for (int y = 0; y < 768; ++y) ASSERT_EQ(b1[(y * 1016 + 9) * 3 + 2], 32 + 5 * y) << y;
}

TEST_F(ResampleTest, NegativeSumsTruncateTowardZero) {
  Fill(kRedPlane, [](int, int) { return -1; });
  Fill(kGreenPlane, [](int, int col) { return col % 4 == 0 ? -3 : 0; });
  // Pixel x of the first row, component c (0 blue, 1 green, 2 red) at out[3 x + c].
  const std::vector<uint16_t> out = Run(0, 1);
  EXPECT_EQ(out[1 * 3 + 2], 0xFFFF);  // (-1 + 4 x -1) / 5 = -1
  EXPECT_EQ(out[0 * 3 + 1], 0xFFFD);  // X(0) = -3, stored as 16 bits
  EXPECT_EQ(out[1 * 3 + 1], 0);       // (-3 + 0) / 5 = 0
  EXPECT_EQ(out[4 * 3 + 1], 0);       // (0 - 3) / 5 = 0
  EXPECT_EQ(Run(3, 1)[1 * 3], 0);     // grey: (2 x -1 + 0 + 0) / 7 = 0
}

// Sites over the whole 16-bit range, so that the weighted sums of every
// resampler leave 16 bits and are negative and odd in places: the rows the
// vector path hands on equal the buffer of the portable path.
TEST_F(ResampleTest, RowsOnTheVectorPathEqualThePortableBufferOverTheWholeRange) {
  std::mt19937 random(9);
  for (int plane = 0; plane < 3; ++plane) Fill(plane, [&](int, int) { return int16_t(random()); });
  for (int member = 0; member < 6; ++member) {
    for (int orientation : {1, 2}) {
      SetSimdLevel(SimdLevel::kScalar);
      const std::vector<uint16_t> want = Run(member, orientation);
      SetSimdLevel(SupportedSimdLevel());
      std::vector<uint16_t> got(want.size(), 0xABCD);
      StillArray rows(got.data());
      const int width = kWidths[member % 3], height = kHeights[member % 3];
      ResampleRows(grid_, kMembers[member], width, height, orientation, rows);
      EXPECT_TRUE(got == want) << member << " " << orientation;
    }
  }
}

// Rows ending anywhere in a vector step (widths that are multiples of 5,
// so rows are whole, and the full widths), on sites of random 16-bit
// values and on sites only at and next to the ends of the 16-bit range
// and at zero (quotients reach -32768 and 32767, negative and odd in
// places): the vector rows equal the portable buffer.
TEST_F(ResampleTest, EveryWidthOnTheVectorPathEqualsThePortableBuffer) {
  std::mt19937 random(11);
  const int16_t ends[] = {-32768, -32767, -1, 0, 1, 32766, 32767};
  for (bool atEnds : {false, true}) {
    for (int plane = 0; plane < 3; ++plane) {
      Fill(plane, [&](int row, int col) -> int16_t {
        if (!atEnds) return int16_t(random());
        return (row / 3 + col / 7) % 4 == 0 ? ends[(row + col) % 2] : ends[random() % 7];
      });
    }
    for (int member : {0, 2, 3, 5}) {
      for (int width : {5, 20, 35, 60, 70, 85, 155, 240, kWidths[member % 3]}) {
        const int height = atEnds ? kHeights[member % 3] : 9;
        std::vector<uint16_t> want(size_t(width) * height * 3, 0xABCD);
        ASSERT_TRUE(ResampleFits(kMembers[member], width, height, 1, uint32_t(want.size())));
        SetSimdLevel(SimdLevel::kScalar);
        Resample(grid_, kMembers[member], width, height, 1, want.data());
        SetSimdLevel(SupportedSimdLevel());
        std::vector<uint16_t> got(want.size(), 0xABCD);
        StillArray rows(got.data());
        ResampleRows(grid_, kMembers[member], width, height, 1, rows);
        EXPECT_TRUE(got == want) << atEnds << " " << member << " " << width;
      }
    }
  }
}

// A smooth scene at any size, as the sensor's 1012 x 960 view: gradients and
// waves of 250 to 750 pixels, inside 30..225.
mosaic::Image Scene(int width, int height) {
  mosaic::Image scene(width, height);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      const double u = (x + 0.5) * 1012 / width - 0.5, v = (y + 0.5) * 960 / height - 0.5;
      uint8_t* p = scene.At(x, y);
      p[0] = uint8_t(128 + 60 * std::sin(u / 45) * std::cos(v / 120) + 30 * (u - 506) / 506);
      p[1] = uint8_t(128 + 70 * std::cos((u + v) / 60));
      p[2] = uint8_t(120 + 50 * std::sin(v / 40) + 40 * u / 1012);
    }
  }
  return scene;
}

Owned<uint16_t> Convert(Camera& cam, const std::vector<uint8_t>& frame) {
  Owned<int16_t> samples = AllocateArray<int16_t>(frame.size());
  std::copy(frame.begin(), frame.end(), samples.get());  // widened, as the entry points do
  Owned<uint16_t> out = ConvertHighRes(cam, samples);
  EXPECT_FALSE(samples) << "the samples are released once assembled";
  return out;
}

TEST(HighResDriverTest, RecordsThatCannotBeServedGiveNull) {
  // {sub-mode, outputFormat, sensorMode, imageBytes change}: format 2 and unknown formats;
  // one component short; a fall-back to 1260 x 960 into a buffer sized for 848 x 640.
  const int records[][4] = {{0, 2, 0, 0}, {0, 3, 0, 0}, {0, 1, 0, -1}, {2, 1, 9, 0}};
  for (const auto& r : records) {
    Camera cam;
    SetResolution(cam, 40, r[0]);
    cam.modes.outputFormat = uint8_t(r[1]);
    cam.modes.sensorMode = uint8_t(r[2]);
    cam.modes.imageBytes += r[3];
    EXPECT_FALSE(Convert(cam, std::vector<uint8_t>(1048576, 90))) << r[1] << r[2];
  }
}

TEST(HighResDriverTest, FailedWorkGridLeavesTheSamplesWithTheCaller) {
  Camera cam;
  SetResolution(cam, 40, 0);
  Owned<int16_t> samples = AllocateArray<int16_t>(1048576, true);
  FailAllocation(1);
  EXPECT_FALSE(ConvertHighRes(cam, samples));
  EXPECT_TRUE(samples);
  FailAllocation(0);
}

// Measured 39.0 .. 45.5 dB per channel and size. The floor leaves room for
// rounding; a swapped plane or a wrong row order falls far below it.
TEST(HighResDriverTest, SynthesisedExposuresConvertBackToTheScene) {
  const std::vector<uint8_t> frame = mosaic::HiresMosaic(Scene(1012, 960));
  // 7 names no sub-mode: it converts as 0 and rewrites the record's size to 1260 x 960.
  for (int subMode : {0, 1, 2, 7}) {
    Camera cam;
    SetResolution(cam, 40, subMode % 7);
    cam.modes.sensorMode = uint8_t(subMode);
    if (subMode == 7) cam.modes.width = 848;
    Owned<uint16_t> out = Convert(cam, frame);
    ASSERT_TRUE(out) << subMode;
    EXPECT_EQ(cam.modes.sensorMode, subMode % 7);
    std::vector<uint8_t> pixels(cam.modes.imageBytes);  // packed as the still entry points do
    std::transform(out.get(), out.get() + pixels.size(), pixels.begin(),
                   [](uint16_t v) { return uint8_t(std::clamp<int>(int16_t(v), 0, 255)); });
    const int width = cam.modes.width, height = cam.modes.height;
    const mosaic::Image got = mosaic::FromLibraryPixels(pixels.data(), width, height);
    for (int c = 0; c < 3; ++c) {
      EXPECT_GT(mosaic::Psnr(got, Scene(width, height), c, 8), 36.0) << subMode << " channel " << c;
    }
  }
}

TEST(HighResDriverTest, VectorDivisionByFiveIsExactOverTheWeightedSums) {
  long wrong = 0;
  for (int32_t x = -5 * 32768; x <= 5 * 32768; ++x) wrong += ResampleDivideByFive(x) != x / 5;
  EXPECT_EQ(wrong, 0);
}

// Line y of line block b is the 512 bytes from (256 b + y) 512, widened.
class FrameLines final : public ExposureLines {
 public:
  explicit FrameLines(const std::vector<uint8_t>& frame) : frame_(frame) {}
  void Read(int block, int y, int16_t* line) const override {
    std::copy_n(frame_.begin() + (256 * block + y) * 512, 512, line);
  }

 private:
  const std::vector<uint8_t>& frame_;
};

// The rows handed on as the grid streams through its window against the
// whole-grid conversion, on both paths, for every size and kind, with the
// levelling on and off, on a scene with stretches of noise (objects, edges
// and flat groups side by side).
TEST(HighResDriverTest, StreamedRowsEqualTheWholeGridConversion) {
  std::vector<uint8_t> frame = mosaic::HiresMosaic(Scene(1012, 960));
  std::mt19937 random(3);
  for (size_t i = 0; i < frame.size(); ++i) {
    if ((i / 4096) % 5 == 1) frame[i] = uint8_t(random());
  }
  auto samples = [&frame] {
    Owned<int16_t> s = AllocateArray<int16_t>(frame.size());
    std::copy(frame.begin(), frame.end(), s.get());
    return s;
  };
  for (SimdLevel level : {SimdLevel::kScalar, SupportedSimdLevel()}) {
    SetSimdLevel(level);
    for (int subMode = 0; subMode < 3; ++subMode) {
      for (int format = 0; format < 2; ++format) {
        for (int defects = 0; defects < 2; ++defects) {
          Camera cam;
          SetResolution(cam, 40, subMode);
          cam.modes.outputFormat = uint8_t(format);
          cam.modes.defectFixOn = uint8_t(defects);
          cam.modes.mirror = uint8_t(defects);
          Owned<int16_t> whole = samples(), streamed = samples();
          const Owned<uint16_t> want = ConvertHighRes(cam, whole);
          ASSERT_TRUE(want);
          std::vector<uint16_t> got(cam.modes.imageBytes, 0xABCD);
          StillArray rows(got.data());
          Owned<uint16_t> converted;
          size_t written = 0;
          ASSERT_TRUE(ConvertHighResRows(cam, streamed, rows, converted, written));
          EXPECT_FALSE(converted);
          EXPECT_FALSE(streamed);
          ASSERT_EQ(written, got.size());
          EXPECT_TRUE(std::equal(got.begin(), got.end(), want.get()))
              << int(level) << " " << subMode << " " << format << " " << defects;
          // The same stream reading the samples line by line.
          ASSERT_TRUE(HighResStreams(cam));
          std::fill(got.begin(), got.end(), 0xABCD);
          StillArray lineRows(got.data());
          const Owned<int16_t> window = AllocateHighResWindow();
          StreamHighResRows(cam, FrameLines(frame), window, lineRows, written);
          ASSERT_EQ(written, got.size());
          EXPECT_TRUE(std::equal(got.begin(), got.end(), want.get())) << "by lines";
        }
      }
    }
  }
  SetSimdLevel(SupportedSimdLevel());
}

// Stretches of a frame widened on their own, starting at even and odd
// offsets, across field and block ends and into the bytes past the
// balanced blocks, against the frame widened whole.
TEST(HighResDriverTest, WideningStretchesEqualsWideningTheFrame) {
  std::mt19937 random(4);
  std::vector<uint8_t> raw(3 * kMosaicBlockSamples + 1000);
  for (uint8_t& b : raw) b = uint8_t(random());
  SampleChannelTables tables;
  for (int c = 0; c < 4; ++c) {
    for (int v = 0; v < 256; ++v) tables.table[c][v] = int16_t(1000 * c + 3 * v - 200);
  }
  const int blocks = 2;  // the third block is widened by the plain table
  std::vector<int16_t> whole(raw.size());
  WidenRawBytes(whole.data(), raw.data(), int64_t(raw.size()), blocks, tables);
  const PreparedChannelTables prepared = PrepareChannelTables(tables);
  for (SimdLevel level : {SimdLevel::kScalar, SupportedSimdLevel()}) {
    SetSimdLevel(level);
    for (int64_t at : {0, 1, 511, kMosaicFieldSamples - 33, kMosaicBlockSamples - 1,
                       2 * kMosaicBlockSamples - 100, 3 * kMosaicBlockSamples - 7}) {
      for (int64_t n : {1, 64, 129, 512, 900}) {
        if (at + n > int64_t(raw.size())) continue;
        std::vector<int16_t> part(size_t(n), 0x5A5A);
        WidenRawRange(part.data(), raw.data(), at, n, blocks, prepared);
        EXPECT_TRUE(std::equal(part.begin(), part.end(), whole.begin() + at))
            << int(level) << " " << at << " " << n;
      }
    }
  }
  SetSimdLevel(SupportedSimdLevel());
}

}  // namespace
}  // namespace vobrex
