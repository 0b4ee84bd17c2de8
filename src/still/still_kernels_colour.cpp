#include "still/still_kernels.h"
#include "still/still_resample.h"
#include "still/widening.h"

namespace vobrex {
namespace {

StillRowComponents Mean(const int32_t* red, const int32_t* green, const int32_t* blue, int n,
                        StillComponentLines& lines) {
  MixMean(red, green, blue, n, lines.green);
  return StillRowComponents{lines.green, lines.green, lines.green};
}

void WriteColour(const CameraModes& modes, const int16_t* planes, StillRows& out, int orientation,
                 int size) {
  const StillKernelRows kernel = ColourKernelRows(modes, size);
  StillPictureWriter(kernel.rows, kernel.content, kernel.mix, out, orientation, kernel.mixGroup)
      .WritePicture(planes);
}

}  // namespace

StillKernelRows ColourKernelRows(const CameraModes& modes, int size) {
  const StillPictureRows rows = size == 0   ? StillRows640(false)
                                : size == 1 ? StillRows480()
                                            : StillRows320();
  if (modes.outputFormat == 1) return {rows, StillContent::kColour, nullptr};
  if (modes.optionQ == 1) return {rows, StillContent::kGreenAlone, nullptr};
  return {rows, StillContent::kMixed, Mean,
          size == 0   ? MixMeanRow640
          : size == 1 ? MixMeanGroup480
                      : MixMeanRow320};
}

void StillToColour(const CameraModes& modes, const int16_t* planes, StillRows& out,
                   int orientation) {
  WriteColour(modes, planes, out, orientation, 0);
}

void StillToColour480(const CameraModes& modes, const int16_t* planes, StillRows& out,
                      int orientation) {
  WriteColour(modes, planes, out, orientation, 1);
}

void StillToColour320(const CameraModes& modes, const int16_t* planes, StillRows& out,
                      int orientation) {
  WriteColour(modes, planes, out, orientation, 2);
}

void StillToColour(const CameraModes& modes, const int16_t* planes, uint16_t* out,
                   int orientation) {
  StillArray rows(out);
  StillToColour(modes, planes, rows, orientation);
}

void StillToColour480(const CameraModes& modes, const int16_t* planes, uint16_t* out,
                      int orientation) {
  StillArray rows(out);
  StillToColour480(modes, planes, rows, orientation);
}

void StillToColour320(const CameraModes& modes, const int16_t* planes, uint16_t* out,
                      int orientation) {
  StillArray rows(out);
  StillToColour320(modes, planes, rows, orientation);
}

}  // namespace vobrex
