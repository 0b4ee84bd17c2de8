// The still and video entry points and the fixed order of a still
// conversion's stages.
#pragma once

#include <cstdint>

#include "settings/camera.h"

namespace vobrex {

// Converts the raw frame in *frame (rawSampleCount bytes) into a new block of
// imageBytes + 54 bytes (+ 1024 for outputFormat 2) holding header and
// pixels, frees the raw block and stores the new handle. On failure returns
// 0, leaves the raw block locked and *frame unchanged.
int ReadCamImage(Camera& cam, HGLOBAL* frame);

// One video frame into `pixels` (imageBytes bytes, no header); white-balances
// as a still when vfwWideRange is 1. 0 for a code no still path converts.
int GetVFWImage(Camera& cam, const uint8_t* raw, uint8_t* pixels, int code);

// The still core, its stages in their fixed order: defects, white balance (or
// position gain), conversion, compressing pass, packing, filters, sharpening,
// tone curve. Raw bytes to a finished image at `out` + framing offset; `out`
// must hold the framing offset plus imageBytes bytes.
int ConvertCamFrame(Camera& cam, const uint8_t* raw, uint8_t* out, int code);

}  // namespace vobrex
