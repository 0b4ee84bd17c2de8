#include "capture/still_entry.h"

#include <algorithm>
#include <cstddef>
#include <limits>

#include "capture/defect_correction.h"
#include "capture/image_header.h"
#include "capture/sample_buffers.h"
#include "capture/sharpening.h"
#include "capture/still_filters.h"
#include "hires/hires_driver.h"
#include "preview/tone_curve.h"
#include "preview/white_balance.h"
#include "settings/curve_tables.h"
#include "still/still_driver.h"

namespace vobrex {

namespace {

constexpr unsigned kImageBlockFlags = 0x2042;  // movable, zero-initialised, shareable
constexpr std::size_t kImageHeaderReserve = 54;
constexpr std::size_t kGreySpareBytes = 1024;  // left zero at the end of a grey image block
constexpr std::size_t kBlockSamples = 262144;  // one 512 x 512 read-out
constexpr int kHighResolutionCode = 40;

bool IsStillCode(int code) {
  switch (code) {
    case 10:
    case 11:
    case 13:
    case 21:
    case 23:
    case 40: return true;
    default: return false;
  }
}

// Read-outs the stages of a code walk, whatever rawSampleCount says: the
// defect and white-balance stages take ResolutionScale(code) blocks, the
// standard still path one block for 11 and 13, the high-resolution path four.
std::size_t SamplesReadFor(int code) {
  std::size_t blocks = 0;
  switch (code) {
    case 10:
    case 11:
    case 13: blocks = 1; break;
    case 21:
    case 23: blocks = 2; break;
    case kHighResolutionCode: blocks = 4; break;
    default: break;
  }
  return std::max<std::size_t>(blocks, static_cast<std::size_t>(ResolutionScale(code))) *
         kBlockSamples;
}

// The sample buffer: the caller's rawSampleCount bytes widened, followed by
// zeros up to what the code's stages read, so that a frame whose count is
// smaller than its code expects (code 10 keeps the previous count) is never
// read past its end.
Owned<int16_t> WidenFrame(const Camera& cam, const uint8_t* raw, int code) {
  const std::size_t rawCount = cam.sampleCount.rawSampleCount;
  const std::size_t count = std::max(rawCount, SamplesReadFor(code));
  Owned<int16_t> samples = AllocateArray<int16_t>(count);
  if (!samples) return samples;
  ExpandSamples(samples.get(), raw, static_cast<int32_t>(rawCount));
  std::fill(samples.get() + rawCount, samples.get() + count, int16_t{0});
  return samples;
}

// The still path of the code; null for codes no path converts. The path
// takes the samples over once it accepts the code.
Owned<uint16_t> ConvertByCode(Camera& cam, Owned<int16_t>& samples, int code) {
  if (code == kHighResolutionCode) return ConvertHighRes(cam, samples);
  if (IsStillCode(code)) return ConvertStill(cam, samples, code);
  return nullptr;
}

// Compressing pass, then the low byte of each value into the pixels.
void PackConverted(Camera& cam, uint16_t* converted, uint8_t* pixels, int32_t count,
                   bool compress) {
  if (compress) {
    MapSamples(cam, reinterpret_cast<int16_t*>(converted), count, kCurveTables.compressTable.data(),
               kCompressTableLength);
  }
  NarrowSamples(pixels, converted, count);
}

// The number of bytes packed into the caller's pixels: the imageBytes the
// caller's storage was sized for, or fewer when the still path fell back to
// other settings during the conversion.
int32_t PackedBytes(uint32_t sizedFor, const CameraModes& m) {
  return static_cast<int32_t>(std::min(sizedFor, m.imageBytes));
}

// The filters and the sharpening walk width x height x 3 bytes. A record
// copied in whole can pair a size with a smaller imageBytes; such an image
// is left unfiltered and unsharpened rather than walked past its end.
bool ImageFits(const CameraModes& m, int32_t bytes) {
  if (m.width <= 0 || m.height <= 0) return false;
  return static_cast<int64_t>(m.width) * m.height * 3 <= bytes;
}

// A record that asks for more than a 32-bit signed count of bytes cannot be
// served.
bool ImageBytesUsable(const CameraModes& m) {
  return m.imageBytes <= static_cast<uint32_t>(std::numeric_limits<int32_t>::max());
}

// Raw-domain white balance of a still. Returns false when only the white
// reference was to be measured (wbOnly) and no image is to be made.
bool BalanceStill(Camera& cam, int16_t* samples, int code) {
  CameraModes& m = cam.modes;
  if (m.wbMode == 1 || m.wbMode == 2) {
    m.wideRange = 1;
    MapSamples(cam, samples, static_cast<int32_t>(cam.sampleCount.rawSampleCount),
               kCurveTables.expandTable.data(), kExpandTableLength);
    ApplyWhiteBalance(cam, samples, code, 1);
    return m.wbOnly != 1;
  }
  if (m.wbMode == 0) {
    // Manual factors work on the narrow samples; the compressing pass is
    // still due, and with wbMode 0 it is a plain clamp.
    m.wideRange = 1;
    if (!(m.wbFactorR == 1.0 && m.wbFactorG == 1.0 && m.wbFactorB == 1.0)) {
      ApplyWhiteBalance(cam, samples, code, 1);
    }
    // The dispatcher above already applied the position gain when it ran
    // with wbExtra set; this second application belongs to the manual path.
    if (m.wbExtra != 0) ApplySamplePositionGain(cam, samples, code);
  }
  return true;
}

// Option 'u' filters. A full-size standard still gets them only with the
// option; smaller standard stills and high-resolution stills get the row
// filter of their kind with it as well.
void RunStillFilters(const CameraModes& m, uint8_t* pixels, int code) {
  const bool fullSizeStandard = code != kHighResolutionCode && m.sensorMode == 0;
  if (m.stillFilter != 1) return;
  if (fullSizeStandard && m.sharpenOn != 1) StillFilterC(pixels, m.width, m.height);
  if (code == kHighResolutionCode) {
    StillFilterA(pixels, m.width, m.height);
  } else {
    StillFilterB(pixels, m.width, m.height);
  }
}

}  // namespace

int ConvertCamFrame(Camera& cam, const uint8_t* raw, uint8_t* out, int code) {
  CameraModes& m = cam.modes;
  if (out == nullptr || raw == nullptr || !ImageBytesUsable(m)) return 0;
  const uint32_t sizedFor = m.imageBytes;
  uint8_t* pixels = out + FramingOffset(m);

  Owned<int16_t> samples = WidenFrame(cam, raw, code);
  if (!samples) return 0;

  if (m.defectFixOn != 0 && m.stillFilter != 1) CorrectDefects(cam, samples.get(), code);
  if (!BalanceStill(cam, samples.get(), code)) return 1;

  Owned<uint16_t> converted = ConvertByCode(cam, samples, code);
  samples.reset();
  if (!converted) return 0;

  const int32_t bytes = PackedBytes(sizedFor, m);
  PackConverted(cam, converted.get(), pixels, bytes, m.wideRange == 1 || m.outputFormat != 0);
  converted.reset();

  if (ImageFits(m, bytes)) {
    RunStillFilters(m, pixels, code);
    if (m.sharpenOn != 0) SharpenStill(cam, pixels, code);
  }
  ApplyToneCurve(cam, pixels, bytes);
  return 1;
}

int ReadCamImage(Camera& cam, HGLOBAL* frame) {
  if (frame == nullptr || *frame == nullptr) return 0;
  // A raw block smaller than the frame of the current resolution cannot be
  // converted without reading past its end.
  if (GlobalBlockSize(*frame) < cam.sampleCount.rawSampleCount) return 0;
  const auto* raw = static_cast<const uint8_t*>(GlobalBlockLock(*frame));
  if (raw == nullptr) return 0;

  const CameraModes& m = cam.modes;
  std::size_t blockBytes = static_cast<std::size_t>(m.imageBytes) + kImageHeaderReserve;
  if (m.outputFormat == 2) blockBytes += kGreySpareBytes;
  // On failure the raw block stays locked and the caller keeps its handle.
  HGLOBAL image = GlobalBlockAlloc(kImageBlockFlags, blockBytes);
  if (image == nullptr) return 0;
  auto* out = static_cast<uint8_t*>(GlobalBlockLock(image));
  if (out == nullptr) {
    GlobalBlockFree(image);
    return 0;
  }

  // Codes without a still path (0 and 20 among them) give an all-zero image.
  if (IsStillCode(m.resolution) && ConvertCamFrame(cam, raw, out, m.resolution) == 0) {
    GlobalBlockUnlock(image);
    GlobalBlockFree(image);
    return 0;
  }

  GlobalBlockUnlock(*frame);
  GlobalBlockFree(*frame);
  *frame = image;
  // The info header is written even without framing ('4'), over the first
  // 40 bytes of the pixels: callers of this entry rely on finding it there.
  WriteImageHeader(cam, out, m.width, m.height, m.outputFormat);
  GlobalBlockUnlock(image);
  return 1;
}

int GetVFWImage(Camera& cam, const uint8_t* raw, uint8_t* pixels, int code) {
  CameraModes& m = cam.modes;
  if (pixels == nullptr || raw == nullptr || !ImageBytesUsable(m)) return 0;
  const uint32_t sizedFor = m.imageBytes;
  Owned<int16_t> samples = WidenFrame(cam, raw, code);
  if (!samples) return 0;

  if (m.vfwWideRange == 1) {
    m.wideRange = 1;
    MapSamples(cam, samples.get(), static_cast<int32_t>(cam.sampleCount.rawSampleCount),
               kCurveTables.expandTable.data(), kExpandTableLength);
    ApplyWhiteBalance(cam, samples.get(), code, 1);
  } else {
    m.wideRange = 0;
  }

  Owned<uint16_t> converted = ConvertByCode(cam, samples, code);
  samples.reset();
  if (!converted) return 0;

  // A video frame has no header: the pixels start at the buffer, whatever
  // the framing says.
  const int32_t bytes = PackedBytes(sizedFor, m);
  PackConverted(cam, converted.get(), pixels, bytes, m.wideRange == 1);
  converted.reset();

  // The stage makes its own sharpenAllow test; sharpenOn is a still setting.
  if (ImageFits(m, bytes)) SharpenStill(cam, pixels, code);
  return 1;
}

}  // namespace vobrex
