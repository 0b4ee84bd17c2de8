// `vobrex mosaic` (a picture to the raw frame of a read-out) and `vobrex
// scene` (the built-in test scenes as pictures).
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <memory>

#include "vobrex/cli_support.h"
#include "vobrex/commands.h"
#include "vobrex/layouts.h"
#include "vobrex/png_io.h"
#include "vobrex/setter_options.h"
#include "vobrex/test_scene.h"

namespace vobrex::tool {

namespace {

struct MosaicOptions {
  std::string image;
  std::string out;
  SetterOptions readout;  // only --mode, --resolution and --sensor-mode
};

int RunMosaic(const MosaicOptions& o) {
  Camera probe;
  const Readout readout = ApplySetters(probe, o.readout);
  const mosaic::Image scene = ReadPng(o.image);
  const std::vector<uint8_t> frame = Synthesise(readout, scene);
  WriteFileBytes(o.out, frame.data(), frame.size());
  std::printf("%s: raw frame of %s, %zu bytes (from a %d x %d picture)\n", o.out.c_str(),
              Describe(readout).c_str(), frame.size(), scene.width, scene.height);
  if (std::all_of(frame.begin(), frame.end(), [](uint8_t b) { return b == 0; })) {
    std::fprintf(stderr, "vobrex: warning: the synthesised frame is all zero\n");
  }
  return 0;
}

struct SceneOptions {
  std::string pattern = "chart";
  std::string size = "640x480";
  std::string out;
};

int RunScene(const SceneOptions& o) {
  ScenePattern pattern = ScenePattern::kChart;
  ParseScenePattern(o.pattern, pattern);
  int width = 0, height = 0;
  ParseSize(o.size, width, height);
  WritePng(o.out, RenderScene(pattern, width, height));
  std::printf("%s: %s scene, %d x %d\n", o.out.c_str(), o.pattern.c_str(), width, height);
  return 0;
}

}  // namespace

void AddMosaicCommand(CLI::App& app, CommandRun& run) {
  auto o = std::make_shared<MosaicOptions>();
  CLI::App* sub = app.add_subcommand(
      "mosaic",
      "Synthesise the raw frame a read-out would deliver for a picture (the inverse of convert)");
  sub->add_option("image", o->image,
                  "The scene as a PNG picture; it covers the area of the "
                  "sensor that the conversion maps onto its output")
      ->required()
      ->check(CLI::ExistingFile)
      ->type_name("IMAGE.png");
  sub->add_option("-o,--out", o->out, "The raw frame to write")->required()->type_name("FRAME.raw");
  sub->add_option("--mode", o->readout.mode, "Read-out path; by default the one of --resolution")
      ->check(CLI::IsMember({"preview", "still", "hires"}));
  sub->add_option("--resolution", o->readout.resolution,
                  "Resolution code: 0 preview, 11/13 still, 21/23 double still, 40 high "
                  "resolution")
      ->type_name("CODE");
  sub->add_option("--sensor-mode", o->readout.sensorMode,
                  "Sensor sub-mode; it selects the preview read-out (0, 1, 2, 51..58), while the "
                  "still and high-resolution read-outs do not depend on it")
      ->type_name("N");
  sub->footer(LayoutSummary());
  sub->callback([o, &run] { run = [o] { return RunMosaic(*o); }; });
}

void AddSceneCommand(CLI::App& app, CommandRun& run) {
  auto o = std::make_shared<SceneOptions>();
  CLI::App* sub =
      app.add_subcommand("scene", "Write a built-in test scene as a PNG picture, at any size");
  sub->add_option("-o,--out", o->out, "The picture to write")->required()->type_name("OUT.png");
  sub->add_option("--pattern", o->pattern,
                  "chart: patches, zone plate, slanted edges, gradients (the demo's scene); "
                  "smooth: slow colour ramps for round-trip checks")
      ->check(CLI::IsMember({"chart", "smooth"}))
      ->capture_default_str();
  sub->add_option("--size", o->size, "Picture size")->type_name("WxH")->capture_default_str();
  sub->callback([o, &run] { run = [o] { return RunScene(*o); }; });
}

}  // namespace vobrex::tool
