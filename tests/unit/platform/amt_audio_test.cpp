// The player of a workstation is found by its pid file and ended by a signal, and in between keeps out of its caller's
// way. The test takes in what its caller leaves behind, so each player is seen to end, and none outlives its test.
#include "tests/unit/platform/handset_root.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <iterator>
#include <poll.h>
#include <spawn.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;

namespace {

constexpr char k_pid_file[] = "/tmp/amt-audio.pid";

class Player : public handset_root {
  protected:
    void SetUp() override
    {
        handset_root::SetUp();
        std::filesystem::create_directories(host_path("/tmp"));
        ASSERT_EQ(prctl(PR_SET_CHILD_SUBREAPER, 1), 0);
    }

    void TearDown() override
    {
        for (const pid_t player : children()) {
            (void)end(player);
        }
        handset_root::TearDown();
    }

    // Runs the player's caller with the test's descriptors and returns its exit status.
    static int run(std::vector<std::string> arguments)
    {
        arguments.insert(arguments.begin(), PLAYER);
        std::vector<char *> pointers(arguments.size() + 1);
        std::transform(arguments.begin(), arguments.end(), pointers.begin(),
                       [](std::string &text) { return text.data(); });
        pid_t pid = -1;
        EXPECT_EQ(posix_spawn(&pid, PLAYER, nullptr, nullptr, pointers.data(), environ), 0);
        int status = -1;
        EXPECT_EQ(waitpid(pid, &status, 0), pid);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    static int play() { return run({"44100", "2", "1024", "/system/media/amt/ring.wav"}); }

    // 0 when there is no number.
    [[nodiscard]] pid_t pid_in_file() const
    {
        return static_cast<pid_t>(strtol(read_file(k_pid_file).c_str(), nullptr, 10));
    }

    // Running or waited for by nobody yet.
    static std::vector<pid_t> children()
    {
        std::ifstream file("/proc/thread-self/children");
        return {std::istream_iterator<pid_t>(file), {}};
    }

    static bool is_child(pid_t pid)
    {
        const std::vector<pid_t> all = children();
        return std::find(all.begin(), all.end(), pid) != all.end();
    }

    static bool has_ended(pid_t child, int wait_ms)
    {
        pollfd handle = {static_cast<int>(syscall(SYS_pidfd_open, child, 0)), POLLIN, 0};
        const bool ended = poll(&handle, 1, wait_ms) == 1;
        close(handle.fd);
        return ended;
    }

    static bool is_running(pid_t pid) { return is_child(pid) && !has_ended(pid, 0); }

    // The wait status of a player that is killed, -1 for what is none of ours: never a signal to anybody else.
    static int end(pid_t player)
    {
        int status = -1;
        if (is_child(player)) {
            EXPECT_EQ(kill(player, SIGKILL), 0);
            EXPECT_EQ(waitpid(player, &status, 0), player);
        }
        return status;
    }

    static std::string proc_file(pid_t pid, const char *name)
    {
        std::ifstream file("/proc/" + std::to_string(pid) + "/" + name, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
};

TEST_F(Player, IsRecordedWithAllItsArguments)
{
    EXPECT_EQ(play(), 0);
    EXPECT_EQ(calls(), "amt-audio(44100 2 1024 /system/media/amt/ring.wav)\n");
}

TEST_F(Player, IsRecordedAlsoWithUnusualArguments)
{
    control("amt-audio", "result=1\n");
    EXPECT_EQ(run({}), 1);
    EXPECT_EQ(run({"one(two"}), 1);
    EXPECT_EQ(run({"", "a b", "line\nfeed"}), 1);
    EXPECT_EQ(calls(), "amt-audio()\namt-audio(one(two)\namt-audio( a b line\\nfeed)\n");
}

TEST_F(Player, RunsUnderItsNameOnceItsCallerHasReturned)
{
    for (int attempt = 0; attempt < 10; ++attempt) {
        ASSERT_EQ(play(), 0);
        const pid_t player = pid_in_file();
        EXPECT_EQ(read_file(k_pid_file), std::to_string(player) + "\n");
        ASSERT_TRUE(is_running(player));
        const std::string command_line = proc_file(player, "cmdline");
        EXPECT_THAT(command_line.substr(0, command_line.find('\0')), EndsWith("/amt-audio"));
        EXPECT_EQ(end(player), SIGKILL);
        std::filesystem::remove(host_path(k_pid_file));
    }
}

TEST_F(Player, PlaysUntilItIsKilled)
{
    ASSERT_EQ(play(), 0);
    const pid_t player = pid_in_file();
    ASSERT_TRUE(is_running(player));
    EXPECT_EQ(end(player), SIGKILL) << "ended by the signal, not by itself";
    EXPECT_THAT(children(), ElementsAre());
}

TEST_F(Player, LeavesNothingBesideItsPidFile)
{
    ASSERT_EQ(play(), 0);
    EXPECT_THAT(names_in("/tmp"), ElementsAre("amt-audio.pid"));
}

TEST_F(Player, ThatCannotPlayHasNoProcessAndNoPidFile)
{
    control("amt-audio", "result=3\n");
    EXPECT_EQ(play(), 3);
    EXPECT_EQ(calls(), "amt-audio(44100 2 1024 /system/media/amt/ring.wav)\n");
    EXPECT_THAT(names_in("/tmp"), ElementsAre());
    EXPECT_THAT(children(), ElementsAre());
}

TEST_F(Player, ReadsItsDelay)
{
    control("amt-audio", "delay_ms=never\nresult=2\n");
    captured_stderr output;
    EXPECT_EQ(play(), 2);
    EXPECT_THAT(output.writes(), ElementsAre(HasSubstr("/amt-audio: delay_ms: cannot use \"never\"")));
}

TEST_F(Player, ThatCannotBeFoundDoesNotPlay)
{
    std::filesystem::remove(host_path("/tmp"));
    EXPECT_EQ(play(), 1);
    constexpr int k_wait_ms = 10000;
    for (const pid_t player : children()) {
        EXPECT_TRUE(has_ended(player, k_wait_ms)) << "ended by its caller, or else by nobody";
    }
}

// A number of the test's own that leads elsewhere while it lives.
class redirected {
  public:
    redirected(int number, int target)
        : m_number(number)
        , m_saved(fcntl(number, F_DUPFD_CLOEXEC, 0))
    {
        EXPECT_EQ(dup2(target, number), number);
    }
    ~redirected()
    {
        if (m_saved >= 0) {
            dup2(m_saved, m_number);
            close(m_saved);
        } else {
            close(m_number);
        }
    }
    redirected(const redirected &) = delete;
    redirected &operator=(const redirected &) = delete;

  private:
    int m_number;
    int m_saved; // -1: there was nothing
};

TEST_F(Player, HoldsNoneOfItsCallersDescriptors)
{
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    int status = -1;
    {
        const redirected input(STDIN_FILENO, ends[1]);
        const redirected output(STDOUT_FILENO, ends[1]);
        const redirected errors(STDERR_FILENO, ends[1]);
        const redirected further(100, ends[1]);
        status = play();
    }
    close(ends[1]);
    EXPECT_EQ(status, 0);
    const pid_t player = pid_in_file();
    ASSERT_TRUE(is_running(player));

    pollfd reader = {ends[0], 0, 0};
    EXPECT_EQ(poll(&reader, 1, 0), 1) << "somebody can still write to the caller's output";
    EXPECT_EQ(reader.revents, POLLHUP);
    close(ends[0]);
    std::vector<std::string> held;
    for (const auto &entry : std::filesystem::directory_iterator("/proc/" + std::to_string(player) + "/fd")) {
        held.push_back(std::filesystem::read_symlink(entry.path()).string());
    }
    EXPECT_THAT(held, ElementsAre("/dev/null", "/dev/null", "/dev/null"));
}

} // namespace
