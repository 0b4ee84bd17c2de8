// The sensor-mode kernels of the preview: one raw preview frame of a read-out
// layout to a 24-bit image (blue, green, red; rows bottom-up, no padding).
//
// Read-out layouts of the motion sub-modes. Every preview frame is 262144
// bytes; a kernel reads nothing outside it.
//
//   Full read-out (sub-modes 0, 51, 52, 53, 54, 57, 58): the whole 512 x 512
//   chip as two fields of 256 lines x 512 samples. The first field starts at
//   byte 0 and holds the even sensor rows: green at even, blue at odd
//   columns. The second field starts at 0x20000 and holds the odd sensor
//   rows: red at even, green at odd columns. Field line L of either field is
//   sensor row 2L (first) or 2L + 1 (second). The picture is the 480 rows of
//   field lines 4 .. 243, all 512 columns; the sub-modes differ only in the
//   output size their kernel scales that area to:
//     0, 53  A  320 x 240  8 columns to 5 pixels, one field line a line
//     51     D  640 x 480  4 columns to 5 pixels, one field line to two lines
//     54     E  240 x 180  32 columns to 15 pixels, 4 field lines to 3 lines;
//                          each output line reads one line of each field
//     57     F  176 x 144  32 columns to 11 pixels, 5 field lines to 3 lines
//     52, 58    480 x 360, 352 x 288: the same read-out, no kernel here
//
//   Half read-out (sub-modes 1, 55, 2, 56): the sensor skips every second
//   line pair and every second column pair, which keeps the colour order at
//   half the size: two fields of 128 lines x 256 samples, the first at byte 0
//   (green even, blue odd), the second at 0x8000 (red even, green odd);
//   bytes 0x10000 onwards are unused. Half-field line r is field line 2r of
//   the full read-out; sample j is sensor column 4(j/2) + (j%2). The picture
//   is half lines 2 .. 121, the same sensor area as the full read-out:
//     1, 55  B  160 x 120  8 samples to 5 pixels, one half line a line
//     2, 56  C   80 x  60  16 samples to 5 pixels, two half lines a line
//
// Kernels ending in 1 give colour (outputFormat 1); those ending in 0 give
// the grey twin (outputFormat 0 and 2): the green of the colour kernel, in
// all three bytes. Sub-mode 57 has colour kernels only.
//
// Orientation code: 2 upright (the first line of the picture at the end of
// the buffer), 1 lines from the start of the buffer (upside down), 4 as 2
// and 3 as 1 with every line written right to left. Other codes count as 1,
// except in D1 and D0, where they count as 2.
#pragma once

#include <cstdint>

namespace vobrex {

inline constexpr int32_t kPreviewFrameBytes = 262144;

// Full read-out.
inline constexpr int32_t kFullColumns = 512;
inline constexpr int32_t kFullFieldLines = 256;
inline constexpr int32_t kFullSecondField = 0x20000;
inline constexpr int32_t kFullFirstPictureLine = 4;
inline constexpr int32_t kFullPictureLines = 240;

// Half read-out.
inline constexpr int32_t kHalfColumns = 256;
inline constexpr int32_t kHalfFieldLines = 128;
inline constexpr int32_t kHalfSecondField = 0x8000;
inline constexpr int32_t kHalfFirstPictureLine = 2;
inline constexpr int32_t kHalfPictureLines = 120;

struct KernelSize {
  int32_t width;
  int32_t height;
  constexpr int32_t Bytes() const { return width * height * 3; }
};

inline constexpr KernelSize kSizeA{320, 240};
inline constexpr KernelSize kSizeB{160, 120};
inline constexpr KernelSize kSizeC{80, 60};
inline constexpr KernelSize kSizeD{640, 480};
inline constexpr KernelSize kSizeE{240, 180};
inline constexpr KernelSize kSizeF{176, 144};

// Every kernel writes exactly one image of its size into `rgb`.
using SensorKernel = void (*)(const uint8_t* raw, uint8_t* rgb, int orientation);

// Full read-out, 320 x 240: colour with halving averages, grey from the
// second-field greens with the same weights.
void KernelA1(const uint8_t* raw, uint8_t* rgb, int orientation);
void KernelA0(const uint8_t* raw, uint8_t* rgb, int orientation);

// Half read-out, 160 x 120, true averages.
void KernelB1(const uint8_t* raw, uint8_t* rgb, int orientation);
void KernelB0(const uint8_t* raw, uint8_t* rgb, int orientation);

// Half read-out, 80 x 60: each value picked from the nearest sample of its
// colour, no averaging.
void KernelC1(const uint8_t* raw, uint8_t* rgb, int orientation);
void KernelC0(const uint8_t* raw, uint8_t* rgb, int orientation);

// Full read-out, 640 x 480: two output lines from each pair of field lines.
void KernelD1(const uint8_t* raw, uint8_t* rgb, int orientation);
void KernelD0(const uint8_t* raw, uint8_t* rgb, int orientation);

// Full read-out, 240 x 180: the nearest line of each field, each colour
// interpolated along the line between its two nearest samples.
void KernelE1(const uint8_t* raw, uint8_t* rgb, int orientation);
void KernelE0(const uint8_t* raw, uint8_t* rgb, int orientation);

// Full read-out, 176 x 144. The plain kernel works like E1; the wide one
// (sharpMode 1) interpolates each colour between its two nearest lines as
// well, over a 2 x 2 neighbourhood of same-colour samples.
void KernelF1(const uint8_t* raw, uint8_t* rgb, int orientation);
void KernelF1Wide(const uint8_t* raw, uint8_t* rgb, int orientation);

}  // namespace vobrex
