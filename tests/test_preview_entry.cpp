// The preview entry points: global-memory blocks, framing, header bytes and
// the lock state after success and failure.
#include <gtest/gtest.h>

#include <cstring>
#include <tuple>
#include <vector>

#include "capture/preview_entry.h"
#include "platform/memory.h"
#include "settings/camera.h"

namespace vobrex {
namespace {

using Bytes = std::vector<uint8_t>;

constexpr std::size_t kFrameBytes = 262144;

const Bytes kFrame = [] {  // noise: a multiplicative hash of the offset
  Bytes b(kFrameBytes);
  for (uint32_t i = 0; i < b.size(); ++i) b[i] = static_cast<uint8_t>(i * 2654435761u >> 13);
  return b;
}();

uint32_t Read32(const Bytes& b, std::size_t at) {
  return b[at] | (b[at + 1] << 8) | (b[at + 2] << 16) | (static_cast<uint32_t>(b[at + 3]) << 24);
}

// An owned, zeroed global-memory block, with the frame if asked.
struct Block {
  explicit Block(std::size_t bytes, bool frame = false)
      : h(VobrexGlobalAlloc(VOBREX_GMEM_ZEROINIT, bytes)) {
    std::memcpy(VobrexGlobalLock(h), kFrame.data(), frame ? bytes : 0);
    VobrexGlobalUnlock(h);
  }
  ~Block() { VobrexGlobalFree(h); }
  Bytes Contents() {
    const auto* p = static_cast<const uint8_t*>(VobrexGlobalLock(h));
    Bytes b(p, p + VobrexGlobalSize(h));
    VobrexGlobalUnlock(h);
    return b;
  }
  // Locked when one more lock and unlock leave a count behind.
  bool Locked() { return VobrexGlobalLock(h) && VobrexGlobalUnlock(h) > 0; }
  HGLOBAL h;
};

// Framing '3': file and info header, pixels at 54; '2': info header, pixels
// at 40; '4': pixels at 0, no header. Any other framing (only a whole record
// holds one) puts the info header over the first pixels. VX_CCDtoRGB, in a
// fresh context of the same settings, gives the pixels alone.
TEST(ReadPreviewImage, FramingPlacesHeaderAndPixels) {
  // framing, sensorMode, pixel offset, bytes the header covers
  const std::tuple<uint8_t, int, std::size_t, std::size_t> cases[] = {
      {'3', 51, 54, 54}, {'2', 0, 40, 40}, {'4', 1, 0, 0}, {'x', 0, 0, 40}};
  for (const auto& [framing, mode, offset, header] : cases) {
    SCOPED_TRACE(framing);
    Camera cam, vx;
    SetMotionResolution(cam, mode);
    SetMotionResolution(vx, mode);
    cam.modes.framing = vx.modes.framing = framing;
    const CameraModes m = cam.modes;
    Block raw(kFrameBytes, true), image(offset + m.imageBytes);
    ASSERT_EQ(ReadPreviewImage(cam, &image.h, &raw.h), 1);
    EXPECT_FALSE(raw.Locked() || image.Locked());
    Bytes frame = kFrame, pixels(m.imageBytes);
    ASSERT_EQ(VX_CCDtoRGB(vx, frame.data(), pixels.data()), 1);
    const Bytes b = image.Contents();
    EXPECT_TRUE(std::equal(b.begin() + header, b.end(), pixels.begin() + (header - offset)));
    EXPECT_TRUE(framing != '3' ||  // 640 x 480
                (b[0] == 'B' && b[1] == 'M' && Read32(b, 2) == 921654 && Read32(b, 10) == 54));
    if (header == 0) continue;
    // size, width, height, 1 plane of 24 bits, no compression, image size
    const uint32_t info[] = {
        40,          static_cast<uint32_t>(m.width), static_cast<uint32_t>(m.height), 0x180001, 0,
        m.imageBytes};
    for (int i = 0; i < 6; ++i) EXPECT_EQ(Read32(b, header - 40 + 4 * i), info[i]) << i;
  }

  // Null or unlockable handles, and blocks too small for the frame or for
  // header and pixels, are refused untouched with no lock left behind. A
  // failed conversion (here an unknown sub-mode) leaves both blocks locked.
  Camera cam;
  SetMotionResolution(cam, 0);
  Block raw(kFrameBytes, true), shortRaw(kFrameBytes - 1, true);
  Block image(54 + 230400), shortImage(54 + 230400 - 1);
  HGLOBAL none = nullptr;
  alignas(std::max_align_t) unsigned char notABlock[64] = {};
  HGLOBAL stray = notABlock;  // its lock fails
  const std::pair<HGLOBAL*, HGLOBAL*> calls[] = {
      {nullptr, &raw.h}, {&image.h, nullptr}, {&none, &raw.h},         {&image.h, &none},
      {&stray, &raw.h},  {&image.h, &stray},  {&image.h, &shortRaw.h}, {&shortImage.h, &raw.h}};
  for (const auto& [i, r] : calls) EXPECT_EQ(ReadPreviewImage(cam, i, r), 0);
  EXPECT_FALSE(raw.Locked() || image.Locked());
  EXPECT_EQ(image.Contents(), Bytes(54 + 230400, 0));
  EXPECT_EQ(shortImage.Contents(), Bytes(54 + 230400 - 1, 0));
  cam.modes.sensorMode = 3;  // no such read-out
  EXPECT_EQ(ReadPreviewImage(cam, &image.h, &raw.h), 0);
  EXPECT_TRUE(raw.Locked() && image.Locked());
}

}  // namespace
}  // namespace vobrex
