// Still conversion of the standard resolutions (codes 11, 13, 21, 23).
#pragma once

#include <cstdint>

#include "settings/camera.h"

namespace vobrex {

// Converts the widened raw frame into imageBytes 16-bit components (blue,
// green, red, rows bottom-up). Takes `samples` over (releases it) once the
// code is accepted; null on failure.
Owned<uint16_t> ConvertStill(Camera& cam, Owned<int16_t>& samples, int code);

}  // namespace vobrex
