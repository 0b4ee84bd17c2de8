#include "capture/still_entry.h"

namespace vobrex {

// Placeholders until the still path lands.
int ReadCamImage(Camera&, HGLOBAL*) { return 0; }
int GetVFWImage(Camera&, const uint8_t*, uint8_t*, int) { return 0; }
int ConvertCamFrame(Camera&, const uint8_t*, uint8_t*, int) { return 0; }

}  // namespace vobrex
