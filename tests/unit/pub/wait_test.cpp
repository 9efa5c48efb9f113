#include "pub/base/wait.h"

#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/select.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/in_child.h"
#include "tests/support/temp_folder.h"

namespace {

int g_interrupted_calls = 0; // of reads, writes and selects from now, one after the other

// With it on, an interrupted select takes a second of its time; it tells the seconds that each select was given.
struct {
    bool is_on = false;
    std::vector<long long> given;
} g_timed_select;

bool is_interrupted()
{
    if (g_interrupted_calls == 0) {
        return false;
    }
    g_interrupted_calls--;
    errno = EINTR;
    return true;
}

} // namespace

extern "C" {

ssize_t __real_read(int fd, void *bytes, size_t count);
ssize_t __wrap_read(int fd, void *bytes, size_t count)
{
    return is_interrupted() ? -1 : __real_read(fd, bytes, count);
}

ssize_t __real_write(int fd, const void *bytes, size_t count);
ssize_t __wrap_write(int fd, const void *bytes, size_t count)
{
    return is_interrupted() ? -1 : __real_write(fd, bytes, count);
}

int __real_select(int count, fd_set *readable, fd_set *writable, fd_set *exceptional, timeval *left);
int __wrap_select(int count, fd_set *readable, fd_set *writable, fd_set *exceptional, timeval *left)
{
    if (g_timed_select.is_on) {
        g_timed_select.given.push_back(left->tv_sec);
    }
    if (is_interrupted()) {
        left->tv_sec -= g_timed_select.is_on ? 1 : 0;
        return -1;
    }
    return __real_select(count, readable, writable, exceptional, left);
}
}

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

// --- reading, writing and waiting for either

struct pipe_ends {
    int out = -1;
    int in = -1;

    pipe_ends()
    {
        int ends_a[2] = {-1, -1};
        EXPECT_EQ(pipe(ends_a), 0);
        out = ends_a[0];
        in = ends_a[1];
    }
    ~pipe_ends()
    {
        (void)close(out);
        (void)close(in);
    }
    pipe_ends(const pipe_ends &) = delete;
    pipe_ends &operator=(const pipe_ends &) = delete;

    void fill() const
    {
        EXPECT_EQ(fcntl(in, F_SETFL, O_NONBLOCK), 0);
        const std::string bytes(4096, 'x');
        while (write(in, bytes.data(), bytes.size()) > 0) {
        }
        EXPECT_EQ(fcntl(in, F_SETFL, 0), 0);
    }
};

int wait_for(int fd, bool is_reading, timeval left, bool *is_in_set)
{
    fd_set set;
    FD_ZERO(&set);
    FD_SET(fd, &set);
    const int ready = pub_util_select(fd + 1, is_reading ? &set : nullptr, is_reading ? nullptr : &set, &left);
    *is_in_set = FD_ISSET(fd, &set);
    return ready;
}

TEST(BlockingCalls, AreTheSystemsOwn)
{
    const pipe_ends pipe;
    char bytes[8] = "";
    bool is_in_set = false;
    EXPECT_EQ(wait_for(pipe.out, true, {0, 0}, &is_in_set), 0) << "nothing to read yet";
    EXPECT_FALSE(is_in_set);
    EXPECT_EQ(wait_for(pipe.in, false, {0, 0}, &is_in_set), 1);
    EXPECT_TRUE(is_in_set);
    EXPECT_EQ(pub_util_write(pipe.in, "abcdef", 6), 6);
    EXPECT_EQ(wait_for(pipe.out, true, {k_long, 0}, &is_in_set), 1);
    EXPECT_TRUE(is_in_set);
    EXPECT_EQ(pub_util_read(pipe.out, bytes, 4), 4);
    EXPECT_STREQ(bytes, "abcd");
    EXPECT_EQ(pub_util_read(pipe.out, bytes, 4), 2) << "what there is, not what there is room for";
    pipe.fill();
    EXPECT_EQ(wait_for(pipe.in, false, {0, 1}, &is_in_set), 0) << "no room to write";
}

TEST(BlockingCalls, TellWhatIsLeftOfTheTime)
{
    fd_set set;
    FD_ZERO(&set);
    timeval left = {0, 1};
    EXPECT_EQ(pub_util_select(0, &set, nullptr, &left), 0);
    EXPECT_EQ(left.tv_sec, 0);
    EXPECT_EQ(left.tv_usec, 0);
}

TEST(BlockingCalls, WaitWithWhatIsLeftWhenInterrupted)
{
    fd_set set;
    FD_ZERO(&set);
    timeval left = {2, 0};
    g_interrupted_calls = 2; // until nothing is left
    g_timed_select = {true, {}};
    EXPECT_EQ(pub_util_select(0, &set, nullptr, &left), 0);
    g_timed_select.is_on = false;
    EXPECT_EQ(g_timed_select.given, (std::vector<long long>{2, 1, 0}));
    EXPECT_EQ(left.tv_sec, 0);
}

