// One raw preview frame to a 24-bit image.
#pragma once

#include <cstdint>

#include "settings/camera.h"

namespace vobrex {

// 1 when an image was produced (or the mode needs no kernel), 0 on failure.
// `raw` may be rewritten in place; `rgb` holds imageBytes bytes.
int ConvertPreviewFrame(Camera& cam, uint8_t* raw, uint8_t* rgb);

}  // namespace vobrex
