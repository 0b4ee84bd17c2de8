#include "preview/white_balance.h"

// Placeholder bodies until the white-balance stages land.
namespace vobrex {

int ApplyWhiteBalance(Camera&, int16_t*, int32_t, int32_t) { return 1; }
int ApplyRawGains(Camera&, int16_t*, int32_t, int32_t) { return 0; }
int EstimateRawWhiteBalance(Camera&, const int16_t*, int32_t) { return 0; }
void ApplyPositionGain(const Camera&, uint8_t*, int32_t) {}
void ApplySamplePositionGain(const Camera&, int16_t*, int32_t) {}
int EstimateWhiteBalance(Camera&, const uint8_t*, int32_t) { return 0; }
int MeasureColorLevels(Camera&, const uint8_t*, int32_t) { return 0; }
int NormalizeLevels(Camera&, uint32_t, uint32_t, uint32_t) { return 0; }
int BuildGainTable(uint8_t*, int16_t, int16_t) { return 0; }
void RemapGainTable(uint8_t*) {}
void ApplyColorGain(const Camera&, uint8_t*, int32_t, const uint8_t*, const uint8_t*,
                    const uint8_t*, int32_t) {}

}  // namespace vobrex
