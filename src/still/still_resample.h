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

inline constexpr int kStillMaxWidth = 640;

// A picture row resampled from its source rows: `source` points at the
// first plane row the row reads (the rows below it follow at kStillSide
// steps, as in the planes); `r` is the picture row.
using StillLineResampler = void (*)(const int16_t* source, int r, int32_t* line);
// The same storing the resampled values as components (modulo 2^16).
using StillLineNarrower = void (*)(const int16_t* source, int r, uint16_t* line);

// What a picture's components hold: the resampled blue, green and red as
// they are; the resampled green alone in all three; or a mix of the three
// resampled values.
enum class StillContent { kColour, kGreenAlone, kMixed };

// The three component lines of a picture row from the resampled lines of
// red, green and blue (a grey row points all three at one line).
using StillMix = StillRowComponents (*)(const int32_t* red, const int32_t* green,
                                        const int32_t* blue, int width, StillComponentLines& lines);

// The rows of one member of the kernels: its size, its resampling and the
// plane rows each picture row reads.
struct StillPictureRows {
  int width;
  int height;
  StillLineResampler resample;
  StillLineNarrower narrow;
  // The first plane row picture row r reads.
  int (*sourceRow)(int r);
  // The last plane row picture row r reads (the 640-wide rows wrap into the
  // row below; the vector forms read a few values past their last row, so
  // that row is counted too).
  int (*lastRow)(int r);
  // Only the even plane rows are resampled (the odd ones are read past, for
  // their first values, by the vector forms alone).
  bool evenRowsOnly;
};

// 640 x 480 (`firstShifted`: the grey picture's phase 0), 480 x 360 and
// 320 x 240.
StillPictureRows StillRows640(bool firstShifted);
StillPictureRows StillRows480();
StillPictureRows StillRows320();

// Resamples picture rows of the three planes and hands them to the row
// target in the order and direction of the orientation: 2 is upright
// (picture row 0 in the last memory row), 1 upside down, 4 mirrored left to
// right, 3 turned half a turn.
class StillPictureWriter {
 public:
  // `mix` makes the components of kMixed content.
  StillPictureWriter(const StillPictureRows& rows, StillContent content, StillMix mix,
                     StillRows& out, int orientation)
      : rows_(rows),
        content_(content),
        mix_(mix),
        out_(out),
        bottomUp_(orientation != 1 && orientation != 3),
        reversed_(orientation == 3 || orientation == 4) {}

  const StillPictureRows& Rows() const { return rows_; }

  // Picture row r from its first source row in each plane.
  void WriteRow(int r, const int16_t* redSource, const int16_t* greenSource,
                const int16_t* blueSource) {
    StillRowComponents row{lines_.blue, lines_.green, lines_.red};
    switch (content_) {
      case StillContent::kColour:
        rows_.narrow(blueSource, r, lines_.blue);
        rows_.narrow(greenSource, r, lines_.green);
        rows_.narrow(redSource, r, lines_.red);
        break;
      case StillContent::kGreenAlone:
        rows_.narrow(greenSource, r, lines_.green);
        row = {lines_.green, lines_.green, lines_.green};
        break;
      case StillContent::kMixed:
        rows_.resample(redSource, r, red_);
        rows_.resample(greenSource, r, green_);
        rows_.resample(blueSource, r, blue_);
        row = mix_(red_, green_, blue_, rows_.width, lines_);
        break;
    }
    out_.PutRow(bottomUp_ ? rows_.height - 1 - r : r, rows_.width, reversed_, row);
  }

  // Every picture row from the filled planes.
  void WritePicture(const int16_t* planes) {
    for (int r = 0; r < rows_.height; ++r) {
      const int source = rows_.sourceRow(r);
      WriteRow(r, planes + PlaneIndex(kRedPlane, source, 0),
               planes + PlaneIndex(kGreenPlane, source, 0),
               planes + PlaneIndex(kBluePlane, source, 0));
    }
  }

 private:
  StillPictureRows rows_;
  StillContent content_;
  StillMix mix_;
  StillRows& out_;
  bool bottomUp_;
  bool reversed_;
  int32_t red_[kStillMaxWidth];
  int32_t green_[kStillMaxWidth];
  int32_t blue_[kStillMaxWidth];
  StillComponentLines lines_;
};

}  // namespace vobrex
