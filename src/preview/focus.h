// The focus indication of the live preview: how sharp the raw frame is in a
// small window around the focus position (focusX, focusY).
#pragma once

#include <cstdint>

#include "settings/camera.h"

namespace vobrex {

// Clamps focusX/focusY for sub-modes 51, 0 and 1 and writes them back,
// measures the window and stores the indication in modes.focusValue. The
// raw frame is only read. `width` and `height` are the picture size the
// focus position refers to.
void MeasureFocus(Camera& cam, uint8_t* raw, int32_t width, int32_t height);

}  // namespace vobrex
