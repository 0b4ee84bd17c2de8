// The command-line options that reach the library's setters, shared by
// `convert`, `settings` and `demo`. They are applied to a context in a
// fixed order: the record (--settings, then --set), the resolution setters,
// then the other setters in the order of the export table.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "settings/camera.h"
#include "vobrex/layouts.h"

namespace CLI {
class App;
}

namespace vobrex::tool {

struct SetterOptions {
  std::string settingsFile;             // SetModes with a record read from text
  std::vector<std::string> fieldEdits;  // NAME=VALUE, edits of the record
  std::string mode;                     // preview | still | hires
  std::optional<int> resolution;        // SetResolution / SetMotionResolution
  std::optional<int> sensorMode;
  std::vector<std::string> options;      // SetOption, LETTER=VALUE
  std::vector<std::string> orientation;  // SetOrientation
  std::string wbFactors;                 // SetWbFactors R,G,B
  std::string focusFactors;              // SetFocusFactors SHARPEN,DEFECT
  std::string tone;                      // SetCBFactors C,B,G,L1,L2,L3
  std::string focusCoord;                // SetFocusCoord X,Y
  std::string semiFactors;               // WbSemiFactorsRestore F1..F7
  std::string rgbRatio;                  // SetRGBratio R,G,B
  std::vector<std::string> colorGains;   // AdjustColorGain CHANNEL=VALUE
};

// Adds the options to `app`. `withReadout` adds --mode, --resolution and
// --sensor-mode (the demo chooses those itself).
void AddSetterOptions(CLI::App& app, SetterOptions& options, bool withReadout);

// Applies everything to `cam` and returns the read-out the frames are in.
// With `forced`, that read-out is selected whatever the options say.
// Throws ToolError for any value the tool cannot pass on meaningfully.
Readout ApplySetters(Camera& cam, const SetterOptions& options,
                     const std::optional<Readout>& forced = std::nullopt);

}  // namespace vobrex::tool
