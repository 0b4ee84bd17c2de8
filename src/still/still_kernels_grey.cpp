#include "still/still_kernels.h"
#include "still/still_resample.h"

namespace vobrex {
namespace {

void WriteGrey(const int16_t* planes, uint16_t* out, int orientation, int width, int height,
               StillRowResampler resample) {
  WriteStillPicture(planes, out, orientation, width, height, resample,
                    [](int32_t red, int32_t green, int32_t blue, uint16_t* pixel) {
                      const uint16_t grey = Component((2 * red + 4 * green + blue) / 7);
                      pixel[0] = grey;
                      pixel[1] = grey;
                      pixel[2] = grey;
                    });
}

}  // namespace

void StillToGrey(const int16_t* planes, uint16_t* out, int orientation) {
  WriteGrey(planes, out, orientation, 640, 480, ResampleRow640Shifted);
}

void StillToGrey480(const int16_t* planes, uint16_t* out, int orientation) {
  WriteGrey(planes, out, orientation, 480, 360, ResampleRow480);
}

void StillToGrey320(const int16_t* planes, uint16_t* out, int orientation) {
  WriteGrey(planes, out, orientation, 320, 240, ResampleRow320);
}

}  // namespace vobrex
