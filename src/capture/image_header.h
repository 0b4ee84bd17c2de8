// The bitmap headers written in front of the pixels of an image block.
#pragma once

#include <cstdint>

#include "settings/camera.h"

namespace vobrex {

inline constexpr int kFileHeaderBytes = 14;
inline constexpr int kInfoHeaderBytes = 40;

// Where the pixels start in an image block for the current framing:
// '3' 54, '2' 40, anything else 0.
int32_t FramingOffset(const CameraModes& modes);

// Writes the file header (only when framing is '3') and the info header at
// the start of `block`. `outputFormat` has no effect on the header.
void WriteImageHeader(const Camera& cam, uint8_t* block, int32_t width, int32_t height,
                      int32_t outputFormat);

}  // namespace vobrex
