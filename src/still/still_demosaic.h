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

// Green at the red and blue sites.
void FillGreen(int16_t* planes);
// Red at the green and blue sites, by colour difference from one red
// neighbour (right, above or above-right).
void FillRed(int16_t* planes);
// Blue at the green and red sites, by colour difference from one blue
// neighbour (right, below or below-left).
void FillBlue(int16_t* planes);

}  // namespace vobrex
