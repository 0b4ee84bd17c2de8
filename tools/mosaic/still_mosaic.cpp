#include "mosaic/still_mosaic.h"

namespace vobrex::mosaic {

// Placeholder until the layout is written: a frame of the right size.
std::vector<uint8_t> StillMosaic(const Image& scene, int code) {
  static_cast<void>(scene);
  static_cast<void>(code);
  return std::vector<uint8_t>(static_cast<std::size_t>(code == 21 || code == 23 ? 524288 : 262144), 0);
}

}  // namespace vobrex::mosaic
