// `vobrex info` (version, geometry, defaults) and `vobrex settings` (the
// record as text, and what the getters report).
#include <CLI/CLI.hpp>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "vobrex/cli_support.h"
#include "vobrex/commands.h"
#include "vobrex/layouts.h"
#include "vobrex/setter_options.h"
#include "vobrex/settings_text.h"

namespace vobrex::tool {

namespace {

void PrintGeometry() {
  std::printf("%-8s %-5s %-9s %-11s %-12s %-10s %s\n", "path", "code", "sub-mode", "output",
              "image bytes", "raw bytes", "notes");
  for (Path path : {Path::kPreview, Path::kStill, Path::kHires}) {
    for (int code : CodesOf(path)) {
      for (int sub : SubModesOf(path)) {
        const Readout r{path, code, sub};
        Camera cam;
        SelectReadout(cam, r);
        char size[32];
        std::snprintf(size, sizeof size, "%d x %d", cam.modes.width, cam.modes.height);
        std::string note = ReadoutNote(r);
        if (code == 11 || code == 21) {
          note += std::string(note.empty() ? "" : "; ") + "set through the record";
        }
        if (code == 10 || code == 20) {
          note += std::string(note.empty() ? "" : "; ") + "raw size kept from the previous code";
        }
        std::printf("%-8s %-5d %-9d %-11s %-12u %-10u %s\n", PathName(path), code, sub, size,
                    cam.modes.imageBytes, cam.sampleCount.rawSampleCount, note.c_str());
      }
    }
  }
}

int RunInfo() {
  std::printf("vobrex %s: library vobrex32, settings record %zu bytes\n\n", VOBREX_VERSION,
              sizeof(CameraModes));
  std::printf("Resolution codes and sensor sub-modes\n");
  PrintGeometry();
  std::printf("\nDefaults of a new context\n");
  const Camera cam;
  std::fputs(DumpSettings(cam.modes).c_str(), stdout);
  return 0;
}

struct SettingsOptions {
  SetterOptions setters;
  std::string out;
  bool dump = false;
  bool query = false;
};

int RunSettings(const SettingsOptions& o) {
  Camera cam;
  ApplySetters(cam, o.setters);
  const bool dump = o.dump || !o.query;
  if (dump) {
    const std::string text = DumpSettings(cam.modes);
    if (o.out.empty()) {
      std::fputs(text.c_str(), stdout);
    } else {
      WriteTextFile(o.out, text);
    }
  }
  if (o.query) std::printf("%s\n", GetterReport(cam).c_str());
  return 0;
}

}  // namespace

std::string GetterReport(const Camera& cam) {
  int width = 0, height = 0, bytes = 0, r = 0, g = 0, b = 0;
  GetImageSize(cam, &width, &height, &bytes);
  GetRGBratio(cam, &r, &g, &b);
  int* semi = WbSemiFactors(cam);
  std::string semiText;
  for (int i = 0; i < 7 && semi != nullptr; ++i) {
    semiText += (i ? "," : "") + std::to_string(semi[i]);
  }
  std::free(semi);
  char text[256];
  std::snprintf(text, sizeof text,
                "GetImageSize %d x %d, %d bytes; GetRGBratio %d/%d/%d; FocusIndication %.6g; "
                "GetSharpness %u; WbSemiFactors %s",
                width, height, bytes, r, g, b, cam.modes.focusValue,
                static_cast<unsigned>(cam.modes.sharpness), semiText.c_str());
  return text;
}

void AddInfoCommand(CLI::App& app, CommandRun& run) {
  CLI::App* sub = app.add_subcommand(
      "info",
      "Show the library version, the geometry of every resolution code and sub-mode, "
      "and the defaults");
  sub->callback([&run] { run = [] { return RunInfo(); }; });
}

void AddSettingsCommand(CLI::App& app, CommandRun& run) {
  auto o = std::make_shared<SettingsOptions>();
  CLI::App* sub = app.add_subcommand(
      "settings",
      "Write the settings record as text (after the setter options), for --settings FILE");
  sub->add_flag("--dump", o->dump, "Write the whole record, one 'name = value' a line (default)");
  sub->add_flag("--query", o->query,
                "Print what the getters report (GetImageSize, GetRGBratio, FocusIndication, "
                "GetSharpness, WbSemiFactors)");
  sub->add_option("-o,--out", o->out, "Write the record to FILE instead of standard output")
      ->type_name("FILE");
  AddSetterOptions(*sub, o->setters, true);
  sub->callback([o, &run] { run = [o] { return RunSettings(*o); }; });
}

}  // namespace vobrex::tool
