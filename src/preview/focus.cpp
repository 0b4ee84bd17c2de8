#include "preview/focus.h"

#include <algorithm>
#include <cstdlib>

#include "preview/sensor_kernels.h"

namespace vobrex {

namespace {

// The window: 8 lines of the first field, 32 samples wide, so 16 green
// sites a line. Greens are compared only with greens (two samples apart
// along a line, one field line down), so the colour filter adds no edges.
constexpr int32_t kWindowColumns = 32;
constexpr int32_t kWindowLines = 8;
constexpr int32_t kGreensPerLine = kWindowColumns / 2;

// Frames averaged after the measurement (re)starts, and the band inside
// which a new value does not replace the one held.
constexpr int32_t kStartupFrames = 4;
constexpr double kHoldLow = 0.998;
constexpr double kHoldHigh = 1.002;
constexpr double kIndicationScale = 0.25 * 0.3010299956639812;

// The read-out a sub-mode delivers and the field lines its picture shows.
struct ReadOut {
  int32_t columns;
  int32_t fieldLines;
  int32_t firstPictureLine;
  int32_t pictureLines;
};

ReadOut ReadOutOf(uint8_t sensorMode) {
  switch (sensorMode) {
    case 1:
    case 2:
    case 55:
    case 56: return {kHalfColumns, kHalfFieldLines, kHalfFirstPictureLine, kHalfPictureLines};
    default: return {kFullColumns, kFullFieldLines, kFullFirstPictureLine, kFullPictureLines};
  }
}

int32_t ClampCoordinate(int32_t v, int32_t highFrom, int32_t high, int32_t lowBelow, int32_t low) {
  if (v >= highFrom) return high;
  if (v < lowBelow) return low;
  return v;
}

// The limits keep the window of the sub-modes with a focus display inside
// their pictures. The coordinates are compared as the signed values that
// SetFocusCoord takes.
void ClampFocusCoordinates(CameraModes& m) {
  auto x = static_cast<int32_t>(m.focusX);
  auto y = static_cast<int32_t>(m.focusY);
  switch (m.sensorMode) {
    case 51:
      x = ClampCoordinate(x, 630, 630, 6, 8);
      y = ClampCoordinate(y, 474, 474, 6, 8);
      break;
    case 0:
      x = ClampCoordinate(x, 314, 314, 3, 3);
      y = ClampCoordinate(y, 238, 238, 4, 4);
      break;
    case 1:
      x = ClampCoordinate(x, 158, 157, 1, 1);
      y = ClampCoordinate(y, 119, 118, 4, 4);
      break;
    default: return;
  }
  m.focusX = static_cast<uint32_t>(x);
  m.focusY = static_cast<uint32_t>(y);
}

struct Window {
  int32_t column;  // even: the window starts on a green site
  int32_t line;
};

// The focus position is a pixel of the picture as shown (left to right,
// top to bottom). The orientation decides which sensor column and line
// that pixel came from; the window is centred there and kept inside the
// field.
Window PlaceWindow(const CameraModes& m, const ReadOut& r, int32_t width, int32_t height) {
  const int64_t w = width > 0 ? width : r.columns;
  const int64_t h = height > 0 ? height : r.pictureLines;
  int64_t x = std::clamp<int64_t>(static_cast<int32_t>(m.focusX), 0, w - 1);
  int64_t y = std::clamp<int64_t>(static_cast<int32_t>(m.focusY), 0, h - 1);
  const int code = OrientationCode(m);
  if (code == 3 || code == 4) x = w - 1 - x;  // lines are written right to left
  if (code == 1 || code == 3) y = h - 1 - y;  // the picture is upside down
  const int64_t column = (2 * x + 1) * r.columns / (2 * w);
  const int64_t line = r.firstPictureLine + (2 * y + 1) * r.pictureLines / (2 * h);
  const auto first =
      std::clamp<int64_t>(column - kWindowColumns / 2, 0, r.columns - kWindowColumns);
  const auto top = std::clamp<int64_t>(line - kWindowLines / 2, 0, r.fieldLines - kWindowLines);
  return {static_cast<int32_t>(first & ~int64_t{1}), static_cast<int32_t>(top)};
}

// The largest green step along each line plus the largest green step down
// each column of the window: a sharp edge gives a large step, the same edge
// out of focus spreads over several small ones.
int32_t WindowSharpness(const uint8_t* raw, int32_t columns, const Window& window) {
  const uint8_t* top = raw + window.line * columns + window.column;
  int32_t sum = 0;
  for (int32_t l = 0; l < kWindowLines; ++l) {
    const uint8_t* row = top + l * columns;
    int32_t largest = 0;
    for (int32_t i = 0; i + 1 < kGreensPerLine; ++i) {
      largest = std::max(largest, std::abs(row[2 * i + 2] - row[2 * i]));
    }
    sum += largest;
  }
  for (int32_t i = 0; i < kGreensPerLine; ++i) {
    int32_t largest = 0;
    for (int32_t l = 0; l + 1 < kWindowLines; ++l) {
      largest =
          std::max(largest, std::abs(top[(l + 1) * columns + 2 * i] - top[l * columns + 2 * i]));
    }
    sum += largest;
  }
  return sum;
}

}  // namespace

void MeasureFocus(Camera& cam, uint8_t* raw, int32_t width, int32_t height) {
  CameraModes& m = cam.modes;
  ClampFocusCoordinates(m);
  const ReadOut readOut = ReadOutOf(m.sensorMode);
  const Window window = PlaceWindow(m, readOut, width, height);
  const double value = WindowSharpness(raw, readOut.columns, window) * kIndicationScale;

  // A new window (or sub-mode) restarts the measurement: its first frames
  // are averaged, then the value held changes only when a frame leaves the
  // band around it, so that the indication does not flicker.
  FocusState& f = cam.preview.focus;
  if (!f.running || f.sensorMode != m.sensorMode || f.column != window.column ||
      f.line != window.line) {
    f = FocusState{};
    f.running = true;
    f.sensorMode = m.sensorMode;
    f.column = window.column;
    f.line = window.line;
  }
  if (f.startupFrames < kStartupFrames) {
    f.startupSum += value;
    ++f.startupFrames;
    f.value = f.startupSum / f.startupFrames;
  } else if (value < f.value * kHoldLow || value > f.value * kHoldHigh) {
    f.value = value;
  }
  m.focusValue = f.value;
}

}  // namespace vobrex
