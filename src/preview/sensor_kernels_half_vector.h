// Kernels B1, B0, C1 and C0 with 64-byte vectors, where the processor
// offers them.
#pragma once

#include <cstdint>

namespace vobrex {

// Run B1 or B0, C1 or C0 (`colour` picks the first) and return true, or
// return false when the processor lacks the instructions (the scalar kernel
// then runs).
bool RunKernelBVector(const uint8_t* raw, uint8_t* rgb, int orientation, bool colour);
bool RunKernelCVector(const uint8_t* raw, uint8_t* rgb, int orientation, bool colour);

}  // namespace vobrex
