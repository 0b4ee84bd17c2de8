#include "settings/camera.h"

#include "capture/sharpening.h"

#include <cmath>
#include <cstring>

namespace vobrex {

namespace {

void WriteDefaults(CameraModes& m) {
  m.width = 640;
  m.height = 480;
  m.imageBytes = 921600;
  m.resolution = 13;
  m.reserved9 = 2;
  m.sensorMode = '3';
  m.outputFormat = 1;
  m.wideRange = 0;
  m.mirror = 0;
  m.reserved14 = 0;
  m.flip = 0;
  m.sharpenOn = 0;
  m.defectFixOn = 0;
  m.contrast = 0;
  m.brightness = 0;
  m.gamma = 100;
  m.toneLevel1 = 1;
  m.toneLevel2 = 1;
  m.toneLevel3 = 1;
  m.optionQ = 1;
  m.optionR = 0;
  m.optionS = 1;
  m.focusX = 4;
  m.focusY = 4;
  m.vfwWideRange = 0;
  m.wbStatus = 0;
  m.wbStatus2 = 0;
  m.gainAdjust = 0;
  m.ratioR = 100;
  m.ratioG = 100;
  m.ratioB = 100;
  m.wbFactorR = 1.0;
  m.wbFactorG = 1.0;
  m.wbFactorB = 1.0;
  m.wbMemo = -1;
  for (int32_t& f : m.semiFactors) f = -1;
  m.optionF = 0;
  m.reserved161 = 5;
  m.reserved164 = 30;
  m.reserved166 = 30;
  m.sharpenAllow = 0;
  m.sharpShift = 2;
  m.sharpDivisor3 = 200;
  m.sharpDivisor7 = 950;
  m.wbOnly = 0;
  m.wbMode = 1;
  m.framing = '3';
  m.wbExtra = 0;
  m.gainTable = 1;
  m.sharpMode = 0;
  m.optionN = 0;
  m.sharpness = 0;
}

}  // namespace

Camera::Camera() : created_(std::chrono::steady_clock::now()) {
  // Fields the defaults never write start at 0 (the record is value-initialised).
  WriteDefaults(modes);
  colorGain.gainR = 100;
  colorGain.gainG = 100;
  colorGain.gainB = 100;
  colorGain.gainMemo = -1;

  SetSampleCount(*this, modes.resolution);
  SetGeometry(*this, modes.resolution, modes.sensorMode);

  positionGain = AllocateArray<uint8_t>(kPositionGainBytes, true);
  if (positionGain) BuildPositionGainTable(positionGain.get(), modes.gainTable);

  ReserveDefectBuffers(defectBuffers);  // a failure leaves the repair without buffers
  SetSharpnessLevel(*this, 150);
}

uint32_t Camera::NowMs() const {
  if (clock_) return clock_();
  const auto elapsed = std::chrono::duration_cast<std::chrono::milliseconds>(
      std::chrono::steady_clock::now() - created_);
  return static_cast<uint32_t>(1001u + static_cast<uint64_t>(elapsed.count()));
}

void BuildPositionGainTable(uint8_t* table, int gainTable) {
  static constexpr int kRadius[6] = {1759, 1215, 966, 813, 703, 617};
  static constexpr int kGain[6] = {200, 150, 110, 80, 75, 50};
  const bool known = gainTable >= 0 && gainTable <= 5;
  const double radius = known ? kRadius[gainTable] : kRadius[0];
  const double gain = known ? kGain[gainTable] : 50;
  const double pi = 3.14159265358979323846;

  double columnGain[256];
  double rowGain[128];
  for (int s = 0; s < 256; ++s) columnGain[s] = std::pow(1.0 / std::cos(s * (pi / 2) / radius), 4);
  // Rows step twice as fast as columns: the table covers half a block's rows.
  for (int r = 0; r < 128; ++r) rowGain[r] = std::pow(1.0 / std::cos(r * pi / radius), 4);

  for (int r = 0; r < 128; ++r) {
    uint8_t* below = table + (128 + r) * kPositionGainColumns;
    uint8_t* above = table + (127 - r) * kPositionGainColumns;
    for (int s = 0; s < 256; ++s) {
      const auto v = static_cast<int32_t>(gain * rowGain[r] * columnGain[s]);
      const auto cell = static_cast<uint8_t>(v & 0xFF);
      below[256 + s] = cell;
      below[255 - s] = cell;
      above[256 + s] = cell;
      above[255 - s] = cell;
    }
  }
}

bool ReserveDefectBuffers(DefectWorkBuffers& buffers) {
  struct Step {
    Owned<uint8_t>* slot;
    std::size_t bytes;
  };
  const Step steps[] = {{&buffers.columnsA, kDefectColumnBytes},
                        {&buffers.rowsA, kDefectRowBytes},
                        {&buffers.columnsB, kDefectColumnBytes},
                        {&buffers.rowsB, kDefectRowBytes},
                        {&buffers.frame, kDefectFrameBytes}};
  for (const Step& step : steps) {
    *step.slot = AllocateArray<uint8_t>(step.bytes, true);
    if (!*step.slot) return false;
  }
  return true;
}

}  // namespace vobrex
