#include "mosaic/hires_mosaic.h"

#include <algorithm>
#include <cmath>

namespace vobrex::mosaic {
namespace {

constexpr int kLines = 256;
constexpr int kLineSamples = 512;
constexpr double kFirstRow = 8.0, kRows = 960.0;
constexpr double kFirstColumn = 4.0, kColumns = 1012.0;

struct Exposure {
  int greenBlueRow;
  int redGreenRow;
  int column;
};
constexpr Exposure kExposures[4] = {{0, 2, 2}, {0, 2, 0}, {1, 3, 1}, {1, 3, 3}};

enum Channel { kRed = 0, kGreen = 1, kBlue = 2 };

uint8_t SceneAt(const Image& scene, int row, int col, int channel) {
  const double x = (col + 0.5 - kFirstColumn) * scene.width / kColumns;
  const double y = (row + 0.5 - kFirstRow) * scene.height / kRows;
  const double v = Sample(scene, x, y, channel);
  return static_cast<uint8_t>(std::clamp(std::lround(v), 0L, 255L));
}

}  // namespace

std::vector<uint8_t> HiresMosaic(const Image& scene) {
  std::vector<uint8_t> frame(static_cast<std::size_t>(8) * kLines * kLineSamples, 0);
  if (scene.width <= 0 || scene.height <= 0) return frame;
  for (int k = 0; k < 4; ++k) {
    for (int redGreen = 0; redGreen < 2; ++redGreen) {
      uint8_t* block =
          frame.data() + static_cast<std::size_t>(2 * k + redGreen) * kLines * kLineSamples;
      const int rowPhase = redGreen ? kExposures[k].redGreenRow : kExposures[k].greenBlueRow;
      for (int y = 0; y < kLines; ++y) {
        uint8_t* line = block + static_cast<std::size_t>(y) * kLineSamples;
        for (int n = 0; n < kLineSamples; ++n) {
          const bool even = (n & 1) == 0;
          const int channel = redGreen ? (even ? kRed : kGreen) : (even ? kGreen : kBlue);
          line[n] = SceneAt(scene, 4 * y + rowPhase, kExposures[k].column + 2 * n, channel);
        }
      }
    }
  }
  return frame;
}

}  // namespace vobrex::mosaic
