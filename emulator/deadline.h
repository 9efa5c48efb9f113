// Points in time until which something is waited for. A deadline is made from a duration where the wait begins, and can
// be handed on, so that several waits share one limit. Any thread.

#pragma once

#include <chrono>
#include <functional>
#include <string>

namespace emulator {

struct deadline {
    // From now; a duration converts by itself, so that a call reads wait(5s).
    template <typename rep, typename period>
    deadline(std::chrono::duration<rep, period> from_now)
        : m_at(std::chrono::steady_clock::now() + from_now)
    {
    }

    bool passed() const { return std::chrono::steady_clock::now() >= m_at; }

    // What is left in whole milliseconds, for poll(2); rounded up, so that a poll never returns just before; 0 when
    // the deadline has passed.
    int left_ms() const;

    std::chrono::steady_clock::time_point m_at;
};

// What a wait gets when its caller names no limit: far above what anything here takes on a busy machine, so that
// reaching it always means a fault.
constexpr std::chrono::seconds k_default_wait{30};

// Returns when the condition is true; it is asked every few milliseconds, for what no descriptor announces (a file, a
// log record, a recorded call). Throws std::runtime_error naming `what` when the deadline passes first.
void wait_until(const std::string &what, const std::function<bool()> &condition, deadline limit = k_default_wait);

} // namespace emulator
