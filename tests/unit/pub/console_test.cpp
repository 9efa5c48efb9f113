#include "pub/base/console.h"

#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "pub/log/errors.h"
#include "pub/util/util.h"
#include "tests/support/in_child.h"
#include "tests/support/test_log.h"

namespace {

// While it is on, writes to standard output are only noted, and fail with the errors in turn.
struct console_fake {
    bool is_on = false;
    std::vector<int> errors;
    size_t takes = SIZE_MAX; // of the bytes of a call
    std::vector<std::string> writes;
};
console_fake g_console;

ssize_t write_to_fake(const void *bytes, size_t count)
{
    g_console.writes.emplace_back(static_cast<const char *>(bytes), count);
    if (!g_console.errors.empty()) {
        errno = g_console.errors.front();
        g_console.errors.erase(g_console.errors.begin());
        return -1;
    }
    return static_cast<ssize_t>(std::min(count, g_console.takes));
}

} // namespace

extern "C" {

ssize_t __real_write(int fd, const void *bytes, size_t count);
ssize_t __wrap_write(int fd, const void *bytes, size_t count)
{
    return g_console.is_on && fd == STDOUT_FILENO ? write_to_fake(bytes, count) : __real_write(fd, bytes, count);
}
}

namespace {

using texts = std::vector<std::string>;

class Console : public ::testing::Test {
  protected:
    Console() { g_console = {true, {}, SIZE_MAX, {}}; }
    ~Console() override { g_console = {}; }
};

TEST_F(Console, GetsTheFormattedTextInOneWriteAtOnce)
{
    pub_util_print("%s has %d of %u\n", "line", -1, 2U);
    EXPECT_EQ(g_console.writes, texts{"line has -1 of 2\n"});
    pub_util_print("no line's end");
    EXPECT_EQ(g_console.writes, (texts{"line has -1 of 2\n", "no line's end"}));
}

TEST_F(Console, GetsATextUpToItsLimitAndCutsALongerOne)
{
    constexpr size_t k_limit = 4607;
    for (const size_t length : {k_limit - 1, k_limit, k_limit + 1, 2 * k_limit, size_t{100'000}}) {
        g_console.writes.clear();
        std::string text(length, 'x');
        text[0] = 'b';
        text[std::min(length, k_limit) - 1] = 'e';
        pub_util_print("%s", text.c_str());
        EXPECT_EQ(g_console.writes, texts{text.substr(0, k_limit)}) << length << " characters";
    }
}

std::string all_of(const texts &writes)
{
    std::string result;
    for (const std::string &text : writes) {
        result += text;
    }
    return result;
}

TEST_F(Console, GetsNothingOfAnEmptyText)
{
    pub_util_print("%s", "");
    EXPECT_EQ(all_of(g_console.writes), "");
}

TEST_F(Console, GetsAtMostTheBeginOfATextThatCannotBeFormatted)
{
    pub_util_print("begin %ls end", L"\x7fffffff"); // no character
    const std::string written = all_of(g_console.writes);
    EXPECT_EQ(written, std::string("begin ").substr(0, written.size()));
    g_console.writes.clear();
    pub_util_print("next");
    EXPECT_EQ(g_console.writes, texts{"next"});
}

TEST_F(Console, IsWrittenToOnceWhenItFails)
{
    for (const int error : {EPIPE, EBADF, EIO, EAGAIN}) {
        g_console.writes.clear();
        g_console.errors = {error};
        pub_util_print("lost");
        EXPECT_EQ(g_console.writes, texts{"lost"}) << "error " << error;
        pub_util_print("next");
        EXPECT_EQ(g_console.writes, (texts{"lost", "next"})) << "error " << error;
    }
}

TEST_F(Console, IsWrittenToAgainWhenInterrupted)
{
    g_console.errors = {EINTR, EINTR};
    pub_util_print("text");
    EXPECT_EQ(g_console.writes, (texts{"text", "text", "text"}));
}

TEST_F(Console, LosesWhatItDoesNotTake)
{
    g_console.takes = 2;
    pub_util_print("text");
    EXPECT_EQ(g_console.writes, texts{"text"});
}

// --- on a real standard output

// Puts a pipe in its place, as long as it lives.
class piped_output {
  public:
    piped_output()
        : m_before(dup(STDOUT_FILENO))
    {
        int ends_a[2] = {-1, -1};
        EXPECT_EQ(pipe(ends_a), 0);
        m_out = ends_a[0];
        EXPECT_EQ(dup2(ends_a[1], STDOUT_FILENO), STDOUT_FILENO);
        (void)close(ends_a[1]);
    }
    ~piped_output()
    {
        (void)dup2(m_before, STDOUT_FILENO);
        (void)close(m_before);
        (void)close(m_out);
    }
    piped_output(const piped_output &) = delete;
    piped_output &operator=(const piped_output &) = delete;

    [[nodiscard]] int out() const { return m_out; }

    static void fill()
    {
        (void)fcntl(STDOUT_FILENO, F_SETFL, O_NONBLOCK);
        const std::string bytes(4096, 'x');
        while (write(STDOUT_FILENO, bytes.data(), bytes.size()) > 0) {
        }
        (void)fcntl(STDOUT_FILENO, F_SETFL, 0);
    }

  private:
    int m_before;
    int m_out = -1;
};

TEST(RealConsole, HasTheTextWithoutAnyFlush)
{
    in_child([] {
        char bytes_a[10] = "";
        ssize_t count = 0;
        {
            const piped_output console;
            pub_util_print("%s", "abc");
            (void)fcntl(console.out(), F_SETFL, O_NONBLOCK);
            count = read(console.out(), bytes_a, sizeof(bytes_a) - 1);
        }
        EXPECT_EQ(count, 3);
        EXPECT_STREQ(bytes_a, "abc");
    });
}

TEST(RealConsole, MayBeClosed)
{
    in_child([] {
        const int before = dup(STDOUT_FILENO);
        (void)close(STDOUT_FILENO);
        errno = 0;
        pub_util_print("lost");
        const int error = errno;
        (void)dup2(before, STDOUT_FILENO);
        EXPECT_EQ(error, EBADF);
    });
}

std::atomic<pid_t> g_tid{0};
std::atomic<bool> g_went_on{false};
pub_util_thread g_printer{0};

void print_once()
{
    g_tid = gettid();
    pub_util_print("nobody reads it");
    g_went_on = true;
    pub_util_clear_own_thread(&g_printer);
}

template <typename condition_type>
bool comes_true(const condition_type &condition)
{
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > limit) {
            return false;
        }
        std::this_thread::yield();
    }
    return true;
}

// Asleep, with the signal that ends it let in.
bool is_waiting()
{
    const std::string status = read_whole_file("/proc/self/task/" + std::to_string(g_tid) + "/status");
    const size_t at = status.find("SigBlk:");
    return at != std::string::npos && status.find("\nState:\tS") != std::string::npos &&
           ((std::stoul(status.substr(at + 7), nullptr, 16) >> (SIGUSR1 - 1)) & 1) == 0;
}

bool is_gone()
{
    return !std::filesystem::exists("/proc/self/task/" + std::to_string(g_tid));
}

// Nothing is expected before standard output is back: it would be written there, too.
TEST(RealConsole, DoesNotKeepAWorkerFromBeingEnded)
{
    in_child([] {
        const test_log log;
        pub_util_block_ending_signals();
        bool was_waiting = false;
        bool has_ended = false;
        int32_t result = -1;
        {
            const piped_output console;
            piped_output::fill();
            (void)pub_util_start_thread(&g_printer, print_once);
            was_waiting = comes_true([] { return g_tid != 0 && is_waiting(); });
            result = pub_util_kill_thread(&g_printer);
            has_ended = comes_true(is_gone);
        }
        EXPECT_TRUE(was_waiting);
        EXPECT_EQ(result, ERR_NONE);
        EXPECT_TRUE(has_ended);
        EXPECT_FALSE(g_went_on);
        EXPECT_EQ(g_printer, 0U);
        EXPECT_EQ(log.records().back(), "info | thread " + std::to_string(g_tid) + " will be end");
    });
}

} // namespace
