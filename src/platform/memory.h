// The general allocator of the conversions and the global-memory blocks
// exchanged with callers. Every working buffer of a conversion comes from
// here, so a test can make any single allocation fail.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "vobrex32.h"

namespace vobrex {

// Returns null on failure (or when the failure hook says so). `zeroed`
// clears the block; storage whose unwritten sites are read must be zeroed.
void* AllocateBytes(std::size_t bytes, bool zeroed);
void FreeBytes(void* block);

struct FreeDeleter {
  void operator()(void* block) const { FreeBytes(block); }
};

// An owned array from the general allocator; empty when allocation failed.
template <class T>
using Owned = std::unique_ptr<T[], FreeDeleter>;

template <class T>
Owned<T> AllocateArray(std::size_t count, bool zeroed = false) {
  // A count from the settings can be large enough to wrap the byte size on a
  // 32-bit platform: such a request fails instead of returning a short block.
  if (count > static_cast<std::size_t>(-1) / sizeof(T)) return Owned<T>();
  return Owned<T>(static_cast<T*>(AllocateBytes(count * sizeof(T), zeroed)));
}

// Bytes of general-allocator blocks, counted per thread (a block is counted
// on the thread that allocates or frees it): ResetPeakAllocation starts a
// measurement at the bytes live now, PeakAllocatedBytes gives the most that
// were live above that level since. Measures the working memory of a
// conversion; the counters cost two additions a block.
void ResetPeakAllocation();
std::size_t PeakAllocatedBytes();
// Bytes live in blocks allocated minus blocks freed on this thread.
long long LiveAllocatedBytes();

// Global-memory blocks: the Windows calls on Windows, the library's own
// implementation elsewhere. Both go through the failure hook.
HGLOBAL GlobalBlockAlloc(unsigned flags, std::size_t bytes);
void* GlobalBlockLock(HGLOBAL block);
void GlobalBlockUnlock(HGLOBAL block);
void GlobalBlockFree(HGLOBAL block);
// The usable size of a block in bytes; 0 for an invalid handle.
std::size_t GlobalBlockSize(HGLOBAL block);

// Test hook, per thread: the n-th allocation from now on fails (1 = the
// next one); 0 switches the hook off. AllocationCount counts allocations
// attempted on this thread since the last call of FailAllocation.
void FailAllocation(long n);
long AllocationCount();

}  // namespace vobrex
