// One raw frame through the library's entry point for its path, on one
// context, and the converted picture written out as PNG or BMP.
#pragma once

#include <array>
#include <cstdint>
#include <filesystem>
#include <vector>

#include "mosaic/image.h"
#include "settings/camera.h"
#include "vobrex/layouts.h"

namespace vobrex::tool {

// Which entry point converts a still or high-resolution frame: the still
// conversion (ReadCamImage) or the shorter chain of a video-capture driver
// (GetVFWImage). Preview frames always go through ReadPreviewImage.
enum class Entry { kCapture, kVideo };

struct ConvertedFrame {
  int width = 0;
  int height = 0;
  // The 14-byte file header and 40-byte info header of a bitmap file, as the
  // library writes them with framing '3'.
  std::array<uint8_t, 54> bitmapHeader{};
  // width x height x 3 bytes: rows bottom-up, blue, green, red.
  std::vector<uint8_t> pixels;
};

// Checks that `raw` has the size of a frame of the context's read-out;
// throws ToolError naming `source` and the expected size.
void CheckRawSize(const Camera& cam, const Readout& readout, std::size_t rawBytes,
                  const std::string& source);

// Converts `raw` (the library may rewrite it) with the settings of `cam`.
// Throws ToolError when the library returns 0 or the settings cannot give a
// picture.
ConvertedFrame ConvertFrame(Camera& cam, Path path, std::vector<uint8_t>& raw, Entry entry);

mosaic::Image ToImage(const ConvertedFrame& frame);

enum class ImageFormat { kPng, kBmp };
// From the file name's extension (.png, .bmp); throws for others.
ImageFormat FormatOfPath(const std::filesystem::path& path);
void WriteConvertedFrame(const ConvertedFrame& frame, const std::filesystem::path& path,
                         ImageFormat format);

}  // namespace vobrex::tool
