#include "vobrex/setter_options.h"

#include <CLI/CLI.hpp>
#include <algorithm>

#include "vobrex/cli_support.h"
#include "vobrex/settings_text.h"

namespace vobrex::tool {

void AddSetterOptions(CLI::App& app, SetterOptions& o, bool withReadout) {
  const std::string record = "Settings record";
  const std::string setters = "Setters";
  app.add_option("--settings", o.settingsFile,
                 "Start from the record in FILE (the text `vobrex settings --dump` writes; "
                 "fields left out keep their defaults), as SetModes does")
      ->check(CLI::ExistingFile)
      ->type_name("FILE")
      ->group(record);
  app.add_option("--set", o.fieldEdits,
                 "Edit one field of the record before the setters run, e.g. --set gainAdjust=1 "
                 "(repeatable)")
      ->type_name("NAME=VALUE")
      ->group(record);
  if (withReadout) {
    app.add_option("--mode", o.mode, "Conversion path; by default the one of --resolution")
        ->check(CLI::IsMember({"preview", "still", "hires"}))
        ->group(setters);
    app.add_option("--resolution", o.resolution,
                   "Resolution code: 0 preview; 10, 11, 13, 20, 21, 23 still; 40 high "
                   "resolution (SetResolution / SetMotionResolution)")
        ->type_name("CODE")
        ->group(setters);
    app.add_option("--sensor-mode", o.sensorMode,
                   "Sensor sub-mode: 0, 1, 2 for stills, 0, 1, 2, 51..58 for the preview "
                   "(default 51 preview, 0 otherwise)")
        ->type_name("N")
        ->group(setters);
  }
  app.add_option("--option", o.options,
                 "SetOption, e.g. --option h=0 (manual white balance); letters f..v, see "
                 "docs/tool.md (repeatable)")
      ->type_name("LETTER=VALUE")
      ->group(setters);
  app.add_option("--orientation", o.orientation,
                 "SetOrientation: mirror (1), flip (2) or both (4); each toggles (repeatable)")
      ->type_name("OP")
      ->group(setters);
  app.add_option("--wb-factors", o.wbFactors, "SetWbFactors: manual white-balance factors")
      ->type_name("R,G,B")
      ->group(setters);
  app.add_option("--focus-factors", o.focusFactors,
                 "SetFocusFactors: sharpenOn and defectFixOn (non-zero switches on)")
      ->type_name("SHARPEN,DEFECT")
      ->group(setters);
  app.add_option("--tone", o.tone,
                 "SetCBFactors: contrast, brightness, gamma (hundredths), three black levels; "
                 "neutral 0,0,100,1,1,1")
      ->type_name("C,B,G,L1,L2,L3")
      ->group(setters);
  app.add_option("--focus-coord", o.focusCoord, "SetFocusCoord: focus window position")
      ->type_name("X,Y")
      ->group(setters);
  app.add_option("--semi-factors", o.semiFactors,
                 "WbSemiFactorsRestore: the seven semi-automatic white-balance factors")
      ->type_name("F1,...,F7")
      ->group(setters);
  app.add_option("--rgb-ratio", o.rgbRatio, "SetRGBratio: the three channel ratios")
      ->type_name("R,G,B")
      ->group(setters);
  app.add_option("--color-gain", o.colorGains,
                 "AdjustColorGain: channel r, g or b (or 1, 3, 2) and a value 0..255; needs "
                 "--set gainAdjust=1 (repeatable)")
      ->type_name("CHANNEL=VALUE")
      ->group(setters);
}

namespace {

bool Contains(const std::vector<int>& list, int value) {
  return std::find(list.begin(), list.end(), value) != list.end();
}

// Decides the read-out from the options and the record as it stands.
Readout DecideReadout(const SetterOptions& o, const CameraModes& record, bool recordGiven) {
  Path path = Path::kStill;
  if (!o.mode.empty()) {
    ParsePath(o.mode, path);
  } else if (o.resolution) {
    path = PathOfCode(*o.resolution);
  } else if (recordGiven) {
    path = PathOfCode(record.resolution);
  }
  Readout r{path, DefaultCode(path), DefaultSubMode(path)};
  if (o.resolution) {
    if (!Contains(CodesOf(path), *o.resolution)) {
      throw ToolError("--resolution " + std::to_string(*o.resolution) + " is not a code of the " +
                      PathName(path) + " path (codes: " + CodeList(path) + ")");
    }
    r.code = *o.resolution;
  } else if (recordGiven && Contains(CodesOf(path), record.resolution)) {
    r.code = record.resolution;
  }
  if (o.sensorMode) {
    if (!Contains(SubModesOf(path), *o.sensorMode)) {
      throw ToolError("--sensor-mode " + std::to_string(*o.sensorMode) +
                      " is not a sub-mode of the " + PathName(path) +
                      " path (sub-modes: " + SubModeList(path) + ")");
    }
    r.subMode = *o.sensorMode;
  } else if (recordGiven && r.code == record.resolution) {
    r.subMode = record.sensorMode;
  }
  return r;
}

void ApplyOption(Camera& cam, const std::string& text) {
  const auto [letter, valueText] = SplitAssignment(text, "--option");
  static const std::string kLetters = "fghijklnpqrstuv";
  if (letter.size() != 1 || kLetters.find(letter[0]) == std::string::npos) {
    throw ToolError("--option: unknown option letter '" + letter +
                    "' (the library's letters are f g h i j k l n p q r s t u v)");
  }
  int64_t value = 0;
  if (!ParseInteger(valueText, value) || value < -128 || value > 255) {
    throw ToolError("--option " + letter +
                    ": the value is an integer from -128 to 255 (or a "
                    "character such as '4'), got '" +
                    valueText + "'");
  }
  SetOption(cam, letter[0], static_cast<int>(value));
}

void ApplyOrientation(Camera& cam, const std::string& text) {
  int op = 0;
  if (text == "mirror" || text == "1") op = 1;
  if (text == "flip" || text == "2") op = 2;
  if (text == "both" || text == "4") op = 4;
  if (op == 0) {
    throw ToolError("--orientation takes mirror (1), flip (2) or both (4), got '" + text + "'");
  }
  SetOrientation(cam, op);
}

void ApplyColorGain(Camera& cam, const std::string& text) {
  const auto [channelText, valueText] = SplitAssignment(text, "--color-gain");
  int channel = 0;
  if (channelText == "r" || channelText == "1") channel = 1;
  if (channelText == "b" || channelText == "2") channel = 2;
  if (channelText == "g" || channelText == "3") channel = 3;
  if (channel == 0) {
    throw ToolError("--color-gain: the channel is r, g or b (1, 3 or 2), got '" + channelText +
                    "'");
  }
  const int64_t value = ParseIntegers(valueText, 1, "--color-gain", 0, 255)[0];
  if (AdjustColorGain(cam, channel, static_cast<int>(value)) == 0) {
    throw ToolError(
        "--color-gain: AdjustColorGain is refused unless gainAdjust is 1 (add --set "
        "gainAdjust=1)");
  }
}

}  // namespace

Readout ApplySetters(Camera& cam, const SetterOptions& o, const std::optional<Readout>& forced) {
  // The record: SetModes with the file's record, then the single edits.
  bool recordGiven = false;
  bool recordEdited = false;
  if (!o.settingsFile.empty()) {
    const std::vector<uint8_t> bytes = ReadFileBytes(o.settingsFile);
    CameraModes record = cam.modes;
    ParseSettings(std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()),
                  o.settingsFile, record);
    cam.modes = record;
    recordGiven = recordEdited = true;
  }
  for (const std::string& edit : o.fieldEdits) {
    const auto [name, value] = SplitAssignment(edit, "--set");
    try {
      SetSettingsField(cam.modes, name, value);
    } catch (const ToolError& e) {
      throw ToolError(std::string("--set: ") + e.what());
    }
    recordEdited = true;
    if (name == "resolution" || name == "sensorMode") recordGiven = true;
  }
  // A record copied in brings no sample count; the frames of its code
  // have the count of that code.
  if (recordEdited) SetSampleCount(cam, cam.modes.resolution);

