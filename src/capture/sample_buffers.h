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

// How a pass turns 16-bit components into bytes: their low byte, a clamp to
// 0..255, or the compressing table (values clamped to its entries).
enum class ComponentPacking { kLowByte, kClamp, kCompress };

// The packing PackSamples applies under the settings: the compressing pass
// when `compress` (the table with wbMode 1 or 2, a clamp otherwise), else
// the plain narrowing.
ComponentPacking PackingFor(const Camera& cam, bool compress);

// PackSamples and InterleavePixels in one sweep: the component lines of one
// row, each packed by `packing`, into `width` pixels (blue, green, red), in
// line order or, when `reversed`, the last first; writes only the first
// `limit` bytes. A grey row may pass one line three times.
void PackPixelRow(uint8_t* pixels, const uint16_t* blue, const uint16_t* green, const uint16_t* red,
                  int32_t width, bool reversed, int32_t limit, ComponentPacking packing);

// Interleaves three byte lines into `width` pixels (blue, green, red), the
// pixels in line order or, when `reversed`, the last first; writes only the
// first `limit` bytes.
void InterleavePixels(uint8_t* pixels, const uint8_t* blue, const uint8_t* green,
                      const uint8_t* red, int32_t width, bool reversed, int32_t limit);

}  // namespace vobrex
