// The camera context: everything the library keeps between calls. Each
// context is independent, so several conversions can run at once on
// separate contexts; the exported C calls share one process-wide context.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>

#include "platform/memory.h"
#include "preview/preview_state.h"
#include "preview/white_balance_state.h"
#include "vobrex32.h"

namespace vobrex {

inline constexpr int kPositionGainRows = 256;
inline constexpr int kPositionGainColumns = 512;
inline constexpr int kPositionGainBytes = kPositionGainRows * kPositionGainColumns;  // 0x20000

struct SampleCountRecord {
  uint32_t rawSampleCount = 0;
  uint32_t reserved = 0;
};

// Scratch storage of the defective-pixel repair, reserved once when the
// context is created. A buffer that could not be reserved stays empty.
struct DefectWorkBuffers {
  Owned<uint8_t> columnsA;  // 10000 bytes: columns of list A (u16)
  Owned<uint8_t> rowsA;     // 5000 bytes: rows of list A (u8)
  Owned<uint8_t> columnsB;  // 10000 bytes
  Owned<uint8_t> rowsB;     // 5000 bytes
  Owned<uint8_t> frame;     // 262144 bytes: one counter byte per site of a block
};

inline constexpr std::size_t kDefectColumnBytes = 10000;
inline constexpr std::size_t kDefectRowBytes = 5000;
inline constexpr std::size_t kDefectFrameBytes = 262144;

class Camera {
 public:
  // Brings a context to life: defaults, geometry, position-gain table,
  // defect buffers and the sharpening parameters of level 150.
  Camera();
  Camera(const Camera&) = delete;
  Camera& operator=(const Camera&) = delete;

  CameraModes modes{};
  SampleCountRecord sampleCount{};
  ColorGainRecord colorGain{};
  Owned<uint8_t> positionGain;  // kPositionGainBytes, rows of 512 gains
  DefectWorkBuffers defectBuffers;
  WhiteBalanceState whiteBalance;
  PreviewState preview;

  // The millisecond clock of the preview: counts from the context's
  // creation, starting at 1001, and wraps as a 32-bit value. Tests replace
  // it to step time by hand.
  uint32_t NowMs() const;
  void SetClock(std::function<uint32_t()> clock) { clock_ = std::move(clock); }

 private:
  std::chrono::steady_clock::time_point created_;
  std::function<uint32_t()> clock_;
};

// The resolution rules.
void SetSampleCount(Camera& cam, int code);
void SetGeometry(Camera& cam, int code, int subMode);
int OrientationCode(int mirror, int flip);
inline int OrientationCode(const CameraModes& m) { return OrientationCode(m.mirror, m.flip); }
// Scale of the sampling steps of the white-balance and defect stages; it is
// also the number of 512 x 512 sample blocks those stages walk.
int ResolutionScale(int code);

// Builds the position-gain table for `gainTable` into `table`.
void BuildPositionGainTable(uint8_t* table, int gainTable);

// Reserves the defect buffers in their fixed order; false when one failed
// (the ones before it are kept).
bool ReserveDefectBuffers(DefectWorkBuffers& buffers);

// Setters and getters, as the exported calls see them.
void SetResolution(Camera& cam, int code, int subMode);
void SetMotionResolution(Camera& cam, int subMode);
void GetImageSize(const Camera& cam, int* width, int* height, int* imageBytes);
int SetOption(Camera& cam, int letter, int value);
int SetOrientation(Camera& cam, int operation);
void SetWbFactors(Camera& cam, double r, double g, double b);
void SetFocusFactors(Camera& cam, int sharpenOn, int defectFixOn);
void SetCBFactors(Camera& cam, int contrast, int brightness, int gamma, int level1, int level2,
                  int level3);
void SetFocusCoord(Camera& cam, int x, int y);
int* WbSemiFactors(const Camera& cam);
void WbSemiFactorsRestore(Camera& cam, const int32_t (&factors)[7]);
void SetRGBratio(Camera& cam, uint16_t r, uint16_t g, uint16_t b);
void GetRGBratio(const Camera& cam, int* r, int* g, int* b);
int AdjustColorGain(Camera& cam, int channel, int value);

}  // namespace vobrex
