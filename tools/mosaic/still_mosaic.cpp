#include "mosaic/still_mosaic.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace vobrex::mosaic {
namespace {

constexpr int kSide = 512;
constexpr int kFieldBytes = 256 * kSide;
constexpr int kBlockBytes = 2 * kFieldBytes;
constexpr int kFirstPictureRow = 4;
constexpr int kPictureRows = 480;

// Channel of Image (0 red, 1 green, 2 blue) that the sensor site reads.
int SiteChannel(int row, int column) {
  if (row % 2 == 0) return column % 2 == 0 ? 1 : 2;
  return column % 2 == 0 ? 0 : 1;
}

uint8_t SiteValue(const Image& scene, int row, int column) {
  const double x = (column + 0.5) * scene.width / kSide;
  const double y = (row - kFirstPictureRow + 0.5) * scene.height / kPictureRows;
  const double v = Sample(scene, x, y, SiteChannel(row, column));
  return static_cast<uint8_t>(std::clamp(std::lround(v), 0L, 255L));
}

void WriteBlock(const Image& scene, uint8_t* block) {
  for (int row = 0; row < kSide; ++row) {
    uint8_t* line = block + (row % 2) * kFieldBytes + (row / 2) * kSide;
    for (int column = 0; column < kSide; ++column) line[column] = SiteValue(scene, row, column);
  }
}

}  // namespace

std::vector<uint8_t> StillMosaic(const Image& scene, int code) {
  const int blocks = (code == 21 || code == 23) ? 2 : 1;
  std::vector<uint8_t> frame(static_cast<std::size_t>(blocks) * kBlockBytes, 0);
  if (scene.width <= 0 || scene.height <= 0) return frame;
  WriteBlock(scene, frame.data());
  if (blocks == 2) std::copy_n(frame.data(), kBlockBytes, frame.data() + kBlockBytes);
  return frame;
}

}  // namespace vobrex::mosaic
