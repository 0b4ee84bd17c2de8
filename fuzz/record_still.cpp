// Any settings record, then ReadCamImage or GetVFWImage (record_input.h).
#include "record_input.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  using vobrex::fuzz::EntryPoint;
  static constexpr EntryPoint kFamily[2] = {EntryPoint::kReadCamImage, EntryPoint::kGetVfwImage};
  vobrex::fuzz::RunRecordInput(data, size, kFamily);
  return 0;
}
