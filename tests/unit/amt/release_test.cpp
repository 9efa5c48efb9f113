#include "amt/channels/release.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "tests/support/in_child.h"

namespace {

TEST(Release, IsClaimedByExactlyOneThread)
{
    in_child([] {
        std::atomic<int> claims{0};
        std::vector<std::thread> threads;
        for (int i = 0; i < 8; i++) {
            threads.emplace_back([&claims] { claims += amt_handle_claim_deinit() ? 1 : 0; });
        }
        for (std::thread &thread : threads) {
            thread.join();
        }
        EXPECT_EQ(claims, 1);
        EXPECT_FALSE(amt_handle_claim_deinit());
    });
}

} // namespace
