#include "capture/preview_entry.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "capture/image_header.h"
#include "platform/memory.h"
#include "preview/preview_driver.h"

namespace vobrex {

namespace {

// Bytes the header of the current framing writes at the start of the block.
std::size_t HeaderBytes(const CameraModes& m) {
  if (m.framing == '4') return 0;
  return m.framing == '3' ? kFileHeaderBytes + kInfoHeaderBytes : kInfoHeaderBytes;
}

}  // namespace

int ReadPreviewImage(Camera& cam, HGLOBAL* image, HGLOBAL* raw) {
  if (image == nullptr || raw == nullptr || *image == nullptr || *raw == nullptr) return 0;
  // Blocks too small for the frame of the current mode, or for the header
  // and pixels the settings ask for, are refused before they are touched.
  const CameraModes& m = cam.modes;
  const std::size_t pixelOffset = static_cast<std::size_t>(FramingOffset(m));
  // Formed in 64 bits: on a 32-bit platform a huge imageBytes must not wrap
  // into a small requirement.
  const uint64_t needed = std::max<uint64_t>(uint64_t{pixelOffset} + m.imageBytes, HeaderBytes(m));
  if (GlobalBlockSize(*raw) < cam.sampleCount.rawSampleCount || GlobalBlockSize(*image) < needed) {
    return 0;
  }
  auto* frame = static_cast<uint8_t*>(GlobalBlockLock(*raw));
  auto* block = static_cast<uint8_t*>(GlobalBlockLock(*image));
  if (frame == nullptr || block == nullptr) {
    // Nothing to convert into or from: release the lock that did succeed.
    if (frame != nullptr) GlobalBlockUnlock(*raw);
    if (block != nullptr) GlobalBlockUnlock(*image);
    return 0;
  }

  // A failed conversion leaves both blocks locked; callers rely on that.
  if (ConvertPreviewFrame(cam, frame, block + pixelOffset) == 0) return 0;
  GlobalBlockUnlock(*raw);
  // Every framing but '4' gets its header; a framing byte outside '2'..'4'
  // (possible only through a whole record) puts the info header over the
  // first pixels, as it always has.
  if (m.framing != '4') WriteImageHeader(cam, block, m.width, m.height, m.outputFormat);
  GlobalBlockUnlock(*image);
  return 1;
}

int VX_CCDtoRGB(Camera& cam, uint8_t* raw, uint8_t* pixels) {
  if (raw == nullptr || pixels == nullptr) return 0;
  return ConvertPreviewFrame(cam, raw, pixels);
}

}  // namespace vobrex
