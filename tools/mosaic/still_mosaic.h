// Synthesises the raw frame of the standard still read-out of code 11/13 (262144 bytes) or the double read-out of 21/23 (524288 bytes).
#pragma once

#include <cstdint>
#include <vector>

#include "mosaic/image.h"

namespace vobrex::mosaic {

// The scene covers the area of the sensor that the conversion maps onto its
// output, so converting the frame gives back the scene resized to the output
// size (as closely as the read-out allows).
std::vector<uint8_t> StillMosaic(const Image& scene, int code);

}  // namespace vobrex::mosaic
