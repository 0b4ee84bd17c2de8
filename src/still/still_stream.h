// The standard still conversion without whole planes: the plane rows the
// kernels read are filled a few at a time in a small window, and each
// picture row is made as soon as the plane rows it reads are complete.
#pragma once

#include <cstddef>
#include <cstdint>

#include "still/still_planes.h"
#include "still/still_resample.h"

namespace vobrex {

// Plane rows the window holds, rows kept when it moves on, and the values
// past its last row that the vector steps may read.
inline constexpr int kStillWindowRows = 64;
inline constexpr int kStillWindowKeptRows = 8;
inline constexpr std::size_t kStillWindowPlaneValues =
    static_cast<std::size_t>(kStillWindowRows) * kStillSide + 64;
inline constexpr std::size_t kStillWindowValues = kStillPlaneCount * kStillWindowPlaneValues;

// Demosaics the raw frame (kStillFrameSamples values, as DemosaicStill
// takes it) row by row into `window` (kStillWindowValues values, zeroed)
// and writes every picture row of `writer`. Each row the kernel reads holds
// what DemosaicStill leaves in the planes, so the picture is the same.
void StreamStill(const int16_t* raw, uint32_t optionV, int16_t* window, StillPictureWriter& writer);

}  // namespace vobrex
