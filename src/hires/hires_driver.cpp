#include "hires/hires_driver.h"

namespace vobrex {

// Placeholder until the high-resolution path lands.
Owned<uint16_t> ConvertHighRes(Camera&, Owned<int16_t>&) { return nullptr; }

}  // namespace vobrex
