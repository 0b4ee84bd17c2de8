// The preview entry points: caller's memory, framing and header.
#pragma once

#include <cstdint>

#include "settings/camera.h"

namespace vobrex {

// Converts the raw frame in *raw into the image block *image: pixels at the
// framing offset, header in front of them. 0 when a handle is null or
// cannot be locked, or when the conversion fails (both blocks then stay
// locked); 1 otherwise, with both blocks unlocked.
int ReadPreviewImage(Camera& cam, HGLOBAL* image, HGLOBAL* raw);

// The conversion on plain buffers: no header, pixels from byte 0. 0 for a
// null pointer, else the conversion's result.
int VX_CCDtoRGB(Camera& cam, uint8_t* raw, uint8_t* pixels);

}  // namespace vobrex
