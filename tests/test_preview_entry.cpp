// The preview entry points: global-memory blocks, framing, header bytes and
// the lock state after success and failure.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <vector>

#include "capture/preview_entry.h"
#include "platform/memory.h"
#include "preview/preview_driver.h"
#include "settings/camera.h"

namespace vobrex {
namespace {

using Bytes = std::vector<uint8_t>;

constexpr std::size_t kFrameBytes = 262144;

const Bytes kFrame = [] {
  std::mt19937 rng(11);
  Bytes b(kFrameBytes);
  for (uint8_t& v : b) v = static_cast<uint8_t>(rng());
  return b;
}();

uint32_t Read32(const Bytes& b, std::size_t at) {
  return b[at] | (b[at + 1] << 8) | (b[at + 2] << 16) | (static_cast<uint32_t>(b[at + 3]) << 24);
}

// An owned global-memory block.
class Block {
 public:
  explicit Block(std::size_t bytes) : handle_(VobrexGlobalAlloc(VOBREX_GMEM_ZEROINIT, bytes)) {}
  Block(const Block&) = delete;
  ~Block() { VobrexGlobalFree(handle_); }
  HGLOBAL& handle() { return handle_; }
  Bytes Contents() {
    const auto* p = static_cast<const uint8_t*>(VobrexGlobalLock(handle_));
    Bytes b(p, p + VobrexGlobalSize(handle_));
    VobrexGlobalUnlock(handle_);
    return b;
  }
  void Fill(const Bytes& bytes) {
    std::memcpy(VobrexGlobalLock(handle_), bytes.data(), bytes.size());
    VobrexGlobalUnlock(handle_);
  }
  // Locked when one more lock and unlock leave a count behind.
  bool Locked() {
    VobrexGlobalLock(handle_);
    return VobrexGlobalUnlock(handle_) > 0;
  }

