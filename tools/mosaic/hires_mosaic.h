// Synthesises the raw frame of the four shifted exposures of code 40; the frame has 1048576 bytes.
//
// Layout of the frame: eight line blocks of 256 lines x 512 samples, one
// after another, each line by line. Block 2k holds the green/blue lines of
// exposure k (even samples green, odd samples blue), block 2k+1 its
// red/green lines (even samples red, odd samples green).
//
// The four exposures are taken with the sensor shifted by whole and half
// pitches; on the conversion's 1024 x 1024 grid (two grid rows and two grid
// columns per sensor pitch) sample n of line y of a block sits at
//
//   exposure  green/blue line  red/green line  column
//   0         row 4y           row 4y + 2      2 + 2n
//   1         row 4y           row 4y + 2      0 + 2n
//   2         row 4y + 1       row 4y + 3      1 + 2n
//   3         row 4y + 1       row 4y + 3      3 + 2n
//
// Exposures 0 and 1 are one pitch apart, so every site of their rows sees
// both colours of its line; exposures 2 and 3 are the same pair moved half a
// pitch down and to the right. Each sample is the scene's colour at the
// centre of its grid site.
//
// The scene covers grid rows 8 .. 967 and grid columns 4 .. 1015: rows
// 8 .. 967 feed every output size, and the columns lie between the spans of
// the three sizes (4 .. 1011 for 1260 x 960, 4 .. 1019 for 1016 x 768,
// 2 .. 1019 for 848 x 640), so each size gives back the scene resized, off
// by at most half a percent of the width at either side. Grid sites outside
// that area take the colour at the scene's nearest edge.
#pragma once

#include <cstdint>
#include <vector>

#include "mosaic/image.h"

namespace vobrex::mosaic {

// The scene covers the area of the sensor that the conversion maps onto its
// output, so converting the frame gives back the scene resized to the output
// size (as closely as the read-out allows).
std::vector<uint8_t> HiresMosaic(const Image& scene);

}  // namespace vobrex::mosaic
