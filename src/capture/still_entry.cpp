#include "capture/still_entry.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>

#include "capture/channel_tables.h"
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
#include "still/still_resample.h"
#include "still/still_stream.h"

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

// The rows of a standard still packed into the caller's pixels as the kernel
// writes them: each row of 16-bit components goes through the compressing
// pass and the packing of the whole converted buffer, bounded by the bytes
// the packing would cover, which the settings give once the kernel is
// chosen (after a sub-mode fall-back).
class PackedStillRows final : public StillRows {
 public:
  PackedStillRows(Camera& cam, uint8_t* pixels, uint32_t sizedFor, bool video)
      : cam_(cam), pixels_(pixels), sizedFor_(sizedFor), video_(video) {}

  void PutRow(int memoryRow, int width, bool reversed, const StillRowComponents& row) override {
    const int64_t start = int64_t{memoryRow} * width * 3;
    const int64_t bytes = Bytes();
    if (start >= bytes || width > kRowsMaxWidth) return;
    // Each component is packed on its own (a grey row's one line once) and
    // the packed bytes go straight into their pixels.
    const auto limit = static_cast<int32_t>(std::min<int64_t>(int64_t{width} * 3, bytes - start));
    PackPixelRow(pixels_ + start, row.blue, row.green, row.red, width, reversed, limit,
                 PackingFor(cam_, Compress()));
  }

  // The components past those the kernel wrote are 0 in a converted buffer.
  void PackZeros(std::size_t written) {
    const int64_t bytes = Bytes();
    if (static_cast<int64_t>(written) >= bytes) return;
    const uint16_t zero = 0;
    uint8_t packed = 0;
    PackSamples(cam_, &packed, &zero, 1, Compress());
    std::fill(pixels_ + written, pixels_ + bytes, packed);
  }

  int64_t Bytes() const { return std::min(sizedFor_, cam_.modes.imageBytes); }

 private:
  bool Compress() const {
    const CameraModes& m = cam_.modes;
    return video_ ? m.wideRange == 1 : (m.wideRange == 1 || m.outputFormat != 0);
  }

  Camera& cam_;
  uint8_t* pixels_;
  uint32_t sizedFor_;
  bool video_;
};

