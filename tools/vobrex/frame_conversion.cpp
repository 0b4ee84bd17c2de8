#include "vobrex/frame_conversion.h"

#include <algorithm>
#include <cstring>
#include <fstream>

#include "capture/image_header.h"
#include "capture/preview_entry.h"
#include "capture/still_entry.h"
#include "platform/memory.h"
#include "vobrex/cli_support.h"
#include "vobrex/png_io.h"

namespace vobrex::tool {

namespace {

constexpr unsigned kBlockFlags = 0x2042;  // movable, zero-initialised, shareable
// No picture of the library comes near this; a record asking for more is
// refused before anything is allocated.
constexpr uint64_t kLargestPicture = 64u << 20;

// A global-memory block that is freed however the conversion ends.
class Block {
 public:
  explicit Block(std::size_t bytes) : handle_(GlobalBlockAlloc(kBlockFlags, bytes)) {
    if (handle_ == nullptr)
      throw ToolError("out of memory for a block of " + std::to_string(bytes));
  }
  ~Block() {
    if (handle_ != nullptr) GlobalBlockFree(handle_);
  }
  Block(const Block&) = delete;
  Block& operator=(const Block&) = delete;
  HGLOBAL& handle() { return handle_; }

  std::size_t Size() const {
#if defined(_WIN32)
    return GlobalSize(handle_);
#else
    return VobrexGlobalSize(handle_);
#endif
  }

