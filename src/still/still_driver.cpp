#include "still/still_driver.h"

namespace vobrex {

// Placeholder until the still path lands.
Owned<uint16_t> ConvertStill(Camera&, Owned<int16_t>&, int) { return nullptr; }

}  // namespace vobrex
