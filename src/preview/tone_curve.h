// The tone curve: contrast, brightness, a black level per colour and a
// gamma, the last stage of every conversion.
#pragma once

#include <cstdint>

#include "settings/camera.h"

namespace vobrex {

// The percentage that stretches each table's black level; fixed at 100.
inline constexpr int16_t toneGainPercent[3] = {100, 100, 100};

// True when the six tone fields hold their neutral values (whole 32-bit
// comparisons): the curve is then the identity and is not applied.
bool ToneCurveIsNeutral(const CameraModes& modes);

// Fills the tables of byte 0 (blue), 1 (green) and 2 (red) of a pixel from
// the current settings; every entry ends in 0..255.
void BuildToneCurve(const Camera& cam, int16_t* table0, int16_t* table1, int16_t* table2);

// Maps the first `byteCount` bytes of a 24-bit image through the curve.
// A partial last pixel is mapped like a whole one, as far as it reaches.
void ApplyToneCurve(const Camera& cam, uint8_t* rgb, int32_t byteCount);

}  // namespace vobrex
