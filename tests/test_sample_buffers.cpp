// Sample buffers and the table pass, the image header, and the memory the
// conversions take their buffers and blocks from.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "capture/image_header.h"
#include "capture/sample_buffers.h"
#include "platform/memory.h"
#include "settings/curve_tables.h"

namespace vobrex {
namespace {

using Samples = std::vector<int16_t>;
using Bytes = std::vector<uint8_t>;

TEST(SampleBuffers, CopiesAndTheTablePass) {
  const uint8_t raw[3] = {1, 200, 255};
  Samples samples = {-7, -7, -7};
  ExpandSamples(samples.data(), raw, 0);  // no count, no change
  ExpandSamples(samples.data() + 1, raw + 1, 2);
  EXPECT_EQ(samples, (Samples{-7, 200, 255}));
  const uint16_t values[3] = {0x1FF, 0xFF00, 12};
  Bytes pixels = {9, 9, 9};
  NarrowSamples(pixels.data(), values, -1);
  NarrowSamples(pixels.data(), values, 2);  // the low byte, unclamped
  EXPECT_EQ(pixels, (Bytes{0xFF, 0, 9}));

  // wbMode alone decides between mapping and clamping, whatever the table.
  Camera cam;
  for (int mode : {0, 7, 1, 2}) {
    cam.modes.wbMode = mode;
    const bool mapped = mode == 1 || mode == 2;
    Samples v = {300, -5, 100, 920, 5000, 128};  // the last is past the count
    MapSamples(cam, v.data(), 5, kCurveTables.compressTable.data(), kCompressTableLength);
    EXPECT_EQ(v,
              (mapped ? Samples{165, 0, 82, 246, 255, 128} : Samples{255, 0, 100, 255, 255, 128}))
        << mode;
    Samples e = {128, 300};  // beyond the expanding table: its last entry
    MapSamples(cam, e.data(), 2, kCurveTables.expandTable.data(), kExpandTableLength);
    EXPECT_EQ(e, (mapped ? Samples{188, 1021} : Samples{128, 255})) << mode;
  }
}

// Little-endian 32-bit words of a header.
std::vector<uint32_t> Words(const Bytes& b, size_t from, size_t count) {
  std::vector<uint32_t> w(count);
  std::memcpy(w.data(), &b[from], count * 4);
  return w;
}

TEST(ImageHeader, FramingChoosesTheHeaders) {
  Camera cam;  // framing '3': file header and info header, 54 bytes
  Bytes block(58, 0xAA);
  WriteImageHeader(cam, block.data(), 640, 480, 2);
  EXPECT_EQ(FramingOffset(cam.modes), 54);
  EXPECT_EQ(std::string(block.begin(), block.begin() + 2), "BM");
  // File size, reserved, pixel offset; info size, width, height, one plane of
  // 24 bits, no compression, pixel bytes, zeros; the pixels untouched.
  EXPECT_EQ(Words(block, 2, 14), (std::vector<uint32_t>{921654, 0, 54, 40, 640, 480, 1 | 24 << 16,
                                                        0, 921600, 0, 0, 0, 0, 0xAAAAAAAA}));
  for (uint8_t framing : {uint8_t{'2'}, uint8_t{'4'}, uint8_t{0}}) {
    cam.modes.framing = framing;  // anything but '3': the info header alone
    block.assign(44, 0xAA);
    WriteImageHeader(cam, block.data(), 160, 120, 0);
    EXPECT_EQ(Words(block, 0, 11), (std::vector<uint32_t>{40, 160, 120, 1 | 24 << 16, 0, 57600, 0,
                                                          0, 0, 0, 0xAAAAAAAA}));
    EXPECT_EQ(FramingOffset(cam.modes), framing == '2' ? 40 : 0);
  }
}

TEST(Memory, GlobalBlocksAndTheAllocationHook) {
  HGLOBAL block = VobrexGlobalAlloc(0x2042, 100);  // movable, zero-filled
  auto* bytes = static_cast<uint8_t*>(VobrexGlobalLock(block));
  ASSERT_TRUE(bytes != nullptr && bytes != block);  // a handle, not the memory
  EXPECT_EQ(VobrexGlobalSize(block), 100u);
  EXPECT_EQ(Bytes(bytes, bytes + 100), Bytes(100, 0));
  EXPECT_EQ(VobrexGlobalUnlock(block), 0);  // lock count back to 0
  EXPECT_EQ(VobrexGlobalFree(block), nullptr);
  // Pointers to readable memory that is no block are refused.
  EXPECT_EQ(VobrexGlobalLock(Bytes(64).data()), nullptr);
  EXPECT_EQ(VobrexGlobalSize(Bytes(64).data()), 0u);
  EXPECT_EQ(VobrexGlobalLock(nullptr), nullptr);

  FailAllocation(2);  // exactly the second allocation fails
  auto first = AllocateArray<int>(4), second = AllocateArray<int>(4), third = AllocateArray<int>(4);
  EXPECT_TRUE(first && !second && third);
  EXPECT_EQ(AllocationCount(), 3);
  FailAllocation(0);
  auto zeroed = AllocateArray<int>(8, true);
  EXPECT_EQ(std::vector<int>(zeroed.get(), zeroed.get() + 8), std::vector<int>(8, 0));
}

}  // namespace
}  // namespace vobrex
