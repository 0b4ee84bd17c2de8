// The demo's results and the index page that shows them.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "vobrex/layouts.h"

namespace vobrex::tool {

struct DemoResult {
  Readout readout;
  int width = 0;
  int height = 0;
  std::size_t rawBytes = 0;
  double synthesisMs = 0;
  double conversionMs = 0;
  bool converted = false;
  bool zeroFrame = false;  // the synthesis gave an all-zero frame
  bool measured = false;   // psnr holds values
  double psnr[3] = {0, 0, 0};
  std::string error;    // why the conversion failed
  std::string picture;  // file names relative to the output directory
  std::string scenePicture;
  std::string rawFile;
  std::string settings;     // the record the frame was converted with
  std::string keySettings;  // its fields that decide the conversion, on one line
};

struct DemoRun {
  std::string pattern;
  std::string settingsSummary;  // what the demo set beyond the defaults
  int jobs = 1;
  double totalMs = 0;
  std::vector<DemoResult> results;
};

// "31.2 / 33.0 / 30.1", or a dash when nothing was measured.
std::string PsnrText(const DemoResult& result);
// The note of a result: its error, or what the library does with the mode.
std::string ResultNote(const DemoResult& result);

std::string DemoPage(const DemoRun& run);

}  // namespace vobrex::tool
