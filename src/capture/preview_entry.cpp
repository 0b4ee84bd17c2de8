#include "capture/preview_entry.h"

namespace vobrex {

// Placeholders until the preview path lands.
int ReadPreviewImage(Camera&, HGLOBAL*, HGLOBAL*) { return 0; }
int VX_CCDtoRGB(Camera&, uint8_t*, uint8_t*) { return 0; }

}  // namespace vobrex
