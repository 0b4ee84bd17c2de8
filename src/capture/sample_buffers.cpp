#include "capture/sample_buffers.h"

#include <algorithm>

namespace vobrex {

void ExpandSamples(int16_t* samples, const uint8_t* raw, int32_t count) {
  for (int32_t i = 0; i < count; ++i) samples[i] = raw[i];
}

void MapSamples(const Camera& cam, int16_t* values, int32_t count, const uint16_t* table,
                int32_t tableLength) {
  if (count <= 0) return;
  const int32_t mode = cam.modes.wbMode;
  if (mode == 1 || mode == 2) {
    if (tableLength <= 0) return;
    for (int32_t i = 0; i < count; ++i) {
      const int32_t v = values[i];
      const int32_t index = v < 0 ? 0 : v >= tableLength ? tableLength - 1 : v;
      values[i] = static_cast<int16_t>(table[index]);
    }
  } else {
    for (int32_t i = 0; i < count; ++i) {
      values[i] = static_cast<int16_t>(std::clamp<int32_t>(values[i], 0, 255));
    }
  }
}

void NarrowSamples(uint8_t* pixels, const uint16_t* values, int32_t count) {
  for (int32_t i = 0; i < count; ++i) pixels[i] = static_cast<uint8_t>(values[i] & 0xFF);
}

}  // namespace vobrex
