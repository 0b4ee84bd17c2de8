// The preview entry points: caller's memory, framing and header.
#pragma once

#include <cstdint>

#include "settings/camera.h"

namespace vobrex {

int ReadPreviewImage(Camera& cam, HGLOBAL* image, HGLOBAL* raw);
int VX_CCDtoRGB(Camera& cam, uint8_t* raw, uint8_t* pixels);

}  // namespace vobrex
