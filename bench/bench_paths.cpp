// Google Benchmark view of every conversion path with default settings: the
// time per frame, and the ratio to a memcpy of the frame's input plus output
// bytes timed in the same run. scripts/bench.sh prints the fuller table with
// the OpenCV peers.
#include <benchmark/benchmark.h>

#include <chrono>
#include <cstring>
#include <vector>

#include "capture/preview_entry.h"
#include "capture/still_entry.h"
#include "settings/camera.h"

namespace {

std::vector<uint8_t> Frame(std::size_t bytes) {
  std::vector<uint8_t> frame(bytes);
  uint32_t s = 12345;
  for (uint8_t& b : frame) {
    s = s * 1103515245u + 12345u;
    b = static_cast<uint8_t>(60 + ((s >> 16) % 128));
  }
  return frame;
}

// Seconds a memcpy of `bytes` takes, the best of a few runs.
double MemcpySeconds(std::size_t bytes) {
  std::vector<uint8_t> from(bytes, 1), to(bytes);
  double best = 1e9;
  for (int i = 0; i < 20; ++i) {
    const auto start = std::chrono::steady_clock::now();
    std::memcpy(to.data(), from.data(), bytes);
    benchmark::DoNotOptimize(to.data());
    best = std::min(
        best, std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
  }
  return best;
}

template <class Convert>
void Run(benchmark::State& state, vobrex::Camera& cam, Convert convert) {
  const std::vector<uint8_t> frame = Frame(cam.sampleCount.rawSampleCount);
  std::vector<uint8_t> raw = frame;
  std::vector<uint8_t> out(54 + std::size_t{cam.modes.imageBytes});
  const CameraModes settings = cam.modes;
  const auto start = std::chrono::steady_clock::now();
  for (auto _ : state) {
    raw = frame;
    cam.modes = settings;
    benchmark::DoNotOptimize(convert(raw.data(), out.data()));
  }
  const double perFrame =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count() /
      static_cast<double>(state.iterations());
  state.counters["x_memcpy"] = perFrame / MemcpySeconds(raw.size() + cam.modes.imageBytes);
}

void Preview(benchmark::State& state) {
  vobrex::Camera cam;
  vobrex::SetMotionResolution(cam, static_cast<int>(state.range(0)));
  Run(state, cam, [&](uint8_t* raw, uint8_t* out) { return vobrex::VX_CCDtoRGB(cam, raw, out); });
}
BENCHMARK(Preview)
    ->ArgName("sensorMode")
    ->Arg(51)
    ->Arg(52)
    ->Arg(58)
    ->Arg(0)
    ->Arg(54)
    ->Arg(57)
    ->Arg(1)
    ->Arg(2)
    ->Unit(benchmark::kMicrosecond);

void Still(benchmark::State& state) {
  vobrex::Camera cam;
  const int code = static_cast<int>(state.range(0));
  vobrex::SetResolution(cam, code, static_cast<int>(state.range(1)));
  Run(state, cam,
      [&](uint8_t* raw, uint8_t* out) { return vobrex::ConvertCamFrame(cam, raw, out, code); });
}
BENCHMARK(Still)
    ->ArgNames({"code", "subMode"})
    ->ArgsProduct({{13, 23, 40}, {0, 1, 2}})
    ->Unit(benchmark::kMillisecond);

}  // namespace