  // The resolution setters, unless the record already holds the read-out.
  const Readout readout = forced ? *forced : DecideReadout(o, cam.modes, recordGiven);
  if (!recordGiven || readout.code != cam.modes.resolution ||
      readout.subMode != cam.modes.sensorMode) {
    SelectReadout(cam, readout);
  }

  // The other setters, in the order of the export table.
  for (const std::string& option : o.options) ApplyOption(cam, option);
  for (const std::string& op : o.orientation) ApplyOrientation(cam, op);
  if (!o.wbFactors.empty()) {
    const auto f = ParseReals(o.wbFactors, 3, "--wb-factors");
    SetWbFactors(cam, f[0], f[1], f[2]);
  }
  if (!o.focusFactors.empty()) {
    const auto f = ParseIntegers(o.focusFactors, 2, "--focus-factors", INT32_MIN, INT32_MAX);
    SetFocusFactors(cam, static_cast<int>(f[0]), static_cast<int>(f[1]));
  }
  if (!o.tone.empty()) {
    const auto t = ParseIntegers(o.tone, 6, "--tone", INT32_MIN, INT32_MAX);
    SetCBFactors(cam, static_cast<int>(t[0]), static_cast<int>(t[1]), static_cast<int>(t[2]),
                 static_cast<int>(t[3]), static_cast<int>(t[4]), static_cast<int>(t[5]));
  }
  if (!o.focusCoord.empty()) {
    const auto c = ParseIntegers(o.focusCoord, 2, "--focus-coord", INT32_MIN, INT32_MAX);
    SetFocusCoord(cam, static_cast<int>(c[0]), static_cast<int>(c[1]));
  }
  if (!o.semiFactors.empty()) {
    const auto s = ParseIntegers(o.semiFactors, 7, "--semi-factors", INT32_MIN, INT32_MAX);
    int32_t factors[7];
    for (int i = 0; i < 7; ++i) factors[i] = static_cast<int32_t>(s[i]);
    WbSemiFactorsRestore(cam, factors);
  }
  if (!o.rgbRatio.empty()) {
    const auto r = ParseIntegers(o.rgbRatio, 3, "--rgb-ratio", 0, UINT16_MAX);
    SetRGBratio(cam, static_cast<uint16_t>(r[0]), static_cast<uint16_t>(r[1]),
                static_cast<uint16_t>(r[2]));
  }
  for (const std::string& gain : o.colorGains) ApplyColorGain(cam, gain);
  return readout;
}

}  // namespace vobrex::tool
