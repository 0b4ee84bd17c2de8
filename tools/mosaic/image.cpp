#include "mosaic/image.h"

#include <algorithm>
#include <cmath>

namespace vobrex::mosaic {

Image FromLibraryPixels(const uint8_t* pixels, int width, int height) {
  Image image(width, height);
  for (int y = 0; y < height; ++y) {
    const uint8_t* row = pixels + static_cast<size_t>(height - 1 - y) * width * 3;
    for (int x = 0; x < width; ++x) {
      uint8_t* p = image.At(x, y);
      p[0] = row[x * 3 + 2];
      p[1] = row[x * 3 + 1];
      p[2] = row[x * 3 + 0];
    }
  }
  return image;
}

double Sample(const Image& image, double x, double y, int c) {
  const double fx = std::clamp(x - 0.5, 0.0, image.width - 1.0);
  const double fy = std::clamp(y - 0.5, 0.0, image.height - 1.0);
  const int x0 = static_cast<int>(fx), y0 = static_cast<int>(fy);
  const int x1 = std::min(x0 + 1, image.width - 1), y1 = std::min(y0 + 1, image.height - 1);
  const double ax = fx - x0, ay = fy - y0;
  const double top = image.At(x0, y0)[c] * (1 - ax) + image.At(x1, y0)[c] * ax;
  const double bottom = image.At(x0, y1)[c] * (1 - ax) + image.At(x1, y1)[c] * ax;
  return top * (1 - ay) + bottom * ay;
}

double Psnr(const Image& a, const Image& b, int channel, int border) {
  if (a.width != b.width || a.height != b.height) return 0.0;
  double sum = 0.0;
  long count = 0;
  for (int y = border; y < a.height - border; ++y) {
    for (int x = border; x < a.width - border; ++x) {
      const double d = double(a.At(x, y)[channel]) - double(b.At(x, y)[channel]);
      sum += d * d;
      ++count;
    }
  }
  if (count == 0 || sum == 0.0) return 99.0;
  return 10.0 * std::log10(255.0 * 255.0 / (sum / count));
}

}  // namespace vobrex::mosaic
