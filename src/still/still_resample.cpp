#include "still/still_resample.h"

#include "still/widening.h"

namespace vobrex {
namespace {

constexpr int kSide = kStillSide;

// Four source columns become five output columns at 0, 0.8, 1.6, 2.4, 3.2;
// the grey picture's weights take column 4k + 1 whole at phase 0 instead of
// column 4k. At k = 127 the fifth sample is column 0 of the next row (the
// planes are one continuous run); the vector form reads 48 values into it.
int Source640(int r) { return kStillFirstRow + r; }
int Last640(int r) { return kStillFirstRow + r + 1; }
void Resample640(const int16_t* source, int, int32_t* line) {
  WidenFourToFive(source, 128, line, false);
}
void Resample640Shifted(const int16_t* source, int, int32_t* line) {
  WidenFourToFive(source, 128, line, true);
}
void Narrow640(const int16_t* source, int, uint16_t* line) {
  WidenFourToFive(source, 128, line, false);
}
void Narrow640Shifted(const int16_t* source, int, uint16_t* line) {
  WidenFourToFive(source, 128, line, true);
}

// Four plane rows a..d make three picture rows; output column 15q + p from
// source columns u = 16q + p (weight 15 - p) and u + 1 (weight p); the last
// column, 479, takes 510 and 511. The vector form reads 48 values into the
// row after d.
int Source480(int r) { return kStillFirstRow + 4 * (r / 3); }
int Last480(int r) { return kStillFirstRow + 4 * (r / 3) + 4; }
void Resample480(const int16_t* a, int r, int32_t* line) {
  const int16_t* b = a + kSide;
  const int16_t* c = b + kSide;
  const int16_t* d = c + kSide;
  WidenSixteenToFifteen(a, b, c, d, r % 3, line);
}
void Narrow480(const int16_t* a, int r, uint16_t* line) {
  WidenSixteenToFifteen(a, a + kSide, a + 2 * kSide, a + 3 * kSide, r % 3, line);
}
void Resample480Group(const int16_t* a, int32_t* const lines[3]) {
  const int16_t* const rows[4] = {a, a + kSide, a + 2 * kSide, a + 3 * kSide};
  WidenSixteenToFifteenRows(rows, lines);
}
void Narrow480Group(const int16_t* a, uint16_t* const lines[3]) {
  const int16_t* const rows[4] = {a, a + kSide, a + 2 * kSide, a + 3 * kSide};
  WidenSixteenToFifteenRows(rows, lines);
}
void Mix480Group(const int16_t* red, const int16_t* green, const int16_t* blue, WideningMix mix,
                 uint16_t* const lines[3]) {
  const int16_t* const r[4] = {red, red + kSide, red + 2 * kSide, red + 3 * kSide};
  const int16_t* const g[4] = {green, green + kSide, green + 2 * kSide, green + 3 * kSide};
  const int16_t* const b[4] = {blue, blue + kSide, blue + 2 * kSide, blue + 3 * kSide};
  WidenSixteenToFifteenMixed(r, g, b, mix, lines);
}

// Output positions 0, 1.6, 3.2, 4.8 and 6.4 of each group of eight columns
// of the even plane rows; the vector form reads 32 values into the row
// after.
int Source320(int r) { return kStillFirstRow + 2 * r; }
int Last320(int r) { return kStillFirstRow + 2 * r + 1; }
void Resample320(const int16_t* row, int, int32_t* line) { WidenEightToFive(row, 64, line); }
void Narrow320(const int16_t* row, int, uint16_t* line) { WidenEightToFive(row, 64, line); }

}  // namespace

void MixGreyGroup480(const int16_t* red, const int16_t* green, const int16_t* blue,
                     uint16_t* const lines[3]) {
  Mix480Group(red, green, blue, WideningMix::kGrey, lines);
}
void MixMeanGroup480(const int16_t* red, const int16_t* green, const int16_t* blue,
                     uint16_t* const lines[3]) {
  Mix480Group(red, green, blue, WideningMix::kMean, lines);
}

void MixGreyRow640(const int16_t* red, const int16_t* green, const int16_t* blue,
                   uint16_t* const lines[3]) {
  WidenFourToFiveMixed(red, green, blue, 128, true, WideningMix::kGrey, lines[0]);
}
void MixMeanRow640(const int16_t* red, const int16_t* green, const int16_t* blue,
                   uint16_t* const lines[3]) {
  WidenFourToFiveMixed(red, green, blue, 128, false, WideningMix::kMean, lines[0]);
}
void MixGreyRow320(const int16_t* red, const int16_t* green, const int16_t* blue,
                   uint16_t* const lines[3]) {
  WidenEightToFiveMixed(red, green, blue, 64, WideningMix::kGrey, lines[0]);
}
void MixMeanRow320(const int16_t* red, const int16_t* green, const int16_t* blue,
                   uint16_t* const lines[3]) {
  WidenEightToFiveMixed(red, green, blue, 64, WideningMix::kMean, lines[0]);
}

StillPictureRows StillRows640(bool firstShifted) {
  if (firstShifted)
    return {640, 480, Resample640Shifted, Narrow640Shifted, Source640, Last640, false};
  return {640, 480, Resample640, Narrow640, Source640, Last640, false};
}

StillPictureRows StillRows480() {
  return {480,     360,   Resample480, Narrow480,        Source480,
          Last480, false, 3,           Resample480Group, Narrow480Group};
}

StillPictureRows StillRows320() {
  return {320, 240, Resample320, Narrow320, Source320, Last320, true};
}

}  // namespace vobrex
