// Shared pieces of the fuzz targets: reading an input, building a raw frame,
// sizing the caller's buffers the way a capture application does, and
// running each conversion entry point with the checks every call must pass.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "settings/camera.h"

namespace vobrex::fuzz {

// Stops the run with a message; libFuzzer keeps the input as a crash.
[[noreturn]] void Fail(const char* what, const char* file, int line);

#define FUZZ_CHECK(condition) \
  ((condition) ? static_cast<void>(0) : ::vobrex::fuzz::Fail(#condition, __FILE__, __LINE__))

// Reads a fuzz input front to back; past the end every read gives zeros.
class Input {
 public:
  Input(const uint8_t* data, std::size_t size) : data_(data), size_(size) {}

  bool Empty() const { return pos_ >= size_; }
  std::size_t Remaining() const { return Empty() ? 0 : size_ - pos_; }
  const uint8_t* Here() const { return data_ + pos_; }

  uint8_t Byte() { return Empty() ? 0 : data_[pos_++]; }
  uint16_t U16() { return static_cast<uint16_t>(Byte() | (Byte() << 8)); }
  uint32_t U32() { return U16() | (static_cast<uint32_t>(U16()) << 16); }
  int32_t I32() { return static_cast<int32_t>(U32()); }
  double Double() {
    uint64_t bits = U32() | (static_cast<uint64_t>(U32()) << 32);
    double value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
  }
  // Copies up to `count` bytes over `out`; bytes the input lacks stay as they were.
  void Overlay(void* out, std::size_t count) {
    const std::size_t n = count < Remaining() ? count : Remaining();
    if (n > 0) std::memcpy(out, Here(), n);
    pos_ += n;
  }
  // The rest of the input, consumed.
  const uint8_t* Rest(std::size_t* count) {
    const uint8_t* here = Here();
    *count = Remaining();
    pos_ = size_;
    return here;
  }

 private:
  const uint8_t* data_;
  std::size_t size_;
  std::size_t pos_ = 0;
};

// The largest image a caller is assumed to be able to hold (the largest
// real image is 1260 x 960 x 3 = 3,628,800 bytes). imageBytes between this
// and the signed 32-bit limit is folded below it; larger values, which the
// library must refuse or serve without its 32-bit counts, are kept.
inline constexpr uint32_t kMaxCallerImageBytes = 16u << 20;
void FoldImageBytes(CameraModes& modes);

// How the raw frame's samples are made.
struct FramePattern {
  uint8_t kind = 0;  // 0 tiles `bytes`, 1 texture, 2 flat, 3 noise
  const uint8_t* bytes = nullptr;
  std::size_t count = 0;
};
void FillFrame(uint8_t* frame, std::size_t size, const FramePattern& pattern);

// A caller's buffer of exactly `size` bytes. Sizes up to kMaxCallerImageBytes
// come from malloc, so AddressSanitizer sees every byte past the end; larger
// ones are reserved address space (pages appear when written) followed by an
// inaccessible guard page.
class CallerBuffer {
 public:
  explicit CallerBuffer(std::size_t size);
  ~CallerBuffer();
  CallerBuffer(const CallerBuffer&) = delete;
  CallerBuffer& operator=(const CallerBuffer&) = delete;

  uint8_t* data() const { return data_; }
  std::size_t size() const { return size_; }
  bool ok() const { return data_ != nullptr; }
  // Fills with `value`; for reserved buffers only the first and last pages.
  void Fill(uint8_t value);
  // True when every byte Fill wrote still holds `value`.
  bool Holds(uint8_t value) const;

 private:
  uint8_t* data_ = nullptr;
  std::size_t size_ = 0;
  void* mapping_ = nullptr;
  std::size_t mappingBytes_ = 0;
};

// The entry points, each with the caller's buffers sized from the settings
// as GetImageSize and the sample count give them, and the checks that hold
// for any record: results are 0 or 1; a refused still or video frame leaves
// the caller's memory as it was; ReadCamImage replaces the handle exactly
// on success, with a block of the documented size. Everything allocated is
// released before returning.
enum class EntryPoint : uint8_t { kVxCcdToRgb, kReadPreviewImage, kReadCamImage, kGetVfwImage };
inline constexpr int kEntryPointCount = 4;

// What a call left in the caller's memory, for comparing two runs: the
// result, the raw frame after the call and the image (pixels, or the whole
// block of the block calls). Images larger than kMaxCallerImageBytes are
// not kept.
struct Outcome {
  int result = 0;
  std::vector<uint8_t> raw;
  std::vector<uint8_t> image;
  bool operator==(const Outcome&) const = default;
};

int RunEntryPoint(Camera& cam, EntryPoint entry, const FramePattern& pattern, int vfwCode,
                  Outcome* outcome = nullptr);

// A clock the input drives, so that the preview's one-second gate is
// reproducible.
struct ManualClock {
  uint32_t now = 1001;
  void Attach(Camera& cam) {
    cam.SetClock([this] { return now; });
  }
};

}  // namespace vobrex::fuzz
