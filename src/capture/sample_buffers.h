// The three buffer shapes of a conversion and the copies between them: raw
// bytes widen into signed 16-bit samples (so white balance and the
// expanding table can go beyond 255), converted values narrow back to bytes,
// and one table pass maps or clamps the values in between.
#pragma once

#include <cstdint>

#include "settings/camera.h"

namespace vobrex {

void ExpandSamples(int16_t* samples, const uint8_t* raw, int32_t count);
// Maps through `table` when wbMode is 1 or 2, else only clamps to 0..255;
// the choice rests on wbMode alone, whatever table is passed.
void MapSamples(const Camera& cam, int16_t* values, int32_t count, const uint16_t* table,
                int32_t tableLength);
void NarrowSamples(uint8_t* pixels, const uint16_t* values, int32_t count);

// What MapSamples does to one value under `wbMode`.
inline int16_t MapSample(int32_t wbMode, int16_t v, const uint16_t* table, int32_t tableLength) {
  if (wbMode == 1 || wbMode == 2) {
    if (tableLength <= 0) return v;
    const int32_t index = v < 0 ? 0 : v >= tableLength ? tableLength - 1 : v;
    return static_cast<int16_t>(table[index]);
  }
  return static_cast<int16_t>(v < 0 ? 0 : v > 255 ? 255 : v);
}

// The compressing pass (when `compress`) and the narrowing in one sweep:
// pixels[i] = low byte of MapSample(values[i]) with the compressTable, or of
// values[i] itself.
void PackSamples(const Camera& cam, uint8_t* pixels, const uint16_t* values, int32_t count,
                 bool compress);

// Interleaves three byte lines into `width` pixels (blue, green, red), the
// pixels in line order or, when `reversed`, the last first; writes only the
// first `limit` bytes.
void InterleavePixels(uint8_t* pixels, const uint8_t* blue, const uint8_t* green,
                      const uint8_t* red, int32_t width, bool reversed, int32_t limit);

}  // namespace vobrex
