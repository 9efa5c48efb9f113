// Waiting for a condition, see deadline.h.

#include "emulator/deadline.h"

#include <poll.h>

#include <algorithm>
#include <stdexcept>

namespace emulator {

// Between two looks at a condition: short at first, because most are true almost at once.
constexpr int k_first_look_ms = 1;
constexpr int k_longest_look_ms = 20;

int deadline::left_ms() const
{
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(m_at - std::chrono::steady_clock::now()).count();
    return static_cast<int>(std::clamp<decltype(left)>(left, 0, 1'000'000'000));
}

void wait_until(const std::string &what, const std::function<bool()> &condition, deadline limit)
{
    int pause_ms = k_first_look_ms;
    while (!condition()) {
        const int left_ms = limit.left_ms();
        if (left_ms == 0) {
            throw std::runtime_error("waited in vain for " + what);
        }
        (void)poll(nullptr, 0, std::min(pause_ms, left_ms));
        pause_ms = std::min(pause_ms * 2, k_longest_look_ms);
    }
}

} // namespace emulator
