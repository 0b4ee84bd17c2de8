#include "mosaic/hires_mosaic.h"

namespace vobrex::mosaic {

// Placeholder until the layout is written: a frame of the right size.
std::vector<uint8_t> HiresMosaic(const Image& scene) {
  static_cast<void>(scene);
  return std::vector<uint8_t>(static_cast<std::size_t>(1048576), 0);
}

}  // namespace vobrex::mosaic
