// Global-memory blocks and the allocation failure hook.
#include <gtest/gtest.h>

#include "platform/memory.h"

namespace vobrex {
namespace {

TEST(GlobalMemory, ZeroFillLockAndSize) {
  HGLOBAL block = VobrexGlobalAlloc(0x2042, 100);
  ASSERT_NE(block, nullptr);
  EXPECT_EQ(VobrexGlobalSize(block), 100u);
  auto* bytes = static_cast<uint8_t*>(VobrexGlobalLock(block));
  ASSERT_NE(bytes, nullptr);
  EXPECT_NE(static_cast<void*>(bytes), block);
  for (int i = 0; i < 100; ++i) ASSERT_EQ(bytes[i], 0);
  bytes[99] = 1;
  EXPECT_EQ(VobrexGlobalUnlock(block), 0);  // lock count back to 0
  EXPECT_EQ(VobrexGlobalUnlock(block), 0);  // not locked any more
  EXPECT_EQ(VobrexGlobalFree(block), nullptr);
}

TEST(GlobalMemory, ForeignPointersAreRefused) {
  int local = 0;
  EXPECT_EQ(VobrexGlobalLock(&local), nullptr);
  EXPECT_EQ(VobrexGlobalSize(&local), 0u);
  EXPECT_EQ(VobrexGlobalLock(nullptr), nullptr);
}

TEST(AllocationHook, FailsExactlyTheNthAllocation) {
  FailAllocation(2);
  auto first = AllocateArray<int>(4);
  auto second = AllocateArray<int>(4);
  auto third = AllocateArray<int>(4);
  EXPECT_TRUE(first);
  EXPECT_FALSE(second);
  EXPECT_TRUE(third);
  EXPECT_EQ(AllocationCount(), 3);
  FailAllocation(1);
  EXPECT_EQ(GlobalBlockAlloc(0x42, 10), nullptr);
  FailAllocation(0);
  auto zeroed = AllocateArray<int>(8, true);
  for (int i = 0; i < 8; ++i) EXPECT_EQ(zeroed[i], 0);
}

}  // namespace
}  // namespace vobrex
