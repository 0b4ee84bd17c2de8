#include "still/still_kernels.h"
#include "still/still_resample.h"

namespace vobrex {
namespace {

void WriteColour(const CameraModes& modes, const int16_t* planes, uint16_t* out, int orientation,
                 int width, int height, StillRowResampler resample) {
  if (modes.outputFormat == 1) {
    WriteStillPicture(planes, out, orientation, width, height, resample,
                      [](int32_t red, int32_t green, int32_t blue, uint16_t* pixel) {
                        pixel[0] = Component(blue);
                        pixel[1] = Component(green);
                        pixel[2] = Component(red);
                      });
  } else if (modes.optionQ == 1) {
    WriteStillPicture(planes, out, orientation, width, height, resample,
                      [](int32_t, int32_t green, int32_t, uint16_t* pixel) {
                        const uint16_t grey = Component(green);
                        pixel[0] = grey;
                        pixel[1] = grey;
                        pixel[2] = grey;
                      });
  } else {
    WriteStillPicture(planes, out, orientation, width, height, resample,
                      [](int32_t red, int32_t green, int32_t blue, uint16_t* pixel) {
                        const uint16_t grey = Component((red + green + blue) / 3);
                        pixel[0] = grey;
                        pixel[1] = grey;
                        pixel[2] = grey;
                      });
  }
}

}  // namespace

void StillToColour(const CameraModes& modes, const int16_t* planes, uint16_t* out,
                   int orientation) {
  WriteColour(modes, planes, out, orientation, 640, 480, ResampleRow640);
}

void StillToColour480(const CameraModes& modes, const int16_t* planes, uint16_t* out,
                      int orientation) {
  WriteColour(modes, planes, out, orientation, 480, 360, ResampleRow480);
}

void StillToColour320(const CameraModes& modes, const int16_t* planes, uint16_t* out,
                      int orientation) {
  WriteColour(modes, planes, out, orientation, 320, 240, ResampleRow320);
}

}  // namespace vobrex
