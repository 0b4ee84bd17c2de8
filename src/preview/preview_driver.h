// One raw preview frame to a 24-bit image.
#pragma once

#include <cstdint>

#include "settings/camera.h"

namespace vobrex {

// 1 when an image was produced (or the mode needs no kernel), 0 on failure.
// `raw` may be rewritten in place; `rgb` holds imageBytes bytes.
int ConvertPreviewFrame(Camera& cam, uint8_t* raw, uint8_t* rgb);

// Replaces each of the first `count` bytes by its entry in `table`.
void ApplyByteTable(uint8_t* buffer, int32_t count, const uint8_t* table);

// A light unsharp step on green, added to all three bytes of each pixel
// away from the border; rows are width x 3 bytes apart. Always 1.
int SharpenPreview(uint8_t* rgb, int32_t width, int32_t height);

}  // namespace vobrex
