// What the white-balance stages keep between calls, per camera context.
#pragma once

#include <cstdint>

namespace vobrex {

struct WhiteBalanceState {};

}  // namespace vobrex
