#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "capture/still_entry.h"
#include "platform/memory.h"

namespace vobrex {
namespace {

std::size_t BlockSize(HGLOBAL block) {
#if defined(_WIN32)
  return GlobalSize(block);
#else
  return VobrexGlobalSize(block);
#endif
}

// True when the block is still locked by someone else: lock it once more and
// see whether the unlock leaves a lock behind.
bool StillLocked(HGLOBAL block) {
  GlobalBlockLock(block);
#if defined(_WIN32)
  return GlobalUnlock(block) != 0;
#else
  return VobrexGlobalUnlock(block) != 0;
#endif
}

std::vector<uint8_t> PseudoRandomFrame(std::size_t bytes) {
  std::vector<uint8_t> frame(bytes);
  uint32_t seed = 12345;
  for (uint8_t& b : frame) {
    seed = seed * 1103515245u + 12345u;
    b = static_cast<uint8_t>(40 + ((seed >> 16) % 160));
  }
  return frame;
}

// A raw block as the caller hands it over: rawSampleCount bytes.
HGLOBAL RawBlock(const Camera& cam) {
  const std::vector<uint8_t> frame = PseudoRandomFrame(cam.sampleCount.rawSampleCount);
  HGLOBAL block = GlobalBlockAlloc(0x2042, frame.size());
  std::memcpy(GlobalBlockLock(block), frame.data(), frame.size());
  GlobalBlockUnlock(block);
  return block;
}

uint32_t U32(const uint8_t* p) {
  return p[0] | (p[1] << 8) | (p[2] << 16) | (static_cast<uint32_t>(p[3]) << 24);
}

void ExpectInfoHeader(const uint8_t* p, const CameraModes& m) {
  EXPECT_EQ(U32(p), 40u);
  EXPECT_EQ(U32(p + 4), static_cast<uint32_t>(m.width));
  EXPECT_EQ(U32(p + 8), static_cast<uint32_t>(m.height));
  EXPECT_EQ(p[12], 1);
  EXPECT_EQ(p[14], 24);
  EXPECT_EQ(U32(p + 20), m.imageBytes);
}

bool AllZero(const uint8_t* p, std::size_t n) {
  return std::all_of(p, p + n, [](uint8_t b) { return b == 0; });
}

// Resolution 20 has no still path: the image stays zero behind its header.
TEST(ReadCamImage, BlockSizesAndHeadersByFraming) {
  struct Case {
    uint8_t framing;
    uint8_t outputFormat;
    std::size_t extra;
    std::size_t pixelStart;
  };
  for (const Case& c :
       {Case{'3', 1, 54, 54}, Case{'3', 2, 1078, 54}, Case{'2', 1, 54, 40}, Case{'4', 0, 54, 40}}) {
    Camera cam;
    cam.modes.framing = c.framing;
    cam.modes.outputFormat = c.outputFormat;
    SetResolution(cam, 20, 0);
    const CameraModes& m = cam.modes;
    HGLOBAL frame = RawBlock(cam);
    HGLOBAL raw = frame;
    ASSERT_EQ(ReadCamImage(cam, &frame), 1);
    ASSERT_NE(frame, raw);  // the raw block was freed and replaced
    ASSERT_EQ(BlockSize(frame), m.imageBytes + c.extra);
    const auto* p = static_cast<const uint8_t*>(GlobalBlockLock(frame));
    const uint8_t* info = p;
    if (c.framing == '3') {
      EXPECT_EQ(p[0], 'B');
      EXPECT_EQ(p[1], 'M');
      EXPECT_EQ(U32(p + 2), m.imageBytes + 54);  // the spare bytes of a grey image do not count
      EXPECT_EQ(U32(p + 10), 54u);
      info = p + 14;
    }
    ExpectInfoHeader(info, m);
    // With '4' the header lies over the first 40 bytes of the pixels.
    EXPECT_TRUE(AllZero(p + c.pixelStart, BlockSize(frame) - c.pixelStart));
    GlobalBlockUnlock(frame);
    GlobalBlockFree(frame);
  }
}

TEST(ReadCamImage, WhiteReferenceOnlyGivesEmptyImage) {
  Camera cam;
  SetResolution(cam, 13, 0);
  cam.modes.wbMode = 1;
  cam.modes.wbOnly = 1;
  cam.modes.defectFixOn = 1;
  HGLOBAL frame = RawBlock(cam);
  HGLOBAL raw = frame;
  ASSERT_EQ(ReadCamImage(cam, &frame), 1);
  EXPECT_NE(frame, raw);
  EXPECT_EQ(cam.modes.wideRange, 1);
  const auto* p = static_cast<const uint8_t*>(GlobalBlockLock(frame));
  EXPECT_EQ(p[0], 'B');
  EXPECT_TRUE(AllZero(p + 54, cam.modes.imageBytes));
  GlobalBlockUnlock(frame);
  GlobalBlockFree(frame);
}

// Failures leave the raw block locked and the caller's handle unchanged; the
// new block does not outlive the call (the leak checker of the sanitizer
// build watches that).
TEST(ReadCamImage, FailuresKeepCallersFrame) {
  for (long failing : {1L, 2L}) {  // the image block, then the sample buffer
    Camera cam;
    SetResolution(cam, 13, 0);
    cam.modes.wbOnly = 1;  // would succeed without the failure
    HGLOBAL frame = RawBlock(cam);
    HGLOBAL raw = frame;
    const std::vector<uint8_t> before(
        static_cast<const uint8_t*>(GlobalBlockLock(raw)),
        static_cast<const uint8_t*>(GlobalBlockLock(raw)) + cam.sampleCount.rawSampleCount);
    GlobalBlockUnlock(raw);
    GlobalBlockUnlock(raw);
    FailAllocation(failing);
    EXPECT_EQ(ReadCamImage(cam, &frame), 0) << "allocation " << failing;
    FailAllocation(0);
    EXPECT_EQ(frame, raw);
    EXPECT_TRUE(StillLocked(raw));
    const auto* p = static_cast<const uint8_t*>(GlobalBlockLock(raw));
    EXPECT_TRUE(std::equal(before.begin(), before.end(), p));
    GlobalBlockUnlock(raw);
    GlobalBlockUnlock(raw);
    GlobalBlockFree(raw);
  }
  Camera cam;
  HGLOBAL none = nullptr;
  EXPECT_EQ(ReadCamImage(cam, &none), 0);
  EXPECT_EQ(ReadCamImage(cam, nullptr), 0);
  // A raw block shorter than the resolution's frame is refused untouched.
  SetResolution(cam, 40, 0);
  HGLOBAL small = GlobalBlockAlloc(0x2042, 262144);
  HGLOBAL kept = small;
  EXPECT_EQ(ReadCamImage(cam, &small), 0);
  EXPECT_EQ(small, kept);
  GlobalBlockFree(small);
}

// Whatever the still paths make of the frame, a success replaces the handle
// with a block of the promised size and a failure changes nothing.
TEST(ReadCamImage, StillCodesReplaceOnlyOnSuccess) {
  for (int code : {13, 23, 40}) {
    Camera cam;
    SetResolution(cam, code, 2);
    cam.modes.defectFixOn = 1;
    cam.modes.sharpenOn = 1;
    cam.modes.gamma = 120;
    HGLOBAL frame = RawBlock(cam);
    HGLOBAL raw = frame;
    const int result = ReadCamImage(cam, &frame);
    if (result == 1) {
      EXPECT_NE(frame, raw);
      EXPECT_EQ(BlockSize(frame), cam.modes.imageBytes + 54);
      const auto* p = static_cast<const uint8_t*>(GlobalBlockLock(frame));
      ExpectInfoHeader(p + 14, cam.modes);
      GlobalBlockUnlock(frame);
    } else {
      EXPECT_EQ(result, 0);
      EXPECT_EQ(frame, raw);
      GlobalBlockUnlock(frame);
    }
    GlobalBlockFree(frame);
  }
}

// A frame shorter than its code's stages read (a one-read-out count given
// to the double and four-exposure paths) is read only as far as it goes; the
// sanitizer build checks the reads.
TEST(ConvertCamFrame, ReadsNoFurtherThanTheFrame) {
  for (int code : {40, 10, 23}) {
    Camera cam;
    SetResolution(cam, 13, 2);
    cam.modes.defectFixOn = 1;
    const std::vector<uint8_t> raw = PseudoRandomFrame(cam.sampleCount.rawSampleCount);
    std::vector<uint8_t> out(54 + cam.modes.imageBytes);
    const int result = ConvertCamFrame(cam, raw.data(), out.data(), code);
    EXPECT_TRUE(result == 0 || result == 1);
  }
}

TEST(ConvertCamFrame, RefusesMissingBuffersAndUnknownCodes) {
  Camera cam;
  const std::vector<uint8_t> raw = PseudoRandomFrame(cam.sampleCount.rawSampleCount);
  std::vector<uint8_t> out(54 + cam.modes.imageBytes);
  EXPECT_EQ(ConvertCamFrame(cam, nullptr, out.data(), 13), 0);
  EXPECT_EQ(ConvertCamFrame(cam, raw.data(), nullptr, 13), 0);
  EXPECT_EQ(ConvertCamFrame(cam, raw.data(), out.data(), 20), 0);
  EXPECT_EQ(ConvertCamFrame(cam, raw.data(), out.data(), 0), 0);
}

TEST(GetVFWImage, RefusalsAndWideRangeFlag) {
  Camera cam;
  SetResolution(cam, 13, 2);
  const std::vector<uint8_t> raw = PseudoRandomFrame(cam.sampleCount.rawSampleCount);
  std::vector<uint8_t> pixels(cam.modes.imageBytes);
  EXPECT_EQ(GetVFWImage(cam, raw.data(), pixels.data(), 0), 0);
  EXPECT_EQ(GetVFWImage(cam, nullptr, pixels.data(), 13), 0);
  EXPECT_EQ(GetVFWImage(cam, raw.data(), nullptr, 13), 0);

  cam.modes.vfwWideRange = 0;
  GetVFWImage(cam, raw.data(), pixels.data(), 20);
  EXPECT_EQ(cam.modes.wideRange, 0);
  cam.modes.vfwWideRange = 1;
  GetVFWImage(cam, raw.data(), pixels.data(), 20);
  EXPECT_EQ(cam.modes.wideRange, 1);

  FailAllocation(1);  // the sample buffer
  EXPECT_EQ(GetVFWImage(cam, raw.data(), pixels.data(), 13), 0);
  FailAllocation(0);
}

// A video frame is the still core's frame without header: with sharpening on
// and no filters the two entry points must agree byte for byte, the video
// frame starting at the buffer's first byte whatever the framing says.
TEST(GetVFWImage, MatchesStillCoreWithoutHeader) {
  Camera still;
  Camera video;
  for (Camera* cam : {&still, &video}) {
    SetResolution(*cam, 13, 2);
    cam->modes.framing = '3';
    cam->modes.sharpenOn = 1;
  }
  const std::vector<uint8_t> raw = PseudoRandomFrame(still.sampleCount.rawSampleCount);
  std::vector<uint8_t> block(54 + still.modes.imageBytes, 0);
  std::vector<uint8_t> pixels(video.modes.imageBytes, 0);
  const int stillResult = ConvertCamFrame(still, raw.data(), block.data(), 13);
  const int videoResult = GetVFWImage(video, raw.data(), pixels.data(), 13);
  EXPECT_EQ(stillResult, videoResult);
  if (stillResult == 1 && videoResult == 1) {
    EXPECT_TRUE(std::equal(pixels.begin(), pixels.end(), block.begin() + 54));
    EXPECT_TRUE(AllZero(block.data(), 54));
  }
}

}  // namespace
}  // namespace vobrex
