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

}  // namespace vobrex
