// Reading and writing PNG pictures as mosaic::Image (rows top-down, RGB).
#pragma once

#include <filesystem>

#include "mosaic/image.h"

namespace vobrex::tool {

// Any PNG (grey, palette, alpha, 16-bit) comes back as 8-bit RGB; alpha is
// composited onto black. Throws ToolError naming the file on failure.
mosaic::Image ReadPng(const std::filesystem::path& path);

// `fast` trades file size for speed (the demo writes many pictures).
void WritePng(const std::filesystem::path& path, const mosaic::Image& image, bool fast = false);

}  // namespace vobrex::tool
