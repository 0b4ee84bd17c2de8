#include "hires/hires_driver.h"

#include "hires/exposure_assembly.h"
#include "hires/hires_resample.h"
#include "hires/plane_completion.h"
#include "hires/work_grid.h"
#include "platform/trace.h"

namespace vobrex {
namespace {

// Assembles the exposures and completes the three planes, in this fixed
// order. The line-block levelling runs only while the raw-sample defect
// pass is off; the setting is read before each levelling.
void PreparePlanes(const Camera& cam, const int16_t* samples, const WorkGrid& grid) {
  PlaceGreen(samples, grid);
  if (cam.modes.defectFixOn == 0) LevelLineBlocks(grid, kGreenSelector);
  CompleteGreen(grid);
  PlaceRed(samples, grid);
  PlaceBlue(samples, grid);
  FillRedRows(grid);
  FillBlueRows(grid);
  if (cam.modes.defectFixOn == 0) LevelLineBlocks(grid, kBlueSelector);
  if (cam.modes.defectFixOn == 0) LevelLineBlocks(grid, kRedSelector);
  CompleteRed(grid);
  CompleteBlue(grid);
}

enum class Choice { kResample, kNull };

// Picks the resampler by output kind and sensor sub-mode. An unknown
// sub-mode resets the code-40 geometry to sub-mode 0 and uses that size.
Choice ChooseResampler(Camera& cam, HiresResampler& which) {
  const int format = cam.modes.outputFormat;
  if (format == 2) return Choice::kNull;
  if (format != 0 && format != 1) {
    Trace("vobrex32 : MakerasterWarpframe : returns NULL \n");
    return Choice::kNull;
  }
  const bool grey = format == 0;
  switch (cam.modes.sensorMode) {
    case 0: which = grey ? HiresResampler::kA0 : HiresResampler::kB0; break;
    case 1: which = grey ? HiresResampler::kA1 : HiresResampler::kB1; break;
    case 2: which = grey ? HiresResampler::kA2 : HiresResampler::kB2; break;
    default:
      Trace("vobrex32 : MakeRasterWarp : Paramter Error\n");
      SetResolution(cam, 40, 0);
      which = grey ? HiresResampler::kA0 : HiresResampler::kB0;
      break;
  }
  return Choice::kResample;
}

}  // namespace

namespace {

// The conversion up to the resampling; `resample(which, width, height,
// orientation, capacity)` runs the chosen resampler. The order of the
// stages is that of ConvertHighRes.
template <class Resample>
bool RunHighRes(Camera& cam, Owned<int16_t>& samples, Resample resample) {
  if (!samples) return false;
  Owned<int16_t> block = AllocateWorkGrid();
  if (!block) {
    Trace("vobrex32 : MakerasterWarp : TmpBuf is NULL \n");
    return false;
  }
  const WorkGrid grid = GridOf(block);
  PreparePlanes(cam, samples.get(), grid);
  samples.reset();

  const int orientation = OrientationCode(cam.modes);
  // The output holds imageBytes components as the settings give them now;
  // a sub-mode fall-back below resizes the image but not the buffer.
  const uint32_t capacity = cam.modes.imageBytes;
  HiresResampler which{};
  if (ChooseResampler(cam, which) == Choice::kNull) return false;
  // The settings can hold any size. A size whose pixels would not all land
  // inside imageBytes components, or whose reads would leave the grid,
  // cannot be served: null, with nothing written.
  const int width = cam.modes.width;
  const int height = cam.modes.height;
  if (!ResampleFits(which, width, height, orientation, capacity)) return false;
  return resample(grid, which, width, height, orientation, capacity);
}

}  // namespace

Owned<uint16_t> ConvertHighRes(Camera& cam, Owned<int16_t>& samples) {
  Owned<uint16_t> out;
  const bool done = RunHighRes(cam, samples,
                               [&out](const WorkGrid& grid, HiresResampler which, int width,
                                      int height, int orientation, uint32_t capacity) {
                                 out = AllocateArray<uint16_t>(capacity, true);
                                 if (!out) return false;
                                 Resample(grid, which, width, height, orientation, out.get());
                                 return true;
                               });
  if (!done) return nullptr;
  return out;
}

bool ConvertHighResRows(Camera& cam, Owned<int16_t>& samples, StillRows& rows,
                        Owned<uint16_t>& converted, std::size_t& written) {
  written = 0;
  return RunHighRes(cam, samples,
                    [&](const WorkGrid& grid, HiresResampler which, int width, int height,
                        int orientation, uint32_t capacity) {
                      if (ResampleWritesWholeRows(which, width, height)) {
                        ResampleRows(grid, which, width, height, orientation, rows);
                        written = static_cast<std::size_t>(width) * height * 3;
                        return true;
                      }
                      converted = AllocateArray<uint16_t>(capacity, true);
                      if (!converted) return false;
                      Resample(grid, which, width, height, orientation, converted.get());
                      return true;
                    });
}

}  // namespace vobrex
