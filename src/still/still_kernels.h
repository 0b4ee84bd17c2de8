// The resampling kernels of the standard still conversion: the three filled
// still planes to a 640 x 480, 480 x 360 or 320 x 240 picture of 16-bit
// components (blue, green, red; rows bottom-up when upright), in grey or
// colour. Each reads plane rows 4 to 483 only (the 640-wide members wrap once
// into column 0 of row 484) and writes exactly width x height x 3 components.
#pragma once

#include <cstddef>
#include <cstdint>

#include "still/still_resample.h"
#include "vobrex32.h"

namespace vobrex {

// Grey level (2 red + 4 green + blue) / 7 in all three components.
void StillToGrey(const int16_t* planes, uint16_t* out, int orientation);     // 640 x 480
void StillToGrey480(const int16_t* planes, uint16_t* out, int orientation);  // 480 x 360
void StillToGrey320(const int16_t* planes, uint16_t* out, int orientation);  // 320 x 240

// Content by `outputFormat` and `optionQ`: format 1 colour; format 0 grey
// from green alone when optionQ is 1, else the mean of the three colours.
void StillToColour(const CameraModes& modes, const int16_t* planes, uint16_t* out,
                   int orientation);  // 640 x 480
void StillToColour480(const CameraModes& modes, const int16_t* planes, uint16_t* out,
                      int orientation);  // 480 x 360
void StillToColour320(const CameraModes& modes, const int16_t* planes, uint16_t* out,
                      int orientation);  // 320 x 240

// The same kernels writing through a row target (still_resample.h).
void StillToGrey(const int16_t* planes, StillRows& out, int orientation);
void StillToGrey480(const int16_t* planes, StillRows& out, int orientation);
void StillToGrey320(const int16_t* planes, StillRows& out, int orientation);
void StillToColour(const CameraModes& modes, const int16_t* planes, StillRows& out,
                   int orientation);
void StillToColour480(const CameraModes& modes, const int16_t* planes, StillRows& out,
                      int orientation);
void StillToColour320(const CameraModes& modes, const int16_t* planes, StillRows& out,
                      int orientation);

// A kernel as its rows and its mix, for a conversion that hands it the
// plane rows as they are filled. `size` 0, 1, 2: 640 x 480, 480 x 360,
// 320 x 240.
struct StillKernelRows {
  StillPictureRows rows;
  StillContent content;
  StillMix mix;                      // for kMixed
  StillGroupMix mixGroup = nullptr;  // the rows resampled and mixed in one, when there is one
};
StillKernelRows ColourKernelRows(const CameraModes& modes, int size);
StillKernelRows GreyKernelRows(int size);

}  // namespace vobrex
