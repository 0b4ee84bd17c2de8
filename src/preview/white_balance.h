// White balance: manual factors, automatic estimates on raw samples and on
// preview images, colour-gain tables, and the gain by sensor position.
//
// Working samples come in blocks of 512 x 512: the first half of a block is
// 256 lines of green (even) and blue (odd) sites, the second half 256 lines
// of red (even) and green (odd) sites. A resolution code selects the number
// of blocks (ResolutionScale); a code without blocks leaves everything as is.
#pragma once

#include <cstddef>
#include <cstdint>

#include "settings/camera.h"

namespace vobrex {

// The dispatcher. The preview passes (samples, 10, 0); stills pass stillCall 1.
// Always 1.
int ApplyWhiteBalance(Camera& cam, int16_t* samples, int32_t resolutionCode, int32_t stillCall);
// Per-channel gains on the working samples by wbMode; 0 when a level is
// unusable, the code has no blocks or a table cannot be allocated.
int ApplyRawGains(Camera& cam, int16_t* samples, int32_t resolutionCode, int32_t stillCall);
// Automatic estimate on the working samples; updates ratioR/G/B.
int EstimateRawWhiteBalance(Camera& cam, const int16_t* samples, int32_t resolutionCode);
// How the raw gains map a working sample of each colour once their tables
// are ready: through the colour's ratio table, then its factor table (low
// 16 bits), each only where set. Colours are kChannelGreen, kChannelBlue,
// kChannelRed of capture/channel_tables.h (0, 1, 2).
struct RawGainMaps {
  const int16_t* ratio[3] = {};
  const int32_t* factor[3] = {};
  int16_t Map(int colour, int16_t s) const;
};

// Everything ApplyRawGains does but touching samples: the same checks,
// table fills and counter step, and the same result. `maps` tells what it
// would do to each sample (nothing where both tables are null); `blocks` the
// number of 512 x 512 blocks it would walk.
int PrepareRawGains(Camera& cam, int32_t resolutionCode, int32_t stillCall, RawGainMaps& maps,
                    int& blocks);

// Working samples read without storing them: `widen` applied to the raw
// bytes, or to samples that hold 0..255.
struct WidenedBytes {
  const uint8_t* raw;
  const int16_t* widen;  // 256 entries
  int16_t operator[](std::ptrdiff_t i) const { return widen[raw[i]]; }
};
struct WidenedSamples {
  const int16_t* samples;
  const int16_t* widen;
  int16_t operator[](std::ptrdiff_t i) const { return widen[static_cast<uint8_t>(samples[i])]; }
};

// ApplyWhiteBalance for a frame whose sample maps do not depend on the
// position (wbExtra 0): runs the same estimate on `source` and the same
// table work, and returns the per-colour maps instead of applying them.
// `source` holds ResolutionScale(resolutionCode) whole blocks.
int WhiteBalanceMaps(Camera& cam, const WidenedBytes& source, int32_t resolutionCode,
                     int32_t stillCall, RawGainMaps& maps);
int WhiteBalanceMaps(Camera& cam, const WidenedSamples& source, int32_t resolutionCode,
                     int32_t stillCall, RawGainMaps& maps);
int EstimateRawWhiteBalance(Camera& cam, const WidenedBytes& source, int32_t resolutionCode);
int EstimateRawWhiteBalance(Camera& cam, const WidenedSamples& source, int32_t resolutionCode);

// Gain by sensor position (lens fall-off) on raw bytes, with a soft knee.
void ApplyPositionGain(const Camera& cam, uint8_t* raw, int32_t resolutionCode);
// The same gain on working samples, without the knee.
void ApplySamplePositionGain(const Camera& cam, int16_t* samples, int32_t resolutionCode);
// Estimate on a finished preview image: ratioR/G/B become the sums of the
// last four measured levels.
int EstimateWhiteBalance(Camera& cam, const uint8_t* rgb, int32_t byteCount);
// Channel levels of a preview image, with the scene checks and the fallback.
int MeasureColorLevels(Camera& cam, const uint8_t* rgb, int32_t byteCount);
// Channel sums to levels (strongest channel 1000); 0 when a sum is 0.
int NormalizeLevels(Camera& cam, uint32_t sumR, uint32_t sumG, uint32_t sumB);
// 1024-byte colour-gain table lifting a channel of `level` to `peak`.
int BuildGainTable(uint8_t* table, int16_t peak, int16_t level);
// Puts entries 0..254 of a colour-gain table through gainShapeTable.
void RemapGainTable(uint8_t* table);
// Maps the pixels (blue, green, red) through the colour-gain tables; mode 10
// follows wbMode, modes 1..3 map two channels each.
void ApplyColorGain(const Camera& cam, uint8_t* rgb, int32_t byteCount, const uint8_t* tableR,
                    const uint8_t* tableG, const uint8_t* tableB, int32_t mode);
// What ApplyColorGain does to each byte value of each pixel byte (0 blue,
// 1 green, 2 red), as three 256-entry tables (identity where a channel is
// kept); false when the mode maps nothing.
bool ColorGainMaps(const Camera& cam, const uint8_t* tableR, const uint8_t* tableG,
                   const uint8_t* tableB, int32_t mode, uint8_t (&maps)[3][256]);

// Helpers shared by the white-balance files.

// Divisor of the position gain for the `gainTable` selector.
int32_t PositionGainDivisor(uint8_t gainTable);
// factor x value truncated to 32 bits; a product that does not fit (or is not
// a number) gives INT32_MIN, the processor's "integer indefinite" result.
int32_t TruncateProduct(double factor, int32_t value);
// The levels used when no estimate is possible: red 120, green 100, blue 100.
void SetDefaultLevels(CameraModes& m);

}  // namespace vobrex
