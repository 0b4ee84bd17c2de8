// Kernels A1, A0, D1 and D0 with 64-byte vectors, where the processor
// offers them.
#pragma once

#include <cstdint>

namespace vobrex {

// Runs A1 (`colour`) or A0 and returns true, or returns false when the
// processor lacks the instructions (the scalar kernel then runs).
bool RunKernelAVector(const uint8_t* raw, uint8_t* rgb, int orientation, bool colour);

// Runs D1 (`colour`) or D0 and returns true, or returns false when the
// processor lacks the instructions (the scalar kernel then runs).
bool RunKernelDVector(const uint8_t* raw, uint8_t* rgb, int orientation, bool colour);

}  // namespace vobrex
