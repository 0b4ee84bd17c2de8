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
  // Picture rows that read the same plane rows (1: each its own), and the
  // forms making all of a group's rows at once from its first plane row
  // (null for groups of 1): one gathering of the rows serves them all.
  int groupRows = 1;
  void (*resampleGroup)(const int16_t* source, int32_t* const lines[3]) = nullptr;
  void (*narrowGroup)(const int16_t* source, uint16_t* const lines[3]) = nullptr;
};

// The most picture rows one group makes.
inline constexpr int kStillMaxGroupRows = 3;

// The mixed component lines of a group's rows (lines[0..groupRows - 1])
// straight from the first plane row of each plane, the mix and the
// resampling in one (StillMix of the group's resampled lines).
using StillGroupMix = void (*)(const int16_t* red, const int16_t* green, const int16_t* blue,
                               uint16_t* const lines[3]);
// Mixed as the grey picture and as the mean: the 480 x 360 groups, the
// 640-wide rows (the grey one with its phase 0 shifted, the mean without)
// and the 320-wide rows.
void MixGreyGroup480(const int16_t* red, const int16_t* green, const int16_t* blue,
                     uint16_t* const lines[3]);
void MixMeanGroup480(const int16_t* red, const int16_t* green, const int16_t* blue,
                     uint16_t* const lines[3]);
void MixGreyRow640(const int16_t* red, const int16_t* green, const int16_t* blue,
                   uint16_t* const lines[3]);
void MixMeanRow640(const int16_t* red, const int16_t* green, const int16_t* blue,
                   uint16_t* const lines[3]);
void MixGreyRow320(const int16_t* red, const int16_t* green, const int16_t* blue,
                   uint16_t* const lines[3]);
void MixMeanRow320(const int16_t* red, const int16_t* green, const int16_t* blue,
                   uint16_t* const lines[3]);

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
  // `mix` makes the components of kMixed content; `mixGroup`, when given,
  // makes the same lines for a whole group at once.
  StillPictureWriter(const StillPictureRows& rows, StillContent content, StillMix mix,
                     StillRows& out, int orientation, StillGroupMix mixGroup = nullptr)
      : rows_(rows),
        content_(content),
        mix_(mix),
        mixGroup_(mixGroup),
        out_(out),
        bottomUp_(orientation != 1 && orientation != 3),
        reversed_(orientation == 3 || orientation == 4) {}

  const StillPictureRows& Rows() const { return rows_; }

  // Picture row r from its first source row in each plane.
  // Rows of a group come in order: its first row makes the whole group.
  void WriteRow(int r, const int16_t* redSource, const int16_t* greenSource,
                const int16_t* blueSource) {
    if (rows_.groupRows > 1) {
      const int member = r % rows_.groupRows;
      if (member == 0 || groupFirst_ != r - member) {
        MakeGroup(redSource, greenSource, blueSource);
        groupFirst_ = r - member;
      }
      return PutMember(r, member);
    }
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
        if (mixGroup_ != nullptr) {
          uint16_t* const to[3] = {lines_.green, nullptr, nullptr};
          mixGroup_(redSource, greenSource, blueSource, to);
          row = {lines_.green, lines_.green, lines_.green};
          break;
        }
        rows_.resample(redSource, r, red_[0]);
        rows_.resample(greenSource, r, green_[0]);
        rows_.resample(blueSource, r, blue_[0]);
        row = mix_(red_[0], green_[0], blue_[0], rows_.width, lines_);
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
  enum { kBlue = 0, kGreen = 1, kRed = 2 };

  static void NarrowGroup(const StillPictureRows& rows, const int16_t* source,
                          uint16_t (&lines)[kStillMaxGroupRows][kStillMaxWidth]) {
    uint16_t* const to[3] = {lines[0], lines[1], lines[2]};
    rows.narrowGroup(source, to);
  }
  static void ResampleGroup(const StillPictureRows& rows, const int16_t* source,
                            int32_t (&lines)[kStillMaxGroupRows][kStillMaxWidth]) {
    int32_t* const to[3] = {lines[0], lines[1], lines[2]};
    rows.resampleGroup(source, to);
  }

  void MakeGroup(const int16_t* redSource, const int16_t* greenSource, const int16_t* blueSource) {
    switch (content_) {
      case StillContent::kColour:
        NarrowGroup(rows_, blueSource, group_[kBlue]);
        NarrowGroup(rows_, greenSource, group_[kGreen]);
        NarrowGroup(rows_, redSource, group_[kRed]);
        break;
      case StillContent::kGreenAlone: NarrowGroup(rows_, greenSource, group_[kGreen]); break;
      case StillContent::kMixed:
        if (mixGroup_ != nullptr) {
          uint16_t* const to[3] = {group_[kGreen][0], group_[kGreen][1], group_[kGreen][2]};
          mixGroup_(redSource, greenSource, blueSource, to);
          break;
        }
        ResampleGroup(rows_, redSource, red_);
        ResampleGroup(rows_, greenSource, green_);
        ResampleGroup(rows_, blueSource, blue_);
        break;
    }
  }

  void PutMember(int r, int member) {
    StillRowComponents row{group_[kBlue][member], group_[kGreen][member], group_[kRed][member]};
    if (content_ == StillContent::kGreenAlone ||
        (content_ == StillContent::kMixed && mixGroup_ != nullptr)) {
      row = {group_[kGreen][member], group_[kGreen][member], group_[kGreen][member]};
    } else if (content_ == StillContent::kMixed) {
      row = mix_(red_[member], green_[member], blue_[member], rows_.width, lines_);
    }
    out_.PutRow(bottomUp_ ? rows_.height - 1 - r : r, rows_.width, reversed_, row);
  }

  StillPictureRows rows_;
  StillContent content_;
  StillMix mix_;
  StillGroupMix mixGroup_;
  StillRows& out_;
  bool bottomUp_;
  bool reversed_;
  int groupFirst_ = -1;  // the first picture row of the group made last
  int32_t red_[kStillMaxGroupRows][kStillMaxWidth];
  int32_t green_[kStillMaxGroupRows][kStillMaxWidth];
  int32_t blue_[kStillMaxGroupRows][kStillMaxWidth];
  uint16_t group_[3][kStillMaxGroupRows][kStillMaxWidth];
  StillComponentLines lines_;
};

}  // namespace vobrex
