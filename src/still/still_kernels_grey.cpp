#include "still/still_kernels.h"
#include "still/still_resample.h"
#include "still/widening.h"

namespace vobrex {
namespace {

StillRowComponents Grey(const int32_t* red, const int32_t* green, const int32_t* blue, int n,
                        StillComponentLines& lines) {
  MixGrey(red, green, blue, n, lines.green);
  return StillRowComponents{lines.green, lines.green, lines.green};
}

void WriteGrey(const int16_t* planes, StillRows& out, int orientation, int size) {
  const StillKernelRows kernel = GreyKernelRows(size);
  StillPictureWriter(kernel.rows, kernel.content, kernel.mix, out, orientation, kernel.mixGroup)
      .WritePicture(planes);
}

}  // namespace

StillKernelRows GreyKernelRows(int size) {
  // The 640-wide grey picture takes column 4k + 1 whole at phase 0.
  return {size == 0   ? StillRows640(true)
          : size == 1 ? StillRows480()
                      : StillRows320(),
          StillContent::kMixed, Grey,
          size == 0   ? MixGreyRow640
          : size == 1 ? MixGreyGroup480
                      : MixGreyRow320};
}

void StillToGrey(const int16_t* planes, StillRows& out, int orientation) {
  WriteGrey(planes, out, orientation, 0);
}

void StillToGrey480(const int16_t* planes, StillRows& out, int orientation) {
  WriteGrey(planes, out, orientation, 1);
}

void StillToGrey320(const int16_t* planes, StillRows& out, int orientation) {
  WriteGrey(planes, out, orientation, 2);
}

void StillToGrey(const int16_t* planes, uint16_t* out, int orientation) {
  StillArray rows(out);
  StillToGrey(planes, rows, orientation);
}

void StillToGrey480(const int16_t* planes, uint16_t* out, int orientation) {
  StillArray rows(out);
  StillToGrey480(planes, rows, orientation);
}

void StillToGrey320(const int16_t* planes, uint16_t* out, int orientation) {
  StillArray rows(out);
  StillToGrey320(planes, rows, orientation);
}

}  // namespace vobrex
