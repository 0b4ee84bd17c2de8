// `vobrex demo`: with no input at all, a test scene through every read-out
// and back, with pictures, an index page and a summary table.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <map>
#include <memory>

#include "vobrex/batch.h"
#include "vobrex/cli_support.h"
#include "vobrex/commands.h"
#include "vobrex/demo_page.h"
#include "vobrex/frame_conversion.h"
#include "vobrex/png_io.h"
#include "vobrex/setter_options.h"
#include "vobrex/settings_text.h"
#include "vobrex/test_scene.h"

namespace vobrex::tool {

namespace {

struct DemoOptions {
  std::string outDir = "demo-out";
  std::string pattern = "chart";
  int jobs = DefaultJobs();
  bool keepRaw = true;
  SetterOptions tuning;
};

// The demo converts with manual white balance at factors 1.0, so that each
// picture shows what the path itself does to the scene; the user's own
// options come after and win.
SetterOptions DemoSetters(const SetterOptions& user) {
  SetterOptions setters = user;
  setters.options.insert(setters.options.begin(), "h=0");
  return setters;
}

std::string SettingsSummary(const SetterOptions& user) {
  std::string text = "the defaults with manual white balance (--option h=0)";
  for (const std::string& o : user.options) text += ", --option " + o;
  for (const std::string& s : user.fieldEdits) text += ", --set " + s;
  for (const std::string& s : user.orientation) text += ", --orientation " + s;
  const std::pair<const char*, const std::string*> lists[] = {
      {"--settings", &user.settingsFile},      {"--wb-factors", &user.wbFactors},
      {"--focus-factors", &user.focusFactors}, {"--tone", &user.tone},
      {"--focus-coord", &user.focusCoord},     {"--semi-factors", &user.semiFactors},
      {"--rgb-ratio", &user.rgbRatio}};
  for (const auto& [name, value] : lists) {
    if (!value->empty()) text += std::string(", ") + name + " " + *value;
  }
  for (const std::string& s : user.colorGains) text += ", --color-gain " + s;
  return text;
}

void RunOne(const DemoOptions& o, const SetterOptions& setters, ScenePattern pattern,
            bool writeScene, DemoResult& result) {
  const std::filesystem::path dir = o.outDir;
  Camera cam;
  ApplySetters(cam, setters, result.readout);
  result.settings = DumpSettings(cam.modes);
  for (const char* field :
       {"resolution", "sensorMode", "outputFormat", "wbMode", "wbExtra", "mirror", "flip",
        "sharpenOn", "defectFixOn", "stillFilter", "framing"}) {
    result.keySettings += std::string(result.keySettings.empty() ? "" : ", ") + field + " " +
                          SettingsFieldText(cam.modes, field);
  }
  const mosaic::Image scene = RenderScene(pattern, result.width, result.height);
  if (writeScene) WritePng(dir / result.scenePicture, scene, true);

  int64_t start = NowNanoseconds();
  std::vector<uint8_t> raw = Synthesise(result.readout, scene);
  result.synthesisMs = MillisecondsSince(start);
  result.rawBytes = raw.size();
  result.zeroFrame = std::all_of(raw.begin(), raw.end(), [](uint8_t b) { return b == 0; });
  if (o.keepRaw) {
    result.rawFile = "raw/" + ShortId(result.readout) + ".raw";
    WriteFileBytes(dir / result.rawFile, raw.data(), raw.size());
  }

  start = NowNanoseconds();
  const ConvertedFrame frame = ConvertFrame(cam, result.readout.path, raw, Entry::kCapture);
  result.conversionMs = MillisecondsSince(start);
  const mosaic::Image picture = ToImage(frame);
  result.picture = ShortId(result.readout) + ".png";
  WritePng(dir / result.picture, picture, true);
  result.converted = true;
  if (picture.width == scene.width && picture.height == scene.height &&
      ReproducesScene(result.readout)) {
    const int border = std::max(2, picture.width / 64);
    for (int c = 0; c < 3; ++c) result.psnr[c] = mosaic::Psnr(scene, picture, c, border);
    result.measured = true;
  }
}

void PrintSummary(const DemoRun& run) {
  std::printf("%-8s %4s %4s  %-11s %9s %9s %9s  %-20s %s\n", "path", "code", "sub", "output",
              "raw bytes", "synth ms", "conv ms", "PSNR R / G / B (dB)", "note");
  for (const DemoResult& r : run.results) {
    char size[32];
    std::snprintf(size, sizeof size, "%d x %d", r.width, r.height);
    char conversion[32] = "-";
    if (r.converted) std::snprintf(conversion, sizeof conversion, "%.1f", r.conversionMs);
    std::printf("%-8s %4d %4d  %-11s %9zu %9.1f %9s  %-20s %s\n", PathName(r.readout.path),
                r.readout.code, r.readout.subMode, size, r.rawBytes, r.synthesisMs, conversion,
                PsnrText(r).c_str(), ResultNote(r).c_str());
  }
}

int RunDemo(const DemoOptions& o) {
  const int64_t start = NowNanoseconds();
  ScenePattern pattern = ScenePattern::kChart;
  ParseScenePattern(o.pattern, pattern);
  const SetterOptions setters = DemoSetters(o.tuning);

  DemoRun run;
  run.pattern = o.pattern;
  run.settingsSummary = SettingsSummary(o.tuning);
  run.jobs = o.jobs;
  // The geometry of each read-out, and which of them draws the scene of its
  // size (one picture a size).
  std::map<std::pair<int, int>, std::size_t> sceneWriter;
  for (const Readout& readout : DemoReadouts()) {
    Camera probe;
    ApplySetters(probe, setters, readout);  // checks the user's options once
    DemoResult result;
    result.readout = readout;
    result.width = probe.modes.width;
    result.height = probe.modes.height;
    if (result.width <= 0 || result.height <= 0 || result.width > 4096 || result.height > 4096) {
      throw ToolError("the settings give " + Describe(readout) + " no usable picture size");
    }
    result.scenePicture =
        "scene-" + std::to_string(result.width) + "x" + std::to_string(result.height) + ".png";
    sceneWriter.emplace(std::make_pair(result.width, result.height), run.results.size());
    run.results.push_back(result);
  }
  std::filesystem::create_directories(std::filesystem::path(o.outDir) / "raw");

  RunParallel(run.results.size(), o.jobs, [&](std::size_t i) {
    DemoResult& result = run.results[i];
    const bool writeScene = sceneWriter.at({result.width, result.height}) == i;
    try {
      RunOne(o, setters, pattern, writeScene, result);
    } catch (const std::exception& e) {
      result.converted = false;
      result.error = e.what();
    }
  });
  run.totalMs = MillisecondsSince(start);

  const std::filesystem::path index = std::filesystem::path(o.outDir) / "index.html";
  WriteTextFile(index, DemoPage(run));
  PrintSummary(run);
  const auto failed = std::count_if(run.results.begin(), run.results.end(),
                                    [](const DemoResult& r) { return !r.converted; });
  std::printf("\n%zu read-outs in %.2f s; pictures and %s written\n", run.results.size(),
              run.totalMs / 1000, index.string().c_str());
  if (failed > 0) {
    std::fprintf(stderr, "vobrex: error: %ld of %zu conversions failed (see the notes above)\n",
                 static_cast<long>(failed), run.results.size());
    return 1;
  }
  return 0;
}

}  // namespace

void AddDemoCommand(CLI::App& app, CommandRun& run) {
  auto o = std::make_shared<DemoOptions>();
  CLI::App* sub = app.add_subcommand(
      "demo",
      "Draw a test scene, synthesise its raw frame in every read-out, convert each through the "
      "library and write the pictures with an index page (no input needed)");
  sub->add_option("--out-dir", o->outDir, "Where the pictures, raw frames and index.html go")
      ->type_name("DIR")
      ->capture_default_str();
  sub->add_option("--pattern", o->pattern, "The test scene (see `vobrex scene`)")
      ->check(CLI::IsMember({"chart", "smooth"}))
      ->capture_default_str();
  sub->add_option("-j,--jobs", o->jobs,
                  "Read-outs converted at once, one library context each (default: all cores)")
      ->check(CLI::Range(1, 1024));
  sub->add_flag("!--no-raw", o->keepRaw, "Do not keep the synthesised raw frames");
  AddSetterOptions(*sub, o->tuning, false);
  sub->footer(
      "Every read-out is converted with the library's defaults plus manual white balance "
      "(--option h=0); the setter options above are applied on top.");
  sub->callback([o, &run] { run = [o] { return RunDemo(*o); }; });
}

}  // namespace vobrex::tool
