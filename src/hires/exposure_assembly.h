// Assembly of the four shifted exposures onto the work grid, and the
// levelling of the green/blue line blocks against the red/green ones.
//
// The frame holds eight line blocks of 256 lines x 512 samples. Block 2k
// holds the green/blue lines of exposure k (even samples green, odd blue),
// block 2k+1 its red/green lines (even samples red, odd green). Sample n of
// line y lands at grid row 4y + row phase, column column phase + 2n:
//
//   exposure  green/blue row  red/green row  column phase
//   0         4y              4y + 2         2
//   1         4y              4y + 2         0
//   2         4y + 1          4y + 3         1
//   3         4y + 1          4y + 3         3
#pragma once

#include <cstdint>

#include "hires/work_grid.h"

namespace vobrex {

inline constexpr int kExposureLines = 256;
inline constexpr int kExposureLineSamples = 512;
inline constexpr int kLineBlockSamples = kExposureLines * kExposureLineSamples;
inline constexpr int kHiresSampleCount = 8 * kLineBlockSamples;  // 1,048,576

// Each reads `samples` (kHiresSampleCount values) and writes one plane.
void PlaceGreen(const int16_t* samples, const WorkGrid& grid);  // all eight blocks
void PlaceRed(const int16_t* samples, const WorkGrid& grid);    // blocks 1, 3, 5, 7
void PlaceBlue(const int16_t* samples, const WorkGrid& grid);   // blocks 0, 2, 4, 6

// Evens out the green/blue rows (0 and 1 of every group of four) against
// the red/green rows of the same plane in flat groups. `selector` is a
// plane selector (1 red, 2 blue, 3 green); always returns 1.
int LevelLineBlocks(const WorkGrid& grid, int selector);

// Row-band forms, for a conversion that streams the grid band by band.
// PlaceLines clears rows 4y .. 4y + 3 of the three planes and puts line y
// of all eight blocks into them; for y = 0 .. 255 on a zeroed grid it is
// PlaceGreen, PlaceRed and PlaceBlue.
// LevelBand levels band i (rows 4i, 4i + 1 against 4i + 2 .. 4i + 7) of a
// plane; bands 0 .. kLastLevelBand in ascending order are LevelLineBlocks.
inline constexpr int kLastLevelBand = 253;
void PlaceLines(const int16_t* samples, const WorkGrid& grid, int y);
// The same from line y of each of the eight line blocks, in block order.
void PlaceLines(const int16_t* const (&lines)[8], const WorkGrid& grid, int y);
void LevelBand(int16_t* plane, int i);

}  // namespace vobrex
