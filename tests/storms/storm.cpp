#include "tests/storms/storm.h"

#include <algorithm>
#include <chrono>
#include <stdexcept>
#include <thread>

const std::vector<storm> k_storms = {
    {"endings", "signals at random moments of a life", "endings", 2000, 12, play_endings},
    {"hang-ups", "ports that hang up and come back", "hang-ups", 2000, 40, play_hang_ups},
    {"relay", "both ways at full rate, half of it garbage", "seconds", 600, 3, play_relay},
    {"writers", "two threads that write to the station", "answers", 20000, 400, play_writers},
    {"log", "the log and what can be done to its file", "rounds", 240, 8, play_log},
};

void storm_report::add_failure(std::uint64_t seed, const std::string &what)
{
    const std::lock_guard lock(m_mutex);
    m_failures.push_back("seed " + std::to_string(seed) + ": " + what);
}

void storm_report::add(const std::string &figure, long number)
{
    const std::lock_guard lock(m_mutex);
    m_counts[figure] += number;
}

void storm_report::add_most(const std::string &figure, long number)
{
    const std::lock_guard lock(m_mutex);
    m_counts[figure] = std::max(m_counts[figure], number);
}

void storm_report::tell(const std::string &figure, const std::string &text)
{
    const std::lock_guard lock(m_mutex);
    m_texts[figure] = text;
}

std::vector<std::string> storm_report::failures() const
{
    const std::lock_guard lock(m_mutex);
    return m_failures;
}

std::string storm_report::figures() const
{
    const std::lock_guard lock(m_mutex);
    std::string line;
    for (const auto &[figure, count] : m_counts) {
        line += (line.empty() ? "" : ", ") + figure + " " + std::to_string(count);
    }
    for (const auto &[figure, text] : m_texts) {
        line += (line.empty() ? "" : ", ") + figure + " " + text;
    }
    return line;
}

void cycle::pass_up_to(long microseconds)
{
    std::this_thread::sleep_for(std::chrono::microseconds(number(0, microseconds)));
}

void require(bool holds, const std::string &text)
{
    if (!holds) {
        throw std::runtime_error(text);
    }
}
