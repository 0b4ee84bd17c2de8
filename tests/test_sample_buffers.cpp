// Sample buffers and the table pass, the image header, and the memory the
// conversions take their buffers and blocks from.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "capture/channel_tables.h"
#include "capture/image_header.h"
#include "capture/sample_buffers.h"
#include "platform/cpu_features.h"
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

// Runs `body` on the portable code and on the widest vector code there is.
template <class Body>
void OnEveryPath(Body body) {
  const SimdLevel before = ActiveSimdLevel();
  for (SimdLevel level : {SimdLevel::kScalar, SupportedSimdLevel()}) {
    SetSimdLevel(level);
    SCOPED_TRACE(SimdLevelName(level));
    body();
  }
  SetSimdLevel(before);
}

// What the pass makes of one 16-bit value under each packing.
uint8_t Expected(ComponentPacking packing, uint16_t value) {
  const int wbMode = packing == ComponentPacking::kCompress ? 1 : 0;
  if (packing == ComponentPacking::kLowByte) return static_cast<uint8_t>(value & 0xFF);
  return static_cast<uint8_t>(MapSample(wbMode, static_cast<int16_t>(value),
                                        kCurveTables.compressTable.data(), kCompressTableLength));
}

constexpr ComponentPacking kPackings[3] = {ComponentPacking::kCompress, ComponentPacking::kClamp,
                                           ComponentPacking::kLowByte};

// Every 16-bit value (an odd step walks all of them) through the compressing
// pass, the clamp and the plain narrowing, in lines that end on a vector
// block and past one.
TEST(SampleBuffers, PackingKeepsEveryValueOnEveryPath) {
  std::vector<uint16_t> values(65536 + 37);
  for (size_t i = 0; i < values.size(); ++i) values[i] = static_cast<uint16_t>(i * 40503u);
  OnEveryPath([&] {
    for (ComponentPacking packing : kPackings) {
      Camera cam;
      cam.modes.wbMode = packing == ComponentPacking::kCompress ? 2 : 5;
      const bool compress = packing != ComponentPacking::kLowByte;
      ASSERT_EQ(PackingFor(cam, compress), packing);
      for (int32_t count : {65536, 65536 + 37}) {
        Bytes pixels(values.size() + 1, 0xA5);
        PackSamples(cam, pixels.data(), values.data(), count, compress);
        int wrong = 0;
        for (int32_t i = 0; i < count; ++i) wrong += pixels[i] != Expected(packing, values[i]);
        EXPECT_EQ(wrong, 0) << static_cast<int>(packing) << " " << count;
        EXPECT_EQ(pixels[count], 0xA5);
      }
    }
  });
}

// Rows packed straight into pixels give what packing each line and then
// interleaving gives, for every width class (under, at and past a vector
// block), both orientations, grey rows, and rows cut short by the image's
// end; nothing past the cut is written.
TEST(SampleBuffers, PackedRowsMatchLinesPackedThenInterleaved) {
  std::vector<uint16_t> lines(3 * 1260);
  uint32_t s = 99;
  for (uint16_t& v : lines) {
    s = s * 1103515245u + 12345u;
    const uint32_t r = s >> 8;
    v = static_cast<uint16_t>(r % 4 == 0 ? r >> 4 : r % 2200 - 100);  // mostly near the table
  }
  const uint16_t* blue = lines.data();
  const uint16_t* green = blue + 1260;
  const uint16_t* red = green + 1260;
  OnEveryPath([&] {
    for (ComponentPacking packing : kPackings) {
      for (int32_t width : {1, 40, 64, 65, 130, 640, 1260}) {
        for (bool grey : {false, true}) {
          const uint16_t* g = grey ? blue : green;
          const uint16_t* r = grey ? blue : red;
          for (int32_t limit : {3 * width, 3 * width - 2, 200}) {
            for (bool reversed : {false, true}) {
              Bytes expected(3 * width + 1, 0x5A), packed(3 * width + 1, 0x5A);
              for (int32_t c = 0; c < width && 3 * c < limit; ++c) {
                const int32_t from = reversed ? width - 1 - c : c;
                const uint16_t v[3] = {blue[from], g[from], r[from]};
                for (int k = 0; k < 3 && 3 * c + k < limit; ++k) {
                  expected[3 * c + k] = Expected(packing, v[k]);
                }
              }
              PackPixelRow(packed.data(), blue, g, r, width, reversed, limit, packing);
              EXPECT_EQ(packed, expected) << static_cast<int>(packing) << " width " << width
                                          << " limit " << limit << " reversed " << reversed;
              Bytes lineBytes[3] = {Bytes(width), Bytes(width), Bytes(width)};
              const uint16_t* source[3] = {blue, g, r};
              for (int k = 0; k < 3; ++k) {
                for (int32_t c = 0; c < width; ++c) {
                  lineBytes[k][c] = Expected(packing, source[k][c]);
                }
              }
              Bytes interleaved(3 * width + 1, 0x5A);
              InterleavePixels(interleaved.data(), lineBytes[0].data(), lineBytes[1].data(),
                               lineBytes[2].data(), width, reversed, limit);
              EXPECT_EQ(interleaved, expected);
            }
          }
        }
      }
    }
  });
}

// The table of sample i of a frame whose first `blocks` blocks are balanced.
int ChannelOf(int64_t i, int blocks) {
  if (i >= int64_t{blocks} * kMosaicBlockSamples) return kChannelPlain;
  const bool firstField = i % kMosaicBlockSamples < kMosaicFieldSamples;
  if (i % 2 == 0) return firstField ? kChannelGreen : kChannelRed;
  return firstField ? kChannelBlue : kChannelGreen;
}

// The colour sweeps over two blocks and a plain rest that ends off a vector
// block, with tables of random entries and with tables that keep every
// value (where the sweeps may take shortcuts), on every path.
TEST(ChannelTables, SweepsFollowTheMosaic) {
  const int blocks = 2;
  const int64_t count = blocks * int64_t{kMosaicBlockSamples} + 1000 + 37;
  Bytes raw(count);
  uint32_t s = 7;
  auto next = [&s] { return s = s * 1103515245u + 12345u, s >> 12; };
  for (uint8_t& b : raw) b = static_cast<uint8_t>(next());
  for (bool keep : {false, true}) {
    SampleChannelTables wide;
    ByteChannelTables narrow;
    for (int c = 0; c < 4; ++c) {
      for (int v = 0; v < 256; ++v) {
        wide.table[c][v] = static_cast<int16_t>(keep && c != kChannelRed ? v : next() % 3000 - 500);
        narrow.table[c][v] = static_cast<uint8_t>(next());
      }
    }
    OnEveryPath([&] {
      Samples widened(count, -1), mapped(count);
      WidenRawBytes(widened.data(), raw.data(), count, blocks, wide);
      for (int64_t i = 0; i < count; ++i) mapped[i] = raw[i];
      MapByteSamples(mapped.data(), count, blocks, wide);
      Bytes bytes = raw;
      MapRawBytes(bytes.data(), count, blocks, narrow);
      int64_t wrong = 0;
      for (int64_t i = 0; i < count; ++i) {
        const int c = ChannelOf(i, blocks);
        wrong += widened[i] != wide.table[c][raw[i]] || mapped[i] != wide.table[c][raw[i]] ||
                 bytes[i] != narrow.table[c][raw[i]];
      }
      EXPECT_EQ(wrong, 0) << "tables that keep values: " << keep;
    });
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
