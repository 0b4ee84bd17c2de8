// Sample buffers, the table pass and the image header.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "capture/image_header.h"
#include "capture/sample_buffers.h"
#include "settings/curve_tables.h"

namespace vobrex {
namespace {

TEST(SampleBuffers, ExpandAndNarrow) {
  const uint8_t raw[4] = {0, 1, 200, 255};
  int16_t samples[4] = {-7, -7, -7, -7};
  ExpandSamples(samples, raw, 0);
  EXPECT_EQ(samples[0], -7);
  ExpandSamples(samples, raw, 4);
  EXPECT_EQ(samples[2], 200);
  EXPECT_EQ(samples[3], 255);
  const uint16_t values[3] = {0x1FF, 0xFF00, 12};
  uint8_t pixels[3] = {9, 9, 9};
  NarrowSamples(pixels, values, -1);
  EXPECT_EQ(pixels[0], 9);
  NarrowSamples(pixels, values, 3);
  EXPECT_EQ(pixels[0], 0xFF);
  EXPECT_EQ(pixels[1], 0);
  EXPECT_EQ(pixels[2], 12);
}

TEST(SampleBuffers, ManualModeOnlyClampsWhateverTheTable) {
  Camera cam;
  cam.modes.wbMode = 0;
  int16_t v[4] = {300, -5, 100, 5000};
  MapSamples(cam, v, 4, kCurveTables.compressTable.data(), kCompressTableLength);
  EXPECT_EQ(v[0], 255);
  EXPECT_EQ(v[1], 0);
  EXPECT_EQ(v[2], 100);
  EXPECT_EQ(v[3], 255);
  cam.modes.wbMode = 7;
  int16_t w[1] = {-300};
  MapSamples(cam, w, 1, kCurveTables.expandTable.data(), kExpandTableLength);
  EXPECT_EQ(w[0], 0);
}

TEST(SampleBuffers, AutomaticModesMapThroughTheTable) {
  Camera cam;
  for (int mode : {1, 2}) {
    cam.modes.wbMode = mode;
    int16_t v[4] = {5000, -3, 920, 128};
    MapSamples(cam, v, 3, kCurveTables.compressTable.data(), kCompressTableLength);
    EXPECT_EQ(v[0], 255);
    EXPECT_EQ(v[1], kCurveTables.compressTable[0]);
    EXPECT_EQ(v[2], 246);
    EXPECT_EQ(v[3], 128);  // past the count: untouched
    int16_t e[2] = {128, 300};
    MapSamples(cam, e, 2, kCurveTables.expandTable.data(), kExpandTableLength);
    EXPECT_EQ(e[0], 188);
    EXPECT_EQ(e[1], 1021);  // beyond 255: the last entry
  }
  int16_t untouched[1] = {42};
  MapSamples(cam, untouched, 0, kCurveTables.expandTable.data(), kExpandTableLength);
  EXPECT_EQ(untouched[0], 42);
}

uint32_t Read32(const uint8_t* p) { return p[0] | p[1] << 8 | p[2] << 16 | uint32_t(p[3]) << 24; }

TEST(ImageHeader, FileAndInfoHeaderForFraming3) {
  Camera cam;
  std::vector<uint8_t> block(60, 0xAA);
  WriteImageHeader(cam, block.data(), 640, 480, 2);
  EXPECT_EQ(FramingOffset(cam.modes), 54);
  EXPECT_EQ(block[0], 'B');
  EXPECT_EQ(block[1], 'M');
  EXPECT_EQ(Read32(&block[2]), 921654u);
  EXPECT_EQ(Read32(&block[6]), 0u);
  EXPECT_EQ(Read32(&block[10]), 54u);
  EXPECT_EQ(Read32(&block[14]), 40u);
  EXPECT_EQ(Read32(&block[18]), 640u);
  EXPECT_EQ(Read32(&block[22]), 480u);
  EXPECT_EQ(block[26] | block[27] << 8, 1);
  EXPECT_EQ(block[28] | block[29] << 8, 24);
  EXPECT_EQ(Read32(&block[30]), 0u);
  EXPECT_EQ(Read32(&block[34]), 921600u);
  for (int i = 38; i < 54; ++i) EXPECT_EQ(block[i], 0) << i;
  EXPECT_EQ(block[54], 0xAA);
}

TEST(ImageHeader, InfoHeaderOnlyOtherwise) {
  Camera cam;
  for (uint8_t framing : {uint8_t('2'), uint8_t('4'), uint8_t(0)}) {
    cam.modes.framing = framing;
    std::vector<uint8_t> block(44, 0xAA);
    WriteImageHeader(cam, block.data(), 160, 120, 0);
    EXPECT_EQ(Read32(&block[0]), 40u);
    EXPECT_EQ(Read32(&block[4]), 160u);
    EXPECT_EQ(Read32(&block[20]), 57600u);
    EXPECT_EQ(block[40], 0xAA);
    EXPECT_EQ(FramingOffset(cam.modes), framing == '2' ? 40 : 0);
  }
}

}  // namespace
}  // namespace vobrex
