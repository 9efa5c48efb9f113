// Two threads that come to something at the same moment, for what lies between two instructions and cannot be watched:
// of many rounds there is one in which they come into each other's way.
#pragma once

#include <atomic>
#include <functional>
#include <thread>

constexpr int k_rounds = 2000;

// How far the second is to be behind the first in a round; below 0, before it.
inline int turns_behind(int round)
{
    return round % 100 - 50;
}

// Runs both, each on a thread that has waited for the other, the second so many turns of a loop behind the first.
inline void at_once(const std::function<void()> &first, const std::function<void()> &second, int turns_behind)
{
    constexpr int k_patience = 10'000; // turns, until the other is given the processor
    std::atomic<int> here{0};
    const auto come = [&here](const std::function<void()> &body, int turns) {
        here++;
        for (int i = 0; here < 2; i++) {
            if (i > k_patience) {
                std::this_thread::yield();
            }
        }
        for (std::atomic<int> left{turns}; left > 0; left--) {
        }
        body();
    };
    std::thread other([&] { come(first, -turns_behind); });
    come(second, turns_behind);
    other.join();
}
