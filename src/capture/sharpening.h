// Sharpening of finished stills and video frames: a high-pass on green,
// added to all three components so that colours do not shift.
#pragma once

#include <cstdint>

#include "settings/camera.h"

namespace vobrex {

// Derives sharpShift, sharpDivisor3, sharpDivisor7 and sharpCoring from a
// sharpness level 0..255. The level itself is not stored.
void SetSharpnessLevel(Camera& cam, int level);

// The stage run at the end of a still or video conversion over the
// width x height image of the settings: returns 1 at once when sharpenAllow
// is 0, 0 for an unknown sharpMode, else 1. In divisor mode (sharpMode 0)
// code 40 takes the 7x7 kernel and every other resolution the 3x3 one; shift
// mode (1) always takes the 3x3 kernel. An image larger than imageBytes is
// left alone.
int SharpenStill(Camera& cam, uint8_t* pixels, int code);

// The passes. Each returns 0 (image unchanged) when the height is not a
// multiple of 4, when the private copy cannot be obtained, or when divisor
// mode meets a zero divisor; else 1. The outermost row and column (three of
// each for the 7x7 kernel) keep their values.
int Sharpen3(const Camera& cam, uint8_t* pixels, int32_t width, int32_t height);
int Sharpen7(const Camera& cam, uint8_t* pixels, int32_t width, int32_t height);

}  // namespace vobrex
