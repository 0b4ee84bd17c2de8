#include "vobrex/test_scene.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace vobrex::tool {

namespace {

constexpr double kPi = 3.14159265358979323846;

using Rgb = std::array<double, 3>;

// Sixteen patches: the usual reflectances of skin, sky, foliage and flowers,
// then the primaries and yellow.
constexpr Rgb kPatches[16] = {
    Rgb{115, 82, 68},   Rgb{194, 150, 130}, Rgb{98, 122, 157}, Rgb{87, 108, 67},
    Rgb{133, 128, 177}, Rgb{103, 189, 170}, Rgb{214, 126, 44}, Rgb{80, 91, 166},
    Rgb{193, 90, 99},   Rgb{94, 60, 108},   Rgb{157, 188, 64}, Rgb{224, 163, 46},
    Rgb{56, 61, 150},   Rgb{70, 148, 73},   Rgb{175, 54, 60},  Rgb{231, 199, 31},
};

Rgb Hue(double h) {
  // Fully saturated hue at 90 % value, h in [0, 1).
  const double s = 0.8, v = 0.9 * 255;
  const double x = h * 6;
  const int sector = static_cast<int>(x) % 6;
  const double f = x - std::floor(x);
  const double p = v * (1 - s), q = v * (1 - s * f), t = v * (1 - s * (1 - f));
  switch (sector) {
    case 0: return {v, t, p};
    case 1: return {q, v, p};
    case 2: return {p, v, t};
    case 3: return {p, q, v};
    case 4: return {t, p, v};
    default: return {v, p, q};
  }
}

// Inside a square of half-size `half` centred at (cx, cy), turned by `angle`.
bool InTurnedSquare(double x, double y, double cx, double cy, double half, double angle) {
  const double dx = x - cx, dy = y - cy;
  const double c = std::cos(angle), s = std::sin(angle);
  return std::abs(c * dx + s * dy) <= half && std::abs(-s * dx + c * dy) <= half;
}

// The chart at a point; (px, py) in pixels, (u, v) the same in fractions of
// the picture. Round shapes are sized by the height, so that they stay
// round at every aspect ratio.
Rgb ChartAt(double px, double py, double u, double v, double width, double height) {
  const Rgb background{128, 128, 128};
  // Colour patches, top left.
  if (u >= 0.03 && u < 0.47 && v >= 0.04 && v < 0.46) {
    const double cu = (u - 0.03) / 0.44 * 4, cv = (v - 0.04) / 0.42 * 4;
    const double fu = cu - std::floor(cu), fv = cv - std::floor(cv);
    if (fu < 0.1 || fu > 0.9 || fv < 0.1 || fv > 0.9) return background;
    return kPatches[static_cast<int>(cv) * 4 + static_cast<int>(cu)];
  }
  // Zone plate, top right: the local frequency reaches half a cycle a pixel
  // at the rim.
  const double zx = px - 0.75 * width, zy = py - 0.25 * height;
  const double radius = 0.2 * height;
  const double r2 = zx * zx + zy * zy;
  if (u >= 0.5 && r2 <= radius * radius) {
    const double g = 128 + 110 * std::cos(kPi * r2 / (2 * radius));
    return {g, g, g};
  }
  // Slanted edges, middle band: a dark square on white, a blue one on yellow.
  if (v >= 0.5 && v < 0.8) {
    const double half = 0.1 * height, angle = 5.0 * kPi / 180;
    if (u < 0.5) {
      return InTurnedSquare(px, py, 0.25 * width, 0.65 * height, half, angle) ? Rgb{30, 30, 30}
                                                                              : Rgb{225, 225, 225};
    }
    return InTurnedSquare(px, py, 0.75 * width, 0.65 * height, half, -angle) ? Rgb{40, 60, 190}
                                                                             : Rgb{230, 210, 60};
  }
  // Gradients, bottom: grey ramp over a hue ramp.
  if (v >= 0.84 && v < 0.96 && u >= 0.03 && u < 0.97) {
    const double t = (u - 0.03) / 0.94;
    if (v < 0.9) return {255 * t, 255 * t, 255 * t};
    return Hue(t);
  }
  return background;
}

Rgb SmoothAt(double u, double v) {
  const double r = 40 + 170 * u + 15 * std::sin(2 * kPi * 0.7 * v);
  const double g = 50 + 150 * (1 - v) + 25 * std::sin(2 * kPi * (1.2 * u + 0.4 * v));
  const double b = 40 + 170 * std::exp(-((u - 0.3) * (u - 0.3) + (v - 0.35) * (v - 0.35)) / 0.08);
  return {r, g, b};
}

uint8_t ToByte(double value) {
  return static_cast<uint8_t>(std::clamp(std::lround(value), 0L, 255L));
}

}  // namespace

bool ParseScenePattern(std::string_view text, ScenePattern& pattern) {
  if (text == "chart") {
    pattern = ScenePattern::kChart;
    return true;
  }
  if (text == "smooth") {
    pattern = ScenePattern::kSmooth;
    return true;
  }
  return false;
}

mosaic::Image RenderScene(ScenePattern pattern, int width, int height) {
  mosaic::Image image(width, height);
  // The chart's edges are drawn with 3 x 3 samples a pixel, so that they are
  // smooth at every size.
  const int samples = pattern == ScenePattern::kChart ? 3 : 1;
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      Rgb sum{0, 0, 0};
      for (int sy = 0; sy < samples; ++sy) {
        for (int sx = 0; sx < samples; ++sx) {
          const double px = x + (sx + 0.5) / samples, py = y + (sy + 0.5) / samples;
          const double u = px / width, v = py / height;
          const Rgb c = pattern == ScenePattern::kChart ? ChartAt(px, py, u, v, width, height)
                                                        : SmoothAt(u, v);
          for (int k = 0; k < 3; ++k) sum[k] += c[k];
        }
      }
      uint8_t* p = image.At(x, y);
      for (int k = 0; k < 3; ++k) p[k] = ToByte(sum[k] / (samples * samples));
    }
  }
  return image;
}

}  // namespace vobrex::tool
