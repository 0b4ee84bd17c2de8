#include "vobrex/png_io.h"

#include <png.h>

#include <cstring>

#include "vobrex/cli_support.h"

namespace vobrex::tool {

mosaic::Image ReadPng(const std::filesystem::path& path) {
  const std::vector<uint8_t> bytes = ReadFileBytes(path);
  png_image png;
  std::memset(&png, 0, sizeof png);
  png.version = PNG_IMAGE_VERSION;
  if (!png_image_begin_read_from_memory(&png, bytes.data(), bytes.size())) {
    const std::string reason = png.message;
    png_image_free(&png);
    throw ToolError(path.string() + " is not a readable PNG picture (" + reason + ")");
  }
  png.format = PNG_FORMAT_RGB;
  if (png.width == 0 || png.height == 0 || png.width > 16384 || png.height > 16384) {
    png_image_free(&png);
    throw ToolError(path.string() + ": pictures up to 16384 x 16384 pixels are accepted");
  }
  mosaic::Image image(static_cast<int>(png.width), static_cast<int>(png.height));
  if (!png_image_finish_read(&png, nullptr, image.rgb.data(), 0, nullptr)) {
    const std::string reason = png.message;
    png_image_free(&png);
    throw ToolError("cannot decode " + path.string() + " (" + reason + ")");
  }
  return image;
}

void WritePng(const std::filesystem::path& path, const mosaic::Image& image, bool fast) {
  png_image png;
  std::memset(&png, 0, sizeof png);
  png.version = PNG_IMAGE_VERSION;
  png.width = static_cast<png_uint_32>(image.width);
  png.height = static_cast<png_uint_32>(image.height);
  png.format = PNG_FORMAT_RGB;
  if (fast) png.flags |= PNG_IMAGE_FLAG_FAST;
  png_alloc_size_t size = 0;
  if (!png_image_write_get_memory_size(png, size, 0, image.rgb.data(), 0, nullptr)) {
    const std::string reason = png.message;
    png_image_free(&png);
    throw ToolError("cannot encode " + path.string() + " (" + reason + ")");
  }
  std::vector<uint8_t> encoded(size);
  if (!png_image_write_to_memory(&png, encoded.data(), &size, 0, image.rgb.data(), 0, nullptr)) {
    const std::string reason = png.message;
    png_image_free(&png);
    throw ToolError("cannot encode " + path.string() + " (" + reason + ")");
  }
  WriteFileBytes(path, encoded.data(), size);
}

}  // namespace vobrex::tool
