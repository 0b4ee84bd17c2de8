#include "capture/still_filters.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "platform/memory.h"

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

int StillFilterA(uint8_t* pixels, int32_t width, int32_t height) {
  bool usable = false;
  const Owned<uint8_t> copy = CopyImage(pixels, width, height, usable);
  if (!usable) return 0;
  if (height < 7) return 1;
  const uint8_t* t = copy.get();
  // The four rows of a group come from the four exposures; the last six rows
  // and the last column have no full group and keep their values.
  for (int32_t r = 0; r <= height - 7; ++r) {
    for (int32_t x = 0; x <= width - 2; ++x) {
      for (int32_t c = 0; c < 3; ++c) {
        int32_t v[4] = {t[At(width, r, x, c)], t[At(width, r + 1, x, c)], t[At(width, r + 2, x, c)],
                        t[At(width, r + 3, x, c)]};
        DropMinMax(v, 4);
        pixels[At(width, r, x, c)] = Clamp255((v[0] + v[1] + v[2] + v[3]) >> 1);
      }
    }
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

int StillFilterC(uint8_t* pixels, int32_t width, int32_t height) {
  bool usable = false;
  const Owned<uint8_t> copy = CopyImage(pixels, width, height, usable);
  if (!usable) return 0;
  if (height < 3) return 1;
  const uint8_t* t = copy.get();
  for (int32_t r = 1; r <= height - 2; ++r) {
    for (int32_t x = 1; x <= width - 2; ++x) {
      const NeighbourhoodStats blue = Gather(t, width, r, x, kBlue);
      const NeighbourhoodStats green = Gather(t, width, r, x, kGreen);
      const NeighbourhoodStats red = Gather(t, width, r, x, kRed);
      const double greenLimit = 5.0 * green.deviation;
      const double redLimit = 2.5 * red.deviation;
      const double blueLimit = 2.5 * blue.deviation;
      // Where red far outweighs green (a saturated red area) green and blue
      // say little; the red spread alone decides.
      const bool flat = red.mean > 4 * green.mean
                            ? AllWithin(red, redLimit)
                            : AllWithin(green, greenLimit) && AllWithin(red, redLimit) &&
                                  AllWithin(blue, blueLimit);
      if (flat) pixels[At(width, r, x, kGreen)] = Clamp255(green.mean);
    }
  }
  return 1;
}

}  // namespace vobrex
