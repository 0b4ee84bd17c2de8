#include "capture/sharpening.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "platform/memory.h"

namespace vobrex {

namespace {

constexpr int32_t kHighResolutionCode = 40;

// The copy the high-pass reads from, so that sharpened pixels never feed
// later ones. Empty (and `usable` false) when the height is not a whole
// number of four-line groups or the copy cannot be obtained; a negative size
// cannot be obtained either.
Owned<uint8_t> CopyImage(const uint8_t* pixels, int32_t width, int32_t height, bool& usable) {
  usable = false;
  if (height % 4 != 0 || width < 0 || height < 0) return nullptr;
  const auto bytes = static_cast<std::size_t>(width) * 3 * static_cast<std::size_t>(height);
  Owned<uint8_t> copy = AllocateArray<uint8_t>(bytes);
  if (!copy) return nullptr;
  if (bytes > 0) std::memcpy(copy.get(), pixels, bytes);
  usable = true;
  return copy;
}

// Arithmetic right shift by the stored count, taken modulo 32 as the
// processor's shift instruction takes it, so any record value is safe.
int32_t ShiftDown(int32_t s, int32_t shift) { return s >> (static_cast<uint32_t>(shift) & 31u); }

// The same amount goes to blue, green and red, so the hue stays put.
void AddToPixel(uint8_t* pixel, int32_t d) {
  for (int c = 0; c < 3; ++c) {
    pixel[c] = static_cast<uint8_t>(std::clamp<int32_t>(pixel[c] + d, 0, 255));
  }
}

// Small differences are reduced quadratically rather than cut off, so noise
// is damped without a visible step at the threshold.
int32_t Core(int32_t d, int32_t threshold) {
  if (std::abs(d) >= threshold) return d;
  const double q = static_cast<double>(d) / threshold;
  const double magnitude = q * q * threshold + 0.5;
  const auto cored = static_cast<int32_t>(magnitude);
  return d > 0 ? cored : -cored;
}

// Whether a width x height image of three bytes a pixel lies within the
// imageBytes the caller's buffer was sized for. A record copied in whole can
// pair a size with a smaller imageBytes; such an image is not walked.
bool FitsImageBytes(const CameraModes& m) {
  if (m.width <= 0 || m.height <= 0) return false;
  return static_cast<int64_t>(m.width) * m.height * 3 <= static_cast<int64_t>(m.imageBytes);
}

}  // namespace

void SetSharpnessLevel(Camera& cam, int level) {
  CameraModes& m = cam.modes;
  const int32_t L = level;
  if (L < 32) {
    m.sharpShift = 4;
  } else if (L < 96) {
    m.sharpShift = 3;
  } else if (L < 160) {
    m.sharpShift = 2;
  } else if (L < 224) {
    m.sharpShift = 1;
  } else {
    m.sharpShift = 0;
  }
  // The coring of the shift rule is always replaced by the divisor rule's.
  if (L < 64) {
    m.sharpDivisor3 = 1600 - ((25 * L) >> 1);
    m.sharpDivisor7 = 3000 - ((125 * L) >> 3);
    m.sharpCoring = 2;
  } else if (L < 128) {
    m.sharpDivisor3 = 1200 - ((25 * L) >> 2);
    m.sharpDivisor7 = 3000 - ((125 * L) >> 3);
    m.sharpCoring = 4;
  } else if (L < 192) {
    m.sharpDivisor3 = 800 - ((25 * L) >> 3);
    m.sharpDivisor7 = 1500 - ((125 * L) >> 5);
    m.sharpCoring = 8;
  } else {
    m.sharpDivisor3 = 500 - ((25 * L) >> 4);
    m.sharpDivisor7 = 1500 - ((125 * L) >> 5);
    m.sharpCoring = 12;
  }
}

int SharpenStill(Camera& cam, uint8_t* pixels, int code) {
  static_cast<void>(code);  // the kernel follows the resolution setting, not the frame's code
  const CameraModes& m = cam.modes;
  if (m.sharpenAllow == 0) return 1;
  if (m.sharpMode != 0 && m.sharpMode != 1) return 0;
  if (pixels == nullptr || !FitsImageBytes(m)) return 1;
  // The 7x7 kernel serves the high-resolution still in divisor mode only;
  // shift mode always takes the 3x3 kernel.
  if (m.sharpMode == 0 && m.resolution == kHighResolutionCode) {
    Sharpen7(cam, pixels, m.width, m.height);
  } else {
    Sharpen3(cam, pixels, m.width, m.height);
  }
  return 1;
}

int Sharpen3(const Camera& cam, uint8_t* pixels, int32_t width, int32_t height) {
  const CameraModes& m = cam.modes;
  const bool shiftMode = m.sharpMode == 1;
  // A record copied in whole may carry a zero divisor: the pass is skipped.
  if (!shiftMode && m.sharpDivisor3 == 0) return 0;
  bool usable = false;
  const Owned<uint8_t> copy = CopyImage(pixels, width, height, usable);
  if (!usable) return 0;
  if (height < 3) return 1;
  const uint8_t* t = copy.get();
  const std::ptrdiff_t stride = static_cast<std::ptrdiff_t>(width) * 3;
  for (int32_t y = 1; y <= height - 2; ++y) {
    for (int32_t x = 1; x <= width - 2; ++x) {
      const std::ptrdiff_t o = y * stride + static_cast<std::ptrdiff_t>(x) * 3;
      const uint8_t* g = t + o + 1;  // green of the centre
      const int32_t s = 4 * g[0] - g[-stride] - g[stride] - g[-3] - g[3];
      const int32_t d = shiftMode ? ShiftDown(s, m.sharpShift) : s * 100 / m.sharpDivisor3;
      AddToPixel(pixels + o, d);
    }
  }
  return 1;
}

int Sharpen7(const Camera& cam, uint8_t* pixels, int32_t width, int32_t height) {
  static constexpr int32_t kCross[7] = {-1, -2, 1, 8, 1, -2, -1};
  static constexpr int32_t kOuter[7] = {1, 2, -1, -4, -1, 2, 1};
  const CameraModes& m = cam.modes;
  const bool shiftMode = m.sharpMode == 1;
  // A record copied in whole may carry a zero divisor: the pass is skipped.
  if (!shiftMode && m.sharpDivisor7 == 0) return 0;
  bool usable = false;
  const Owned<uint8_t> copy = CopyImage(pixels, width, height, usable);
  if (!usable) return 0;
  if (height < 7 || width <= 6) return 1;
  const uint8_t* t = copy.get();
  const std::ptrdiff_t stride = static_cast<std::ptrdiff_t>(width) * 3;
  for (int32_t y = 3; y <= height - 4; ++y) {
    for (int32_t x = 3; x <= width - 4; ++x) {
      const std::ptrdiff_t o = y * stride + static_cast<std::ptrdiff_t>(x) * 3;
      const uint8_t* g = t + o + 1;
      int32_t d = 0;
      if (shiftMode) {
        int32_t s = 0;
        for (int32_t i = 0; i < 7; ++i) {
          const uint8_t* row = g + (i - 3) * stride;
          int32_t r = 0;
          for (int32_t j = 0; j < 7; ++j) r += kOuter[j] * row[(j - 3) * 3];
          s += kOuter[i] * r;
        }
        d = ShiftDown(s, m.sharpShift);
      } else {
        // The row and the column share the centre weight.
        int32_t s = kCross[3] * g[0];
        for (int32_t k = 0; k < 7; ++k) {
          if (k == 3) continue;
          s += kCross[k] * (g[(k - 3) * 3] + g[(k - 3) * stride]);
        }
        d = s * 100 / m.sharpDivisor7;
      }
      AddToPixel(pixels + o, Core(d, m.sharpCoring));
    }
  }
  return 1;
}

}  // namespace vobrex
