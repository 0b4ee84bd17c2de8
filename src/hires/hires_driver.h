// High-resolution still conversion (code 40): four shifted exposures.
#pragma once

#include <cstdint>

#include "settings/camera.h"

namespace vobrex {

// Converts the widened four-exposure frame into imageBytes 16-bit
// components (blue, green, red; rows in the order the orientation code
// selects). Releases `samples` once the exposures are assembled; when the
// work grid cannot be had it returns null and leaves `samples` with the
// caller. Null on every failure. `samples` must hold all four exposures,
// 1,048,576 values, whatever rawSampleCount says (a record copied in whole
// can name code 40 with another resolution's count; the caller pads such a
// frame).
Owned<uint16_t> ConvertHighRes(Camera& cam, Owned<int16_t>& samples);

}  // namespace vobrex
