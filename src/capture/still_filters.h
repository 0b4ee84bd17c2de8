// Optional filters over a packed 24-bit still (option 'u'), run after packing
// and before sharpening. Each reads a private copy of the image, so every
// result depends on unfiltered values only.
#pragma once

#include <cstdint>

namespace vobrex {

// Zeroes the smallest and the largest of n values (the last of equal minima,
// the last of equal maxima); the remaining sum is that of the middle ones.
void DropMinMax(int32_t* values, int32_t n);

// Evens out the four exposures of a high-resolution still down each column:
// every component becomes the mean of the middle two of four rows.
int StillFilterA(uint8_t* pixels, int32_t width, int32_t height);
// Softens green between neighbouring rows of a standard still.
int StillFilterB(uint8_t* pixels, int32_t width, int32_t height);
// Smooths green in flat 3 x 3 neighbourhoods of a full-size standard still.
int StillFilterC(uint8_t* pixels, int32_t width, int32_t height);

}  // namespace vobrex
