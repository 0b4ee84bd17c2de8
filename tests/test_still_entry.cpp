#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "capture/channel_tables.h"
#include "capture/still_entry.h"
#include "platform/cpu_features.h"
#include "platform/memory.h"

namespace vobrex {
namespace {

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
  for (std::size_t i = 0; i < bytes; ++i) frame[i] = static_cast<uint8_t>(40 + (i * i) % 157);
  return frame;
}

bool IsZero(uint8_t b) { return b == 0; }

uint32_t U32(const uint8_t* p) {
  return p[0] | (p[1] << 8) | (p[2] << 16) | (static_cast<uint32_t>(p[3]) << 24);
}

// Resolution 20 has no still path and wbOnly stops before the conversion:
// both leave the image zero behind its header, from byte 54 with framing '3'
// and from 40 otherwise ('4' writes the info header over the first pixels).
// The 1024 spare bytes of a grey image do not count in the file size. (Codes
// that convert are sized by the allocation-failure tests.)
TEST(ReadCamImage, BlockSizesAndHeaders) {
  struct Case {
    int framing, outputFormat, resolution, wbOnly, extra;
  };
  for (const Case& c : {Case{'3', 1, 20, 0, 54}, Case{'3', 2, 20, 0, 1078}, Case{'2', 1, 20, 0, 54},
                        Case{'4', 0, 20, 0, 54}, Case{'3', 1, 13, 1, 54}}) {
    SCOPED_TRACE(testing::Message() << char(c.framing) << c.outputFormat << c.resolution);
    Camera cam;
    cam.modes.framing = c.framing;
    cam.modes.outputFormat = c.outputFormat;
    SetResolution(cam, c.resolution, 2);
    cam.modes.wbMode = cam.modes.wbOnly = c.wbOnly;
    cam.modes.wideRange = 0;  // every run of the still core sets it
    HGLOBAL raw = GlobalBlockAlloc(0x2042, cam.sampleCount.rawSampleCount), frame = raw;
    ASSERT_EQ(ReadCamImage(cam, &frame), 1);
    ASSERT_NE(frame, raw);  // the raw block was freed and replaced
    EXPECT_EQ(cam.modes.wideRange, c.resolution != 20);
    const std::size_t size = GlobalBlockSize(frame);
    ASSERT_EQ(size, cam.modes.imageBytes + c.extra);
    const auto* p = static_cast<const uint8_t*>(GlobalBlockLock(frame));
    EXPECT_TRUE(c.framing != '3' || U32(p + 2) == cam.modes.imageBytes + 54);  // the file size
    EXPECT_EQ(U32(p + (c.framing == '3' ? 14 : 0)), 40u);                      // the info header
    EXPECT_TRUE(std::all_of(p + (c.framing == '3' ? 54 : 40), p + size, IsZero));
    GlobalBlockUnlock(frame);
    GlobalBlockFree(frame);
  }
}

// Failures leave the raw block locked and the caller's handle unchanged; the
// new block does not outlive the call (the sanitizer build's leak checker).
TEST(ReadCamImage, FailuresKeepCallersFrame) {
  for (long failing : {1L, 2L}) {  // the image block, then the sample buffer
    Camera cam;
    cam.modes.wbOnly = 1;  // would succeed without the failure
    HGLOBAL raw = GlobalBlockAlloc(0x2042, cam.sampleCount.rawSampleCount), frame = raw;
    FailAllocation(failing);
    EXPECT_EQ(ReadCamImage(cam, &frame), 0) << "allocation " << failing;
    FailAllocation(0);
    EXPECT_EQ(frame, raw);
    EXPECT_TRUE(StillLocked(raw));
    GlobalBlockUnlock(raw);
    GlobalBlockFree(raw);
  }
  Camera cam;
  HGLOBAL none = nullptr;
  EXPECT_EQ(ReadCamImage(cam, &none), 0);
  EXPECT_EQ(ReadCamImage(cam, nullptr), 0);
  // A raw block shorter than the resolution's frame is refused untouched.
  SetResolution(cam, 40, 0);
  HGLOBAL small = GlobalBlockAlloc(0x2042, 262144), kept = small;
  EXPECT_EQ(ReadCamImage(cam, &small), 0);
  EXPECT_EQ(small, kept);
  GlobalBlockFree(small);
}

TEST(StillCoreAndVideo, RefusalsShortFramesAndWideRange) {
  Camera cam;
  SetResolution(cam, 13, 2);
  cam.modes.defectFixOn = 1;
  const std::vector<uint8_t> raw = PseudoRandomFrame(cam.sampleCount.rawSampleCount);
  std::vector<uint8_t> out(54 + cam.modes.imageBytes);
  EXPECT_EQ(ConvertCamFrame(cam, raw.data(), out.data(), 0), 0);
  EXPECT_EQ(GetVFWImage(cam, raw.data(), out.data(), 0), 0);
  EXPECT_EQ(ConvertCamFrame(cam, nullptr, out.data(), 13), 0);
  EXPECT_EQ(ConvertCamFrame(cam, raw.data(), nullptr, 13), 0);
  EXPECT_EQ(GetVFWImage(cam, nullptr, out.data(), 13), 0);
  EXPECT_EQ(GetVFWImage(cam, raw.data(), nullptr, 13), 0);
  for (int n = 0; n < 4; ++n) {  // code 20 (no still path), then 13; narrow, then wide
    cam.modes.vfwWideRange = uint8_t(n % 2);
    EXPECT_EQ(GetVFWImage(cam, raw.data(), out.data(), n < 2 ? 20 : 13), n / 2);
    EXPECT_EQ(cam.modes.wideRange, n % 2);
  }
  // A one-read-out frame given to the double and four-exposure paths is read
  // only as far as it goes (the sanitizer build checks the reads).
  for (int code : {40, 10, 23}) {
    EXPECT_LE(static_cast<unsigned>(ConvertCamFrame(cam, raw.data(), out.data(), code)), 1u);
  }
}

// A video frame is the still core's frame without header: with sharpening on
// and no filters the two entry points agree byte for byte, the video frame
// starting at the buffer's first byte whatever the framing says.
TEST(GetVFWImage, MatchesStillCoreWithoutHeader) {
  Camera still, video;
  for (Camera* cam : {&still, &video}) {
    SetResolution(*cam, 13, 2);  // framing '3' by default
    cam->modes.sharpenOn = 1;
  }
  const std::vector<uint8_t> raw = PseudoRandomFrame(still.sampleCount.rawSampleCount);
  std::vector<uint8_t> block(54 + still.modes.imageBytes), pixels(video.modes.imageBytes);
  ASSERT_EQ(ConvertCamFrame(still, raw.data(), block.data(), 13), 1);
  ASSERT_EQ(GetVFWImage(video, raw.data(), pixels.data(), 13), 1);
  EXPECT_TRUE(std::equal(pixels.begin(), pixels.end(), block.begin() + 54));
  EXPECT_TRUE(std::all_of(block.begin(), block.begin() + 54, IsZero));
}

// The field lines a still widens as it goes are the widened frame's, for
// tables that leave some colours as they are (a manual balance of 1, the
// plain samples past the blocks) and change others: stretches that start on
// either parity, cross from one field or block into the next or run past
// the balanced blocks, short and long, portable and vector.
TEST(StillLines, WidenedStretchesMatchTheWidenedFrame) {
  const std::vector<uint8_t> raw = PseudoRandomFrame(2 * 262144);
  SampleChannelTables tables;
  for (int v = 0; v < 256; ++v) {
    tables.table[kChannelGreen][v] = int16_t(v);
    tables.table[kChannelBlue][v] = int16_t(3 * v - 300);
    tables.table[kChannelRed][v] = int16_t(v);
    tables.table[kChannelPlain][v] = int16_t(v);
  }
  std::vector<SimdLevel> levels{SimdLevel::kScalar};
  if (SupportedSimdLevel() == SimdLevel::kAvx512) levels.push_back(SimdLevel::kAvx512);
  const SimdLevel before = ActiveSimdLevel();
  for (SimdLevel level : levels) {
    SetSimdLevel(level);
    std::vector<int16_t> frame(raw.size());
    WidenRawBytes(frame.data(), raw.data(), int64_t(raw.size()), 1, tables);
    // Green and red alone as they are: the second field's lines are plain.
    SampleChannelTables plainSecond = tables;
    for (int v = 0; v < 256; ++v) plainSecond.table[kChannelBlue][v] = int16_t(v);
    std::vector<int16_t> plainFrame(raw.size());
    WidenRawBytes(plainFrame.data(), raw.data(), int64_t(raw.size()), 1, plainSecond);
    for (const SampleChannelTables* t : {&tables, &plainSecond}) {
      const PreparedChannelTables prepared = PrepareChannelTables(*t);
      const std::vector<int16_t>& expected = t == &tables ? frame : plainFrame;
      for (int64_t at : {0, 1, 511, 131070, 131073, 262100, 262143, 300001}) {
        for (int64_t n : {0, 2, 63, 64, 576, 4099}) {
          std::vector<int16_t> part(std::size_t(n) + 1, int16_t(-7));
          WidenRawRange(part.data(), raw.data(), at, n, 1, prepared);
          ASSERT_TRUE(std::equal(part.begin(), part.begin() + n, expected.begin() + at))
              << int(level) << " " << at << " " << n;
          EXPECT_EQ(part[std::size_t(n)], -7);
        }
      }
    }
  }
  SetSimdLevel(before);
}

}  // namespace
}  // namespace vobrex
