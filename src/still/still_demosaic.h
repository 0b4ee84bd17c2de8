// Demosaic of the standard still read-out: one 512 x 512 sensor block,
// delivered as two interlaced fields, into three full colour planes.
#pragma once

#include <cstdint>

namespace vobrex {

// Field 1 carries the even sensor rows (G B G B ...), field 2 the odd rows
// (R G R G ...); each is 256 lines of 512 samples.
inline constexpr int kFieldLines = 256;
inline constexpr int kFieldSamples = kFieldLines * 512;       // 131072
inline constexpr int kStillFrameSamples = 2 * kFieldSamples;  // 262144

// Fills the planes (kStillPlanesAllocation values, zeroed, see
// still_planes.h) from kStillFrameSamples widened samples: SplitFields,
// FillGreen, FillRed, FillBlue. `optionV` 1 enables the pair smoothing.
void DemosaicStill(const int16_t* raw, int16_t* planes, uint32_t optionV);

// Places every sample at its site and, under `optionV` 1, smooths the pair
// that follows a pixel-pitch stripe pattern.
void SplitFields(const int16_t* raw, int16_t* planes, uint32_t optionV);

// Green at the red or blue site (x, y) of the green plane from its four
// green neighbours: the axis that changes far less wins, else the mean of
// the middle two.
int GreenEstimate(const int16_t* green, int x, int y);

// The steps on one plane row y, for a conversion that fills the planes a
// few rows at a time; the rows above and below follow at 512-value steps,
// as in the planes, and the steps read the neighbour rows (and up to 32
// values past them) that the full passes read.
struct StillPlaneRows {
  int16_t* red;
  int16_t* blue;
  int16_t* green;
};
// Field line r into plane rows 2r (`even`) and 2r + 1 (`odd`).
void SplitFieldLine(const int16_t* raw, int r, const StillPlaneRows& even,
                    const StillPlaneRows& odd, uint32_t optionV);
// The same from the two field lines (line r of each field); the reads
// reach two samples into the frame's values before and after each line.
void SplitFieldLines(const int16_t* line1, const int16_t* line2, int r, const StillPlaneRows& even,
                     const StillPlaneRows& odd, uint32_t optionV);
// Green of row y at its red or blue sites; needs the split rows y - 1..y + 1.
void FillGreenRow(int16_t* green, int y);
// Red of row y; needs the filled green of rows y - 1 and y, and, for an even
// row, the filled red row above.
void FillRedRow(int16_t* red, const int16_t* green, int y);
// Blue of row y; needs the filled green of row y, and, for an odd row, the
// filled blue and green of the even row below.
void FillBlueRow(int16_t* blue, const int16_t* green, int y);

// Without the pair smoothing (`optionV` other than 1) a plane row's samples
// are its field line's as they are, so the steps may read the lines in
// place of split rows: the whole row is written, as the split and the step
// together leave it. Row y reads the field lines of rows y - 1..y + 1 and up
// to 2 values before and past them (y from 2 to 509 keeps that in the frame).
// Green of row y from the lines of rows y - 1..y + 1.
void FillGreenRowFromLines(const int16_t* raw, int16_t* green, int y);
// Red of an odd row y from its line and the filled green of row y.
void FillRedRowFromLine(const int16_t* raw, int16_t* red, const int16_t* green, int y);
// Blue of an even row y from its line and the filled green of row y.
void FillBlueRowFromLine(const int16_t* raw, int16_t* blue, const int16_t* green, int y);
// The same three from the field lines themselves, wherever they are held:
// the lines of rows y - 1, y and y + 1, respectively the line of row y.
void FillGreenRowBetweenLines(const int16_t* above, const int16_t* here, const int16_t* below,
                              int16_t* green, int y);
void FillRedRowFromItsLine(const int16_t* line, int16_t* red, const int16_t* green, int y);
void FillBlueRowFromItsLine(const int16_t* line, int16_t* blue, const int16_t* green, int y);

// The green sites of the last few rows a stream of green fills read, each
// row's 256 gathered once: row y's sites are read by the fills of rows
// y - 1, y and y + 1. A fresh object knows no rows; rows are told apart
// by their number alone, so one object serves one frame.
class GreenSiteRows {
 public:
  static constexpr int kRows = 4;
  static constexpr int kMargin = 32;  // values before and after each run
  // Row y's green sites (columns of y's parity), from `line` (its 512
  // values) when not yet gathered.
  const int16_t* Sites(const int16_t* line, int y);

 private:
  alignas(64) int16_t values_[kRows][kMargin + 256 + kMargin] = {};
  int row_[kRows] = {-1, -1, -1, -1};
};
// Green of row y (2..509) as FillGreenRowBetweenLines makes it, the sites
// of the rows read taken through `sites`. `above`, `here` and `below` may
// be plane rows or field lines; `row` may be `here`.
void FillGreenRowFromSites(GreenSiteRows& sites, const int16_t* above, const int16_t* here,
                           const int16_t* below, int16_t* row, int y);

// Green at the red and blue sites.
void FillGreen(int16_t* planes);
// Red at the green and blue sites, by colour difference from one red
// neighbour (right, above or above-right).
void FillRed(int16_t* planes);
// Blue at the green and red sites, by colour difference from one blue
// neighbour (right, below or below-left).
void FillBlue(int16_t* planes);

}  // namespace vobrex
