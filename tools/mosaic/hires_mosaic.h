// Synthesises the raw frame of the four shifted exposures of code 40; the frame has 1048576 bytes.
#pragma once

#include <cstdint>
#include <vector>

#include "mosaic/image.h"

namespace vobrex::mosaic {

// The scene covers the area of the sensor that the conversion maps onto its
// output, so converting the frame gives back the scene resized to the output
// size (as closely as the read-out allows).
std::vector<uint8_t> HiresMosaic(const Image& scene);

}  // namespace vobrex::mosaic
