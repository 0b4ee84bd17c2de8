// The work storage of a standard still conversion: three full-resolution
// colour planes of the 512 x 512 sensor, filled by the demosaic and read by
// the resampling kernels.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vobrex {

inline constexpr int kStillSide = 512;
inline constexpr int kStillPlaneValues = kStillSide * kStillSide;  // 262144
inline constexpr int kStillPlaneCount = 3;
inline constexpr std::size_t kStillPlanesValues =
    static_cast<std::size_t>(kStillPlaneCount) * kStillPlaneValues;  // 786432

// The planes are one continuous run, plane after plane, so reads that step
// past the end of a row land in the next row and past the last row of a
// plane in the first row of the next plane. Only the last plane (green) has
// no successor: blue completion of the last sensor row reads one row below
// it, so one zeroed row of slack follows the block.
inline constexpr std::size_t kStillPlanesSlack = kStillSide;
inline constexpr std::size_t kStillPlanesAllocation = kStillPlanesValues + kStillPlanesSlack;

// Plane order inside the block. The mosaic: even sensor rows read
// G B G B ..., odd rows R G R G ....
enum StillPlane : int { kRedPlane = 0, kBluePlane = 1, kGreenPlane = 2 };

// Offset of (plane, row, column) in the block; rows and columns may run past
// 511 into the following row or plane, as the continuous run allows.
constexpr std::ptrdiff_t PlaneIndex(int plane, int row, int column) {
  return static_cast<std::ptrdiff_t>(plane) * kStillPlaneValues +
         static_cast<std::ptrdiff_t>(row) * kStillSide + column;
}

}  // namespace vobrex
