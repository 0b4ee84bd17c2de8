// Completion of the three planes of the work grid after assembly: green by
// directional interpolation, the empty red and blue rows by colour
// difference (or, on strongly red or blue objects, along the object), then
// the missing half of the red and blue checkerboards.
//
// Sites are (column c, row r) of the plane a selector names (1 red, 2 blue,
// 3 green). Reads off a plane's edge follow the flat layout of the grid and
// pick up the adjacent row or plane.
#pragma once

#include <cstdint>

#include "hires/work_grid.h"

namespace vobrex {

// Directions of LineDetect.
inline constexpr int kNoLine = 0;
inline constexpr int kVerticalLine = 1;
inline constexpr int kHorizontalLine = 2;

// Modes of IsRBObject.
inline constexpr int kRowFillMode = 0;
inline constexpr int kSiteFillMode = 1;

// (second + third of the four sorted values) >> 1.
int32_t MedianPair(int32_t a, int32_t b, int32_t c, int32_t d);

// Direction of a line through a missing checkerboard site: kNoLine,
// kVerticalLine or kHorizontalLine; -1 for a selector that names no plane.
int LineDetect(const WorkGrid& grid, int c, int r, int selector);

// Interpolated value at a missing checkerboard site, along the detected line.
int32_t IP4G(const WorkGrid& grid, int c, int r, int selector);

// The value of plane `selector` at (r, c) from its diagonal neighbour,
// carried over by the green difference between the two sites.
int32_t DiagonalColorDifference(const WorkGrid& grid, int c, int r, int selector);

// True if (r, c) lies on a strongly red (or blue) object.
bool IsRBObject(const WorkGrid& grid, int c, int r, int selector, int mode);

// Diagonal edge across the red rows t-2 .. t+3 over the six columns c .. c+5:
// 0 none, 1 or 2 for the two slants (t a multiple of 4, c even).
int RedDiagonalLine(const WorkGrid& grid, int c, int t);

// The fill passes, in the order the driver runs them.
void CompleteGreen(const WorkGrid& grid);
void FillRedRows(const WorkGrid& grid);
void FillBlueRows(const WorkGrid& grid);
void CompleteRed(const WorkGrid& grid);
void CompleteBlue(const WorkGrid& grid);

// Row-band forms, for a conversion that streams the grid in groups of four
// rows: each fills the rows of group g (4g .. 4g + 3) its pass fills, and
// running g = 0 .. kGridGroups - 1 in order is the pass. The red fill of
// group g writes rows 4g and 4g + 1 (group 0: row 1) and may spill into
// the start of rows 4g + 1 and 4g + 2.
//
// A completion may be told, by bit j of `endsOnly`, that of row 4g + j only
// the sites near its ends will be read: those that the next row reads
// across the grid's edge. It may then leave the row's other completed
// sites as they were (the blue completion, whose sites no later completion
// reads, the whole row).
//
// A caller that completes the green groups in ascending order may pass the
// same `GreenRows` to each, provided nothing changes a green row the
// previous group read between the calls (the levelling of rows below them
// may run): the completion then need not check those rows again, nor
// gather their sites again.
struct GreenRows {
  // Rows up to this one hold only values of the range the completion
  // serves in 16 bits; below kGridSide * -2 when none are known to.
  int narrowThrough = -2 * kGridSide;
  // The checkerboard sites of the last rows the completion gathered, row y
  // in slot (y + 1) % kGatheredRows (rows from -1 on).
  static constexpr int kGatheredRows = 10;
  int gatheredRow[kGatheredRows] = {-2, -2, -2, -2, -2, -2, -2, -2, -2, -2};
  alignas(64) int16_t gathered[kGatheredRows][kGridSide / 2];
};
void CompleteGreenGroup(const WorkGrid& grid, int g, unsigned endsOnly = 0,
                        GreenRows* known = nullptr);
void FillRedGroup(const WorkGrid& grid, int g);
void FillBlueGroup(const WorkGrid& grid, int g);
void CompleteRedGroup(const WorkGrid& grid, int g, unsigned endsOnly = 0);
void CompleteBlueGroup(const WorkGrid& grid, int g, unsigned endsOnly = 0);

}  // namespace vobrex
