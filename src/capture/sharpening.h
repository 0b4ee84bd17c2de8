// Sharpening of finished stills and video frames: a high-pass on green,
// added to all three components so that colours do not shift.
#pragma once

#include <cstdint>

#include "settings/camera.h"

namespace vobrex {

// Derives sharpShift, sharpDivisor3, sharpDivisor7 and sharpCoring from a
// sharpness level 0..255. The level itself is not stored.
void SetSharpnessLevel(Camera& cam, int level);

// The stage run at the end of a still or video conversion; 0 for an
// unknown sharpMode, else 1.
int SharpenStill(Camera& cam, uint8_t* pixels, int code);
int Sharpen3(const Camera& cam, uint8_t* pixels, int32_t width, int32_t height);
int Sharpen7(const Camera& cam, uint8_t* pixels, int32_t width, int32_t height);

}  // namespace vobrex
