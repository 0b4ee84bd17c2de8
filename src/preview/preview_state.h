// What the preview driver keeps between frames, per camera context.
#pragma once

#include <cstdint>

namespace vobrex {

inline constexpr int kColorGainTableBytes = 1024;

// The running focus measurement: the raw window it watches, the frames
// averaged since it (re)started there, and the value it holds.
struct FocusState {
  bool running = false;
  int32_t sensorMode = 0;
  int32_t column = 0;  // first sample of the window in its field line
  int32_t line = 0;    // first field line of the window
  int32_t startupFrames = 0;
  double startupSum = 0.0;
  double value = 0.0;
};

struct PreviewState {
  // Colour gains of the automatic white balance on preview images, rebuilt
  // by an estimate at most once a second and applied to every frame.
  uint8_t gainTableR[kColorGainTableBytes] = {};
  uint8_t gainTableG[kColorGainTableBytes] = {};
  uint8_t gainTableB[kColorGainTableBytes] = {};
  // Millisecond clock readings: the last frame that reached the estimate
  // gate, and the last estimate that rebuilt the gain tables.
  uint32_t lastFrameTime = 0;
  uint32_t lastEstimateTime = 0;
  FocusState focus;
};

}  // namespace vobrex
