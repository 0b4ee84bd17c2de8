#include "vobrex/layouts.h"

#include <algorithm>

#include "mosaic/hires_mosaic.h"
#include "mosaic/preview_mosaic.h"
#include "mosaic/still_mosaic.h"
#include "vobrex/cli_support.h"

namespace vobrex::tool {

const char* PathName(Path path) {
  switch (path) {
    case Path::kPreview: return "preview";
    case Path::kStill: return "still";
    case Path::kHires: return "hires";
  }
  return "?";
}

bool ParsePath(std::string_view text, Path& path) {
  for (Path p : {Path::kPreview, Path::kStill, Path::kHires}) {
    if (text == PathName(p)) {
      path = p;
      return true;
    }
  }
  return false;
}

Path PathOfCode(int code) {
  if (code == 0) return Path::kPreview;
  if (code == 40) return Path::kHires;
  return Path::kStill;
}

std::vector<int> CodesOf(Path path) {
  switch (path) {
    case Path::kPreview: return {0};
    case Path::kStill: return {10, 11, 13, 20, 21, 23};
    case Path::kHires: return {40};
  }
  return {};
}

std::vector<int> SubModesOf(Path path) {
  if (path == Path::kPreview) return {0, 1, 2, 51, 52, 53, 54, 55, 56, 57, 58};
  return {0, 1, 2};
}

std::string SubModeList(Path path) {
  return path == Path::kPreview ? "0, 1, 2, 51..58" : "0, 1, 2";
}

std::string CodeList(Path path) {
  std::string text;
  for (int code : CodesOf(path)) text += (text.empty() ? "" : ", ") + std::to_string(code);
  return text;
}

int DefaultCode(Path path) {
  switch (path) {
    case Path::kPreview: return 0;
    case Path::kStill: return 13;
    case Path::kHires: return 40;
  }
  return 13;
}

// The preview's full-size read-out is the sensor's own default sub-mode.
int DefaultSubMode(Path path) { return path == Path::kPreview ? 51 : 0; }

std::string Describe(const Readout& readout) {
  return std::string(PathName(readout.path)) + " code " + std::to_string(readout.code) +
         ", sub-mode " + std::to_string(readout.subMode);
}

std::string ShortId(const Readout& readout) {
  return std::string(PathName(readout.path)) + "-" + std::to_string(readout.code) + "-" +
         std::to_string(readout.subMode);
}

void SelectReadout(Camera& cam, const Readout& readout) {
  switch (readout.path) {
    case Path::kPreview: SetMotionResolution(cam, readout.subMode); return;
    case Path::kHires: SetResolution(cam, 40, readout.subMode); return;
    case Path::kStill:
      if (readout.code == 11 || readout.code == 21) {
        SetResolution(cam, readout.code == 11 ? 13 : 23, readout.subMode);
        cam.modes.resolution = static_cast<uint8_t>(readout.code);
        SetSampleCount(cam, readout.code);
      } else {
        SetResolution(cam, readout.code, readout.subMode);
      }
      return;
  }
}

std::size_t RawFrameBytes(const Readout& readout) {
  Camera cam;
  SelectReadout(cam, readout);
  return cam.sampleCount.rawSampleCount;
}

std::string ReadoutNote(const Readout& r) {
  if (r.path == Path::kPreview) {
    if (r.subMode == 52 || r.subMode == 58) return "no kernel: the picture is left as given";
    if (r.subMode == 57) return "colour output only (no grey kernel)";
    return {};
  }
  if (r.path == Path::kStill) {
    if (r.code == 10) return "refused by the still path (the conversion fails)";
    if (r.code == 20) return "not converted: the picture stays black";
    if (r.code == 21 || r.code == 23)
      return "double read-out: no demosaic, built from empty planes";
  }
  return {};
}

bool ReproducesScene(const Readout& r) {
  if (r.path == Path::kPreview) return r.subMode != 52 && r.subMode != 58;
  if (r.path == Path::kStill) return r.code == 11 || r.code == 13;
  return true;
}

bool CanSynthesise(const Readout& r) {
  return !(r.path == Path::kStill && (r.code == 10 || r.code == 20));
}

std::vector<uint8_t> Synthesise(const Readout& readout, const mosaic::Image& scene) {
  if (!CanSynthesise(readout)) {
    throw ToolError("there is no raw layout to synthesise for " + Describe(readout) +
                    " (the still read-outs are codes 11, 13, 21 and 23)");
  }
  std::vector<uint8_t> frame;
  switch (readout.path) {
    case Path::kPreview: frame = mosaic::PreviewMosaic(scene, readout.subMode); break;
    case Path::kStill: frame = mosaic::StillMosaic(scene, readout.code); break;
    case Path::kHires: frame = mosaic::HiresMosaic(scene); break;
  }
  const std::size_t expected = RawFrameBytes(readout);
  if (frame.size() != expected) {
    throw ToolError("the synthesis of " + Describe(readout) + " gave " +
                    std::to_string(frame.size()) + " bytes instead of " + std::to_string(expected));
  }
  return frame;
}

std::vector<Readout> DemoReadouts() {
  std::vector<Readout> list;
  for (int sub : {51, 52, 53, 0, 54, 57, 58, 55, 1, 56, 2})
    list.push_back({Path::kPreview, 0, sub});
  for (int sub : {0, 1, 2}) list.push_back({Path::kStill, 13, sub});
  list.push_back({Path::kStill, 11, 0});
  list.push_back({Path::kStill, 23, 0});
  list.push_back({Path::kStill, 21, 0});
  for (int sub : {0, 1, 2}) list.push_back({Path::kHires, 40, sub});
  return list;
}

std::string LayoutSummary() {
  return R"(Raw frame layouts (one byte a sample; details in docs/raw-layouts.md):
  preview (code 0)      262144 bytes: two fields of 256 lines x 512 samples, the
                        second at byte 131072; first-field lines G B G B ...,
                        second-field lines R G R G ... Sub-modes 1/55 and 2/56
                        use smaller fields (128 lines x 256, second at 32768).
  still 11/13           262144 bytes: one 512 x 512 read-out as two fields
                        (even sensor rows G B ..., then odd rows R G ...).
  still 21/23           524288 bytes: the double read-out, two such blocks.
  hires 40              1048576 bytes: four exposures shifted by whole and half
                        pixel pitches, each a G/B block then an R/G block of
                        256 lines x 512 samples.)";
}

}  // namespace vobrex::tool
