#include "platform/memory.h"

#include <cstdlib>

namespace vobrex {
namespace {

thread_local long failCountdown = 0;
thread_local long allocationCount = 0;

// True when the allocation being attempted must fail.
bool InjectFailure() {
  ++allocationCount;
  if (failCountdown <= 0) return false;
  return --failCountdown == 0;
}

}  // namespace

void FailAllocation(long n) {
  failCountdown = n < 0 ? 0 : n;
  allocationCount = 0;
}

long AllocationCount() { return allocationCount; }

void* AllocateBytes(std::size_t bytes, bool zeroed) {
  if (InjectFailure()) return nullptr;
  if (bytes == 0) bytes = 1;
  return zeroed ? std::calloc(bytes, 1) : std::malloc(bytes);
}

void FreeBytes(void* block) { std::free(block); }

#if defined(_WIN32)

HGLOBAL GlobalBlockAlloc(unsigned flags, std::size_t bytes) {
  if (InjectFailure()) return nullptr;
  return GlobalAlloc(flags, bytes);
}
void* GlobalBlockLock(HGLOBAL block) { return GlobalLock(block); }
void GlobalBlockUnlock(HGLOBAL block) { GlobalUnlock(block); }
void GlobalBlockFree(HGLOBAL block) { GlobalFree(block); }
std::size_t GlobalBlockSize(HGLOBAL block) { return GlobalSize(block); }

#else

HGLOBAL GlobalBlockAlloc(unsigned flags, std::size_t bytes) {
  if (InjectFailure()) return nullptr;
  return VobrexGlobalAlloc(flags, bytes);
}
void* GlobalBlockLock(HGLOBAL block) { return VobrexGlobalLock(block); }
void GlobalBlockUnlock(HGLOBAL block) { VobrexGlobalUnlock(block); }
void GlobalBlockFree(HGLOBAL block) { VobrexGlobalFree(block); }
std::size_t GlobalBlockSize(HGLOBAL block) { return VobrexGlobalSize(block); }

#endif

}  // namespace vobrex
