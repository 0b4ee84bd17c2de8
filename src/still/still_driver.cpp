#include "still/still_driver.h"

#include <cstddef>

#include "still/still_demosaic.h"
#include "still/still_kernels.h"
#include "still/still_planes.h"
#include "still/still_resample.h"
#include "still/still_stream.h"

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

// The kernel's rows and mix, read from the settings as the kernel would.
StillKernelRows KernelRows(StillKernel kernel, const CameraModes& modes) {
  switch (kernel) {
    case StillKernel::kColour480: return ColourKernelRows(modes, 1);
    case StillKernel::kColour320: return ColourKernelRows(modes, 2);
    case StillKernel::kGrey640: return GreyKernelRows(0);
    case StillKernel::kGrey480: return GreyKernelRows(1);
    case StillKernel::kGrey320: return GreyKernelRows(2);
    default: return ColourKernelRows(modes, 0);
  }
}

// The output rows, the kernel and the check of its size, in the order of
// the settings they read; null when the conversion stops there.
template <class Obtain>
StillRows* ObtainRows(Camera& cam, Obtain obtain, StillKernel& kernel) {
  // The output holds imageBytes components, as the settings say at this
  // moment.
  const std::size_t outputComponents = cam.modes.imageBytes;
  StillRows* rows = obtain(outputComponents);
  if (rows == nullptr) return nullptr;
  kernel = ChooseStillKernel(cam);
  // A kernel writes its own fixed size whatever imageBytes says (after the
  // sub-mode fall-back the array was sized for the previous settings): when
  // the array is smaller than that, the frame is not converted.
  if (outputComponents < KernelComponents(kernel)) return nullptr;
  return rows;
}

// Codes 11 and 13: the demosaic runs row by row beside the kernel (see
// still_stream.h), in a window of plane rows in place of the planes; the
// raw frame is held until the last picture row is made and then released,
// as it is on every path past the code check.
// `stream(optionV, window, writer)` runs the demosaic from the frame the
// samples hold, or from the lines they stand for.
template <class Obtain, class Stream>
bool RunDemosaiced(Camera& cam, Owned<int16_t>& samples, Obtain obtain, Stream stream,
                   std::size_t& written) {
  Owned<int16_t> window = AllocateArray<int16_t>(kStillWindowValues, true);
  if (!window) return false;
  // The frame holds rawSampleCount samples; a count too small for one
  // sensor block cannot be served (the library never sets one).
  if (!samples || cam.sampleCount.rawSampleCount < static_cast<uint32_t>(kStillFrameSamples)) {
    return false;
  }
  const uint32_t optionV = cam.modes.optionV;
  const int orientation = OrientationCode(cam.modes);
  StillKernel kernel = StillKernel::kNone;
  StillRows* rows = ObtainRows(cam, obtain, kernel);
  if (rows != nullptr && kernel != StillKernel::kNone) {
    const StillKernelRows kernelRows = KernelRows(kernel, cam.modes);
    StillPictureWriter writer(kernelRows.rows, kernelRows.content, kernelRows.mix, *rows,
                              orientation, kernelRows.mixGroup);
    stream(optionV, window.get(), writer);
  }
  samples.reset();
  if (rows == nullptr) return false;
  written = KernelComponents(kernel);
  return true;
}

// Codes 21 and 23: no demosaic; the kernel converts the planes as
// obtained, zeroed, to black.
template <class Obtain>
bool RunUnfilled(Camera& cam, Owned<int16_t>& samples, Obtain obtain, std::size_t& written) {
  Owned<int16_t> planes = AllocateArray<int16_t>(kStillPlanesAllocation, true);
  if (!planes) return false;
  samples.reset();  // from here the raw frame is gone, whatever follows
  const int orientation = OrientationCode(cam.modes);
  StillKernel kernel = StillKernel::kNone;
  StillRows* rows = ObtainRows(cam, obtain, kernel);
  if (rows == nullptr) return false;
  RunKernel(kernel, cam.modes, planes.get(), *rows, orientation);
  written = KernelComponents(kernel);
  return true;
}

// The conversion up to the kernel; `obtain(components)` gives the rows the
// kernel writes into (null: the output could not be had). The order of the
// stages and of the allocations is that of ConvertStill.
template <class Obtain, class Stream>
bool RunStill(Camera& cam, Owned<int16_t>& samples, int code, Obtain obtain, Stream stream,
              std::size_t& written) {
  written = 0;
  switch (static_cast<int8_t>(code)) {
    case 11:
    case 13: return RunDemosaiced(cam, samples, obtain, stream, written);
    case 21:
    case 23: return RunUnfilled(cam, samples, obtain, written);
    default: return false;  // refused; the raw frame stays the caller's
  }
}

// The demosaic from the widened frame in `samples`.
auto StreamFrame(const Owned<int16_t>& samples) {
  return [&samples](uint32_t optionV, int16_t* window, StillPictureWriter& writer) {
    StreamStill(samples.get(), optionV, window, writer);
  };
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
  if (!RunStill(cam, samples, code, obtain, StreamFrame(samples), written)) return nullptr;
  return output;
}

bool ConvertStillRows(Camera& cam, Owned<int16_t>& samples, int code, StillRows& rows,
                      std::size_t& written) {
  return RunStill(
      cam, samples, code, [&rows](std::size_t) { return &rows; }, StreamFrame(samples), written);
}

Owned<int16_t> AllocateStillLines() { return AllocateArray<int16_t>(kStillLineValues, true); }

bool ConvertStillRowsFromLines(Camera& cam, const StillFrameSource& source, Owned<int16_t>& lines,
                               int code, StillRows& rows, std::size_t& written) {
  return RunStill(
      cam, lines, code, [&rows](std::size_t) { return &rows; },
      [&](uint32_t optionV, int16_t* window, StillPictureWriter& writer) {
        StreamStill(source, lines.get(), optionV, window, writer);
      },
      written);
}

}  // namespace vobrex
