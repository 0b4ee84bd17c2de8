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

// The byte tables of the last raw-domain balance that went by tables, and
// what they were built from: the wbMode (which curve mapping the chain
// takes), which raw-domain tables the balance mapped through, and the
// version of those tables' contents. The same three give the same bytes.
struct RawByteTables {
  bool valid = false;
  int32_t wbMode = 0;
  uint32_t mapped = 0;  // a bit per ratio (0..2) and factor (3..5) table used
  uint32_t rawTableVersion = 0;
  uint8_t table[4][256] = {};
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
  RawByteTables rawByteTables;
};

}  // namespace vobrex
