// One worker started as the service starts them, and what a test waits for. Only inside in_child.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <string>
#include <thread>

#include "pub/util/util.h"

struct started_worker {
    pub_util_thread m_handle{0};
    std::atomic<pthread_t> m_self{0};
    std::atomic<long> m_tid{0};
    std::atomic<int> m_detach_state{-1};
    std::atomic<bool> m_may_go_on{false};
    std::atomic<bool> m_is_done{false};
};
inline started_worker g_started;

// Waits once it may; never comes back.
inline void sleep_for_ever()
{
    g_started.m_tid = gettid();
    while (!g_started.m_may_go_on) {
        std::this_thread::yield();
    }
    pub_util_sleep_seconds(1000);
    _exit(1);
}

template <typename condition_type>
void await(const condition_type &condition)
{
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (!condition()) {
        ASSERT_LT(std::chrono::steady_clock::now(), limit) << "waited in vain";
        std::this_thread::yield();
    }
}

// Until the worker has told its number.
inline void await_begin()
{
    await([] { return g_started.m_tid != 0; });
}

// Until the thread with that number is gone.
inline void await_end()
{
    const std::string thread = "/proc/self/task/" + std::to_string(g_started.m_tid);
    await([&thread] { return !std::filesystem::exists(thread); });
}
