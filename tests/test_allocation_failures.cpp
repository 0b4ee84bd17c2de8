// Every allocation of every conversion path made to fail in turn: the call
// must give its documented result (0, or a degraded image where the failed
// buffer only served an optional stage), leave the caller's memory as the
// contract says, leak nothing, and leave the context fit for the next frame.
//
// The walk counts the allocations of a successful run and then fails the
// first, the second, ... up to the last of them, so it follows the paths as
// they grow without naming their buffers.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <ostream>
#include <string>
#include <vector>

#include "capture/preview_entry.h"
#include "capture/still_entry.h"
#include "platform/memory.h"
#include "settings/camera.h"

#if defined(__SANITIZE_ADDRESS__)
#define VOBREX_HEAP_COUNTED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define VOBREX_HEAP_COUNTED 1
#endif
#endif

#if defined(VOBREX_HEAP_COUNTED)
extern "C" std::size_t __sanitizer_get_current_allocated_bytes();
#endif

namespace vobrex {
namespace {

constexpr uint8_t kSentinel = 0xA5;

// Heap bytes in use, where the build can tell (AddressSanitizer); elsewhere
// leaks are left to LeakSanitizer and valgrind at exit.
bool HeapCounted() {
#if defined(VOBREX_HEAP_COUNTED)
  return true;
#else
  return false;
#endif
}

std::size_t HeapInUse() {
#if defined(VOBREX_HEAP_COUNTED)
  return __sanitizer_get_current_allocated_bytes();
#else
  return 0;
#endif
}

enum class Entry { kVxCcdToRgb, kReadPreviewImage, kReadCamImage, kGetVfwImage };

struct PathCase {
  std::string name;
  Entry entry;
  int code;  // motion sub-mode for the preview, resolution code otherwise
  bool whiteBalance;
  bool extras;  // sharpening, still filters, position gain and tone curve
};

// GoogleTest names the cases by this instead of dumping the bytes.
void PrintTo(const PathCase& c, std::ostream* os) { *os << c.name; }

// A textured frame: something for the white balance and the detections to
// measure, identical on every run.
std::vector<uint8_t> MakeFrame(std::size_t bytes) {
  std::vector<uint8_t> frame(bytes);
  for (std::size_t i = 0; i < bytes; ++i) {
    const uint32_t x = i & 511;
    const uint32_t y = (i >> 9) & 511;
    frame[i] = static_cast<uint8_t>(40 + (x / 3 + y / 2) % 160 + ((x ^ y) & 16) * 2);
  }
  return frame;
}

void Configure(Camera& cam, const PathCase& c) {
  // A fixed clock: the preview's estimate gate then decides the same way on
  // every run.
  cam.SetClock([] { return 5000u; });
  const bool preview = c.entry == Entry::kVxCcdToRgb || c.entry == Entry::kReadPreviewImage;
  if (preview) {
    SetMotionResolution(cam, c.code);
    if (!c.whiteBalance) {
      SetOption(cam, 'h', 0);
      SetWbFactors(cam, 1.25, 1.0, 0.75);
    }
  } else {
    SetResolution(cam, c.code, 0);
    if (!c.whiteBalance) {
      SetOption(cam, 'h', 0);      // manual factors, all 1.0: no balance
      cam.modes.vfwWideRange = 0;  // the video path balances only when widening
    }
  }
  if (c.extras) {
    SetFocusFactors(cam, 1, 1);
    SetCBFactors(cam, 20, -10, 90, 1, 3, 1);
    if (!preview) {
      SetOption(cam, 'u', 1);
      SetOption(cam, 'i', 1);
    }
  }
}

struct RunResult {
  int result = 0;
  long allocations = 0;
  std::vector<uint8_t> image;
};

// One conversion on `cam` with allocation `failAt` failing (0: none), and
// the checks that hold whatever failed.
RunResult RunOnce(Camera& cam, const PathCase& c, long failAt) {
  RunResult run;
  const std::size_t rawBytes = cam.sampleCount.rawSampleCount;
  const std::size_t imageBytes = cam.modes.imageBytes;
  const std::vector<uint8_t> frame = MakeFrame(rawBytes);

  switch (c.entry) {
    case Entry::kVxCcdToRgb: {
      std::vector<uint8_t> raw = frame;
      std::vector<uint8_t> pixels(imageBytes, kSentinel);
      FailAllocation(failAt);
      run.result = VX_CCDtoRGB(cam, raw.data(), pixels.data());
      run.allocations = AllocationCount();
      FailAllocation(0);
      if (run.result == 0) {
        EXPECT_EQ(raw, frame) << "the raw frame changed although the working buffer failed";
        EXPECT_EQ(pixels, std::vector<uint8_t>(imageBytes, kSentinel));
      }
      run.image = std::move(pixels);
      break;
    }
    case Entry::kReadPreviewImage: {
      const std::size_t blockBytes = 54 + imageBytes;  // framing '3'
      HGLOBAL rawBlock = VobrexGlobalAlloc(VOBREX_GMEM_MOVEABLE, rawBytes);
      HGLOBAL imageBlock = VobrexGlobalAlloc(VOBREX_GMEM_MOVEABLE, blockBytes);
      std::memcpy(VobrexGlobalLock(rawBlock), frame.data(), rawBytes);
      VobrexGlobalUnlock(rawBlock);
      std::memset(VobrexGlobalLock(imageBlock), kSentinel, blockBytes);
      VobrexGlobalUnlock(imageBlock);
      HGLOBAL rawHandle = rawBlock;
      HGLOBAL imageHandle = imageBlock;
      FailAllocation(failAt);
      run.result = ReadPreviewImage(cam, &imageHandle, &rawHandle);
      run.allocations = AllocationCount();
      FailAllocation(0);
      EXPECT_EQ(rawHandle, rawBlock);
      EXPECT_EQ(imageHandle, imageBlock);
      const auto* raw = static_cast<const uint8_t*>(VobrexGlobalLock(rawBlock));
      const auto* block = static_cast<const uint8_t*>(VobrexGlobalLock(imageBlock));
      run.image.assign(block, block + blockBytes);
      if (run.result == 0) {
        EXPECT_EQ(std::memcmp(raw, frame.data(), rawBytes), 0) << "raw frame changed";
        EXPECT_EQ(run.image, std::vector<uint8_t>(blockBytes, kSentinel));
      }
      VobrexGlobalFree(rawBlock);
      VobrexGlobalFree(imageBlock);
      break;
    }
    case Entry::kReadCamImage: {
      HGLOBAL rawBlock = VobrexGlobalAlloc(VOBREX_GMEM_MOVEABLE, rawBytes);
      std::memcpy(VobrexGlobalLock(rawBlock), frame.data(), rawBytes);
      VobrexGlobalUnlock(rawBlock);
      std::size_t expected = imageBytes + 54;
      if (cam.modes.outputFormat == 2) expected += 1024;
      HGLOBAL handle = rawBlock;
      FailAllocation(failAt);
      run.result = ReadCamImage(cam, &handle);
      run.allocations = AllocationCount();
      FailAllocation(0);
      if (run.result == 0) {
        // The caller keeps its raw block, whole and unchanged.
        EXPECT_EQ(handle, rawBlock);
        EXPECT_EQ(VobrexGlobalSize(handle), rawBytes);
        const auto* raw = static_cast<const uint8_t*>(VobrexGlobalLock(handle));
        EXPECT_TRUE(raw != nullptr && std::memcmp(raw, frame.data(), rawBytes) == 0);
      } else {
        EXPECT_NE(handle, rawBlock);
        EXPECT_EQ(VobrexGlobalSize(handle), expected);
        const auto* block = static_cast<const uint8_t*>(VobrexGlobalLock(handle));
        if (block != nullptr) run.image.assign(block, block + VobrexGlobalSize(handle));
      }
      VobrexGlobalFree(handle);
      break;
    }
    case Entry::kGetVfwImage: {
      std::vector<uint8_t> pixels(imageBytes, kSentinel);
      FailAllocation(failAt);
      run.result = GetVFWImage(cam, frame.data(), pixels.data(), c.code);
      run.allocations = AllocationCount();
      FailAllocation(0);
      if (run.result == 0) {
        EXPECT_EQ(pixels, std::vector<uint8_t>(imageBytes, kSentinel));
      }
      run.image = std::move(pixels);
      break;
    }
  }
  return run;
}

// Allocations at the start of a path whose failure must fail the call: the
// image block and the sample buffer of ReadCamImage, the sample buffer of
// the video path, the working buffer of the preview's raw-domain balance.
long LeadingFatalAllocations(const PathCase& c) {
  switch (c.entry) {
    case Entry::kReadCamImage: return 2;
    case Entry::kGetVfwImage: return 1;
    default: return c.whiteBalance && c.code != 1 ? 1 : 0;
  }
}

class AllocationFailures : public testing::TestWithParam<PathCase> {};

TEST_P(AllocationFailures, EveryAllocationFailsCleanly) {
  const PathCase& c = GetParam();

  // The run that succeeds, and the frame after it on the same context.
  RunResult baseline;
  RunResult baselineNext;
  {
    Camera cam;
    Configure(cam, c);
    baseline = RunOnce(cam, c, 0);
    baselineNext = RunOnce(cam, c, 0);
  }
  ASSERT_EQ(baseline.result, 1) << "the path does not convert its frame";
  ASSERT_EQ(baselineNext.result, 1);
  RecordProperty("allocations", static_cast<int>(baseline.allocations));
  // Stateless configurations convert the same frame to the same image twice.
  const bool stateless = !c.whiteBalance;
  if (stateless) {
    EXPECT_EQ(baselineNext.image, baseline.image);
  }

  for (long n = 1; n <= baseline.allocations; ++n) {
    SCOPED_TRACE("allocation " + std::to_string(n) + " of " + std::to_string(baseline.allocations) +
                 " fails");
    const std::size_t heapBefore = HeapInUse();
    {
      Camera cam;
      Configure(cam, c);
      const RunResult failed = RunOnce(cam, c, n);
      EXPECT_GE(failed.allocations, n) << "the run did not reach the failing allocation";
      EXPECT_TRUE(failed.result == 0 || failed.result == 1);
      if (n <= LeadingFatalAllocations(c)) {
        EXPECT_EQ(failed.result, 0);
      }

      // The context serves the next frame as if nothing had happened.
      const RunResult next = RunOnce(cam, c, 0);
      EXPECT_EQ(next.result, 1);
      if (stateless) {
        EXPECT_EQ(next.image, baseline.image);
      }
    }
    if (HeapCounted()) {
      EXPECT_EQ(HeapInUse(), heapBefore) << "memory leaked";
    }
  }
}

std::vector<PathCase> Cases() {
  std::vector<PathCase> cases = {
      {"Preview640Balanced", Entry::kVxCcdToRgb, 51, true, false},
      {"Preview640Manual", Entry::kVxCcdToRgb, 51, false, true},
      {"Preview160Estimate", Entry::kVxCcdToRgb, 1, true, true},
      {"PreviewImage320Balanced", Entry::kReadPreviewImage, 0, true, true},
      {"PreviewImage320Manual", Entry::kReadPreviewImage, 0, false, false},
  };
  for (int code : {13, 23, 40}) {
    const std::string tag = std::to_string(code);
    cases.push_back({"CamImage" + tag + "Balanced", Entry::kReadCamImage, code, true, true});
    cases.push_back({"CamImage" + tag + "Plain", Entry::kReadCamImage, code, false, false});
    cases.push_back({"VfwImage" + tag + "Balanced", Entry::kGetVfwImage, code, true, true});
    cases.push_back({"VfwImage" + tag + "Plain", Entry::kGetVfwImage, code, false, false});
  }
  return cases;
}

INSTANTIATE_TEST_SUITE_P(Paths, AllocationFailures, testing::ValuesIn(Cases()),
                         [](const testing::TestParamInfo<PathCase>& info) {
                           return info.param.name;
                         });

// Records the caller cannot hold in a 32-bit count of bytes. With imageBytes
// 0xFFFFFFF0 a 32-bit build would wrap imageBytes + 54 to a 38-byte block and
// write the 54-byte header into it: such a record is refused with 0 before any
// block is requested.
TEST(OversizedRecords, ReadCamImageRefusesBeforeAllocating) {
  Camera cam;
  cam.modes.resolution = 20;
  cam.modes.imageBytes = 0xFFFFFFF0u;
  HGLOBAL raw = VobrexGlobalAlloc(VOBREX_GMEM_MOVEABLE, cam.sampleCount.rawSampleCount);
  HGLOBAL handle = raw;
  FailAllocation(1);  // a block requested anyway is refused rather than reserved
  const int result = ReadCamImage(cam, &handle);
  const long requested = AllocationCount();
  FailAllocation(0);
  EXPECT_EQ(result, 0);
  EXPECT_EQ(requested, 0) << "an image block of imageBytes + 54 bytes was requested";
  EXPECT_EQ(handle, raw);
  VobrexGlobalFree(handle);
}

}  // namespace
}  // namespace vobrex
