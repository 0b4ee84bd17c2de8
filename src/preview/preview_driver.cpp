#include "preview/preview_driver.h"

namespace vobrex {

// Placeholder until the preview path lands.
int ConvertPreviewFrame(Camera&, uint8_t*, uint8_t*) { return 0; }

}  // namespace vobrex
