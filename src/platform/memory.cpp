#include "platform/memory.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>

namespace vobrex {
namespace {

thread_local long failCountdown = 0;
thread_local long allocationCount = 0;

// Each block carries its size in a header in front of it, so that a free
// can count it off; the header keeps the block aligned as malloc aligns it.
struct alignas(std::max_align_t) BlockHeader {
  std::size_t bytes;
};
constexpr std::size_t kHeaderBytes = sizeof(BlockHeader);

thread_local long long liveBytes = 0;
thread_local long long peakBytes = 0;
thread_local long long baseBytes = 0;

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

void ResetPeakAllocation() {
  baseBytes = liveBytes;
  peakBytes = liveBytes;
}

std::size_t PeakAllocatedBytes() {
  return static_cast<std::size_t>(std::max(0LL, peakBytes - baseBytes));
}

long long LiveAllocatedBytes() { return liveBytes; }

void* AllocateBytes(std::size_t bytes, bool zeroed) {
  if (InjectFailure()) return nullptr;
  if (bytes == 0) bytes = 1;
  if (bytes > static_cast<std::size_t>(-1) - kHeaderBytes) return nullptr;
  const std::size_t total = bytes + kHeaderBytes;
  void* memory = zeroed ? std::calloc(total, 1) : std::malloc(total);
  if (memory == nullptr) return nullptr;
  static_cast<BlockHeader*>(memory)->bytes = bytes;
  liveBytes += static_cast<long long>(bytes);
  peakBytes = std::max(peakBytes, liveBytes);
  return static_cast<unsigned char*>(memory) + kHeaderBytes;
}

void FreeBytes(void* block) {
  if (block == nullptr) return;
  void* memory = static_cast<unsigned char*>(block) - kHeaderBytes;
  liveBytes -= static_cast<long long>(static_cast<BlockHeader*>(memory)->bytes);
  std::free(memory);
}

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
