// The read-outs the camera delivers and how the tool reaches each: the
// conversion path, the resolution code and the sensor sub-mode, the raw
// frame size, and the synthesis of a frame of that layout from a picture.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "mosaic/image.h"
#include "settings/camera.h"

namespace vobrex::tool {

// The conversion path: preview (ReadPreviewImage), still (ReadCamImage for
// codes 10..23) and high resolution (ReadCamImage for code 40).
enum class Path { kPreview, kStill, kHires };

struct Readout {
  Path path = Path::kStill;
  int code = 13;
  int subMode = 0;
};

const char* PathName(Path path);
bool ParsePath(std::string_view text, Path& path);
// 0 is the preview, 40 high resolution, every other code the still path.
Path PathOfCode(int code);
std::vector<int> CodesOf(Path path);
std::vector<int> SubModesOf(Path path);
std::string SubModeList(Path path);
std::string CodeList(Path path);
int DefaultCode(Path path);
int DefaultSubMode(Path path);

// "still code 13, sub-mode 1"
std::string Describe(const Readout& readout);
// "still-13-1", for file names
std::string ShortId(const Readout& readout);

// Puts `cam` into the read-out through the resolution setters. Codes 11
// and 21 are refused by the setter, so they are set on top of 13 and 23, as
// a caller does by copying a record in.
void SelectReadout(Camera& cam, const Readout& readout);

// Bytes of a raw frame of the read-out, as a new context counts them.
std::size_t RawFrameBytes(const Readout& readout);

// How the library treats the read-out when it is not a plain conversion;
// empty otherwise.
std::string ReadoutNote(const Readout& readout);

// False where the library gives no picture of the scene: preview sub-modes
// 52 and 58 (no kernel), still codes 10, 20, 21 and 23.
bool ReproducesScene(const Readout& readout);

// True where a synthesis exists (all but still codes 10 and 20).
bool CanSynthesise(const Readout& readout);
// The raw frame of the read-out for `scene`; throws ToolError when no
// synthesis exists or it gives a frame of the wrong size.
std::vector<uint8_t> Synthesise(const Readout& readout, const mosaic::Image& scene);

// Every read-out the demo shows, in display order.
std::vector<Readout> DemoReadouts();

// Text for the tool's help: the layouts in brief.
std::string LayoutSummary();

}  // namespace vobrex::tool
