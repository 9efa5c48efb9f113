// Reading, writing and waiting for either: the system's own calls, in which a thread can be ended.
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
#include "tests/unit/pub/main_thread.h"

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