 private:
  HGLOBAL handle_;
};

// What the conversion makes of the frame in a fresh context with `modes`.
Bytes Converted(const CameraModes& modes) {
  Camera cam;
  SetMotionResolution(cam, modes.sensorMode);
  cam.modes = modes;
  Bytes raw = kFrame, rgb(modes.imageBytes);
  EXPECT_EQ(ConvertPreviewFrame(cam, raw.data(), rgb.data()), 1);
  return rgb;
}

TEST(ReadPreviewImage, FramingSetsHeaderAndPixelOffset) {
  struct Case {
    uint8_t framing;
    int sensorMode;
    std::size_t offset;
  };
  for (const Case c : {Case{'3', 51, 54}, Case{'2', 0, 40}, Case{'4', 1, 0}}) {
    Camera cam;
    SetMotionResolution(cam, c.sensorMode);
    cam.modes.framing = c.framing;
    const CameraModes before = cam.modes;
    Block raw(kFrameBytes), image(c.offset + before.imageBytes);
    raw.Fill(kFrame);
    ASSERT_EQ(ReadPreviewImage(cam, &image.handle(), &raw.handle()), 1);
    const Bytes b = image.Contents();
    EXPECT_EQ(Bytes(b.begin() + static_cast<std::ptrdiff_t>(c.offset), b.end()), Converted(before))
        << "framing " << c.framing;
    EXPECT_FALSE(raw.Locked());
    EXPECT_FALSE(image.Locked());
    if (c.framing == '3') {
      EXPECT_EQ(b[0], 'B');
      EXPECT_EQ(b[1], 'M');
      EXPECT_EQ(Read32(b, 2), 921654u);
      EXPECT_EQ(Read32(b, 10), 54u);
    }
    if (c.offset > 0) {
      const std::size_t info = c.offset - 40;
      EXPECT_EQ(Read32(b, info), 40u);
      EXPECT_EQ(Read32(b, info + 4), static_cast<uint32_t>(before.width));
      EXPECT_EQ(Read32(b, info + 8), static_cast<uint32_t>(before.height));
      EXPECT_EQ(Read32(b, info + 12), 0x180001u);  // 1 plane, 24 bits
      EXPECT_EQ(Read32(b, info + 20), before.imageBytes);
    }
  }
}

TEST(VX_CCDtoRGB, NeverWritesAHeader) {
  for (uint8_t framing : {'2', '3', '4'}) {
    Camera cam;
    SetMotionResolution(cam, 0);
    cam.modes.framing = framing;
    const CameraModes before = cam.modes;
    Bytes raw = kFrame, pixels(230400 + 64, 0xEE);
    ASSERT_EQ(VX_CCDtoRGB(cam, raw.data(), pixels.data()), 1);
    EXPECT_EQ(Bytes(pixels.begin(), pixels.begin() + 230400), Converted(before));
    EXPECT_EQ(Bytes(pixels.begin() + 230400, pixels.end()), Bytes(64, 0xEE));
  }
  Camera cam;
  Bytes raw = kFrame, pixels(921600);
  EXPECT_EQ(VX_CCDtoRGB(cam, nullptr, pixels.data()), 0);
  EXPECT_EQ(VX_CCDtoRGB(cam, raw.data(), nullptr), 0);
}

TEST(ReadPreviewImage, FailedConversionLeavesBothBlocksLocked) {
  Camera cam;
  SetMotionResolution(cam, 0);
  Block raw(kFrameBytes), image(54 + 230400);
  raw.Fill(kFrame);

  cam.modes.sensorMode = 3;  // no such read-out
  EXPECT_EQ(ReadPreviewImage(cam, &image.handle(), &raw.handle()), 0);
  EXPECT_TRUE(raw.Locked());
  EXPECT_TRUE(image.Locked());
  VobrexGlobalUnlock(raw.handle());
  VobrexGlobalUnlock(image.handle());

  cam.modes.sensorMode = 0;  // the working sample buffer cannot be had
  FailAllocation(1);
  const int result = ReadPreviewImage(cam, &image.handle(), &raw.handle());
  FailAllocation(0);
  EXPECT_EQ(result, 0);
  EXPECT_TRUE(raw.Locked());
  EXPECT_TRUE(image.Locked());
  EXPECT_EQ(image.Contents(), Bytes(54 + 230400, 0));
}

TEST(ReadPreviewImage, NullOrUnlockableHandlesFail) {
  Camera cam;
  SetMotionResolution(cam, 0);
  Block raw(kFrameBytes), image(54 + 230400);
  HGLOBAL none = nullptr;
  alignas(std::max_align_t) unsigned char notABlock[64] = {};
  HGLOBAL stray = notABlock;  // its lock fails
  EXPECT_EQ(ReadPreviewImage(cam, nullptr, &raw.handle()), 0);
  EXPECT_EQ(ReadPreviewImage(cam, &image.handle(), nullptr), 0);
  EXPECT_EQ(ReadPreviewImage(cam, &none, &raw.handle()), 0);
  EXPECT_EQ(ReadPreviewImage(cam, &image.handle(), &none), 0);
  EXPECT_EQ(ReadPreviewImage(cam, &stray, &raw.handle()), 0);
  EXPECT_EQ(ReadPreviewImage(cam, &image.handle(), &stray), 0);
  EXPECT_FALSE(raw.Locked());  // the lock that held was released again
  EXPECT_FALSE(image.Locked());
  EXPECT_EQ(image.Contents(), Bytes(54 + 230400, 0));
}

TEST(ReadPreviewImage, BlocksTooSmallAreRefusedUntouched) {
  Camera cam;
  SetMotionResolution(cam, 0);
  Block shortRaw(kFrameBytes - 1), raw(kFrameBytes), shortImage(54 + 230400 - 1);
  Block image(54 + 230400);
  raw.Fill(kFrame);
  EXPECT_EQ(ReadPreviewImage(cam, &image.handle(), &shortRaw.handle()), 0);
  EXPECT_EQ(ReadPreviewImage(cam, &shortImage.handle(), &raw.handle()), 0);
  EXPECT_FALSE(raw.Locked());
  EXPECT_EQ(shortImage.Contents(), Bytes(54 + 230400 - 1, 0));
  EXPECT_EQ(ReadPreviewImage(cam, &image.handle(), &raw.handle()), 1);
}

TEST(ReadPreviewImage, UnknownFramingPutsTheInfoHeaderOverThePixels) {
  Camera cam;
  SetMotionResolution(cam, 0);
  cam.modes.framing = 'x';
  Block raw(kFrameBytes), image(230400);
  raw.Fill(kFrame);
  ASSERT_EQ(ReadPreviewImage(cam, &image.handle(), &raw.handle()), 1);
  const Bytes out = image.Contents();
  const Bytes pixels = Converted(cam.modes);
  EXPECT_EQ(Read32(out, 0), 40u);
  EXPECT_EQ(Read32(out, 4), 320u);
  EXPECT_TRUE(std::equal(pixels.begin() + 40, pixels.end(), out.begin() + 40));
}

}  // namespace
}  // namespace vobrex
