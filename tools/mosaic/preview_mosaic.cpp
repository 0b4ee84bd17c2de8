#include "mosaic/preview_mosaic.h"

namespace vobrex::mosaic {

// Placeholder until the layout is written: a frame of the right size.
std::vector<uint8_t> PreviewMosaic(const Image& scene, int sensorMode) {
  static_cast<void>(scene);
  static_cast<void>(sensorMode);
  return std::vector<uint8_t>(static_cast<std::size_t>(262144), 0);
}

}  // namespace vobrex::mosaic