TEST(BlockingCalls, AreNotEndedByAnInterruption)
{
    const pipe_ends pipe;
    char bytes[8] = "";
    bool is_in_set = false;
    g_interrupted_calls = 3;
    EXPECT_EQ(pub_util_write(pipe.in, "abc", 3), 3);
    EXPECT_EQ(g_interrupted_calls, 0);
    g_interrupted_calls = 3;
    EXPECT_EQ(wait_for(pipe.out, true, {k_long, 0}, &is_in_set), 1);
    EXPECT_TRUE(is_in_set);
    EXPECT_EQ(g_interrupted_calls, 0);
    g_interrupted_calls = 3;
    EXPECT_EQ(pub_util_read(pipe.out, bytes, 8), 3);
    EXPECT_EQ(g_interrupted_calls, 0);
    EXPECT_STREQ(bytes, "abc") << "once";
}

TEST(BlockingCalls, KeepTheErrorOfTheCall)
{
    in_child([] {
        become_main_thread();
        const int closed = dup(STDOUT_FILENO);
        (void)close(closed);
        char byte = 0;
        errno = 0;
        EXPECT_EQ(pub_util_read(closed, &byte, 1), -1);
        EXPECT_EQ(errno, EBADF);
        errno = 0;
        EXPECT_EQ(pub_util_write(closed, &byte, 1), -1);
        EXPECT_EQ(errno, EBADF);
        bool is_in_set = false;
        errno = 0;
        EXPECT_EQ(wait_for(closed, true, {0, 0}, &is_in_set), -1);
        EXPECT_EQ(errno, EBADF);
    });
}

TEST(BlockingCalls, LetAPendingSignalIn)
{
    void (*const calls_a[])(const pipe_ends &) = {
        [](const pipe_ends &pipe) { (void)pub_util_write(pipe.in, "x", 1); },
        [](const pipe_ends &pipe) {
            char byte = 0;
            (void)pub_util_read(pipe.out, &byte, 1);
        },
        [](const pipe_ends &) {
            timeval left = {0, 0};
            (void)pub_util_select(0, nullptr, nullptr, &left);
        },
    };
    for (const auto &call : calls_a) {
        const int status = wait_status_of_child([call] {
            const pipe_ends pipe;
            (void)write(pipe.in, "x", 1);
            become_main_thread();
            (void)raise(SIGTERM);
            call(pipe);
            _exit(1);
        });
        EXPECT_EQ(WEXITSTATUS(status), k_ended);
    }
}

// A worker in one of the calls, and what it says of itself.
struct blocked_worker {
    void (*m_call)(const pipe_ends &);
    const pipe_ends m_pipe;
    std::atomic<pid_t> m_tid{0};
    std::atomic<bool> m_went_on{false};

    explicit blocked_worker(void (*call)(const pipe_ends &))
        : m_call(call)
    {
    }
};

void *block(void *argument)
{
    auto *self = static_cast<blocked_worker *>(argument);
    pub_util_admit_ending_signals(ending_signals::worker);
    self->m_tid = gettid();
    self->m_call(self->m_pipe);
    self->m_went_on = true;
    return nullptr;
}

// Asleep, with the signal that ends it let in.
bool is_waiting(pid_t tid)
{
    const std::string status = read_whole_file("/proc/self/task/" + std::to_string(tid) + "/status");
    const size_t at = status.find("SigBlk:");
    return at != std::string::npos && status.find("\nState:\tS") != std::string::npos &&
           ((std::stoul(status.substr(at + 7), nullptr, 16) >> (SIGUSR1 - 1)) & 1) == 0;
}

void expect_end_of_worker_in(void (*call)(const pipe_ends &))
{
    in_child([call] {
        pub_util_block_ending_signals();
        struct sigaction action = {};
        action.sa_flags = SA_RESTART; // as the service has it
        action.sa_handler = [](int) { pthread_exit(nullptr); };
        ASSERT_EQ(sigaction(SIGUSR1, &action, nullptr), 0);
        blocked_worker worker(call);
        pthread_t thread = 0;
        ASSERT_EQ(pthread_create(&thread, nullptr, block, &worker), 0);
        while (worker.m_tid == 0 || !is_waiting(worker.m_tid)) {
            std::this_thread::yield();
        }
        EXPECT_EQ(pthread_kill(thread, SIGUSR1), 0);
        EXPECT_EQ(pthread_join(thread, nullptr), 0);
        EXPECT_FALSE(worker.m_went_on);
    });
}

TEST(BlockingCalls, AreWhereAWorkerIsEndedThatReads)
{
    expect_end_of_worker_in([](const pipe_ends &pipe) {
        char byte = 0;
        (void)pub_util_read(pipe.out, &byte, 1);
    });
}

TEST(BlockingCalls, AreWhereAWorkerIsEndedThatWrites)
{
    expect_end_of_worker_in([](const pipe_ends &pipe) {
        pipe.fill();
        (void)pub_util_write(pipe.in, "x", 1);
    });
}

TEST(BlockingCalls, AreWhereAWorkerIsEndedThatWaits)
{
    expect_end_of_worker_in([](const pipe_ends &pipe) {
        bool is_in_set = false;
        (void)wait_for(pipe.out, true, {k_long, 0}, &is_in_set);
    });
}

} // namespace
