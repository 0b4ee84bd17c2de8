// Four samples to five: the widening of a row by 5/4 with weights in
// fifths, shared by the 640-wide still pictures and the 1260-wide
// high-resolution ones.
#pragma once

#include <cstdint>

namespace vobrex {

// For k = 0..groups - 1, from s = row + 4k: out[5k] = s[0] (s[1] when
// `firstShifted`), out[5k + 1] = (s[0] + 4 s[1]) / 5, out[5k + 2] =
// (2 s[1] + 3 s[2]) / 5, out[5k + 3] = (3 s[2] + 2 s[3]) / 5, out[5k + 4] =
// (4 s[3] + s[4]) / 5, each division truncating toward zero. Reads up to
// 64 samples past the last group's first (the caller's storage must reach
// that far); writes out[0 .. 5 groups - 1].
void WidenFourToFive(const int16_t* row, int groups, int32_t* out, bool firstShifted);

// The same resamplings storing each result as a 16-bit component (the
// value modulo 2^16), for pictures whose components are the values as they
// are.
void WidenFourToFive(const int16_t* row, int groups, uint16_t* out, bool firstShifted);
void WidenSixteenToFifteen(const int16_t* a, const int16_t* b, const int16_t* c, const int16_t* d,
                           int kind, uint16_t* out);
void WidenEightToFive(const int16_t* row, int groups, uint16_t* out);

// Sixteen columns to fifteen, for the 480-wide still pictures: output
// column 15q + p from columns u = 16q + p and u + 1, p = 0..14, q = 0..31,
// rows a..d of the plane (four plane rows to three picture rows):
//   kind 0: (a[u] (15 - p) + a[u + 1] p) / 15
//   kind 1: ((c[u] + 2 b[u]) (15 - p) + (c[u + 1] + 2 b[u + 1]) p) / 45
//   kind 2: ((c[u] + 2 d[u]) (15 - p) + (d[u + 1] + 2 c[u + 1]) p) / 45
// truncating toward zero; writes out[0..479]. Reads up to 64 samples past
// column 494 of a row (the next row, which the planes have).
void WidenSixteenToFifteen(const int16_t* a, const int16_t* b, const int16_t* c, const int16_t* d,
                           int kind, int32_t* out);

// The three picture rows of rows row[0..3] (a..d) at once: kinds 0, 1 and 2
// into out[0], out[1] and out[2], each as WidenSixteenToFifteen makes it.
void WidenSixteenToFifteenRows(const int16_t* const row[4], int32_t* const out[3]);
void WidenSixteenToFifteenRows(const int16_t* const row[4], uint16_t* const out[3]);

// The mixes a grey row takes of its resampled red, green and blue.
enum class WideningMix { kMean, kGrey };

// The three picture rows of a group mixed from the three planes' rows a..d:
// out[kind] is MixMean or MixGrey of the kind's WidenSixteenToFifteen lines.
void WidenSixteenToFifteenMixed(const int16_t* const red[4], const int16_t* const green[4],
                                const int16_t* const blue[4], WideningMix mix,
                                uint16_t* const out[3]);

// A mixed row straight from the three planes' rows: MixMean or MixGrey of
// the rows' WidenFourToFive and WidenEightToFive values, reading as those
// read.
void WidenFourToFiveMixed(const int16_t* red, const int16_t* green, const int16_t* blue, int groups,
                          bool firstShifted, WideningMix mix, uint16_t* out);
void WidenEightToFiveMixed(const int16_t* red, const int16_t* green, const int16_t* blue,
                           int groups, WideningMix mix, uint16_t* out);

// Eight columns to five, for the 320-wide still pictures: for g = 0..groups
// - 1, from s = row + 8g: out[5g] = s[0], out[5g + 1] = (2 s[1] + 3 s[2]) / 5,
// out[5g + 2] = (4 s[3] + s[4]) / 5, out[5g + 3] = (s[4] + 4 s[5]) / 5,
// out[5g + 4] = (3 s[6] + 2 s[7]) / 5, truncating toward zero. Reads up to
// 32 samples past the last group (the next row, which the planes have).
void WidenEightToFive(const int16_t* row, int groups, int32_t* out);

// The component lines of a picture row from its resampled values, stored
// as 16 bits (wrapping): each value as it is, the mean (R + G + B) / 3, and
// the grey level (2R + 4G + B) / 7, truncating toward zero. The values are
// those of the resamplings (weighted means of 16-bit samples).
void NarrowComponents(const int32_t* value, int n, uint16_t* out);
void MixMean(const int32_t* red, const int32_t* green, const int32_t* blue, int n, uint16_t* out);
void MixGrey(const int32_t* red, const int32_t* green, const int32_t* blue, int n, uint16_t* out);

// x / divisor truncated toward zero as the vector paths form it (in single
// precision, see widening.cpp); equal to the integer quotient for divisor 3
// and |x| <= 2^17, divisor 5 and |x| <= 2^18, divisor 7 and |x| <= 2^18, divisor 15 and |x| <=
// 2^19, divisor 45 and |x| <= 2^21, the ranges of the weighted sums of 16-bit samples they divide.
// For the tests.
int32_t WideningDivide(int32_t x, int32_t divisor);

// floor(y / divisor) of a 16-bit y as the 16-bit vector forms form it (the
// high half of a product, see widening.cpp), for divisor 3, 5, 7, 15 or 45;
// equal to the integer quotient for every y (y <= 43690 for divisor 7).
// For the tests.
int32_t WideningQuotient(uint16_t y, int32_t divisor);
// x / divisor truncated toward zero of a signed 16-bit x as the mixed
// 640-wide vector form forms it (see widening.cpp), for divisor 3, 5 or 7;
// equal to x / divisor for |x| < 32768 (3) or |x| < 43690 (5, 7), so for
// every 16-bit x. For the tests.
int32_t WideningSignedQuotient(int16_t x, int32_t divisor);

}  // namespace vobrex
