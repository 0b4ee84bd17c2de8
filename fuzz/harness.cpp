#include "harness.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <vector>

#include "capture/image_header.h"
#include "capture/preview_entry.h"
#include "capture/still_entry.h"

namespace vobrex::fuzz {

namespace {

constexpr uint8_t kSentinel = 0xA5;
constexpr std::size_t kImageBlockHeader = 54;
constexpr std::size_t kGreySpareBytes = 1024;
// Of a reserved buffer only this much at either end is filled and checked.
constexpr std::size_t kCheckedEdge = 4096;

std::size_t PageSize() { return static_cast<std::size_t>(sysconf(_SC_PAGESIZE)); }

// The preview's one failure that comes after the kernel wrote the image:
// a due colour-gain estimate that finds a level of 0.
bool PreviewMayFailAfterWriting(const CameraModes& m) {
  return m.wbMode != 0 && m.sensorMode == 1 && m.outputFormat == 1;
}

// imageBytes as a caller reads it through GetImageSize (sign-extended there;
// a caller sizing storage takes it as unsigned).
std::size_t CallerImageBytes(const Camera& cam) {
  int width = 0, height = 0, imageBytes = 0;
  GetImageSize(cam, &width, &height, &imageBytes);
  return static_cast<uint32_t>(imageBytes);
}

HGLOBAL FilledBlock(std::size_t bytes, const FramePattern& pattern) {
  HGLOBAL block = VobrexGlobalAlloc(VOBREX_GMEM_MOVEABLE, bytes);
  FUZZ_CHECK(block != nullptr);
  auto* p = static_cast<uint8_t*>(VobrexGlobalLock(block));
  FillFrame(p, bytes, pattern);
  VobrexGlobalUnlock(block);
  return block;
}

bool AllBytes(const uint8_t* p, std::size_t n, uint8_t value) {
  for (std::size_t i = 0; i < n; ++i) {
    if (p[i] != value) return false;
  }
  return true;
}

// Copies what a call on plain buffers left behind into `outcome`.
void Keep(Outcome* outcome, int result, const CallerBuffer& raw, const CallerBuffer& pixels) {
  if (outcome == nullptr) return;
  outcome->result = result;
  outcome->raw.assign(raw.data(), raw.data() + raw.size());
  if (pixels.size() <= kMaxCallerImageBytes) {
    outcome->image.assign(pixels.data(), pixels.data() + pixels.size());
  }
}

int RunVxCcdToRgb(Camera& cam, const FramePattern& pattern, Outcome* outcome) {
  const CameraModes before = cam.modes;
  CallerBuffer raw(cam.sampleCount.rawSampleCount);
  CallerBuffer pixels(CallerImageBytes(cam));
  if (!raw.ok() || !pixels.ok()) return 0;
  FillFrame(raw.data(), raw.size(), pattern);
  pixels.Fill(kSentinel);
  const int result = VX_CCDtoRGB(cam, raw.data(), pixels.data());
  FUZZ_CHECK(result == 0 || result == 1);
  if (result == 0 && !PreviewMayFailAfterWriting(before)) FUZZ_CHECK(pixels.Holds(kSentinel));
  Keep(outcome, result, raw, pixels);
  return result;
}

int RunReadPreviewImage(Camera& cam, const FramePattern& pattern, Outcome* outcome) {
  const CameraModes before = cam.modes;
  const std::size_t imageBytes = CallerImageBytes(cam);
  // A reserved-size image is not handed over in a global block: a caller
  // cannot hold one, and the checks would have to walk it whole.
  if (imageBytes > kMaxCallerImageBytes) return 0;
  const std::size_t blockBytes = static_cast<std::size_t>(FramingOffset(before)) + imageBytes;

  HGLOBAL rawBlock = FilledBlock(cam.sampleCount.rawSampleCount, pattern);
  HGLOBAL imageBlock = VobrexGlobalAlloc(VOBREX_GMEM_MOVEABLE, blockBytes);
  FUZZ_CHECK(imageBlock != nullptr);
  std::memset(VobrexGlobalLock(imageBlock), kSentinel, blockBytes);
  VobrexGlobalUnlock(imageBlock);

  HGLOBAL rawHandle = rawBlock;
  HGLOBAL imageHandle = imageBlock;
  const int result = ReadPreviewImage(cam, &imageHandle, &rawHandle);
  FUZZ_CHECK(result == 0 || result == 1);
  FUZZ_CHECK(rawHandle == rawBlock && imageHandle == imageBlock);
  const auto* block = static_cast<const uint8_t*>(VobrexGlobalLock(imageBlock));
  if (result == 0 && !PreviewMayFailAfterWriting(before)) {
    FUZZ_CHECK(AllBytes(block, blockBytes, kSentinel));
  }
  if (outcome != nullptr) {
    const auto* frame = static_cast<const uint8_t*>(VobrexGlobalLock(rawBlock));
    outcome->result = result;
    outcome->raw.assign(frame, frame + VobrexGlobalSize(rawBlock));
    outcome->image.assign(block, block + blockBytes);
  }
  FUZZ_CHECK(VobrexGlobalFree(rawBlock) == nullptr);
  FUZZ_CHECK(VobrexGlobalFree(imageBlock) == nullptr);
  return result;
}

int RunReadCamImage(Camera& cam, const FramePattern& pattern, Outcome* outcome) {
  const CameraModes before = cam.modes;
  const std::size_t rawBytes = cam.sampleCount.rawSampleCount;
  HGLOBAL rawBlock = FilledBlock(rawBytes, pattern);
  std::vector<uint8_t> original(rawBytes);
  std::memcpy(original.data(), VobrexGlobalLock(rawBlock), rawBytes);
  VobrexGlobalUnlock(rawBlock);

  HGLOBAL handle = rawBlock;
  const int result = ReadCamImage(cam, &handle);
  FUZZ_CHECK(result == 0 || result == 1);
  if (result == 0) {
    // The caller still owns its raw block, whole and unchanged.
    FUZZ_CHECK(handle == rawBlock);
    FUZZ_CHECK(VobrexGlobalSize(handle) == rawBytes);
    const auto* raw = static_cast<const uint8_t*>(VobrexGlobalLock(handle));
    FUZZ_CHECK(raw != nullptr && std::memcmp(raw, original.data(), rawBytes) == 0);
  } else {
    FUZZ_CHECK(handle != rawBlock && handle != nullptr);
    std::size_t expected = std::size_t{before.imageBytes} + kImageBlockHeader;
    if (before.outputFormat == 2) expected += kGreySpareBytes;
    FUZZ_CHECK(VobrexGlobalSize(handle) == expected);
    const auto* block = static_cast<const uint8_t*>(VobrexGlobalLock(handle));
    FUZZ_CHECK(block != nullptr);
    if (before.framing == '3') FUZZ_CHECK(block[0] == 'B' && block[1] == 'M');
    if (before.outputFormat == 2) {
      FUZZ_CHECK(AllBytes(block + expected - kGreySpareBytes, kGreySpareBytes, 0));
    }
    if (outcome != nullptr && expected <= kMaxCallerImageBytes) {
      outcome->image.assign(block, block + expected);
    }
  }
  if (outcome != nullptr) outcome->result = result;
  FUZZ_CHECK(VobrexGlobalFree(handle) == nullptr);
  return result;
}

int RunGetVfwImage(Camera& cam, const FramePattern& pattern, int code, Outcome* outcome) {
  CallerBuffer raw(cam.sampleCount.rawSampleCount);
  CallerBuffer pixels(CallerImageBytes(cam));
  if (!raw.ok() || !pixels.ok()) return 0;
  FillFrame(raw.data(), raw.size(), pattern);
  pixels.Fill(kSentinel);
  const int result = GetVFWImage(cam, raw.data(), pixels.data(), code);
  FUZZ_CHECK(result == 0 || result == 1);
  // Every refusal comes before the packing: the caller's buffer is untouched.
  if (result == 0) FUZZ_CHECK(pixels.Holds(kSentinel));
  Keep(outcome, result, raw, pixels);
  return result;
}

}  // namespace

void Fail(const char* what, const char* file, int line) {
  std::fprintf(stderr, "fuzz check failed: %s (%s:%d)\n", what, file, line);
  std::abort();
}

void FoldImageBytes(CameraModes& modes) {
  if (modes.imageBytes > kMaxCallerImageBytes && modes.imageBytes <= 0x7FFFFFFFu) {
    modes.imageBytes &= kMaxCallerImageBytes - 1;
  }
}

void FillFrame(uint8_t* frame, std::size_t size, const FramePattern& pattern) {
  uint8_t kind = pattern.kind % 4;
  if (kind == 0 && pattern.count == 0) kind = 1;
  switch (kind) {
    case 0:
      for (std::size_t i = 0; i < size; ++i) frame[i] = pattern.bytes[i % pattern.count];
      break;
    case 1:
      // A smooth texture with edges: something for the white balance, the
      // defect search and the line detection to measure.
      for (std::size_t i = 0; i < size; ++i) {
        const uint32_t x = i & 511;
        const uint32_t y = (i >> 9) & 511;
        frame[i] = static_cast<uint8_t>(40 + (x / 3 + y / 2) % 160 + ((x ^ y) & 16) * 2);
      }
      break;
    case 2: std::memset(frame, pattern.count > 0 ? pattern.bytes[0] : 0x80, size); break;
    default: {
      uint32_t state = 0x9E3779B9u;
      for (std::size_t i = 0; i < pattern.count; ++i) {
        state = (state ^ pattern.bytes[i]) * 16777619u;
      }
      for (std::size_t i = 0; i < size; ++i) {
        state ^= state << 13;
        state ^= state >> 17;
        state ^= state << 5;
        frame[i] = static_cast<uint8_t>(state >> 24);
      }
      break;
    }
  }
}

CallerBuffer::CallerBuffer(std::size_t size) : size_(size) {
  if (size <= kMaxCallerImageBytes) {
    // malloc(0) still gives a distinct pointer with no usable byte.
    data_ = static_cast<uint8_t*>(std::malloc(size));
    return;
  }
  const std::size_t page = PageSize();
  const std::size_t rounded = (size + page - 1) / page * page;
  mappingBytes_ = rounded + page;
  void* mapping = mmap(nullptr, mappingBytes_, PROT_READ | PROT_WRITE,
                       MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  if (mapping == MAP_FAILED) return;
  mapping_ = mapping;
  auto* base = static_cast<uint8_t*>(mapping);
  FUZZ_CHECK(mprotect(base + rounded, page, PROT_NONE) == 0);
  data_ = base + rounded - size;  // the last byte abuts the guard page
}

CallerBuffer::~CallerBuffer() {
  if (mapping_ != nullptr) {
    munmap(mapping_, mappingBytes_);
  } else {
    std::free(data_);
  }
}

void CallerBuffer::Fill(uint8_t value) {
  if (mapping_ == nullptr) {
    std::memset(data_, value, size_);
    return;
  }
  std::memset(data_, value, kCheckedEdge);
  std::memset(data_ + size_ - kCheckedEdge, value, kCheckedEdge);
}

bool CallerBuffer::Holds(uint8_t value) const {
  if (mapping_ == nullptr) return AllBytes(data_, size_, value);
  return AllBytes(data_, kCheckedEdge, value) &&
         AllBytes(data_ + size_ - kCheckedEdge, kCheckedEdge, value);
}

int RunEntryPoint(Camera& cam, EntryPoint entry, const FramePattern& pattern, int vfwCode,
                  Outcome* outcome) {
  switch (entry) {
    case EntryPoint::kVxCcdToRgb: return RunVxCcdToRgb(cam, pattern, outcome);
    case EntryPoint::kReadPreviewImage: return RunReadPreviewImage(cam, pattern, outcome);
    case EntryPoint::kReadCamImage: return RunReadCamImage(cam, pattern, outcome);
    case EntryPoint::kGetVfwImage: return RunGetVfwImage(cam, pattern, vfwCode, outcome);
  }
  return 0;
}

}  // namespace vobrex::fuzz
