// High-resolution still conversion (code 40): four shifted exposures.
#pragma once

#include <cstdint>

#include "settings/camera.h"

namespace vobrex {

// Converts the widened four-exposure frame into imageBytes 16-bit
// components; releases `samples` once assembly is done. Null on failure.
Owned<uint16_t> ConvertHighRes(Camera& cam, Owned<int16_t>& samples);

}  // namespace vobrex
