#include "pub/base/wait.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <string>
#include <thread>

#include "tests/support/in_child.h"
#include "tests/support/temp_folder.h"
#include "tests/unit/pub/main_thread.h"

namespace {

TEST(Waits, AnEndingSignalStaysPendingOutsideOfThem)
{
    const int status = wait_status_of_child([] {
        become_main_thread();
        (void)raise(SIGTERM);
        EXPECT_TRUE(is_pending(SIGTERM));
        _exit(::testing::Test::HasFailure() ? 1 : 0);
    });
    EXPECT_EQ(status, 0);
}

TEST(Waits, LetAPendingSignalInWhereverTheyAre)
{
    for (const auto wait : {+[] { pub_util_sleep_ms(0); }, &pub_util_take_ending_signal}) {
        for (const int signal_number : {SIGTERM, SIGUSR2}) {
            const int status = wait_status_of_child([wait, signal_number] {
                become_main_thread();
                (void)kill(getpid(), signal_number);
                wait();
                _exit(1);
            });
            EXPECT_EQ(WEXITSTATUS(status), signal_number == SIGTERM ? k_ended : k_ended + 1);
        }
    }
}

TEST(Waits, OfNoLengthTakeNoOtherSignalsAndBlockAgain)
{
    const int status = wait_status_of_child([] {
        become_main_thread();
        pub_util_take_ending_signal();
        (void)raise(SIGTERM);
        EXPECT_TRUE(is_pending(SIGTERM));
        pub_util_admit_ending_signals(ending_signals::none);
        pub_util_take_ending_signal();
        EXPECT_TRUE(is_pending(SIGTERM));
        _exit(::testing::Test::HasFailure() ? 1 : 0);
    });
    EXPECT_EQ(status, 0);
}

std::atomic<bool> g_is_handed{false};

void hand_or_end(int signal_number)
{
    if (!pub_util_hand_to_main_thread(signal_number)) {
        _exit(gettid() == getpid() && g_is_handed ? k_ended : k_ended + 1);
    }
    g_is_handed = true;
}

TEST(MainThread, GetsTheSignalThatCameInOnAnother)
{
    const int status = wait_status_of_child([] {
        become_main_thread();
        (void)signal(SIGTERM, hand_or_end);
        std::thread other([] {
            sigset_t set;
            sigemptyset(&set);
            sigaddset(&set, SIGTERM);
            (void)pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
            (void)raise(SIGTERM);
        });
        other.join();
        EXPECT_TRUE(g_is_handed);
        EXPECT_TRUE(is_pending(SIGTERM)) << "until its next wait";
        pub_util_take_ending_signal();
        _exit(1);
    });
    EXPECT_EQ(WEXITSTATUS(status), k_ended);
}

// Whether one of the signal sets in a process's status holds SIGTERM.
bool has_sigterm_in(const std::string &status, const std::string &set)
{
    const size_t at = status.find(set);
    return at != std::string::npos &&
           ((std::stoul(status.substr(at + set.size()), nullptr, 16) >> (SIGTERM - 1)) & 1) != 0;
}

TEST(Waits, EndWhenASignalComesInTheMiddle)
{
    int begun[2];
    ASSERT_EQ(pipe(begun), 0);
    const pid_t child = fork();
    if (child == 0) {
        become_main_thread();
        (void)write(begun[1], "x", 1);
        pub_util_sleep_seconds(k_long);
        _exit(1);
    }
    char byte = 0;
    EXPECT_EQ(read(begun[0], &byte, 1), 1); // it is blocked now, and will be let in by the wait
    while (has_sigterm_in(read_whole_file("/proc/" + std::to_string(child) + "/status"), "SigBlk:")) {
        std::this_thread::yield();
    }
    EXPECT_EQ(kill(child, SIGTERM), 0);
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(WEXITSTATUS(status), k_ended);
    (void)close(begun[0]);
    (void)close(begun[1]);
}

TEST(Waits, LetNothingInThatTheThreadHasNotAdmitted)
{
    const int status = wait_status_of_child([] {
        become_main_thread();
        pub_util_admit_ending_signals(ending_signals::none);
        (void)raise(SIGTERM);
        pub_util_sleep_ms(1);
        pub_util_admit_ending_signals(ending_signals::worker);
        pub_util_sleep_ms(1);
        EXPECT_TRUE(is_pending(SIGTERM));
        _exit(::testing::Test::HasFailure() ? 1 : 0);
    });
    EXPECT_EQ(status, 0);
}

TEST(Waits, LeaveTheSignalsBlockedBehindThem)
{
    const int status = wait_status_of_child([] {
        become_main_thread();
        pub_util_sleep_ms(1);
        sigset_t blocked;
        (void)pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
        EXPECT_EQ(sigismember(&blocked, SIGTERM), 1);
        EXPECT_EQ(sigismember(&blocked, SIGUSR2), 1);
        EXPECT_EQ(sigismember(&blocked, SIGUSR1), 1);
        _exit(::testing::Test::HasFailure() ? 1 : 0);
    });
    EXPECT_EQ(status, 0);
}

TEST(Waits, OfAnotherThreadDoNotLetTheMainThreadsSignalsIn)
{
    const int status = wait_status_of_child([] {
        become_main_thread();
        (void)kill(getpid(), SIGTERM);
        std::thread([] { pub_util_sleep_ms(1); }).join();
        _exit(is_pending(SIGTERM) ? 0 : 1);
    });
    EXPECT_EQ(status, 0);
}

// Neither the signal that is there nor one that the thread would be ended by in a wait.
TEST(Waits, APauseIsNone)
{
    const int status = wait_status_of_child([] {
        become_main_thread();
        (void)raise(SIGTERM);
        (void)raise(SIGUSR2);
        for (const uint32_t microseconds : {0U, 1U, 1000U}) {
            pub_util_pause_us(microseconds);
        }
        EXPECT_TRUE(is_pending(SIGTERM));
        EXPECT_TRUE(is_pending(SIGUSR2));
        if (!::testing::Test::HasFailure()) {
            pub_util_sleep_ms(0);
        }
        _exit(1);
    });
    EXPECT_TRUE(WIFEXITED(status));
    const int ended = WEXITSTATUS(status);
    EXPECT_TRUE(ended == k_ended || ended == k_ended + 1) << "by the wait behind it: " << ended;
}

TEST(Waits, APauseOfAWorkerIsNone)
{
    in_child([] {
        pub_util_block_ending_signals();
        struct sigaction action = {};
        action.sa_handler = [](int) { _exit(k_ended); };
        ASSERT_EQ(sigaction(SIGUSR1, &action, nullptr), 0);
        std::thread([] {
            pub_util_admit_ending_signals(ending_signals::worker);
            EXPECT_EQ(pthread_kill(pthread_self(), SIGUSR1), 0);
            pub_util_pause_us(1000);
            EXPECT_TRUE(is_pending(SIGUSR1));
        }).join();
    });
}

TEST(Waits, AParkedThreadLetsNothingIn)
{
    const pid_t child = fork();
    if (child == 0) {
        become_main_thread();
        (void)raise(SIGTERM);
        pub_util_park();
    }
    // Parked is asleep with the signal still pending; were it let in, the child would be gone instead.
    const std::string status_file = "/proc/" + std::to_string(child) + "/status";
    int status = 0;
    for (bool is_parked = false; !is_parked && waitpid(child, &status, WNOHANG) == 0;) {
        const std::string text = read_whole_file(status_file);
        is_parked = text.find("\nState:\tS") != std::string::npos && has_sigterm_in(text, "SigPnd:");
    }
    EXPECT_EQ(kill(child, SIGKILL), 0);
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFSIGNALED(status));
}

} // namespace
