#include "capture/sharpening.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "platform/memory.h"
#include "platform/simd.h"

namespace vobrex {

namespace {

constexpr int32_t kHighResolutionCode = 40;

// The same amount goes to blue, green and red, so the hue stays put.
void AddToPixel(uint8_t* pixel, int32_t d) {
  for (int c = 0; c < 3; ++c) {
    pixel[c] = static_cast<uint8_t>(std::clamp<int32_t>(pixel[c] + d, 0, 255));
  }
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

namespace {

// The copy the high-pass reads from, so that sharpened pixels never feed
// later ones. The passes read only green from it, so it holds green only: a
// plane of width x height bytes. Empty (and `usable` false) when the height
// is not a whole number of four-line groups or the copy cannot be obtained;
// a negative size cannot be obtained either.
Owned<uint8_t> CopyGreen(const uint8_t* pixels, int32_t width, int32_t height, bool& usable) {
  usable = false;
  if (height % 4 != 0 || width < 0 || height < 0) return nullptr;
  const auto area = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
  Owned<uint8_t> copy = AllocateArray<uint8_t>(area);
  if (!copy) return nullptr;
  for (std::size_t i = 0; i < area; ++i) copy[i] = pixels[3 * i + 1];
  usable = true;
  return copy;
}

// (s x 100) / divisor with truncation toward zero, in double precision:
// |s x 100| stays far below 2^31 (s sums at most 20 green values), and for
// such x and any divisor D the quotient rounded to double lies less than
// 1/|D| from x / D, nearer than the next integer toward zero, so truncating
// it gives the integer quotient. Vector units divide doubles; they do not
// divide integers.
VOBREX_ALWAYS_INLINE int32_t Percent(int32_t s, double divisor) {
  return static_cast<int32_t>(static_cast<double>(s * 100) / divisor);
}

// Small differences are reduced quadratically rather than cut off, so noise
// is damped without a visible step at the threshold (in double precision,
// as the rule states it).
VOBREX_ALWAYS_INLINE int32_t CoreOf(int32_t d, int32_t threshold) {
  const int32_t magnitude = d < 0 ? -d : d;
  if (magnitude >= threshold) return d;
  const double q = static_cast<double>(d) / threshold;
  const auto cored = static_cast<int32_t>(q * q * threshold + 0.5);
  return d > 0 ? cored : -cored;
}

struct PassSettings {
  bool shiftMode;
  int32_t shift;  // already taken modulo 32
  double divisor;
  int32_t coring;
};

// The amount for each pixel x = first .. last of one row, into d[x - first].
template <int kVariant>
VOBREX_ALWAYS_INLINE void Amounts3Body(const uint8_t* g, std::ptrdiff_t stride, int32_t first,
                                       int32_t last, const PassSettings& p, int32_t* d) {
  for (int32_t x = first; x <= last; ++x) {
    const int32_t s = 4 * g[x] - g[x - stride] - g[x + stride] - g[x - 1] - g[x + 1];
    d[x - first] = p.shiftMode ? s >> p.shift : Percent(s, p.divisor);
  }
}

template <int kVariant>
VOBREX_ALWAYS_INLINE void Amounts7Body(const uint8_t* g, std::ptrdiff_t stride, int32_t first,
                                       int32_t last, const PassSettings& p, int32_t* d) {
  static constexpr int32_t kCross[7] = {-1, -2, 1, 8, 1, -2, -1};
  static constexpr int32_t kOuter[7] = {1, 2, -1, -4, -1, 2, 1};
  for (int32_t x = first; x <= last; ++x) {
    int32_t a = 0;
    if (p.shiftMode) {
      int32_t s = 0;
      for (int32_t i = 0; i < 7; ++i) {
        const uint8_t* row = g + (i - 3) * stride;
        int32_t r = 0;
        for (int32_t j = 0; j < 7; ++j) r += kOuter[j] * row[x + j - 3];
        s += kOuter[i] * r;
      }
      a = s >> p.shift;
    } else {
      // The row and the column share the centre weight.
      int32_t s = kCross[3] * g[x];
      for (int32_t k = 0; k < 7; ++k) {
        if (k == 3) continue;
        s += kCross[k] * (g[x + k - 3] + g[x + (k - 3) * stride]);
      }
      a = Percent(s, p.divisor);
    }
    d[x - first] = CoreOf(a, p.coring);
  }
}

void Amounts3(const uint8_t* g, std::ptrdiff_t stride, int32_t first, int32_t last,
              const PassSettings& p, int32_t* d) {
#if defined(VOBREX_X86_SIMD)
  if (ActiveSimdLevel() == SimdLevel::kAvx512) {
    struct Wide {
      VOBREX_TARGET_AVX512 static void Run(const uint8_t* g, std::ptrdiff_t stride, int32_t first,
                                           int32_t last, const PassSettings& p, int32_t* d) {
        Amounts3Body<1>(g, stride, first, last, p, d);
      }
    };
    return Wide::Run(g, stride, first, last, p, d);
  }
#endif
  Amounts3Body<0>(g, stride, first, last, p, d);
}

void Amounts7(const uint8_t* g, std::ptrdiff_t stride, int32_t first, int32_t last,
              const PassSettings& p, int32_t* d) {
#if defined(VOBREX_X86_SIMD)
  if (ActiveSimdLevel() == SimdLevel::kAvx512) {
    struct Wide {
      VOBREX_TARGET_AVX512 static void Run(const uint8_t* g, std::ptrdiff_t stride, int32_t first,
                                           int32_t last, const PassSettings& p, int32_t* d) {
        Amounts7Body<1>(g, stride, first, last, p, d);
      }
    };
    return Wide::Run(g, stride, first, last, p, d);
  }
#endif
  Amounts7Body<0>(g, stride, first, last, p, d);
}

// The same amount goes to blue, green and red, so the hue stays put.
void AddAmounts(uint8_t* row, int32_t first, int32_t last, const int32_t* d) {
  for (int32_t x = first; x <= last; ++x) AddToPixel(row + 3 * x, d[x - first]);
}

constexpr int32_t kAmountsMax = 4096;

// A row of amounts at a time; rows wider than that go through the same
// steps in pieces.
template <class Amounts>
void SharpenRows(uint8_t* pixels, const uint8_t* green, int32_t width, int32_t firstRow,
                 int32_t lastRow, int32_t border, const PassSettings& p, Amounts amounts) {
  int32_t d[kAmountsMax];
  const std::ptrdiff_t stride = width;
  for (int32_t y = firstRow; y <= lastRow; ++y) {
    const uint8_t* g = green + y * stride;
    uint8_t* row = pixels + y * stride * 3;
    for (int32_t first = border; first <= width - 1 - border; first += kAmountsMax) {
      const int32_t last = std::min(width - 1 - border, first + kAmountsMax - 1);
      amounts(g, stride, first, last, p, d);
      AddAmounts(row, first, last, d);
    }
  }
}

}  // namespace

int Sharpen3(const Camera& cam, uint8_t* pixels, int32_t width, int32_t height) {
  const CameraModes& m = cam.modes;
  const bool shiftMode = m.sharpMode == 1;
  // A record copied in whole may carry a zero divisor: the pass is skipped.
  if (!shiftMode && m.sharpDivisor3 == 0) return 0;
  bool usable = false;
  const Owned<uint8_t> green = CopyGreen(pixels, width, height, usable);
  if (!usable) return 0;
  if (height < 3) return 1;
  const PassSettings p{shiftMode, static_cast<int32_t>(static_cast<uint32_t>(m.sharpShift) & 31u),
                       static_cast<double>(m.sharpDivisor3), 0};
  SharpenRows(pixels, green.get(), width, 1, height - 2, 1, p, Amounts3);
  return 1;
}

int Sharpen7(const Camera& cam, uint8_t* pixels, int32_t width, int32_t height) {
  const CameraModes& m = cam.modes;
  const bool shiftMode = m.sharpMode == 1;
  // A record copied in whole may carry a zero divisor: the pass is skipped.
  if (!shiftMode && m.sharpDivisor7 == 0) return 0;
  bool usable = false;
  const Owned<uint8_t> green = CopyGreen(pixels, width, height, usable);
  if (!usable) return 0;
  if (height < 7 || width <= 6) return 1;
  const PassSettings p{shiftMode, static_cast<int32_t>(static_cast<uint32_t>(m.sharpShift) & 31u),
                       static_cast<double>(m.sharpDivisor7), m.sharpCoring};
  SharpenRows(pixels, green.get(), width, 3, height - 4, 3, p, Amounts7);
  return 1;
}

}  // namespace vobrex
