// A plain RGB image for synthesising raw frames and checking conversions.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace vobrex::mosaic {

// Rows top-down, three bytes a pixel in the order red, green, blue.
struct Image {
  int width = 0;
  int height = 0;
  std::vector<uint8_t> rgb;

  Image() = default;
  Image(int w, int h) : width(w), height(h), rgb(static_cast<std::size_t>(w) * h * 3, 0) {}
  uint8_t* At(int x, int y) { return rgb.data() + (static_cast<std::size_t>(y) * width + x) * 3; }
  const uint8_t* At(int x, int y) const {
    return rgb.data() + (static_cast<std::size_t>(y) * width + x) * 3;
  }
};

// Converts the library's output (rows bottom-up, blue-green-red) to an Image.
Image FromLibraryPixels(const uint8_t* pixels, int width, int height);

// Bilinear sample of channel c (0 red, 1 green, 2 blue) at real position
// (x, y), where pixel (i, j) has its centre at (i + 0.5, j + 0.5); edges clamp.
double Sample(const Image& image, double x, double y, int c);

// Peak signal-to-noise ratio of one channel (0 red, 1 green, 2 blue) in dB,
// over the pixels at least `border` pixels from every edge; 99 for equal images.
double Psnr(const Image& a, const Image& b, int channel, int border = 0);

}  // namespace vobrex::mosaic
