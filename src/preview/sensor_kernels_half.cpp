// Kernels B and C on the half read-out: 256 samples to 160 or 80 pixels.
#include "preview/sensor_kernel_output.h"
#include "preview/sensor_kernels.h"
#include "preview/sensor_kernels_half_vector.h"

namespace vobrex {

namespace {

const uint8_t* FirstField(const uint8_t* raw, int32_t line) { return raw + line * kHalfColumns; }
const uint8_t* SecondField(const uint8_t* raw, int32_t line) {
  return raw + kHalfSecondField + line * kHalfColumns;
}

constexpr int32_t kGroupsB = kHalfColumns / 8;   // 8 samples to 5 pixels
constexpr int32_t kGroupsC = kHalfColumns / 16;  // 16 samples to 5 pixels

constexpr int kPickBlue[5] = {1, 5, 9, 11, 15};   // first field, odd samples
constexpr int kPickGreen[5] = {1, 5, 9, 11, 15};  // second field, odd samples
constexpr int kPickRed[5] = {2, 4, 8, 10, 14};    // second field, even samples

int32_t LineC(int32_t y) { return kHalfFirstPictureLine + 1 + 2 * y; }

}  // namespace

// As A1 with true averages. Pixel 159 would need sample 256 for its red,
// the next line: only its red is replaced, by the red of pixel 157.
void KernelB1(const uint8_t* raw, uint8_t* rgb, int orientation) {
  if (RunKernelBVector(raw, rgb, orientation, true)) return;
  for (int32_t y = 0; y < kSizeB.height; ++y) {
    const uint8_t* first = FirstField(raw, y + kHalfFirstPictureLine);
    const uint8_t* second = SecondField(raw, y + kHalfFirstPictureLine);
    LineWriter out(rgb, kSizeB.width, kSizeB.height, y, orientation, OtherCodes::kAsCode1);
    for (int32_t g = 0; g < kGroupsB; ++g) {
      const uint8_t* b = first + 8 * g;
      const uint8_t* s = second + 8 * g;
      const int b1 = b[1], b3 = b[3], b5 = b[5], b7 = b[7];
      const int r0 = s[0], r2 = s[2], r4 = s[4], r6 = s[6];
      const int g1 = s[1], g3 = s[3], g5 = s[5], g7 = s[7];
      out.Put(b1, g1, TrueAverage(r0, r2));
      out.Put(b3, g3, TrueAverage(r2, r4));
      out.Put(TrueAverage(b5, b3), TrueAverage(g3, g5), r4);
      out.Put(TrueAverage(b7, b5), TrueAverage(g7, g5), r6);
      out.Put(b7, g7, g + 1 < kGroupsB ? TrueAverage(s[8], r6) : r4);
    }
  }
}

// The green of B1 in all three bytes.
void KernelB0(const uint8_t* raw, uint8_t* rgb, int orientation) {
  if (RunKernelBVector(raw, rgb, orientation, false)) return;
  for (int32_t y = 0; y < kSizeB.height; ++y) {
    const uint8_t* second = SecondField(raw, y + kHalfFirstPictureLine);
    LineWriter out(rgb, kSizeB.width, kSizeB.height, y, orientation, OtherCodes::kAsCode1);
    for (int32_t g = 0; g < kGroupsB; ++g) {
      const uint8_t* s = second + 8 * g;
      const int g1 = s[1], g3 = s[3], g5 = s[5], g7 = s[7];
      out.PutGrey(g1);
      out.PutGrey(g3);
      out.PutGrey(TrueAverage(g3, g5));
      out.PutGrey(TrueAverage(g7, g5));
      out.PutGrey(g7);
    }
  }
}

// A group of 16 samples (32 sensor columns) gives 5 pixels 6.4 columns
// apart; each value is the sample of its colour whose column lies nearest
// the pixel's centre. Output line y covers half lines 2 + 2y and 3 + 2y
// (sensor rows 8 + 8y to 15 + 8y); the lines 3 + 2y of both fields lie
// nearest its centre.

void KernelC1(const uint8_t* raw, uint8_t* rgb, int orientation) {
  if (RunKernelCVector(raw, rgb, orientation, true)) return;
  for (int32_t y = 0; y < kSizeC.height; ++y) {
    const uint8_t* first = FirstField(raw, LineC(y));
    const uint8_t* second = SecondField(raw, LineC(y));
    LineWriter out(rgb, kSizeC.width, kSizeC.height, y, orientation, OtherCodes::kAsCode1);
    for (int32_t g = 0; g < kGroupsC; ++g) {
      const uint8_t* b = first + 16 * g;
      const uint8_t* s = second + 16 * g;
      for (int p = 0; p < 5; ++p) out.Put(b[kPickBlue[p]], s[kPickGreen[p]], s[kPickRed[p]]);
    }
  }
}

// The green of C1 in all three bytes.
void KernelC0(const uint8_t* raw, uint8_t* rgb, int orientation) {
  if (RunKernelCVector(raw, rgb, orientation, false)) return;
  for (int32_t y = 0; y < kSizeC.height; ++y) {
    const uint8_t* second = SecondField(raw, LineC(y));
    LineWriter out(rgb, kSizeC.width, kSizeC.height, y, orientation, OtherCodes::kAsCode1);
    for (int32_t g = 0; g < kGroupsC; ++g) {
      const uint8_t* s = second + 16 * g;
      for (int p = 0; p < 5; ++p) out.PutGrey(s[kPickGreen[p]]);
    }
  }
}

}  // namespace vobrex
