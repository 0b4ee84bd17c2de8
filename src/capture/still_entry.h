// The still and video entry points and the fixed order of a still
// conversion's stages.
#pragma once

#include <cstdint>

#include "settings/camera.h"

namespace vobrex {

int ReadCamImage(Camera& cam, HGLOBAL* frame);
int GetVFWImage(Camera& cam, const uint8_t* raw, uint8_t* pixels, int code);
// The still core: raw bytes to a finished image at `out` + framing offset.
int ConvertCamFrame(Camera& cam, const uint8_t* raw, uint8_t* out, int code);

}  // namespace vobrex
