// vobrex: the library's command-line tool. Converts raw sensor frames to
// pictures, synthesises raw frames from pictures, shows the library's
// geometry and settings, and runs a self-contained demo.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>

#include "vobrex/cli_support.h"
#include "vobrex/commands.h"
#include "vobrex/layouts.h"

int main(int argc, char** argv) {
  using namespace vobrex::tool;
  CLI::App app{"vobrex " VOBREX_VERSION
               ": raw frames of the 512 x 512 colour-mosaic camera to pictures and back.",
               "vobrex"};
  app.require_subcommand(1);
  app.set_version_flag("--version", VOBREX_VERSION);
  app.footer(
      "Run `vobrex COMMAND --help` for the options of a command; docs/tool.md has examples.");

  CommandRun run;
  AddConvertCommand(app, run);
  AddMosaicCommand(app, run);
  AddDemoCommand(app, run);
  AddInfoCommand(app, run);
  AddSettingsCommand(app, run);
  AddCompareCommand(app, run);
  AddSceneCommand(app, run);

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& e) {
    return app.exit(e);
  }
  try {
    return run ? run() : 0;
  } catch (const ToolError& e) {
    std::fprintf(stderr, "vobrex: error: %s\n", e.what());
    return 2;
  } catch (const std::exception& e) {
    std::fprintf(stderr, "vobrex: error: %s\n", e.what());
    return 2;
  }
}
