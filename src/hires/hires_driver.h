// High-resolution still conversion (code 40): four shifted exposures.
#pragma once

#include <cstddef>
#include <cstdint>

#include "settings/camera.h"

namespace vobrex {

// Converts the widened four-exposure frame into imageBytes 16-bit
// components (blue, green, red; rows in the order the orientation code
// selects). Releases `samples` once the exposures are assembled; when the
// work grid cannot be had it returns null and leaves `samples` with the
// caller. Null on every failure. `samples` must hold all four exposures,
// 1,048,576 values, whatever rawSampleCount says (a record copied in whole
// can name code 40 with another resolution's count; the caller pads such a
// frame).
Owned<uint16_t> ConvertHighRes(Camera& cam, Owned<int16_t>& samples);

class StillRows;

// ConvertHighRes handing its rows on as they come, for the sizes whose rows
// the resampler writes whole; for other sizes `converted` receives the
// buffer ConvertHighRes would return. False where ConvertHighRes gives null
// (the same refusals, at the same points). `written` is the number of
// components the rows cover; the rest of imageBytes would be 0.
bool ConvertHighResRows(Camera& cam, Owned<int16_t>& samples, StillRows& rows,
                        Owned<uint16_t>& converted, std::size_t& written);

// The frame's samples line by line, for a conversion that reads them as
// it goes instead of from a widened frame.
class ExposureLines {
 public:
  virtual ~ExposureLines() = default;
  // Line y (0..255) of line block `block` (0..7): 512 samples.
  virtual void Read(int block, int y, int16_t* line) const = 0;
};

// True when ConvertHighResRows streams the grid through a window for the
// settings as they stand: then it writes every row and refuses nothing
// once the window is had.
bool HighResStreams(const Camera& cam);

// The window of the streamed conversion; empty on failure.
Owned<int16_t> AllocateHighResWindow();

// The streamed conversion of ConvertHighResRows, reading the samples from
// `lines`, where HighResStreams holds; `window` from AllocateHighResWindow.
void StreamHighResRows(Camera& cam, const ExposureLines& lines, const Owned<int16_t>& window,
                       StillRows& rows, std::size_t& written);

}  // namespace vobrex
