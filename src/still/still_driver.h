// Still conversion of the standard resolutions (codes 11, 13, 21, 23).
#pragma once

#include <cstddef>
#include <cstdint>

#include "settings/camera.h"

namespace vobrex {

// Converts the widened raw frame into imageBytes 16-bit components (blue,
// green, red, rows bottom-up). Only the low byte of `code` counts, as a
// signed 8-bit value: 11 and 13 demosaic one 512 x 512 two-field read-out,
// 21 and 23 have no demosaic and convert black planes; every other code is
// refused (null) and `samples` stays the caller's, as it does when the
// planes cannot be obtained. Once the code is accepted `samples` is released
// whatever follows. The kernel is chosen by outputFormat and sensorMode; an
// unknown sub-mode falls back to SetResolution(13, 0) and the 640 x 480
// kernel, after the output was sized. Null also when the output cannot be
// obtained or holds fewer than the width x height x 3 components the chosen
// kernel writes; an outputFormat above 2 returns the array unfilled (zero).
Owned<uint16_t> ConvertStill(Camera& cam, Owned<int16_t>& samples, int code);

class StillRows;

// ConvertStill without the converted buffer: the kernel writes its rows
// through `rows` as they come. False where ConvertStill gives null (the
// same refusals, at the same points); `written` is the number of
// components the kernel wrote (0 when no kernel runs), the rest of the
// imageBytes components that ConvertStill would return are 0.
bool ConvertStillRows(Camera& cam, Owned<int16_t>& samples, int code, StillRows& rows,
                      std::size_t& written);

class StillFrameSource;

// The line buffer of ConvertStillRowsFromLines; empty on failure.
Owned<int16_t> AllocateStillLines();

// ConvertStillRows with the frame read from `source` a field line at a
// time into `lines` (from AllocateStillLines) in place of a widened frame:
// the same rows, refusals and order of allocations, `lines` standing for
// the samples (released where they would be).
bool ConvertStillRowsFromLines(Camera& cam, const StillFrameSource& source, Owned<int16_t>& lines,
                               int code, StillRows& rows, std::size_t& written);

}  // namespace vobrex
