#include "still/still_stream.h"

#include <algorithm>
#include <cstdint>
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

// The frame's field lines: where they lie in the widened frame, or widened
// from a source as the stream reaches them. Then line r of each field goes
// to slot r % 2 of its field, with the kStillLineReach samples of the frame
// before and after it that the steps read (those outside the frame read as
// 0; the rest of the slot's margins stays zero, for vector loads that reach
// further without using what they load), when the steps use them. Step r reads lines r - 1 and r
// only, and the first step, which fills no row, reads line r alone. (One
// form for both keeps one stream.)
class FieldLines {
 public:
  explicit FieldLines(const int16_t* raw) : raw_(raw) {}
  // `reach`: whether the steps use the samples beside the lines (only the
  // pair smoothing does: without it the steps' loads past a line's ends
  // feed sites they then replace, and a split copies the line alone).
  FieldLines(const StillFrameSource& source, int16_t* slots, bool reach)
      : source_(&source), slots_(Aligned(slots)), reach_(reach) {}

  void Widen(int r) {
    if (source_ == nullptr) return;
    for (int field = 0; field < 2; ++field) {
      int16_t* line = Slot(field, r);
      const int at = field * kFieldSamples + r * kSide;
      source_->Read(at, kSide, line);
      if (!reach_) continue;
      const int before = std::min(at, kStillLineReach);
      std::fill(line - kStillLineReach, line - before, int16_t{0});
      source_->Read(at - before, before, line - before);
      const int after = std::min(kStillFrameSamples - (at + kSide), kStillLineReach);
      source_->Read(at + kSide, after, line + kSide);
      std::fill(line + kSide + after, line + kSide + kStillLineReach, int16_t{0});
    }
  }
  const int16_t* Line(int field, int r) const {
    if (source_ != nullptr) return Slot(field, r);
    return raw_ + field * kFieldSamples + static_cast<std::ptrdiff_t>(r) * kSide;
  }

 private:
  // The first value of `values` on a 64-byte line (the buffer holds 32
  // values more than its slots).
  static int16_t* Aligned(int16_t* values) {
    const std::uintptr_t address = reinterpret_cast<std::uintptr_t>(values);
    return values + (64 - address % 64) % 64 / 2;
  }
  int16_t* Slot(int field, int r) const {
    return slots_ + (2 * field + r % 2) * kStillLineSlotValues + kStillLineMargin;
  }

  const int16_t* raw_ = nullptr;
  const StillFrameSource* source_ = nullptr;
  int16_t* slots_ = nullptr;
  bool reach_ = false;
};

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
void StreamLines(FieldLines& lines, uint32_t optionV, int16_t* window, StillPictureWriter& writer) {
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
  // The line of plane row y.
  const auto rowLine = [&lines](int y) { return lines.Line(y % 2, y / 2); };
  int next = 0;  // the next picture row
  // Each row's green sites are read by the green fills of three rows.
  GreenSiteRows greenSites;
  for (int r = firstLine; r <= lastLine; ++r) {
    planes.Reach(2 * r + 1);
    lines.Widen(r);
    if (!fromLines) {
      SplitFieldLines(lines.Line(0, r), lines.Line(1, r), r, planes.Rows(2 * r),
                      planes.Rows(2 * r + 1), optionV);
    }
    for (int y : {2 * r - 1, 2 * r}) {
      if (y < firstFilled) continue;
      if (fromLines) {
        FillGreenRowFromSites(greenSites, rowLine(y - 1), rowLine(y), rowLine(y + 1),
                              planes.Row(kGreenPlane, y), y);
      } else {
        FillGreenRowFromSites(greenSites, planes.Row(kGreenPlane, y - 1),
                              planes.Row(kGreenPlane, y), planes.Row(kGreenPlane, y + 1),
                              planes.Row(kGreenPlane, y), y);
      }
    }
    for (int y : {2 * r - 1, 2 * r - 2}) {
      if (y < firstFilled) continue;
      if (fromLines && y % 2 == 1) {
        FillRedRowFromItsLine(rowLine(y), planes.Row(kRedPlane, y), planes.Row(kGreenPlane, y), y);
      } else if (y % 2 == 0 || !evenRowsOnly) {
        FillRedRow(planes.Row(kRedPlane, y), planes.Row(kGreenPlane, y), y);
      }
    }
    for (int y : {2 * r - 2, 2 * r - 5}) {
      if (y < first) continue;
      if (fromLines && y % 2 == 0) {
        FillBlueRowFromItsLine(rowLine(y), planes.Row(kBluePlane, y), planes.Row(kGreenPlane, y),
                               y);
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

}  // namespace

void StreamStill(const int16_t* raw, uint32_t optionV, int16_t* window,
                 StillPictureWriter& writer) {
  FieldLines lines(raw);
  StreamLines(lines, optionV, window, writer);
}

void StreamStill(const StillFrameSource& source, int16_t* lines, uint32_t optionV, int16_t* window,
                 StillPictureWriter& writer) {
  FieldLines widened(source, lines, optionV == 1);
  StreamLines(widened, optionV, window, writer);
}

}  // namespace vobrex