// Compressing pass, then the low byte of each value into the pixels.
void PackConverted(Camera& cam, uint16_t* converted, uint8_t* pixels, int32_t count,
                   bool compress) {
  PackSamples(cam, pixels, converted, count, compress);
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

// --- Widening and white balance in one sweep ----------------------------------
//
// Where the white balance maps every sample by its colour and value alone
// (no gain by position), the chain widen - expand - balance is one table
// per colour of the 256 byte values: the same estimate and table work run
// as in the stage-by-stage chain (reading the samples through the widening
// table), the tables are built by running each byte value through the same
// steps, and one sweep writes the working samples. The samples are those of
// the stage-by-stage chain by construction.

// True when the sweep serves the frame: no gain by position, and a frame of
// exactly the blocks the code's stages walk (no padding to map).
bool CanBalanceByTables(const Camera& cam, int code) {
  const std::size_t rawCount = cam.sampleCount.rawSampleCount;
  const std::size_t balanced = static_cast<std::size_t>(ResolutionScale(code)) * kBlockSamples;
  return cam.modes.wbExtra == 0 && rawCount == SamplesReadFor(code) && balanced <= rawCount;
}

enum class BalanceKind { kNone, kWidened, kManual };

// The tables of the chain, after the balance stage ran its estimate and
// table work (reading `source`).
template <class Source>
SampleChannelTables BalanceTables(Camera& cam, const Source& source, const int16_t (&widen)[256],
                                  int code, BalanceKind kind) {
  RawGainMaps maps;
  if (kind != BalanceKind::kNone) WhiteBalanceMaps(cam, source, code, 1, maps);
  SampleChannelTables t;
  for (int v = 0; v < 256; ++v) {
    for (int c : {kChannelGreen, kChannelBlue, kChannelRed}) {
      t.table[c][v] = maps.Map(c, widen[v]);
    }
    t.table[kChannelPlain][v] = widen[v];
  }
  return t;
}

// The settings the chain sets on its way, and the widening table of the
// byte values; returns the kind of balance that follows.
BalanceKind SetUpChain(Camera& cam, bool video, int16_t (&widen)[256]) {
  CameraModes& m = cam.modes;
  BalanceKind kind = BalanceKind::kNone;
  bool expand = false;
  if (video) {
    m.wideRange = m.vfwWideRange == 1 ? 1 : 0;
    if (m.vfwWideRange == 1) {
      expand = true;
      kind = BalanceKind::kWidened;
    }
  } else if (m.wbMode == 1 || m.wbMode == 2) {
    m.wideRange = 1;
    expand = true;
    kind = BalanceKind::kWidened;
  } else if (m.wbMode == 0) {
    m.wideRange = 1;
    if (!(m.wbFactorR == 1.0 && m.wbFactorG == 1.0 && m.wbFactorB == 1.0)) {
      kind = BalanceKind::kManual;
    }
  }
  for (int v = 0; v < 256; ++v) {
    widen[v] = expand ? MapSample(m.wbMode, static_cast<int16_t>(v),
                                  kCurveTables.expandTable.data(), kExpandTableLength)
                      : static_cast<int16_t>(v);
  }
  return kind;
}

// False when only the white reference was to be measured.
bool ImageFollows(const Camera& cam, BalanceKind kind, bool video) {
  return video || !(kind == BalanceKind::kWidened && cam.modes.wbOnly == 1);
}

// Fills `samples` from `raw` as WidenFrame, the defect repair (when due)
// and the balance step would; `video` selects the balance of the video
// path. Returns false when only the white reference was to be measured.
bool WidenAndBalanceByTables(Camera& cam, const uint8_t* raw, int16_t* samples, int code,
                             bool defects, bool video) {
  const int64_t count = cam.sampleCount.rawSampleCount;
  const int blocks = ResolutionScale(code);
  int16_t widen[256];
  const BalanceKind kind = SetUpChain(cam, video, widen);
  if (defects) {
    ExpandSamples(samples, raw, static_cast<int32_t>(count));
    CorrectDefects(cam, samples, code);
    // Repaired samples are means of four bytes: they still hold 0..255.
    const SampleChannelTables t =
        BalanceTables(cam, WidenedSamples{samples, widen}, widen, code, kind);
    MapByteSamples(samples, count, blocks, t);
  } else {
    const SampleChannelTables t = BalanceTables(cam, WidenedBytes{raw, widen}, widen, code, kind);
    WidenRawBytes(samples, raw, count, blocks, t);
  }
  return ImageFollows(cam, kind, video);
}

// The lines of a high-resolution frame widened through the chain's tables
// as the grid takes them: line y of line block b is the 512 samples from
// (b * 256 + y) * 512.
class WidenedRawLines final : public ExposureLines {
 public:
  WidenedRawLines(const uint8_t* raw, const SampleChannelTables& tables, int blocks)
      : raw_(raw), tables_(PrepareChannelTables(tables)), blocks_(blocks) {}
  void Read(int block, int y, int16_t* line) const override {
    const int64_t at = (int64_t{block} * 256 + y) * 512;
    WidenRawRange(line, raw_, at, 512, blocks_, tables_);
  }

 private:
  const uint8_t* raw_;
  const PreparedChannelTables tables_;
  int blocks_;
};

// True when a high-resolution still can be converted straight from the raw
// bytes: the chain is one table per colour (no defect repair, no gain by
// position) and the grid streams. The balance stage changes no setting
// the streaming depends on.
bool StreamsFromRawBytes(const Camera& cam, int code, bool defects) {
  return code == kHighResolutionCode && !defects && CanBalanceByTables(cam, code) &&
         HighResStreams(cam);
}

enum class Streamed { kFailed, kBalanceOnly, kConverted };

// The high-resolution conversion from the raw bytes, with no widened frame:
// the grid's window is requested where the sample buffer would be, then
// the balance runs its estimate on the bytes, and the grid widens each line
// as it places it.
Streamed ConvertHighResFromRawBytes(Camera& cam, const uint8_t* raw, uint8_t* pixels,
                                    uint32_t sizedFor) {
  const Owned<int16_t> window = AllocateHighResWindow();
  if (!window) return Streamed::kFailed;
  int16_t widen[256];
  const BalanceKind kind = SetUpChain(cam, false, widen);
  const SampleChannelTables t =
      BalanceTables(cam, WidenedBytes{raw, widen}, widen, kHighResolutionCode, kind);
  if (!ImageFollows(cam, kind, false)) return Streamed::kBalanceOnly;
  PackedStillRows rows(cam, pixels, sizedFor, false);
  std::size_t written = 0;
  StreamHighResRows(cam, WidenedRawLines(raw, t, ResolutionScale(kHighResolutionCode)), window,
                    rows, written);
  rows.PackZeros(written);
  return Streamed::kConverted;
}

// A standard still's frame widened through the chain's tables a stretch at
// a time, as the streamed demosaic reads its field lines.
class WidenedRawFrame final : public StillFrameSource {
 public:
  WidenedRawFrame(const uint8_t* raw, const SampleChannelTables& tables, int blocks)
      : raw_(raw), tables_(PrepareChannelTables(tables)), blocks_(blocks) {}
  void Read(int at, int n, int16_t* out) const override {
    WidenRawRange(out, raw_, at, n, blocks_, tables_);
  }

 private:
  const uint8_t* raw_;
  const PreparedChannelTables tables_;
  int blocks_;
};

// True when a demosaiced standard still can be converted straight from the
// raw bytes: the chain is one table per colour (no defect repair, no gain
// by position).
bool StillStreamsFromRawBytes(const Camera& cam, int code, bool defects) {
  return (code == 11 || code == 13) && !defects && CanBalanceByTables(cam, code);
}

// The standard still conversion from the raw bytes, with no widened frame:
// the line buffer is requested where the sample buffer would be, then the
// balance runs its estimate on the bytes, and the demosaic widens each
// field line just before it reads it.
Streamed ConvertStillFromRawBytes(Camera& cam, const uint8_t* raw, int code, uint8_t* pixels,
                                  uint32_t sizedFor) {
  Owned<int16_t> lines = AllocateStillLines();
  if (!lines) return Streamed::kFailed;
  int16_t widen[256];
  const BalanceKind kind = SetUpChain(cam, false, widen);
  const SampleChannelTables t = BalanceTables(cam, WidenedBytes{raw, widen}, widen, code, kind);
  if (!ImageFollows(cam, kind, false)) return Streamed::kBalanceOnly;
  PackedStillRows rows(cam, pixels, sizedFor, false);
  std::size_t written = 0;
  const bool converted = ConvertStillRowsFromLines(
      cam, WidenedRawFrame(raw, t, ResolutionScale(code)), lines, code, rows, written);
  lines.reset();
  if (!converted) return Streamed::kFailed;
  rows.PackZeros(written);
  return Streamed::kConverted;
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

// Converts the samples by the code's still path and packs the rows into the
// pixels as they are produced; false when no path converts the code or the
// path fails. The video chain compresses only after widening; a still also
// whenever the output format asks for it.
bool ConvertAndPack(Camera& cam, Owned<int16_t>& samples, int code, uint8_t* pixels,
                    uint32_t sizedFor, bool video) {
  const CameraModes& m = cam.modes;
  if (code != kHighResolutionCode && IsStillCode(code)) {
    PackedStillRows rows(cam, pixels, sizedFor, video);
    std::size_t written = 0;
    const bool converted = ConvertStillRows(cam, samples, code, rows, written);
    samples.reset();
    if (!converted) return false;
    rows.PackZeros(written);
    return true;
  }
  if (code == kHighResolutionCode) {
    PackedStillRows rows(cam, pixels, sizedFor, video);
    Owned<uint16_t> converted;
    std::size_t written = 0;
    const bool done = ConvertHighResRows(cam, samples, rows, converted, written);
    samples.reset();
    if (!done) return false;
    if (converted) {
      PackConverted(cam, converted.get(), pixels, PackedBytes(sizedFor, m),
                    m.wideRange == 1 || (!video && m.outputFormat != 0));
    } else {
      rows.PackZeros(written);
    }
    return true;
  }
  samples.reset();
  return false;  // no still path converts this code
}

}  // namespace

int ConvertCamFrame(Camera& cam, const uint8_t* raw, uint8_t* out, int code) {
  CameraModes& m = cam.modes;
  if (out == nullptr || raw == nullptr || !ImageBytesUsable(m)) return 0;
  const uint32_t sizedFor = m.imageBytes;
  uint8_t* pixels = out + FramingOffset(m);

  const bool defects = m.defectFixOn != 0 && m.stillFilter != 1;
  if (StreamsFromRawBytes(cam, code, defects)) {
    const Streamed done = ConvertHighResFromRawBytes(cam, raw, pixels, sizedFor);
    if (done == Streamed::kFailed) return 0;
    if (done == Streamed::kBalanceOnly) return 1;
  } else if (StillStreamsFromRawBytes(cam, code, defects)) {
    const Streamed done = ConvertStillFromRawBytes(cam, raw, code, pixels, sizedFor);
    if (done == Streamed::kFailed) return 0;
    if (done == Streamed::kBalanceOnly) return 1;
  } else {
    Owned<int16_t> samples;
    if (CanBalanceByTables(cam, code)) {
      samples = AllocateArray<int16_t>(SamplesReadFor(code));
      if (!samples) return 0;
      if (!WidenAndBalanceByTables(cam, raw, samples.get(), code, defects, false)) return 1;
    } else {
      samples = WidenFrame(cam, raw, code);
      if (!samples) return 0;
      if (defects) CorrectDefects(cam, samples.get(), code);
      if (!BalanceStill(cam, samples.get(), code)) return 1;
    }
    if (!ConvertAndPack(cam, samples, code, pixels, sizedFor, false)) return 0;
  }
  const int32_t bytes = PackedBytes(sizedFor, m);

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
  // A record asking for more than a signed 32-bit count of bytes is refused
  // before anything is locked or allocated; the block size is formed in 64
  // bits so it cannot wrap on a 32-bit platform either.
  const CameraModes& m = cam.modes;
  if (!ImageBytesUsable(m)) return 0;
  const auto* raw = static_cast<const uint8_t*>(GlobalBlockLock(*frame));
  if (raw == nullptr) return 0;

  uint64_t blockBytes = uint64_t{m.imageBytes} + kImageHeaderReserve;
  if (m.outputFormat == 2) blockBytes += kGreySpareBytes;
  if (blockBytes > SIZE_MAX) return 0;
  // On failure the raw block stays locked and the caller keeps its handle.
  HGLOBAL image = GlobalBlockAlloc(kImageBlockFlags, static_cast<std::size_t>(blockBytes));
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
  Owned<int16_t> samples;
  if (CanBalanceByTables(cam, code)) {
    samples = AllocateArray<int16_t>(SamplesReadFor(code));
    if (!samples) return 0;
    WidenAndBalanceByTables(cam, raw, samples.get(), code, false, true);
  } else {
    samples = WidenFrame(cam, raw, code);
    if (!samples) return 0;
    if (m.vfwWideRange == 1) {
      m.wideRange = 1;
      MapSamples(cam, samples.get(), static_cast<int32_t>(cam.sampleCount.rawSampleCount),
                 kCurveTables.expandTable.data(), kExpandTableLength);
      ApplyWhiteBalance(cam, samples.get(), code, 1);
    } else {
      m.wideRange = 0;
    }
  }

  // A video frame has no header: the pixels start at the buffer, whatever
  // the framing says.
  if (!ConvertAndPack(cam, samples, code, pixels, sizedFor, true)) return 0;
  const int32_t bytes = PackedBytes(sizedFor, m);

  // The stage makes its own sharpenAllow test; sharpenOn is a still setting.
  if (ImageFits(m, bytes)) SharpenStill(cam, pixels, code);
  return 1;
}

}  // namespace vobrex
