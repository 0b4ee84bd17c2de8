#include "capture/still_filters.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "platform/memory.h"
#include "platform/simd.h"

namespace vobrex {

namespace {

constexpr int32_t kBlue = 0;
constexpr int32_t kGreen = 1;
constexpr int32_t kRed = 2;

uint8_t Clamp255(int32_t v) { return static_cast<uint8_t>(std::clamp<int32_t>(v, 0, 255)); }

// The private copy every filter reads from. Empty (and `usable` false) when
// the height is not a whole number of four-line groups or the copy cannot be
// obtained; a negative size cannot be obtained either.
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

// Index of component c of pixel x in row r of a width-pixel image.
inline std::size_t At(int32_t width, int32_t r, int32_t x, int32_t c) {
  return (static_cast<std::size_t>(r) * width + x) * 3 + c;
}

struct NeighbourhoodStats {
  int32_t values[9];
  int32_t mean;
  int32_t deviation;
};

NeighbourhoodStats Gather(const uint8_t* t, int32_t width, int32_t r, int32_t x, int32_t c) {
  NeighbourhoodStats s{};
  int32_t k = 0;
  int32_t sum = 0;
  for (int32_t dr = -1; dr <= 1; ++dr) {
    for (int32_t dx = -1; dx <= 1; ++dx) {
      s.values[k] = t[At(width, r + dr, x + dx, c)];
      sum += s.values[k++];
    }
  }
  s.mean = sum / 9;
  int32_t spread = 0;
  for (int32_t v : s.values) spread += std::abs(v - s.mean);
  s.deviation = spread / 9;
  return s;
}

bool AllWithin(const NeighbourhoodStats& s, double limit) {
  for (int32_t v : s.values) {
    if (static_cast<double>(std::abs(v - s.mean)) > limit) return false;
  }
  return true;
}

}  // namespace

void DropMinMax(int32_t* values, int32_t n) {
  if (n <= 0) return;
  int32_t low = 0;
  int32_t high = 0;
  for (int32_t i = 1; i < n; ++i) {
    if (values[i] <= values[low]) {
      low = i;
    } else if (values[i] >= values[high]) {
      high = i;
    }
  }
  values[low] = 0;
  values[high] = 0;
}

namespace {

// The mean of the middle two of four values: DropMinMax on four values
// zeroes two different entries, the smallest and the largest (the walk
// moves the minimum or the maximum on every entry after the first, never
// both, so the two indices differ, and the maximum entry is either tested
// as a maximum or equals every entry before it), so the sum left is that
// of the middle two. Those are max(min(a, b), min(c, d)) and
// min(max(a, b), max(c, d)).
VOBREX_ALWAYS_INLINE int32_t MiddleMean(int32_t a, int32_t b, int32_t c, int32_t d) {
  const int32_t low = std::max(std::min(a, b), std::min(c, d));
  const int32_t high = std::min(std::max(a, b), std::max(c, d));
  return (low + high) >> 1;
}

// Row r of StillFilterA: each byte of the first width - 1 pixels from the
// same byte of rows r .. r + 3 of the copy (every component on its own).
template <int kVariant>
VOBREX_ALWAYS_INLINE void FilterARowBody(uint8_t* out, const uint8_t* t, std::size_t stride,
                                         int32_t bytes) {
  const uint8_t* t1 = t + stride;
  const uint8_t* t2 = t1 + stride;
  const uint8_t* t3 = t2 + stride;
  for (int32_t i = 0; i < bytes; ++i) {
    out[i] = static_cast<uint8_t>(MiddleMean(t[i], t1[i], t2[i], t3[i]));
  }
}

void FilterARow(uint8_t* out, const uint8_t* t, std::size_t stride, int32_t bytes) {
  FilterARowBody<0>(out, t, stride, bytes);
}

#if defined(VOBREX_X86_SIMD)
VOBREX_TARGET_AVX512 void FilterARowAvx512(uint8_t* out, const uint8_t* t, std::size_t stride,
                                           int32_t bytes) {
  FilterARowBody<1>(out, t, stride, bytes);
}
#endif

}  // namespace

int StillFilterA(uint8_t* pixels, int32_t width, int32_t height) {
  bool usable = false;
  const Owned<uint8_t> copy = CopyImage(pixels, width, height, usable);
  if (!usable) return 0;
  if (height < 7) return 1;
  const uint8_t* t = copy.get();
  // The four rows of a group come from the four exposures; the last six rows
  // and the last column have no full group and keep their values. The mean
  // of two bytes needs no clamping.
  const std::size_t stride = static_cast<std::size_t>(width) * 3;
  const int32_t bytes = width >= 1 ? (width - 1) * 3 : 0;
  for (int32_t r = 0; r <= height - 7; ++r) {
    uint8_t* out = pixels + r * stride;
    const uint8_t* in = t + r * stride;
#if defined(VOBREX_X86_SIMD)
    if (ActiveSimdLevel() == SimdLevel::kAvx512) {
      FilterARowAvx512(out, in, stride, bytes);
      continue;
    }
#endif
    FilterARow(out, in, stride, bytes);
  }
  return 1;
}

int StillFilterB(uint8_t* pixels, int32_t width, int32_t height) {
  bool usable = false;
  const Owned<uint8_t> copy = CopyImage(pixels, width, height, usable);
  if (!usable) return 0;
  if (height < 3) return 1;
  const uint8_t* t = copy.get();
  for (int32_t r = 0; r <= height - 3; ++r) {
    for (int32_t x = 1; x <= width - 2; ++x) {
      const int32_t sum = t[At(width, r, x, kGreen)] + t[At(width, r + 1, x, kGreen)];
      pixels[At(width, r, x, kGreen)] = Clamp255(sum >> 1);
    }
  }
  return 1;
}

namespace {

// StillFilterC compares each deviation with 5 x d (green) or 2.5 x d (red,
// blue) in floating point, d an integer: both sides are exact in double
// precision, so |v - m| <= 2.5 d holds exactly when 2 |v - m| <= 5 d, and
// |v - m| <= 5 d as integers. The filter works on planar copies of the
// three components, one row of flat-or-not decisions at a time, in loops
// the compiler vectorises.
struct Neighbourhood {
  int32_t mean;
  int32_t deviation;
  int32_t worst;  // the largest |v - mean| of the nine
};

VOBREX_ALWAYS_INLINE Neighbourhood Around(const uint8_t* plane, std::size_t stride, int32_t x) {
  const uint8_t* up = plane - stride;
  const uint8_t* down = plane + stride;
  const int32_t v[9] = {up[x - 1],    up[x],       up[x + 1], plane[x - 1], plane[x],
                        plane[x + 1], down[x - 1], down[x],   down[x + 1]};
  int32_t sum = 0;
  for (int32_t k = 0; k < 9; ++k) sum += v[k];
  Neighbourhood n{sum / 9, 0, 0};
  for (int32_t k = 0; k < 9; ++k) {
    const int32_t d = v[k] > n.mean ? v[k] - n.mean : n.mean - v[k];
    n.deviation += d;
    n.worst = std::max(n.worst, d);
  }
  n.deviation /= 9;
  return n;
}

// For x = 1 .. width - 2 of one row: the green mean where the neighbourhood
// is flat, else -1.
template <int kVariant>
VOBREX_ALWAYS_INLINE void FlatRowBody(const uint8_t* blue, const uint8_t* green, const uint8_t* red,
                                      std::size_t stride, int32_t width, int16_t* result) {
  for (int32_t x = 1; x <= width - 2; ++x) {
    const Neighbourhood b = Around(blue, stride, x);
    const Neighbourhood g = Around(green, stride, x);
    const Neighbourhood r = Around(red, stride, x);
    const bool redFlat = 2 * r.worst <= 5 * r.deviation;
    // Where red far outweighs green (a saturated red area) green and blue
    // say little; the red spread alone decides.
    const bool flat = r.mean > 4 * g.mean
                          ? redFlat
                          : g.worst <= 5 * g.deviation && redFlat && 2 * b.worst <= 5 * b.deviation;
    result[x] = static_cast<int16_t>(flat ? g.mean : -1);
  }
}

void FlatRow(const uint8_t* blue, const uint8_t* green, const uint8_t* red, std::size_t stride,
             int32_t width, int16_t* result) {
  FlatRowBody<0>(blue, green, red, stride, width, result);
}

#if defined(VOBREX_X86_SIMD)
VOBREX_TARGET_AVX512 void FlatRowAvx512(const uint8_t* blue, const uint8_t* green,
                                        const uint8_t* red, std::size_t stride, int32_t width,
                                        int16_t* result) {
  FlatRowBody<1>(blue, green, red, stride, width, result);
}
#endif

constexpr int32_t kFlatRowMax = 4096;

// Images wider than one row of decisions: the pass pixel by pixel over a
// packed copy in `copy` (width x height x 3 bytes).
int StillFilterCPacked(uint8_t* pixels, int32_t width, int32_t height, uint8_t* copy) {
  std::memcpy(copy, pixels, static_cast<std::size_t>(width) * 3 * static_cast<std::size_t>(height));
  const uint8_t* t = copy;
  for (int32_t r = 1; r <= height - 2; ++r) {
    for (int32_t x = 1; x <= width - 2; ++x) {
      const NeighbourhoodStats blue = Gather(t, width, r, x, kBlue);
      const NeighbourhoodStats green = Gather(t, width, r, x, kGreen);
      const NeighbourhoodStats red = Gather(t, width, r, x, kRed);
      const double greenLimit = 5.0 * green.deviation;
      const double redLimit = 2.5 * red.deviation;
      const double blueLimit = 2.5 * blue.deviation;
      const bool flat = red.mean > 4 * green.mean
                            ? AllWithin(red, redLimit)
                            : AllWithin(green, greenLimit) && AllWithin(red, redLimit) &&
                                  AllWithin(blue, blueLimit);
      if (flat) pixels[At(width, r, x, kGreen)] = Clamp255(green.mean);
    }
  }
  return 1;
}

}  // namespace

int StillFilterC(uint8_t* pixels, int32_t width, int32_t height) {
  // The private copy, as three planes of width x height bytes (the same
  // bytes as the packed copy, component by component).
  if (height % 4 != 0 || width < 0 || height < 0) return 0;
  const auto area = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
  Owned<uint8_t> copy = AllocateArray<uint8_t>(area * 3);
  if (!copy) return 0;
  if (height < 3 || width > kFlatRowMax) {
    if (height >= 3) return StillFilterCPacked(pixels, width, height, copy.get());
    return 1;
  }
  uint8_t* planes[3] = {copy.get(), copy.get() + area, copy.get() + 2 * area};
  for (std::size_t i = 0; i < area; ++i) {
    for (int c = 0; c < 3; ++c) planes[c][i] = pixels[3 * i + c];
  }
  const std::size_t stride = static_cast<std::size_t>(width);
  int16_t result[kFlatRowMax];
  for (int32_t r = 1; r <= height - 2; ++r) {
    const std::size_t row = static_cast<std::size_t>(r) * stride;
#if defined(VOBREX_X86_SIMD)
    if (ActiveSimdLevel() == SimdLevel::kAvx512) {
      FlatRowAvx512(planes[kBlue] + row, planes[kGreen] + row, planes[kRed] + row, stride, width,
                    result);
    } else {
      FlatRow(planes[kBlue] + row, planes[kGreen] + row, planes[kRed] + row, stride, width, result);
    }
#else
    FlatRow(planes[kBlue] + row, planes[kGreen] + row, planes[kRed] + row, stride, width, result);
#endif
    uint8_t* out = pixels + row * 3;
    for (int32_t x = 1; x <= width - 2; ++x) {
      if (result[x] >= 0) out[3 * x + kGreen] = static_cast<uint8_t>(result[x]);
    }
  }
  return 1;
}

}  // namespace vobrex
