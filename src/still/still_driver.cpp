#include "still/still_driver.h"

#include <cstddef>

#include "still/still_demosaic.h"
#include "still/still_kernels.h"
#include "still/still_planes.h"
#include "still/still_resample.h"

namespace vobrex {
namespace {

enum class StillKernel { kNone, kColour640, kColour480, kColour320, kGrey640, kGrey480, kGrey320 };

// The kernel of the output format and sensor sub-mode. An unknown sub-mode
// of a colour or grey picture falls back to code 13, sub-mode 0 and takes the
// 640 x 480 member; that changes the settings after the output was sized.
StillKernel ChooseStillKernel(Camera& cam) {
  const CameraModes& m = cam.modes;
  const bool grey = m.outputFormat == 2;
  if (m.outputFormat > 2) return StillKernel::kNone;
  switch (m.sensorMode) {
    case 0: return grey ? StillKernel::kGrey640 : StillKernel::kColour640;
    case 1: return grey ? StillKernel::kGrey480 : StillKernel::kColour480;
    case 2: return grey ? StillKernel::kGrey320 : StillKernel::kColour320;
    default:
      SetResolution(cam, 13, 0);
      return grey ? StillKernel::kGrey640 : StillKernel::kColour640;
  }
}

// Components a kernel writes: width x height x 3 of its own fixed size.
std::size_t KernelComponents(StillKernel kernel) {
  switch (kernel) {
    case StillKernel::kColour640:
    case StillKernel::kGrey640: return 640 * 480 * 3;
    case StillKernel::kColour480:
    case StillKernel::kGrey480: return 480 * 360 * 3;
    case StillKernel::kColour320:
    case StillKernel::kGrey320: return 320 * 240 * 3;
    case StillKernel::kNone: break;
  }
  return 0;
}

void RunKernel(StillKernel kernel, const CameraModes& modes, const int16_t* planes, StillRows& out,
               int orientation) {
  switch (kernel) {
    case StillKernel::kColour640: StillToColour(modes, planes, out, orientation); break;
    case StillKernel::kColour480: StillToColour480(modes, planes, out, orientation); break;
    case StillKernel::kColour320: StillToColour320(modes, planes, out, orientation); break;
    case StillKernel::kGrey640: StillToGrey(planes, out, orientation); break;
    case StillKernel::kGrey480: StillToGrey480(planes, out, orientation); break;
    case StillKernel::kGrey320: StillToGrey320(planes, out, orientation); break;
    case StillKernel::kNone: break;
  }
}

// The conversion up to the kernel; `obtain(components)` gives the rows the
// kernel writes into (null: the output could not be had). The order of the
// stages and of the allocations is that of ConvertStill.
template <class Obtain>
bool RunStill(Camera& cam, Owned<int16_t>& samples, int code, Obtain obtain, std::size_t& written) {
  written = 0;
  // The planes start zeroed: the sites no demosaic pass writes read 0, and
  // the double-size read-outs, which have no demosaic, convert to black.
  Owned<int16_t> planes = AllocateArray<int16_t>(kStillPlanesAllocation, true);
  if (!planes) return false;

  switch (static_cast<int8_t>(code)) {
    case 11:
    case 13:
      // The frame holds rawSampleCount samples; a count too small for one
      // sensor block cannot be served (the library never sets one).
      if (!samples || cam.sampleCount.rawSampleCount < static_cast<uint32_t>(kStillFrameSamples)) {
        return false;
      }
      DemosaicStill(samples.get(), planes.get(), cam.modes.optionV);
      break;
    case 21:
    case 23: break;         // no demosaic: the kernel converts the planes as obtained
    default: return false;  // refused; the raw frame stays the caller's
  }
  samples.reset();  // from here the raw frame is gone, whatever follows

  const int orientation = OrientationCode(cam.modes);
  // The output holds imageBytes components, as the settings say at this
  // moment.
  const std::size_t outputComponents = cam.modes.imageBytes;
  StillRows* rows = obtain(outputComponents);
  if (rows == nullptr) return false;

  const StillKernel kernel = ChooseStillKernel(cam);
  // A kernel writes its own fixed size whatever imageBytes says (after the
  // sub-mode fall-back the array was sized for the previous settings): when
  // the array is smaller than that, the frame is not converted.
  if (outputComponents < KernelComponents(kernel)) return false;
  RunKernel(kernel, cam.modes, planes.get(), *rows, orientation);
  written = KernelComponents(kernel);
  return true;
}

}  // namespace

Owned<uint16_t> ConvertStill(Camera& cam, Owned<int16_t>& samples, int code) {
  Owned<uint16_t> output;
  StillArray array(nullptr);
  std::size_t written = 0;
  auto obtain = [&](std::size_t components) -> StillRows* {
    // Zeroed, so that an output format without a kernel returns a defined
    // (black) array.
    output = AllocateArray<uint16_t>(components, true);
    if (!output) return nullptr;
    array = StillArray(output.get());
    return &array;
  };
  if (!RunStill(cam, samples, code, obtain, written)) return nullptr;
  return output;
}

bool ConvertStillRows(Camera& cam, Owned<int16_t>& samples, int code, StillRows& rows,
                      std::size_t& written) {
  return RunStill(
      cam, samples, code, [&rows](std::size_t) { return &rows; }, written);
}

}  // namespace vobrex
