// The subcommands. Each Add* function adds its subcommand to the app; when
// the user chooses it, `run` is set to the command's body, which main runs
// after parsing and which returns the exit code.
#pragma once

#include <functional>
#include <string>

#include "settings/camera.h"

namespace CLI {
class App;
}

namespace vobrex::tool {

using CommandRun = std::function<int()>;

void AddConvertCommand(CLI::App& app, CommandRun& run);
void AddMosaicCommand(CLI::App& app, CommandRun& run);
void AddSceneCommand(CLI::App& app, CommandRun& run);
void AddDemoCommand(CLI::App& app, CommandRun& run);
void AddInfoCommand(CLI::App& app, CommandRun& run);
void AddSettingsCommand(CLI::App& app, CommandRun& run);
void AddCompareCommand(CLI::App& app, CommandRun& run);

// What the getters of the export table report for `cam`, on one line.
std::string GetterReport(const Camera& cam);

}  // namespace vobrex::tool
