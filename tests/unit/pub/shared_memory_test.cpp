#include "pub/base/shared_memory.h"

#include <gtest/gtest.h>
#include <stdint.h>

#include <algorithm>

#include "tests/support/in_child.h"

namespace {

TEST(SharedMemory, IsZeroAtFirst)
{
    const auto *bytes = static_cast<const uint8_t *>(pub_util_share_memory(5000));
    ASSERT_NE(bytes, nullptr);
    EXPECT_EQ(std::count(bytes, bytes + 5000, 0), 5000);
}

TEST(SharedMemory, IsOneForAProcessAndItsCopy)
{
    auto *number = static_cast<int *>(pub_util_share_memory(sizeof(int)));
    ASSERT_NE(number, nullptr);
    *number = 1;
    in_child([number] {
        EXPECT_EQ(*number, 1);
        *number = 2;
    });
    EXPECT_EQ(*number, 2);
}

TEST(SharedMemory, IsAnotherEachTime)
{
    EXPECT_NE(pub_util_share_memory(8), pub_util_share_memory(8));
}

TEST(SharedMemory, IsNullWhenThereIsNone)
{
    EXPECT_EQ(pub_util_share_memory(SIZE_MAX / 2), nullptr);
}

} // namespace
