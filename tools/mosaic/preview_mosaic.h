// Synthesises the raw frame of the sensor read-out of a motion (preview) sub-mode; the frame has 262144 bytes.
#pragma once

#include <cstdint>
#include <vector>

#include "mosaic/image.h"

namespace vobrex::mosaic {

// The scene covers the area of the sensor that the conversion maps onto its
// output, so converting the frame gives back the scene resized to the output
// size (as closely as the read-out allows).
std::vector<uint8_t> PreviewMosaic(const Image& scene, int sensorMode);

}  // namespace vobrex::mosaic
