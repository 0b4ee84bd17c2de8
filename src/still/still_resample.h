// Resampling of the still planes to the three standard output sizes, shared
// by the grey and the colour kernels, and the orientation-ordered writing of
// the output pictures.
#pragma once

#include <cstddef>
#include <cstdint>

#include "still/picture_rows.h"
#include "still/still_planes.h"

namespace vobrex {

// The kernels take the plane rows 4 to 483: the 480 central sensor rows.
inline constexpr int kStillFirstRow = 4;

// Fills `line` (the output width of values) with picture row r of one plane
// (`plane` points at its row 0). No clamping; every division truncates
// toward zero.
using StillRowResampler = void (*)(const int16_t* plane, int r, int32_t* line);

// 640 x 480: plane row 4 + r widened 4 columns to 5; phase 0 takes column 4k.
// The last output column mixes in 1/5 of column 0 of the next plane row.
void ResampleRow640(const int16_t* plane, int r, int32_t* line);
// The same with phase 0 taking column 4k + 1 (the grey picture's weights).
void ResampleRow640Shifted(const int16_t* plane, int r, int32_t* line);
// 480 x 360: 4 plane rows to 3 in thirds, 16 columns to 15 in fifteenths.
void ResampleRow480(const int16_t* plane, int r, int32_t* line);
// 320 x 240: plane row 4 + 2r alone, 8 columns to 5.
void ResampleRow320(const int16_t* plane, int r, int32_t* line);

inline constexpr int kStillMaxWidth = 640;

// A component as stored: 16-bit, wrapping, never clamped.
inline uint16_t Component(int32_t value) { return static_cast<uint16_t>(value); }

// Resamples every picture row of the three planes and hands the values to
// `mix(red, green, blue, width, components)`, which fills the three
// component lines of `components` (blue, green, red) from the resampled
// lines, or points all three at one grey line. Orientation 2 is upright
// (picture row 0 in the last memory row), 1 upside down, 4 mirrored left to
// right, 3 turned half a turn.
template <class Mix>
void WriteStillPicture(const int16_t* planes, StillRows& out, int orientation, int width,
                       int height, StillRowResampler resample, Mix mix) {
  const bool bottomUp = orientation != 1 && orientation != 3;
  const bool reversed = orientation == 3 || orientation == 4;
  int32_t red[kStillMaxWidth];
  int32_t green[kStillMaxWidth];
  int32_t blue[kStillMaxWidth];
  StillComponentLines lines;
  for (int r = 0; r < height; ++r) {
    resample(planes + PlaneIndex(kRedPlane, 0, 0), r, red);
    resample(planes + PlaneIndex(kGreenPlane, 0, 0), r, green);
    resample(planes + PlaneIndex(kBluePlane, 0, 0), r, blue);
    const StillRowComponents row = mix(red, green, blue, width, lines);
    out.PutRow(bottomUp ? height - 1 - r : r, width, reversed, row);
  }
}

}  // namespace vobrex
