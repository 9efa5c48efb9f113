// How a worker is ended: for how long it is waited for, and which signals are not meant for it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <string>
#include <vector>

#include "pub/log/errors.h"
#include "pub/util/util.h"
#include "tests/support/in_child.h"
#include "tests/support/test_log.h"
#include "tests/unit/pub/started_worker.h"
#include "tests/unit/pub/util_fakes.h"

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::Not;

// --- how long pub_util_kill_thread waits

// The sleeps of whoever ended a worker, in nanoseconds.
std::vector<long> sleeps_ns()
{
    std::vector<long> result;
    for (const timespec &sleep : g_fake.sleeps) {
        EXPECT_EQ(sleep.tv_sec, 0);
        result.push_back(sleep.tv_nsec);
    }
    return result;
}

std::vector<long> pieces_of_10_ms(size_t count)
{
    return std::vector<long>(count, 10'000'000);
}

// Starts a worker that gets to its first wait in the n-th sleep of pub_util_kill_thread, and ends it.
void end_worker_that_waits_in_sleep(size_t number)
{
    pub_util_block_ending_signals();
    ASSERT_EQ(pub_util_start_thread(&g_started.m_handle, sleep_for_ever), 0);
    await_begin();
    g_fake.sleeps.clear();
    g_fake.while_asleep = [number] {
        EXPECT_EQ(g_started.m_handle, 0U) << "taken before anybody waits";
        if (g_fake.sleeps.size() == number) {
            g_started.m_may_go_on = true;
            await_end();
        }
    };
    EXPECT_EQ(pub_util_kill_thread(&g_started.m_handle), ERR_NONE);
    EXPECT_EQ(g_started.m_handle, 0U);
}

TEST(KillThread, WaitsOnlyUntilTheThreadHasEnded)
{
    for (const size_t number : {1, 2, 7, 49, 50}) {
        in_child([number] {
            end_worker_that_waits_in_sleep(number);
            EXPECT_EQ(sleeps_ns(), pieces_of_10_ms(number));
        });
    }
}

TEST(KillThread, LeavesAThreadToItselfThatIsBusyForHalfASecond)
{
    in_child([] {
        end_worker_that_waits_in_sleep(0); // in none of them
        EXPECT_EQ(sleeps_ns(), pieces_of_10_ms(50));
        g_started.m_may_go_on = true;
        await_end(); // the signal waited for it
    });
}

TEST(KillThread, SleepsTheWholeOf10MsWhenInterrupted)
{
    in_child([] {
        g_fake.nanosleep_interruptions = 2;
        end_worker_that_waits_in_sleep(3);
        EXPECT_THAT(sleeps_ns(), ElementsAre(10'000'000, 3'000'000, 3'000'000));
    });
}

// --- signals that are not meant for the worker

bool has_sigusr1_in(const std::string &status, const std::string &set)
{
    const size_t at = status.find(set);
    return at != std::string::npos &&
           ((std::stoul(status.substr(at + set.size()), nullptr, 16) >> (SIGUSR1 - 1)) & 1) != 0;
}

// Until the worker is in its wait, with no signal left that it has not taken.
void await_wait()
{
    await_begin();
    await([] {
        const std::string status = read_whole_file("/proc/self/task/" + std::to_string(g_started.m_tid) + "/status");
        return status.find("\nState:\tS") != std::string::npos && !has_sigusr1_in(status, "SigBlk:") &&
               !has_sigusr1_in(status, "SigPnd:") && !has_sigusr1_in(status, "ShdPnd:");
    });
}

void from_the_process_itself()
{
    EXPECT_EQ(kill(getpid(), SIGUSR1), 0);
}

void from_another_process()
{
    EXPECT_EQ(wait_status_of_child([] { EXPECT_EQ(kill(getppid(), SIGUSR1), 0); }), 0);
}

void queued_for_the_process()
{
    EXPECT_EQ(sigqueue(getpid(), SIGUSR1, {}), 0);
}

void queued_for_the_thread()
{
    EXPECT_EQ(pthread_sigqueue(g_started.m_handle, SIGUSR1, {}), 0);
}

void for_the_thread_from_another_process()
{
    const auto worker = static_cast<pid_t>(g_started.m_tid);
    EXPECT_EQ(wait_status_of_child([worker] { EXPECT_EQ(syscall(SYS_tgkill, getppid(), worker, SIGUSR1), 0); }), 0);
}

constexpr struct {
    const char *m_name;
    void (*m_send)();
} k_other_signals_a[] = {
    {"from the process itself", from_the_process_itself},
    {"from another process", from_another_process},
    {"for the thread, from another process", for_the_thread_from_another_process},
    {"queued for the process", queued_for_the_process},
    {"queued for the thread", queued_for_the_thread},
};

// Then ends the worker after all.
void expect_that_it_has_gone_on(const test_log &log, pthread_t handle)
{
    const std::string end = "info | thread " + std::to_string(g_started.m_tid) + " will be end";
    EXPECT_EQ(g_started.m_handle, handle);
    EXPECT_THAT(log.records(), Not(Contains(end)));
    EXPECT_EQ(pub_util_kill_thread(&g_started.m_handle), ERR_NONE);
    await_end();
    EXPECT_THAT(log.records(), Contains(end).Times(1));
}

int g_pipe_a[2] = {-1, -1};
std::atomic<int> g_bytes_read{0};

void read_for_ever()
{
    g_started.m_tid = gettid();
    char byte = 0;
    while (pub_util_read(g_pipe_a[0], &byte, 1) == 1 && byte == 'x') {
        g_bytes_read++;
    }
    _exit(1);
}

TEST(ThreadSignal, DoesNotEndAReaderForWhomItIsNotMeant)
{
    for (const auto &row : k_other_signals_a) {
        SCOPED_TRACE(row.m_name);
        in_child([&row] {
            const test_log log;
            pub_util_block_ending_signals();
            ASSERT_EQ(pipe(g_pipe_a), 0);
            ASSERT_EQ(pub_util_start_thread(&g_started.m_handle, read_for_ever), 0);
            const pthread_t handle = g_started.m_handle;
            await_wait();
            row.m_send();
            await_wait();
            EXPECT_EQ(g_bytes_read, 0);
            EXPECT_EQ(write(g_pipe_a[1], "xx", 2), 2);
            await([] { return g_bytes_read == 2; });
            await_wait();
            expect_that_it_has_gone_on(log, handle);
        });
    }
}

TEST(ThreadSignal, DoesNotEndASleeperForWhomItIsNotMeant)
{
    for (const auto &row : k_other_signals_a) {
        SCOPED_TRACE(row.m_name);
        in_child([&row] {
            const test_log log;
            pub_util_block_ending_signals();
            g_started.m_may_go_on = true;
            ASSERT_EQ(pub_util_start_thread(&g_started.m_handle, sleep_for_ever), 0);
            const pthread_t handle = g_started.m_handle;
            await_wait();
            row.m_send();
            await([] { return g_interrupted_workers == 1; }); // its handler has come back
            await_wait();
            expect_that_it_has_gone_on(log, handle);
        });
    }
}

} // namespace
