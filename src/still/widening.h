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

// x / divisor truncated toward zero as the vector paths form it (in single
// precision, see widening.cpp); equal to the integer quotient for divisor 5
// and |x| <= 2^18, divisor 15 and |x| <= 2^19, divisor 45 and |x| <= 2^21,
// the ranges of the weighted sums of 16-bit samples they divide. For the
// tests.
int32_t WideningDivide(int32_t x, int32_t divisor);

}  // namespace vobrex