 private:
  HGLOBAL handle_;
};

// The pixel bytes the settings describe, checked to be a picture at all.
uint64_t PictureBytes(const CameraModes& m) {
  if (m.width <= 0 || m.height <= 0) {
    throw ToolError("the settings give no picture size (width " + std::to_string(m.width) +
                    ", height " + std::to_string(m.height) + ")");
  }
  const uint64_t bytes = uint64_t(m.width) * uint64_t(m.height) * 3;
  if (bytes > kLargestPicture || m.imageBytes > kLargestPicture) {
    throw ToolError("the settings ask for a picture larger than 64 MB");
  }
  return bytes;
}

std::string FailureHint(const CameraModes& m, Path path) {
  if (path == Path::kStill && m.resolution == 10) return " (code 10 frames are refused)";
  if (path == Path::kHires && m.outputFormat == 2) {
    return " (the high-resolution path has no output format 2)";
  }
  if (path == Path::kPreview && (m.sensorMode < 51 || m.sensorMode > 58) && m.sensorMode > 2) {
    return " (sensorMode " + std::to_string(m.sensorMode) + " has no preview read-out)";
  }
  return "";
}

// Copies the picture out of a block whose pixels start at `offset`,
// reading the geometry afresh (a conversion may have changed it).
void TakePixels(const Camera& cam, const uint8_t* block, std::size_t blockBytes, std::size_t offset,
                ConvertedFrame& frame) {
  const uint64_t bytes = PictureBytes(cam.modes);
  if (offset + bytes > blockBytes) {
    throw ToolError("the conversion left a " + std::to_string(cam.modes.width) + " x " +
                    std::to_string(cam.modes.height) +
                    " picture that does not fit the image block sized before it");
  }
  frame.width = cam.modes.width;
  frame.height = cam.modes.height;
  frame.pixels.assign(block + offset, block + offset + bytes);
}

// The bitmap headers for the frame's size, written by the library's own
// header writer with framing '3'.
void MakeBitmapHeader(Camera& cam, ConvertedFrame& frame) {
  const uint8_t framing = cam.modes.framing;
  cam.modes.framing = '3';
  WriteImageHeader(cam, frame.bitmapHeader.data(), frame.width, frame.height,
                   cam.modes.outputFormat);
  cam.modes.framing = framing;
}

void ConvertPreview(Camera& cam, std::vector<uint8_t>& raw, ConvertedFrame& frame) {
  const CameraModes& m = cam.modes;
  const std::size_t offset = static_cast<std::size_t>(FramingOffset(m));
  // The tone pass may touch up to two bytes past imageBytes.
  const std::size_t pixelBytes = std::max<uint64_t>(PictureBytes(m), m.imageBytes) + 4;
  Block image(offset + pixelBytes);
  Block rawBlock(raw.size());
  std::memcpy(GlobalBlockLock(rawBlock.handle()), raw.data(), raw.size());
  GlobalBlockUnlock(rawBlock.handle());
  if (ReadPreviewImage(cam, &image.handle(), &rawBlock.handle()) == 0) {
    throw ToolError("the library could not convert the frame (ReadPreviewImage returned 0)" +
                    FailureHint(cam.modes, Path::kPreview));
  }
  const auto* bytes = static_cast<const uint8_t*>(GlobalBlockLock(image.handle()));
  TakePixels(cam, bytes, image.Size(), FramingOffset(cam.modes), frame);
  GlobalBlockUnlock(image.handle());
}

void ConvertCapture(Camera& cam, Path path, std::vector<uint8_t>& raw, ConvertedFrame& frame) {
  PictureBytes(cam.modes);
  Block block(raw.size());
  std::memcpy(GlobalBlockLock(block.handle()), raw.data(), raw.size());
  GlobalBlockUnlock(block.handle());
  if (ReadCamImage(cam, &block.handle()) == 0) {
    throw ToolError("the library could not convert the frame (ReadCamImage returned 0)" +
                    FailureHint(cam.modes, path));
  }
  // On success the library freed the raw block and handed back a new one,
  // which `block` now owns; on failure `block` still holds the raw block.
  const auto* bytes = static_cast<const uint8_t*>(GlobalBlockLock(block.handle()));
  TakePixels(cam, bytes, block.Size(), FramingOffset(cam.modes), frame);
  GlobalBlockUnlock(block.handle());
}

void ConvertVideo(Camera& cam, Path path, std::vector<uint8_t>& raw, ConvertedFrame& frame) {
  const std::size_t bytes = std::max<uint64_t>(PictureBytes(cam.modes), cam.modes.imageBytes) + 4;
  std::vector<uint8_t> pixels(bytes, 0);
  if (GetVFWImage(cam, raw.data(), pixels.data(), cam.modes.resolution) == 0) {
    throw ToolError("the library could not convert the frame (GetVFWImage returned 0)" +
                    FailureHint(cam.modes, path));
  }
  TakePixels(cam, pixels.data(), pixels.size(), 0, frame);
}

}  // namespace

void CheckRawSize(const Camera& cam, const Readout& readout, std::size_t rawBytes,
                  const std::string& source) {
  const std::size_t expected = cam.sampleCount.rawSampleCount;
  if (rawBytes != expected) {
    throw ToolError(source + " has " + std::to_string(rawBytes) + " bytes, but a raw frame of " +
                    Describe(readout) + " has " + std::to_string(expected) +
                    " bytes (one byte a sample)");
  }
}

ConvertedFrame ConvertFrame(Camera& cam, Path path, std::vector<uint8_t>& raw, Entry entry) {
  ConvertedFrame frame;
  if (path == Path::kPreview) {
    if (entry == Entry::kVideo) {
      throw ToolError(
          "--video converts still and high-resolution frames; preview frames go "
          "through ReadPreviewImage");
    }
    ConvertPreview(cam, raw, frame);
  } else if (entry == Entry::kVideo) {
    ConvertVideo(cam, path, raw, frame);
  } else {
    ConvertCapture(cam, path, raw, frame);
  }
  MakeBitmapHeader(cam, frame);
  return frame;
}

mosaic::Image ToImage(const ConvertedFrame& frame) {
  return mosaic::FromLibraryPixels(frame.pixels.data(), frame.width, frame.height);
}

ImageFormat FormatOfPath(const std::filesystem::path& path) {
  std::string extension = path.extension().string();
  std::transform(extension.begin(), extension.end(), extension.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  if (extension == ".png") return ImageFormat::kPng;
  if (extension == ".bmp") return ImageFormat::kBmp;
  throw ToolError(path.string() + ": the output is a .png or .bmp file");
}

void WriteConvertedFrame(const ConvertedFrame& frame, const std::filesystem::path& path,
                         ImageFormat format) {
  if (format == ImageFormat::kPng) {
    WritePng(path, ToImage(frame));
    return;
  }
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  if (!out) throw ToolError("cannot create " + path.string());
  out.write(reinterpret_cast<const char*>(frame.bitmapHeader.data()), frame.bitmapHeader.size());
  out.write(reinterpret_cast<const char*>(frame.pixels.data()),
            static_cast<std::streamsize>(frame.pixels.size()));
  if (!out) throw ToolError("cannot write " + path.string());
}

}  // namespace vobrex::tool
