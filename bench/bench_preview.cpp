// Preview conversion per sub-mode, against a memcpy of the same bytes.
//
// Default: the settings of a fresh context after SetMotionResolution, which
// include automatic white balance (wbMode 1): in the raw domain for every
// sub-mode but 1, and for sub-mode 1 on the image behind the one-second gate.
// AutoWbEveryFrame: the same with wbOnly 1, so that sub-mode 1 re-estimates
// its colour gains on every frame instead of once a second.
// ManualBalance: wbMode 0 with factors 1.0, so no white balance at all: the
// kernel and the driver's own passes.
//
// Counters: memcpy_us is the processor time, measured in the same run, of
// copying the frame's input (262144 raw bytes) and output (imageBytes) once
// each; x_memcpy is the processor time per frame divided by it. Processor
// time of this thread keeps the ratio fair on a busy machine.
#include <benchmark/benchmark.h>
#include <time.h>

#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include "mosaic/image.h"
#include "mosaic/preview_mosaic.h"
#include "preview/preview_driver.h"
#include "settings/camera.h"

namespace {

using Bytes = std::vector<uint8_t>;

enum class Settings { kDefault, kAutoWbEveryFrame, kManualBalance };

Bytes SceneFrame(int sensorMode) {
  vobrex::mosaic::Image scene(320, 240);
  for (int y = 0; y < scene.height; ++y) {
    for (int x = 0; x < scene.width; ++x) {
      uint8_t* p = scene.At(x, y);
      p[0] = static_cast<uint8_t>(128 + 90 * std::sin(x * 0.05 + y * 0.02));
      p[1] = static_cast<uint8_t>(128 + 80 * std::cos(x * 0.03 - y * 0.04));
      p[2] = static_cast<uint8_t>(120 + 70 * std::sin(y * 0.06));
    }
  }
  return vobrex::mosaic::PreviewMosaic(scene, sensorMode);
}

// Processor time of this thread, in microseconds.
double ThreadMicroseconds() {
  timespec t{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
  return static_cast<double>(t.tv_sec) * 1e6 + static_cast<double>(t.tv_nsec) * 1e-3;
}

// Time of one copy of the input and one of the output, in microseconds.
double MemcpyMicroseconds(std::size_t inputBytes, std::size_t outputBytes) {
  Bytes in(inputBytes, 1), inCopy(inputBytes), out(outputBytes, 2), outCopy(outputBytes);
  constexpr int kWarmUp = 20;
  constexpr int kRepeats = 400;
  double start = 0.0;
  for (int i = 0; i < kWarmUp + kRepeats; ++i) {
    if (i == kWarmUp) start = ThreadMicroseconds();
    std::memcpy(inCopy.data(), in.data(), inputBytes);
    std::memcpy(outCopy.data(), out.data(), outputBytes);
    benchmark::DoNotOptimize(inCopy.data());
    benchmark::DoNotOptimize(outCopy.data());
    benchmark::ClobberMemory();
  }
  return (ThreadMicroseconds() - start) / kRepeats;
}

void BM_Preview(benchmark::State& state, Settings settings) {
  const int sensorMode = static_cast<int>(state.range(0));
  vobrex::Camera cam;
  vobrex::SetMotionResolution(cam, sensorMode);
  if (settings == Settings::kAutoWbEveryFrame) cam.modes.wbOnly = 1;
  if (settings == Settings::kManualBalance) cam.modes.wbMode = 0;
  Bytes raw = SceneFrame(sensorMode);
  Bytes rgb(cam.modes.imageBytes);
  const double copyUs = MemcpyMicroseconds(raw.size(), rgb.size());

  const double start = ThreadMicroseconds();
  for (auto _ : state) {
    benchmark::DoNotOptimize(vobrex::ConvertPreviewFrame(cam, raw.data(), rgb.data()));
    benchmark::ClobberMemory();
  }
  const double frameUs = (ThreadMicroseconds() - start) / static_cast<double>(state.iterations());

  state.counters["memcpy_us"] = copyUs;
  state.counters["x_memcpy"] = frameUs / copyUs;
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                          static_cast<int64_t>(raw.size() + rgb.size()));
  state.SetLabel(std::to_string(cam.modes.width) + "x" + std::to_string(cam.modes.height));
}

void SubModes(benchmark::internal::Benchmark* b) {
  for (int mode : {0, 1, 2, 51, 52, 53, 54, 55, 56, 57, 58}) b->Arg(mode);
  b->ArgName("sensorMode")->Unit(benchmark::kMicrosecond);
}

BENCHMARK_CAPTURE(BM_Preview, Default, Settings::kDefault)->Apply(SubModes);
BENCHMARK_CAPTURE(BM_Preview, AutoWbEveryFrame, Settings::kAutoWbEveryFrame)->Apply(SubModes);
BENCHMARK_CAPTURE(BM_Preview, ManualBalance, Settings::kManualBalance)->Apply(SubModes);

}  // namespace
