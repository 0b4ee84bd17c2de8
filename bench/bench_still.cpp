// The whole still core (widening, defect repair, white balance, conversion,
// packing, sharpening) of codes 13 and 23 at their three output sizes, in
// colour and in grey, against a memcpy of the bytes a frame takes and gives.
#include <benchmark/benchmark.h>

#include <chrono>
#include <cmath>
#include <cstring>
#include <vector>

#include "capture/still_entry.h"
#include "mosaic/still_mosaic.h"

namespace {

using Clock = std::chrono::steady_clock;

std::vector<uint8_t> Frame(int code) {
  vobrex::mosaic::Image scene(640, 480);
  for (int y = 0; y < scene.height; ++y) {
    for (int x = 0; x < scene.width; ++x) {
      uint8_t* p = scene.At(x, y);
      p[0] = uint8_t(128 + 90 * std::sin(x / 30.0) * std::cos(y / 50.0));
      p[1] = uint8_t(128 + 90 * std::cos((x + y) / 40.0));
      p[2] = uint8_t(128 + 90 * std::sin((x - y) / 35.0));
    }
  }
  return vobrex::mosaic::StillMosaic(scene, code);
}

// Seconds for one memcpy of `from` into `to`.
double TimedCopy(std::vector<uint8_t>& to, const std::vector<uint8_t>& from) {
  const auto start = Clock::now();
  std::memcpy(to.data(), from.data(), from.size());
  benchmark::DoNotOptimize(to.data());
  benchmark::ClobberMemory();
  return std::chrono::duration<double>(Clock::now() - start).count();
}

// Arguments: resolution code, sensor sub-mode, outputFormat (1 colour, 0 grey).
void BM_StillFrame(benchmark::State& state) {
  const int code = static_cast<int>(state.range(0));
  vobrex::Camera cam;
  cam.modes.outputFormat = static_cast<uint8_t>(state.range(2));
  vobrex::SetResolution(cam, code, static_cast<int>(state.range(1)));
  // The post-processing stages this file's subject is: repair and sharpening on.
  cam.modes.defectFixOn = 1;
  cam.modes.sharpenOn = 1;
  const CameraModes settings = cam.modes;

  std::vector<uint8_t> frame = Frame(code);
  frame.resize(cam.sampleCount.rawSampleCount, 0);
  std::vector<uint8_t> image(54 + size_t{cam.modes.imageBytes});
  // What the frame moves across the boundary: raw bytes in, image bytes out.
  const size_t bytes = frame.size() + image.size();
  std::vector<uint8_t> copyFrom(bytes, 1), copyTo(bytes);
  TimedCopy(copyTo, copyFrom);  // touch both buffers once

  // The reference copy runs beside every frame, so that both see the same
  // machine load; the ratio is of their sums.
  double copySeconds = 0, convertSeconds = 0;
  for (auto _ : state) {
    state.PauseTiming();
    copySeconds += TimedCopy(copyTo, copyFrom);
    cam.modes = settings;  // a frame writes wideRange; start each alike
    state.ResumeTiming();
    const auto start = Clock::now();
    const int result = vobrex::ConvertCamFrame(cam, frame.data(), image.data(), code);
    convertSeconds += std::chrono::duration<double>(Clock::now() - start).count();
    benchmark::DoNotOptimize(image.data());
    if (result != 1) state.SkipWithError("conversion failed");
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes));
  state.counters["width"] = cam.modes.width;
  state.counters["height"] = cam.modes.height;
  if (state.iterations() > 0 && copySeconds > 0) {
    state.counters["frame_ms"] = convertSeconds * 1e3 / double(state.iterations());
    state.counters["memcpy_ms"] = copySeconds * 1e3 / double(state.iterations());
    state.counters["x_memcpy"] = convertSeconds / copySeconds;
  }
}
BENCHMARK(BM_StillFrame)
    ->ArgNames({"code", "sub", "format"})
    ->ArgsProduct({{13, 23}, {0, 1, 2}, {1, 0}})
    ->Unit(benchmark::kMillisecond);

}  // namespace
