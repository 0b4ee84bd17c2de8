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

// The raw frame's samples a stretch at a time, for a conversion that widens
// them as it reads them rather than from a widened frame.
class StillFrameSource {
 public:
  virtual ~StillFrameSource() = default;
  // out[j] = sample at + j of the widened frame for j < n (0 <= at,
  // at + n <= kStillFrameSamples).
  virtual void Read(int at, int n, int16_t* out) const = 0;
};

// The samples beside a field line that the demosaic steps read (and use),
// the room held beside each line the stream widens (whole vectors, so the
// lines start on 64-byte lines), and the values of the line buffer: two
// lines of each field, and room to align them.
inline constexpr int kStillLineReach = 2;
inline constexpr int kStillLineMargin = 32;
inline constexpr int kStillLineSlotValues = kStillSide + 2 * kStillLineMargin;
inline constexpr std::size_t kStillLineValues = 4 * kStillLineSlotValues + 32;

// StreamStill reading the frame from `source`, each field line widened into
// `lines` (kStillLineValues values, zeroed) just before the first step
// that reads it: the same picture, with no widened frame.
void StreamStill(const StillFrameSource& source, int16_t* lines, uint32_t optionV, int16_t* window,
                 StillPictureWriter& writer);

}  // namespace vobrex
