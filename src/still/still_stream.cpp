#include "still/still_stream.h"

#include <cstring>
#include <initializer_list>

#include "still/still_demosaic.h"

namespace vobrex {
namespace {

constexpr int kSide = kStillSide;

// Plane rows first..first + kStillWindowRows - 1 of the three planes, each
// plane's rows one continuous run as in the planes.
class PlaneWindow {
 public:
  PlaneWindow(int16_t* values, int first) : values_(values), first_(first) {}

  int16_t* Row(int plane, int y) const {
    return values_ + static_cast<std::size_t>(plane) * kStillWindowPlaneValues +
           static_cast<std::ptrdiff_t>(y - first_) * kSide;
  }
  StillPlaneRows Rows(int y) const {
    return {Row(kRedPlane, y), Row(kBluePlane, y), Row(kGreenPlane, y)};
  }

  // Makes room for the rows up to `last`: when it lies past the window, the
  // kept rows above last - 1 move to the top, and the window starts there.
  void Reach(int last) {
    if (last - first_ < kStillWindowRows) return;
    const int from = last - 1 - kStillWindowKeptRows;
    for (int plane = 0; plane < kStillPlaneCount; ++plane) {
      std::memmove(Row(plane, first_), Row(plane, from),
                   static_cast<std::size_t>(kStillWindowKeptRows) * kSide * sizeof(int16_t));
    }
    first_ = from;
  }

 private:
  int16_t* values_;
  int first_;
};

}  // namespace

// The dependencies are local: green of row y needs the split rows y - 1..
// y + 1; red of an even row the red row above; blue of an odd row the blue
// row below. So once field line r is split (plane rows 2r, 2r + 1), green
// of rows 2r - 1 and 2r can be filled, and red and blue of the rows above.
// The colour-difference fills read their neighbour row one column aside;
// when that row was written just before, the reads wait for its stores to
// settle, so each fill takes a row whose neighbour was written one field
// line earlier: red of rows 2r - 1 and 2r - 2, blue of rows 2r - 2 and
// 2r - 5. Rows up to 2r - 4 are then complete, and every picture row whose
// plane rows all lie there is made. Rows above the first the kernel reads
// are filled only as far as it needs them (red of the first row, an even
// one, takes the red row above); the row above that is only split, for the
// green estimates. When the window moves on before line r, the oldest row
// still needed is 2r - 8: the fills of line r read rows 2r - 5 onward,
// and a picture row not yet made reads from row 2r - 8 on (the 480-row
// picture's four rows from its first, and one more that its vector form
// reads into).
//
// Without the pair smoothing the rows the fills take from the split are the
// field lines as they are, so green, red of the odd rows and blue of the
// even rows read the lines themselves and nothing is split: the rows a
// split alone would have placed are never read (green rows are only read
// filled; the red of an even row reads the red sites of the odd row above,
// which its fill writes as the line has them, so that row is filled even
// for a picture of the even rows alone).
void StreamStill(const int16_t* raw, uint32_t optionV, int16_t* window,
                 StillPictureWriter& writer) {
  const StillPictureRows& rows = writer.Rows();
  const int first = rows.sourceRow(0);
  const int last = rows.lastRow(rows.height - 1);
  const int firstFilled = first - 1;
  // A picture of the even rows alone needs of the odd rows only their green
  // (the red of an even row takes the red samples of the row above, which
  // the split placed, and the filled green there); their red and blue are
  // left as split.
  const bool evenRowsOnly = rows.evenRowsOnly;
  const int firstLine = (firstFilled - 1) / 2;
  // The line after which row `last` is complete.
  const int lastLine = (last + 5) / 2;
  // The lines the steps read (rows firstFilled - 1..2 lastLine + 1) lie
  // inside the frame with room for the reads beside them, and the first red
  // row filled from its line is the first one filled (an odd row), so an
  // even row always finds the red row above it filled.
  const bool fromLines =
      optionV != 1 && firstFilled >= 3 && firstFilled % 2 == 1 && lastLine <= 254;
  PlaneWindow planes(window, 2 * firstLine);
  int next = 0;  // the next picture row
  for (int r = firstLine; r <= lastLine; ++r) {
    planes.Reach(2 * r + 1);
    if (!fromLines) {
      SplitFieldLine(raw, r, planes.Rows(2 * r), planes.Rows(2 * r + 1), optionV);
    }
    for (int y : {2 * r - 1, 2 * r}) {
      if (y < firstFilled) continue;
      if (fromLines) {
        FillGreenRowFromLines(raw, planes.Row(kGreenPlane, y), y);
      } else {
        FillGreenRow(planes.Row(kGreenPlane, y), y);
      }
    }
    for (int y : {2 * r - 1, 2 * r - 2}) {
      if (y < firstFilled) continue;
      if (fromLines && y % 2 == 1) {
        FillRedRowFromLine(raw, planes.Row(kRedPlane, y), planes.Row(kGreenPlane, y), y);
      } else if (y % 2 == 0 || !evenRowsOnly) {
        FillRedRow(planes.Row(kRedPlane, y), planes.Row(kGreenPlane, y), y);
      }
    }
    for (int y : {2 * r - 2, 2 * r - 5}) {
      if (y < first) continue;
      if (fromLines && y % 2 == 0) {
        FillBlueRowFromLine(raw, planes.Row(kBluePlane, y), planes.Row(kGreenPlane, y), y);
      } else if (y % 2 == 0 || !evenRowsOnly) {
        FillBlueRow(planes.Row(kBluePlane, y), planes.Row(kGreenPlane, y), y);
      }
    }
    const int complete = 2 * r - 4;
    while (next < rows.height && rows.lastRow(next) <= complete) {
      const int source = rows.sourceRow(next);
      writer.WriteRow(next, planes.Row(kRedPlane, source), planes.Row(kGreenPlane, source),
                      planes.Row(kBluePlane, source));
      ++next;
    }
  }
}

}  // namespace vobrex
