// The code-40 conversion (assembly, plane completion, resampling) at its
// three output sizes, against a memcpy of the bytes it reads and writes.
#include <benchmark/benchmark.h>

#include <chrono>
#include <cmath>
#include <cstring>
#include <vector>

#include "capture/sample_buffers.h"
#include "hires/hires_driver.h"
#include "mosaic/hires_mosaic.h"

namespace {

using Clock = std::chrono::steady_clock;

std::vector<uint8_t> Frame() {
  vobrex::mosaic::Image scene(1012, 960);
  for (int y = 0; y < scene.height; ++y) {
    for (int x = 0; x < scene.width; ++x) {
      uint8_t* p = scene.At(x, y);
      p[0] = uint8_t(128 + 90 * std::sin(x / 30.0) * std::cos(y / 50.0));
      p[1] = uint8_t(128 + 90 * std::cos((x + y) / 40.0));
      p[2] = uint8_t(128 + 90 * std::sin((x - y) / 35.0));
    }
  }
  return vobrex::mosaic::HiresMosaic(scene);
}

// Seconds for one memcpy of `from` into `to`.
double TimedCopy(std::vector<uint8_t>& to, const std::vector<uint8_t>& from) {
  const auto start = Clock::now();
  std::memcpy(to.data(), from.data(), from.size());
  benchmark::DoNotOptimize(to.data());
  benchmark::ClobberMemory();
  return std::chrono::duration<double>(Clock::now() - start).count();
}

// Argument: the sensor sub-mode (0 1260 x 960, 1 1016 x 768, 2 848 x 640).
void BM_HighResConversion(benchmark::State& state) {
  vobrex::Camera cam;
  vobrex::SetResolution(cam, 40, static_cast<int>(state.range(0)));
  const std::vector<uint8_t> frame = Frame();
  // What the conversion moves: the widened samples in, the components out.
  const size_t bytes = frame.size() * sizeof(int16_t) + size_t{cam.modes.imageBytes} * 2;
  std::vector<uint8_t> copyFrom(bytes, 1), copyTo(bytes);
  TimedCopy(copyTo, copyFrom);  // touch both buffers once
  // The reference copy runs beside every conversion, so that both see the
  // same machine load; the ratio is of their sums.
  double copySeconds = 0, convertSeconds = 0;
  for (auto _ : state) {
    state.PauseTiming();
    copySeconds += TimedCopy(copyTo, copyFrom);
    vobrex::Owned<int16_t> samples = vobrex::AllocateArray<int16_t>(frame.size());
    vobrex::ExpandSamples(samples.get(), frame.data(), static_cast<int32_t>(frame.size()));
    state.ResumeTiming();
    const auto start = Clock::now();
    vobrex::Owned<uint16_t> out = vobrex::ConvertHighRes(cam, samples);
    convertSeconds += std::chrono::duration<double>(Clock::now() - start).count();
    benchmark::DoNotOptimize(out.get());
    if (!out) state.SkipWithError("conversion failed");
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bytes));
  state.counters["width"] = cam.modes.width;
  state.counters["height"] = cam.modes.height;
  if (state.iterations() > 0 && copySeconds > 0) {
    state.counters["memcpy_ms"] = copySeconds * 1e3 / double(state.iterations());
    state.counters["x_memcpy"] = convertSeconds / copySeconds;
  }
}
BENCHMARK(BM_HighResConversion)->Arg(0)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond);

}  // namespace
