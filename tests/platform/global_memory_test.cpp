#include <gtest/gtest.h>

#include "platform/global_memory.h"

TEST(GlobalMemory, BlocksAreZeroFilledAndRememberTheirSize) {
    auto* block = static_cast<BYTE*>(GlobalAlloc(GPTR, 1000));
    ASSERT_NE(block, nullptr);
    for (int i = 0; i < 1000; ++i) ASSERT_EQ(block[i], 0) << i;
    EXPECT_EQ(GlobalSize(block), 1000u);
    EXPECT_EQ(GlobalLock(block), block);
    EXPECT_EQ(GlobalFree(block), nullptr);
    EXPECT_EQ(GlobalFree(nullptr), nullptr);
    EXPECT_EQ(GlobalSize(nullptr), 0u);

    void* empty = GlobalAlloc(GPTR, 0);
    EXPECT_NE(empty, nullptr);
    EXPECT_EQ(GlobalSize(empty), 0u);
    GlobalFree(empty);
}

TEST(GlobalMemory, RequestsAboveTheThirtyTwoBitCapFail) {
    EXPECT_EQ(GlobalAlloc(GPTR, 0x80000000u), nullptr);
    EXPECT_EQ(GlobalAllocChecked(GPTR, -1), nullptr);
    EXPECT_EQ(GlobalAllocChecked(GPTR, std::int64_t{1} << 40), nullptr);
    // The cap itself is 2^31 - 1; a request just at it is allowed to reach the
    // system allocator (which may or may not satisfy it), so it is not tried.
    void* small = GlobalAllocChecked(GPTR, 16);
    ASSERT_NE(small, nullptr);
    EXPECT_EQ(GlobalSize(small), 16u);
    GlobalFree(small);
}
