// Synthesises the raw frame of the standard still read-out of code 11/13 (262144 bytes) or the
// double read-out of 21/23 (524288 bytes).
#pragma once

#include <cstdint>
#include <vector>

#include "mosaic/image.h"

namespace vobrex::mosaic {

// Standard still read-out (codes 11 and 13, and any code other than 21/23):
// one 512 x 512 sensor block, one byte a site, delivered as two fields.
//
//   bytes       0 .. 131071   field 1: 256 lines of 512 samples, line r is
//                             sensor row 2r, reading G B G B ... (green at
//                             even columns, blue at odd ones)
//   bytes  131072 .. 262143   field 2: 256 lines of 512 samples, line r is
//                             sensor row 2r + 1, reading R G R G ... (red at
//                             even columns, green at odd ones)
//
// The conversion takes the sensor rows 4 to 483 and all 512 columns as the
// picture, so the scene is stretched over exactly that area: site (row y,
// column x) holds the scene's colour of the site at the scene position
// ((x + 0.5) * W / 512, (y - 4 + 0.5) * H / 480), sampled bilinearly with
// the edges clamped (rows 0..3 and 484..511 repeat the scene's edge rows),
// rounded to the nearest byte.
//
// Double read-out (codes 21 and 23): 524288 bytes, two standard read-outs
// of the same scene one after the other, each laid out as above. The
// conversion reads none of these samples (it converts unfilled, black
// planes), so the content only serves the stages before it, which walk the
// frame block by block.
//
// Converting the frame gives back the scene resized to the output size (as
// closely as the mosaic and the kernels' resampling allow).
std::vector<uint8_t> StillMosaic(const Image& scene, int code);

}  // namespace vobrex::mosaic
