#include "pub/base/wait.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <string>
#include <thread>

#include "tests/support/in_child.h"
#include "tests/support/temp_folder.h"

namespace {

constexpr int k_ended = 42;
constexpr uint32_t k_long = 1000; // seconds: nobody waits that long, the test ends by a signal

void end_process(int signal_number)
{
    _exit(signal_number == SIGTERM ? k_ended : k_ended + 1);
}

// As main does it: everything blocked, the handlers installed, then its own signals admitted.
void become_main_thread()
{
    pub_util_block_ending_signals();
    (void)signal(SIGTERM, end_process);
    (void)signal(SIGUSR2, end_process);
    pub_util_admit_ending_signals(ending_signals::main_thread);
}

bool is_pending(int signal_number)
{
    sigset_t pending;
    (void)sigpending(&pending);
    return sigismember(&pending, signal_number) == 1;
}

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
    for (const int signal_number : {SIGTERM, SIGUSR2}) {
        const int status = wait_status_of_child([signal_number] {
            become_main_thread();
            (void)kill(getpid(), signal_number);
            pub_util_sleep_ms(0);
            _exit(1);
        });
        EXPECT_EQ(WEXITSTATUS(status), signal_number == SIGTERM ? k_ended : k_ended + 1);
    }
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

std::atomic<int> g_interruptions{0};

TEST(Waits, SleepTheirWholeTimeWhenInterruptedBySomethingElse)
{
    struct sigaction action = {};
    action.sa_handler = [](int) { g_interruptions++; };
    ASSERT_EQ(sigaction(SIGALRM, &action, nullptr), 0);
    timespec before = {};
    timespec after = {};
    (void)clock_gettime(CLOCK_MONOTONIC, &before);
    const pthread_t self = pthread_self();
    std::thread thread([self] {
        while (g_interruptions == 0) {
            (void)pthread_kill(self, SIGALRM);
            std::this_thread::yield();
        }
    });
    pub_util_sleep_ms(50);
    thread.join();
    (void)clock_gettime(CLOCK_MONOTONIC, &after);
    const long elapsed_ms = (after.tv_sec - before.tv_sec) * 1000 + (after.tv_nsec - before.tv_nsec) / 1'000'000;
    EXPECT_GE(elapsed_ms, 49) << "never less than asked for";
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

TEST(Waits, SleepForSecondsToo)
{
    timespec before = {};
    timespec after = {};
    (void)clock_gettime(CLOCK_MONOTONIC, &before);
    pub_util_sleep_ms(1001);
    (void)clock_gettime(CLOCK_MONOTONIC, &after);
    EXPECT_GE((after.tv_sec - before.tv_sec) * 1000 + (after.tv_nsec - before.tv_nsec) / 1'000'000, 1000);
}

} // namespace
