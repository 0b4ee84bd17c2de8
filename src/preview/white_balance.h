// White balance: manual factors, automatic estimates on raw samples and on
// preview images, colour-gain tables, and the gain by sensor position.
#pragma once

#include <cstdint>

#include "settings/camera.h"

namespace vobrex {

// The dispatcher. The preview passes (samples, 10, 0); stills pass stillCall 1.
int ApplyWhiteBalance(Camera& cam, int16_t* samples, int32_t resolutionCode, int32_t stillCall);
int ApplyRawGains(Camera& cam, int16_t* samples, int32_t resolutionCode, int32_t stillCall);
int EstimateRawWhiteBalance(Camera& cam, const int16_t* samples, int32_t resolutionCode);
void ApplyPositionGain(const Camera& cam, uint8_t* raw, int32_t resolutionCode);
void ApplySamplePositionGain(const Camera& cam, int16_t* samples, int32_t resolutionCode);
int EstimateWhiteBalance(Camera& cam, const uint8_t* rgb, int32_t byteCount);
int MeasureColorLevels(Camera& cam, const uint8_t* rgb, int32_t byteCount);
int NormalizeLevels(Camera& cam, uint32_t sumR, uint32_t sumG, uint32_t sumB);
int BuildGainTable(uint8_t* table, int16_t peak, int16_t level);
void RemapGainTable(uint8_t* table);
void ApplyColorGain(const Camera& cam, uint8_t* rgb, int32_t byteCount, const uint8_t* tableR,
                    const uint8_t* tableG, const uint8_t* tableB, int32_t mode);

}  // namespace vobrex
