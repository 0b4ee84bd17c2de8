#include "mosaic/preview_mosaic.h"

#include <algorithm>
#include <cmath>

namespace vobrex::mosaic {

namespace {

constexpr std::size_t kFrameBytes = 262144;
constexpr int kSensorColumns = 512;
constexpr int kFieldLines = 256;
constexpr int kFullSecondField = 0x20000;
constexpr int kHalfColumns = 256;
constexpr int kHalfLines = 128;
constexpr int kHalfSecondField = 0x8000;
// The picture: sensor rows 8 .. 487, all columns.
constexpr double kPictureTop = 8.0;
constexpr double kPictureRows = 480.0;

enum Channel { kRed = 0, kGreen = 1, kBlue = 2 };

// Colour of a site: even rows (field 0) G B, odd rows (field 1) R G.
int SiteChannel(int field, int column) {
  const bool even = column % 2 == 0;
  if (field == 0) return even ? kGreen : kBlue;
  return even ? kRed : kGreen;
}

// The scene's value of `channel` at the centre of sensor site (row, column).
double SceneAtSite(const Image& scene, int row, int column, int channel) {
  const double x = (column + 0.5) * scene.width / kSensorColumns;
  const double y = (row + 0.5 - kPictureTop) * scene.height / kPictureRows;
  return Sample(scene, x, y, channel);
}

uint8_t ToByte(double v) { return static_cast<uint8_t>(std::clamp(std::lround(v), 0L, 255L)); }

void FullReadOut(const Image& scene, std::vector<uint8_t>& frame) {
  for (int field = 0; field < 2; ++field) {
    for (int line = 0; line < kFieldLines; ++line) {
      uint8_t* out = frame.data() + field * kFullSecondField + line * kSensorColumns;
      for (int c = 0; c < kSensorColumns; ++c) {
        out[c] = ToByte(SceneAtSite(scene, 2 * line + field, c, SiteChannel(field, c)));
      }
    }
  }
}

void HalfReadOut(const Image& scene, std::vector<uint8_t>& frame) {
  for (int field = 0; field < 2; ++field) {
    for (int r = 0; r < kHalfLines; ++r) {
      uint8_t* out = frame.data() + field * kHalfSecondField + r * kHalfColumns;
      for (int j = 0; j < kHalfColumns; ++j) {
        const int column = 4 * (j / 2) + j % 2;
        out[j] = ToByte(SceneAtSite(scene, 4 * r + field, column, SiteChannel(field, column)));
      }
    }
  }
}

}  // namespace

std::vector<uint8_t> PreviewMosaic(const Image& scene, int sensorMode) {
  std::vector<uint8_t> frame(kFrameBytes, 0);
  if (scene.width <= 0 || scene.height <= 0) return frame;
  switch (sensorMode) {
    case 0:
    case 51:
    case 52:
    case 53:
    case 54:
    case 57:
    case 58: FullReadOut(scene, frame); break;
    case 1:
    case 2:
    case 55:
    case 56: HalfReadOut(scene, frame); break;
    default: break;
  }
  return frame;
}

}  // namespace vobrex::mosaic
