// Plays the cycles of a storm side by side.
#pragma once

#include <atomic>
#include <exception>
#include <optional>
#include <thread>
#include <vector>

#include "tests/storms/storm.h"

// Plays so many cycles, each by the next player that is free. A player has `void play(cycle &)`, which throws when
// something is wrong; it is then replaced, so that one failure does not bring others.
template <typename player>
void play_cycles(const storm_options &options, long cycles, storm_report &report)
{
    std::atomic<long> next{0};
    const auto work = [&] {
        std::optional<player> own;
        for (long index = next++; index < cycles; index = next++) {
            const std::uint64_t seed = options.seed + static_cast<std::uint64_t>(index);
            cycle now = {seed, std::mt19937_64(seed), report};
            try {
                if (!own) {
                    own.emplace();
                }
                own->play(now);
            } catch (const std::exception &failure) {
                report.add_failure(seed, failure.what());
                own.reset();
            }
        }
    };
    std::vector<std::thread> jobs;
    for (int i = 0; i < options.jobs; i++) {
        jobs.emplace_back(work);
    }
    for (std::thread &job : jobs) {
        job.join();
    }
}
