// Synthesises the raw frame of the sensor read-out of a motion (preview) sub-mode; the frame has
// 262144 bytes.
//
// The sensor is a 512 x 512 mosaic: even rows hold green (even columns) and
// blue (odd columns) sites, odd rows red (even columns) and green (odd
// columns) sites. A preview frame carries one of two read-outs:
//
// Full read-out: sub-modes 0, 51, 52, 53, 54, 57 and 58.
//   bytes 0x00000 .. 0x1FFFF  first field: 256 lines of 512 samples, line L
//                             is sensor row 2L (G B G B ...)
//   bytes 0x20000 .. 0x3FFFF  second field: 256 lines of 512 samples, line L
//                             is sensor row 2L + 1 (R G R G ...)
//   The picture is field lines 4 .. 243 (sensor rows 8 .. 487), all 512
//   columns; the sub-mode only selects the output size the conversion scales
//   it to: 51 640 x 480, 52 480 x 360, 0 and 53 320 x 240, 54 240 x 180,
//   58 352 x 288, 57 176 x 144 (52 and 58 are not converted by the library).
//
// Half read-out: sub-modes 1, 55 (160 x 120) and 2, 56 (80 x 60).
//   The sensor skips every second line pair and every second column pair,
//   which keeps the colour order at half the size:
//   bytes 0x0000 .. 0x7FFF    first field: 128 lines of 256 samples (G B ...)
//   bytes 0x8000 .. 0xFFFF    second field: 128 lines of 256 samples (R G ...)
//   bytes 0x10000 .. 0x3FFFF  unused, synthesised as 0
//   Sample j of half line r of field f is the site in sensor row 4r + f,
//   column 4(j / 2) + (j % 2).
//   The picture is half lines 2 .. 121: the same sensor area as the full
//   read-out.
//
// Any other sub-mode has no read-out: the frame is all 0.
#pragma once

#include <cstdint>
#include <vector>

#include "mosaic/image.h"

namespace vobrex::mosaic {

// The scene covers the area of the sensor that the conversion maps onto its
// output, so converting the frame gives back the scene resized to the output
// size (as closely as the read-out allows). Each site takes the scene's
// value of its colour at the site's centre (bilinear; outside the picture
// area the scene's edge continues).
std::vector<uint8_t> PreviewMosaic(const Image& scene, int sensorMode);

}  // namespace vobrex::mosaic
