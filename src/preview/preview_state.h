// What the preview driver keeps between frames, per camera context.
#pragma once

#include <cstdint>

namespace vobrex {

struct PreviewState {};

}  // namespace vobrex
