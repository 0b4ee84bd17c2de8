#include "capture/image_header.h"

namespace vobrex {

namespace {

uint8_t* Put16(uint8_t* p, uint32_t v) {
  p[0] = static_cast<uint8_t>(v);
  p[1] = static_cast<uint8_t>(v >> 8);
  return p + 2;
}

uint8_t* Put32(uint8_t* p, uint32_t v) {
  for (int i = 0; i < 4; ++i) p[i] = static_cast<uint8_t>(v >> (8 * i));
  return p + 4;
}

}  // namespace

int32_t FramingOffset(const CameraModes& modes) {
  if (modes.framing == '3') return kFileHeaderBytes + kInfoHeaderBytes;
  if (modes.framing == '2') return kInfoHeaderBytes;
  return 0;
}

void WriteImageHeader(const Camera& cam, uint8_t* block, int32_t width, int32_t height,
                      int32_t outputFormat) {
  static_cast<void>(outputFormat);
  // Sizes wrap like the 32-bit header fields they fill.
  const auto pixelBytes = static_cast<uint32_t>(static_cast<int64_t>(width) * height * 3);
  uint8_t* p = block;
  if (cam.modes.framing == '3') {
    *p++ = 'B';
    *p++ = 'M';
    p = Put32(p, pixelBytes + 54u);
    p = Put16(p, 0);
    p = Put16(p, 0);
    p = Put32(p, 54);
  }
  p = Put32(p, 40);
  p = Put32(p, static_cast<uint32_t>(width));
  p = Put32(p, static_cast<uint32_t>(height));
  p = Put16(p, 1);
  p = Put16(p, 24);
  p = Put32(p, 0);
  p = Put32(p, pixelBytes);
  for (int i = 0; i < 4; ++i) p = Put32(p, 0);
}

}  // namespace vobrex
