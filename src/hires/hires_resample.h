// Output resampling of the completed work grid. The grid is twice the
// sensor's resolution in each direction, but the output sizes are not: six
// resamplers, each fixed to one size and one kind, map a region of the grid
// (from grid row 8 and grid column 4, or 2 for the smallest size) onto the
// output.
//
//   member  kind    size          rows                     columns
//   B0 A0   colour  1260 x 960    one per grid row         5 per 4 grid columns
//           / grey
//   B1 A1           1016 x 768    8 per 10 grid rows       one per grid column
//   B2 A2           848 x 640     4 per 6 grid rows        5 per 6 grid columns
//
// Output pixels are three 16-bit components in the order blue, green, red;
// a grey member writes (2 red + 4 green + blue) / 7 to all three. Weighted
// means truncate toward zero and nothing is clamped; the byte packing after
// the conversion handles the range.
#pragma once

#include <cstdint>

#include "hires/work_grid.h"

namespace vobrex {

enum class HiresResampler { kB0, kB1, kB2, kA0, kA1, kA2 };

// The pixels a resampler computes for a `width` x `height` output (taken
// from the settings as they stand, so any values) and where they go.
// Returns true when every write lands inside an output buffer of `capacity`
// components and every grid read inside the three planes. The column loops
// of the five-phase members run ceil(W/5) pixels of phase 0, (W+3)/5 of
// phases 1 and 2 and (W+1)/5 of phases 3 and 4, which for some widths is
// one pixel more than the row holds; that pixel lands in the adjacent row
// (or before the first, for a right-to-left row), so such a width fits only
// if the buffer reaches that far. Nothing is computed for a width or height
// below 1.
bool ResampleFits(HiresResampler which, int width, int height, int orientation, uint32_t capacity);

// Fills `out` from the grid; call only when ResampleFits holds. The
// orientation code (1..4, any other value acts as 4) decides where each
// computed pixel goes: 1 and 3 write the first computed row first, 2 and 4
// last; 1 and 2 write each row left to right, 3 and 4 right to left.
void Resample(const WorkGrid& grid, HiresResampler which, int width, int height, int orientation,
              uint16_t* out);

// True when every row of the size is written whole, from its first pixel
// to its last and no further (the five-phase members need a width that is
// a multiple of 5); such rows can be handed on one by one.
bool ResampleWritesWholeRows(HiresResampler which, int width, int height);

class StillRows;

// Resample for a size with whole rows (and ResampleFits): each output row
// goes to `rows` as component lines in computed order, with the memory row
// and direction the orientation code gives. The values are those Resample
// writes.
void ResampleRows(const WorkGrid& grid, HiresResampler which, int width, int height,
                  int orientation, StillRows& rows);

// ResampleRows for the computed rows first .. end - 1 only; spans that
// together cover 0 .. height - 1, in ascending order, are ResampleRows.
void ResampleRowSpan(const WorkGrid& grid, HiresResampler which, int width, int height,
                     int orientation, StillRows& rows, int first, int end);

// x / 5 truncated toward zero as the vector resamplers form it (the
// integer quotient where they do not run); equal to x / 5 for |x| up to
// 5 x 32768, the weighted sums of two 16-bit sites. For the tests.
int32_t ResampleDivideByFive(int32_t x);

// False when a size with whole rows reads grid row `row` at most at the
// sites of the green checkerboard (even columns of an even row, odd ones
// of an odd row), which every plane holds before its completion.
bool ResampleReadsAcrossRow(HiresResampler which, int width, int row);

// The last grid row computed row y (y >= 0) of a `width` wide size with
// whole rows reads values from (the row after, where its reads run past the
// grid's right edge); it never decreases as y grows.
int LastGridRowRead(HiresResampler which, int width, int y);

}  // namespace vobrex
