#include "preview/preview_driver.h"

#include <algorithm>
#include <cstring>

#include "capture/channel_tables.h"
#include "capture/sample_buffers.h"
#include "platform/memory.h"
#include "preview/focus.h"
#include "preview/sensor_kernels.h"
#include "preview/tone_curve.h"
#include "preview/white_balance.h"
#include "settings/curve_tables.h"

namespace vobrex {

namespace {

// The white balance treats a preview frame as one block of 512 x 512
// samples, which resolution code 10 selects; 10 is also the colour-gain
// mode that follows wbMode.
constexpr int32_t kPreviewBalanceCode = 10;
constexpr int32_t kColorGainByWbMode = 10;
constexpr int32_t kPreviewCaller = 0;
// The automatic estimate on preview images runs at most once a second.
constexpr int32_t kEstimateIntervalMs = 1000;

struct KernelChoice {
  enum class Kind { kKernel, kNoKernel, kUnknownMode };
  Kind kind;
  SensorKernel kernel = nullptr;
  int32_t bytes = 0;
};

KernelChoice Use(SensorKernel kernel, KernelSize size) {
  return {KernelChoice::Kind::kKernel, kernel, size.Bytes()};
}

// Colour (outputFormat 1) or grey (0 and 2) kernel of the sub-mode's
// read-out. Other output formats run no kernel; an unknown sub-mode fails
// the frame. The sub-mode is read as a signed byte.
KernelChoice ChooseKernel(const CameraModes& m) {
  constexpr KernelChoice kNone{KernelChoice::Kind::kNoKernel};
  bool colour = false;
  switch (m.outputFormat) {
    case 1: colour = true; break;
    case 0:
    case 2: colour = false; break;
    default: return kNone;
  }
  switch (static_cast<int8_t>(m.sensorMode)) {
    case 0:
    case 53: return colour ? Use(KernelA1, kSizeA) : Use(KernelA0, kSizeA);
    case 1:
    case 55: return colour ? Use(KernelB1, kSizeB) : Use(KernelB0, kSizeB);
    case 2:
    case 56: return colour ? Use(KernelC1, kSizeC) : Use(KernelC0, kSizeC);
    case 51: return colour ? Use(KernelD1, kSizeD) : Use(KernelD0, kSizeD);
    case 54: return colour ? Use(KernelE1, kSizeE) : Use(KernelE0, kSizeE);
    case 57:
      if (!colour) return kNone;
      return m.sharpMode == 1 ? Use(KernelF1Wide, kSizeF) : Use(KernelF1, kSizeF);
    case 52:
    case 58: return kNone;
    default: return {KernelChoice::Kind::kUnknownMode};
  }
}

// White balance on the raw frame: widened to 16 bits, through the
// expanding curve, balanced, back through the compressing curve and
// narrowed into the frame. False when the working buffer cannot be had;
// the frame is then unchanged. The buffer holds at least one block, which
// is what the balance walks.
//
// When the balance maps each sample by its colour and value alone (no gain
// by position), the chain widen - expand - balance - compress - narrow is
// one byte table per colour. The tables are built by running the same
// steps on each of the 256 byte values, and applied in one sweep over the
// frame: the bytes are those of the sample-by-sample chain by construction.
// The tables are the working storage of that sweep; they come from the
// general allocator like every working buffer, so a frame whose storage
// cannot be had fails before any byte is written.
//
// The tables of a frame follow from the wbMode, the raw-domain tables the
// balance maps through and their contents; the last frame's tables are kept
// and reused while those stay the same (the raw-domain tables keep a version
// that moves with every write).
bool BalanceRawFrameByTables(Camera& cam, uint8_t* raw) {
  const CameraModes& m = cam.modes;
  const int64_t count = cam.sampleCount.rawSampleCount;
  Owned<ByteChannelTables> storage = AllocateArray<ByteChannelTables>(1);
  if (!storage) return false;
  ByteChannelTables& tables = storage[0];
  int16_t widen[256];
  for (int v = 0; v < 256; ++v) {
    widen[v] = MapSample(m.wbMode, static_cast<int16_t>(v), kCurveTables.expandTable.data(),
                         kExpandTableLength);
  }
  RawGainMaps maps;
  WhiteBalanceMaps(cam, WidenedBytes{raw, widen}, kPreviewBalanceCode, kPreviewCaller, maps);
  uint32_t mapped = 0;
  for (int c = 0; c < 3; ++c) {
    if (maps.ratio[c] != nullptr) mapped |= 1u << c;
    if (maps.factor[c] != nullptr) mapped |= 8u << c;
  }
  RawByteTables& kept = cam.preview.rawByteTables;
  const uint32_t version = cam.whiteBalance.rawTableVersion;
  if (!(kept.valid && kept.wbMode == m.wbMode && kept.mapped == mapped &&
        kept.rawTableVersion == version)) {
    auto narrow = [&m](int16_t v) {
      return static_cast<uint8_t>(
          MapSample(m.wbMode, v, kCurveTables.compressTable.data(), kCompressTableLength) & 0xFF);
    };
    for (int v = 0; v < 256; ++v) {
      for (int c : {kChannelGreen, kChannelBlue, kChannelRed}) {
        kept.table[c][v] = narrow(maps.Map(c, widen[v]));
      }
      kept.table[kChannelPlain][v] = narrow(widen[v]);
    }
    kept.valid = true;
    kept.wbMode = m.wbMode;
    kept.mapped = mapped;
    kept.rawTableVersion = version;
  }
  std::memcpy(tables.table, kept.table, sizeof tables.table);
  MapRawBytes(raw, count, ResolutionScale(kPreviewBalanceCode), tables);
  return true;
}

bool BalanceRawFrame(Camera& cam, uint8_t* raw) {
  const auto count = static_cast<int32_t>(cam.sampleCount.rawSampleCount);
  // The table sweep needs the whole block the balance measures and maps;
  // a gain by position needs the samples themselves.
  if (cam.modes.wbExtra == 0 && count >= kPreviewFrameBytes)
    return BalanceRawFrameByTables(cam, raw);
  const int32_t capacity = std::max(count, kPreviewFrameBytes);
  Owned<int16_t> samples = AllocateArray<int16_t>(static_cast<std::size_t>(capacity));
  if (!samples) return false;
  std::fill(samples.get() + std::max(count, 0), samples.get() + capacity, int16_t{0});
  ExpandSamples(samples.get(), raw, count);
  MapSamples(cam, samples.get(), count, kCurveTables.expandTable.data(), kExpandTableLength);
  ApplyWhiteBalance(cam, samples.get(), kPreviewBalanceCode, kPreviewCaller);
  MapSamples(cam, samples.get(), count, kCurveTables.compressTable.data(), kCompressTableLength);
  NarrowSamples(raw, reinterpret_cast<const uint16_t*>(samples.get()), count);
  return true;
}

// Reads the clock into lastFrameTime; true when an estimate of the colour
// gains is due on this frame.
bool EstimateDue(Camera& cam) {
  PreviewState& s = cam.preview;
  s.lastFrameTime = cam.NowMs();
  // A signed difference, so that the gate keeps working when the clock wraps.
  const auto elapsed = static_cast<int32_t>(s.lastFrameTime - s.lastEstimateTime);
  return elapsed > kEstimateIntervalMs || cam.modes.wbOnly == 1;
}

// The estimate of the colour gains. False when it leaves a smallest level
// of 0: the tables and lastEstimateTime then keep their values.
bool UpdateColorGains(Camera& cam, const uint8_t* rgb, int32_t byteCount) {
  CameraModes& m = cam.modes;
  PreviewState& s = cam.preview;

  EstimateWhiteBalance(cam, rgb, byteCount);
  const auto ratioR = static_cast<int16_t>(m.ratioR);
  const auto ratioB = static_cast<int16_t>(m.ratioB);
  const auto ratioG = static_cast<int16_t>(m.ratioG);
  const int16_t peak = std::max({ratioR, ratioB, ratioG});
  if (std::min({ratioR, ratioB, ratioG}) == 0) return false;
  BuildGainTable(s.gainTableR, peak, ratioR);
  BuildGainTable(s.gainTableB, peak, ratioB);
  BuildGainTable(s.gainTableG, peak, ratioG);
  RemapGainTable(s.gainTableR);
  RemapGainTable(s.gainTableB);
  RemapGainTable(s.gainTableG);
  s.lastEstimateTime = cam.NowMs();
  return true;
}

void ApplyColorGainTables(Camera& cam, uint8_t* rgb, int32_t byteCount) {
  const PreviewState& s = cam.preview;
  ApplyColorGain(cam, rgb, byteCount, s.gainTableR, s.gainTableG, s.gainTableB, kColorGainByWbMode);
}

// ApplyByteTable with the previewTable, then the colour gain, in one pass:
// for each byte of a pixel, the gain's table of the preview table's value;
// bytes past the last whole pixel take the preview table only, as the gain
// maps whole pixels.
void ApplyPreviewAndGain(Camera& cam, uint8_t* rgb, int32_t byteCount) {
  if (byteCount <= 0) return;
  const PreviewState& s = cam.preview;
  const uint8_t* preview = kCurveTables.previewTable.data();
  uint8_t gain[3][256];
  const int32_t pixels = byteCount / 3;
  if (pixels <= 0 ||
      !ColorGainMaps(cam, s.gainTableR, s.gainTableG, s.gainTableB, kColorGainByWbMode, gain)) {
    ApplyByteTable(rgb, byteCount, preview);
    return;
  }
  uint8_t tables[3][256];
  for (int c = 0; c < 3; ++c) {
    for (int v = 0; v < 256; ++v) tables[c][v] = gain[c][preview[v]];
  }
  MapPixelBytes(rgb, pixels, tables);
  ApplyByteTable(rgb + 3 * pixels, byteCount - 3 * pixels, preview);
}

bool HasManualFactors(const CameraModes& m) {
  return m.wbFactorR != 1.0 || m.wbFactorG != 1.0 || m.wbFactorB != 1.0;
}

// The sharpening walks rows of width x 3 bytes; it runs only over the
// whole rows that lie inside imageBytes.
void SharpenInsideImage(uint8_t* rgb, int32_t width, int32_t height, uint32_t imageBytes) {
  if (width <= 0 || height <= 0) return;
  const int64_t rows = std::min<int64_t>(height, imageBytes / (int64_t{width} * 3));
  SharpenPreview(rgb, width, static_cast<int32_t>(rows));
}

}  // namespace

// The record may hold anything (a caller can copy any 208 bytes in), so
// the driver never writes past imageBytes of the caller's image:
//  - a frame whose sub-mode selects a kernel with more output than
//    imageBytes (width x height x 3 of the kernel's own size) is refused
//    with 0 before any stage runs, and neither buffer is written;
//  - every pass over the image is bounded by imageBytes (an imageBytes
//    beyond the signed 32-bit range counts as no bytes), and the
//    sharpening by the whole rows of `width` inside it;
//  - the kernels read only the 262144 bytes of a preview frame.
int ConvertPreviewFrame(Camera& cam, uint8_t* raw, uint8_t* rgb) {
  CameraModes& m = cam.modes;

  // 1. Geometry and orientation.
  const int32_t width = m.width;
  const int32_t height = m.height;
  const uint32_t imageBytes = m.imageBytes;
  const auto byteCount = static_cast<int32_t>(imageBytes);
  const int orientation = OrientationCode(m);
  m.wideRange = 1;
  const KernelChoice choice = ChooseKernel(m);
  if (choice.kind == KernelChoice::Kind::kKernel &&
      imageBytes < static_cast<uint32_t>(choice.bytes)) {
    return 0;
  }

  // 2. White balance in the raw domain, or the gain by sensor position.
  if (m.wbMode != 0 && m.sensorMode != 1 && m.outputFormat != 0 && m.outputFormat != 2) {
    m.wideRange = 1;
    if (!BalanceRawFrame(cam, raw)) return 0;
  } else if (m.wbMode == 0 && m.sensorMode != 1 && m.wbExtra != 0) {
    ApplyPositionGain(cam, raw, kPreviewBalanceCode);
  }

  // 3. Focus.
  if (m.optionR == 1) MeasureFocus(cam, raw, width, height);

  // 4. The sensor-mode kernel.
  if (choice.kind == KernelChoice::Kind::kUnknownMode) return 0;
  if (choice.kind == KernelChoice::Kind::kKernel) choice.kernel(raw, rgb, orientation);

  // 5. White balance on the image. Outside sub-mode 1 automatic balance
  //    belongs to the raw domain: only the tone curve follows (no colour
  //    gain, no sharpening), also for the grey outputs that skipped it.
  if (m.wbMode != 0) {
    if (m.sensorMode != 1) {
      ApplyToneCurve(cam, rgb, byteCount);
      return 1;
    }
    if (m.outputFormat == 1) {
      const bool due = (m.wbMode == 1 || m.wbMode == 2) && EstimateDue(cam);
      if (due) {
        ApplyByteTable(rgb, byteCount, kCurveTables.previewTable.data());
        if (!UpdateColorGains(cam, rgb, byteCount)) return 0;
        ApplyColorGainTables(cam, rgb, byteCount);
      } else {
        // Without an estimate between them, the preview table and the
        // colour gain are one table per byte of a pixel.
        ApplyPreviewAndGain(cam, rgb, byteCount);
      }
    }
  } else if (m.outputFormat == 1 && HasManualFactors(m)) {
    ApplyColorGainTables(cam, rgb, byteCount);
  }

  // 6. Sharpening.
  if (m.sharpenOn != 0) SharpenInsideImage(rgb, width, height, imageBytes);

  // 7. Tone curve.
  ApplyToneCurve(cam, rgb, byteCount);
  return 1;
}

void ApplyByteTable(uint8_t* buffer, int32_t count, const uint8_t* table) {
  MapBytes(buffer, count, table);
}

int SharpenPreview(uint8_t* rgb, int32_t width, int32_t height) {
  if (height < 3 || width < 1) return 1;
  const int32_t stride = width * 3;
  for (int32_t y = 1; y <= height - 2; ++y) {
    uint8_t* row = rgb + static_cast<std::ptrdiff_t>(y) * stride;
    const uint8_t* below = row + stride;
    for (int32_t x = 1; 3 * x < stride - 6; ++x) {
      uint8_t* p = row + 3 * x;
      // Right and lower neighbours are still unchanged when read, so the
      // pass in place equals one with a separate output.
      const int32_t d = (2 * p[1] - p[4] - below[3 * x + 1]) >> 1;
      for (int i = 0; i < 3; ++i) p[i] = static_cast<uint8_t>(std::clamp(p[i] + d, 0, 255));
    }
  }
  return 1;
}

}  // namespace vobrex
