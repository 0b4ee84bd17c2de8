#include "still/still_kernels.h"
#include "still/still_resample.h"

namespace vobrex {
namespace {

void WriteColour(const CameraModes& modes, const int16_t* planes, StillRows& out, int orientation,
                 int width, int height, StillRowResampler resample) {
  if (modes.outputFormat == 1) {
    WriteStillPicture(planes, out, orientation, width, height, resample,
                      [](const int32_t* red, const int32_t* green, const int32_t* blue, int n,
                         StillComponentLines& lines) {
                        for (int c = 0; c < n; ++c) {
                          lines.blue[c] = Component(blue[c]);
                          lines.green[c] = Component(green[c]);
                          lines.red[c] = Component(red[c]);
                        }
                        return StillRowComponents{lines.blue, lines.green, lines.red};
                      });
  } else if (modes.optionQ == 1) {
    WriteStillPicture(planes, out, orientation, width, height, resample,
                      [](const int32_t*, const int32_t* green, const int32_t*, int n,
                         StillComponentLines& lines) {
                        for (int c = 0; c < n; ++c) lines.green[c] = Component(green[c]);
                        return StillRowComponents{lines.green, lines.green, lines.green};
                      });
  } else {
    WriteStillPicture(planes, out, orientation, width, height, resample,
                      [](const int32_t* red, const int32_t* green, const int32_t* blue, int n,
                         StillComponentLines& lines) {
                        for (int c = 0; c < n; ++c) {
                          lines.green[c] = Component((red[c] + green[c] + blue[c]) / 3);
                        }
                        return StillRowComponents{lines.green, lines.green, lines.green};
                      });
  }
}

}  // namespace

void StillToColour(const CameraModes& modes, const int16_t* planes, StillRows& out,
                   int orientation) {
  WriteColour(modes, planes, out, orientation, 640, 480, ResampleRow640);
}

void StillToColour480(const CameraModes& modes, const int16_t* planes, StillRows& out,
                      int orientation) {
  WriteColour(modes, planes, out, orientation, 480, 360, ResampleRow480);
}

void StillToColour320(const CameraModes& modes, const int16_t* planes, StillRows& out,
                      int orientation) {
  WriteColour(modes, planes, out, orientation, 320, 240, ResampleRow320);
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
