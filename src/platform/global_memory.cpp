// Global-memory blocks for platforms without the Windows calls: a block is a
// small descriptor (size, lock count) followed by its bytes. The handle is
// the descriptor, so a handle never equals the pointer its lock returns,
// just as with movable Windows blocks.
#if !defined(_WIN32)

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <new>

#include "vobrex32.h"

namespace {

struct BlockHeader {
  std::size_t bytes;
  unsigned lockCount;
  unsigned magic;
  alignas(std::max_align_t) unsigned char data[1];
};

constexpr unsigned kMagic = 0x56424C4Bu;  // tells our blocks from stray pointers

BlockHeader* FromHandle(HGLOBAL block) {
  auto* header = static_cast<BlockHeader*>(block);
  if (header == nullptr || header->magic != kMagic) return nullptr;
  return header;
}

}  // namespace

extern "C" {

HGLOBAL VobrexGlobalAlloc(unsigned flags, size_t bytes) {
  if (bytes > (static_cast<size_t>(-1) >> 1)) return nullptr;
  const size_t total = offsetof(BlockHeader, data) + (bytes == 0 ? 1 : bytes);
  void* memory = (flags & VOBREX_GMEM_ZEROINIT) ? std::calloc(total, 1) : std::malloc(total);
  if (memory == nullptr) return nullptr;
  auto* header = static_cast<BlockHeader*>(memory);
  header->bytes = bytes;
  header->lockCount = 0;
  header->magic = kMagic;
  return header;
}

void* VobrexGlobalLock(HGLOBAL block) {
  BlockHeader* header = FromHandle(block);
  if (header == nullptr) return nullptr;
  ++header->lockCount;
  return header->data;
}

int VobrexGlobalUnlock(HGLOBAL block) {
  BlockHeader* header = FromHandle(block);
  if (header == nullptr || header->lockCount == 0) return 0;
  return static_cast<int>(--header->lockCount);
}

HGLOBAL VobrexGlobalFree(HGLOBAL block) {
  BlockHeader* header = FromHandle(block);
  if (header == nullptr) return block;
  header->magic = 0;
  std::free(header);
  return nullptr;
}

size_t VobrexGlobalSize(HGLOBAL block) {
  BlockHeader* header = FromHandle(block);
  return header == nullptr ? 0 : header->bytes;
}

}  // extern "C"

#endif
