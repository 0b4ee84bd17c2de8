#include "still/still_kernels.h"
#include "still/still_resample.h"

namespace vobrex {
namespace {

void WriteGrey(const int16_t* planes, StillRows& out, int orientation, int width, int height,
               StillRowResampler resample) {
  WriteStillPicture(planes, out, orientation, width, height, resample,
                    [](const int32_t* red, const int32_t* green, const int32_t* blue, int n,
                       StillComponentLines& lines) {
                      for (int c = 0; c < n; ++c) {
                        lines.green[c] = Component((2 * red[c] + 4 * green[c] + blue[c]) / 7);
                      }
                      return StillRowComponents{lines.green, lines.green, lines.green};
                    });
}

}  // namespace

void StillToGrey(const int16_t* planes, StillRows& out, int orientation) {
  WriteGrey(planes, out, orientation, 640, 480, ResampleRow640Shifted);
}

void StillToGrey480(const int16_t* planes, StillRows& out, int orientation) {
  WriteGrey(planes, out, orientation, 480, 360, ResampleRow480);
}

void StillToGrey320(const int16_t* planes, StillRows& out, int orientation) {
  WriteGrey(planes, out, orientation, 320, 240, ResampleRow320);
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
