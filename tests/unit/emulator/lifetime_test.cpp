// Beginning and end of a handset: what it needs, that nothing of it is left, and that two do not see each other.

#include "fixture.h"

#include "emulator/descriptor.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>

#include <csignal>
#include <cstdlib>
#include <fstream>
#include <optional>

using namespace emulator_test;
using namespace std::chrono_literals;
using emulator::descriptor;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::SizeIs;
using testing::ThrowsMessage;

namespace fs = std::filesystem;

// A handle on a process of this machine that stays valid whatever becomes of its number.
static descriptor watch(pid_t pid)
{
    return descriptor(static_cast<int>(syscall(SYS_pidfd_open, pid, 0)));
}

static bool ended(const descriptor &handle, emulator::deadline limit)
{
    pollfd end = {handle.get(), POLLIN, 0};
    return poll(&end, 1, limit.left_ms()) == 1;
}

// The processes of this machine that descend from process 1 of a handset, by their numbers on this machine.
static std::vector<descriptor> watch_children(pid_t init)
{
    const std::string number = std::to_string(init);
    std::ifstream children("/proc/" + number + "/task/" + number + "/children");
    std::vector<descriptor> handles;
    for (pid_t child = 0; children >> child;) {
        handles.push_back(watch(child));
    }
    return handles;
}

TEST(Handset, LeavesNothingRunningWhenItGoes)
{
    std::optional<emulator::handset> handset(std::in_place);
    handset->boot();
    // Two that will not end by themselves: one deaf to signals, one that has left its parent.
    const emulator::process deaf =
        handset->start(shell("trap '' TERM HUP INT; echo ready; while :; do sleep 1000; done"));
    deaf.wait_output("ready");
    const emulator::process parent = handset->start(shell("setsid sleep 1000 >/dev/null 2>&1 & echo ready"));
    EXPECT_EQ(parent.wait(), emulator::exited(0));
    std::vector<descriptor> programs = watch_children(handset->init_pid());
    ASSERT_THAT(programs, SizeIs(2));
    programs.push_back(watch(handset->init_pid()));
    handset.reset();
    for (const descriptor &program : programs) {
        EXPECT_TRUE(ended(program, 0ms));
    }
    EXPECT_EQ(deaf.wait(), emulator::signalled(SIGKILL)) << "what is left of a program is how it ended";
}

// In a child: holds a handset with a program in it and tells its root folder and the number of its process 1.
[[noreturn]] static void hold_handset(int report)
{
    emulator::handset handset;
    handset.boot();
    (void)handset.start(shell("exec sleep 1000"));
    const std::string text = std::to_string(handset.init_pid()) + " " + handset.files.root().string();
    (void)!write(report, text.c_str(), text.size());
    while (true) {
        pause();
    }
}

TEST(Handset, EndsWhenItsOwnerIsKilled)
{
    int ends[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends), 0);
    const pid_t owner = fork();
    ASSERT_GE(owner, 0);
    if (owner == 0) {
        hold_handset(ends[1]);
    }
    char text[256] = {};
    ASSERT_GT(read(ends[0], text, sizeof(text) - 1), 0);
    char *root = nullptr;
    const descriptor init = watch(static_cast<pid_t>(std::strtol(text, &root, 10)));
    ASSERT_TRUE(init);
    EXPECT_FALSE(ended(init, 0ms));
    kill(owner, SIGKILL);
    waitpid(owner, nullptr, 0);
    EXPECT_TRUE(ended(init, emulator::k_default_wait));
    fs::remove_all(root + 1);
    close(ends[0]);
    close(ends[1]);
}

TEST(Handset, RemovesItsTemporaryFolder)
{
    fs::path root;
    {
        emulator::handset handset;
        root = handset.files.root();
        handset.boot();
        EXPECT_EQ(output_of(handset, "mkdir -p /amt/deep/folder && ln -s / /amt/link"), "");
        EXPECT_TRUE(fs::exists(root));
    }
    EXPECT_FALSE(fs::exists(root));
    EXPECT_TRUE(fs::exists("/usr")) << "links are not followed";
}

TEST(Handset, KeepsAFolderThatItIsGivenAndItsStateInIt)
{
    emulator::handset_options options;
    {
        emulator::handset_options temporary;
        temporary.keep_root = true;
        emulator::handset first(temporary);
        options.root = first.files.root();
        first.boot();
        EXPECT_EQ(output_of(first, "echo kept > /amt/product.txt"), "");
        first.set_property("ro.board.platform", "kv7100");
    }
    {
        emulator::handset second(options);
        second.boot();
        EXPECT_EQ(output_of(second, "cat /amt/product.txt"), "kept\n");
        EXPECT_EQ(second.property("ro.board.platform"), "kv7100");
    }
    EXPECT_TRUE(fs::exists(options.root / "amt/product.txt"));
    fs::remove_all(options.root);
}

TEST(Handset, CanBeSwitchedOffAndOnAgain)
{
    emulator::handset handset;
    EXPECT_FALSE(handset.is_on());
    EXPECT_THAT([&] { handset.start(shell("true")); }, ThrowsMessage<std::runtime_error>(HasSubstr("boot() it first")));
    handset.boot();
    EXPECT_TRUE(handset.is_on());
    EXPECT_THAT([&] { handset.boot(); }, ThrowsMessage<std::runtime_error>(HasSubstr("is on already")));
    const emulator::process run = handset.start(shell("echo > /data/here; echo ready; exec sleep 1000"));
    run.wait_output("ready");
    handset.power_off();
    EXPECT_FALSE(handset.is_on());
    EXPECT_FALSE(run.running());
    EXPECT_FALSE(run.signal(SIGTERM));
    handset.boot();
    EXPECT_EQ(output_of(handset, "cat /data/here"), "\n");
}

TEST(Handset, DoesNotSeeAnother)
{
    emulator::handset first;
    emulator::handset second;
    first.files.install(beside_test("handset-probe"), k_probe);
    first.boot();
    second.boot();
    emulator::tty first_station = first.open_tty("/dev/ttyGS0");
    emulator::tty second_station = second.open_tty("/dev/ttyGS0");
    EXPECT_EQ(first.files.read_link("/dev/ttyGS0"), second.files.read_link("/dev/ttyGS0")) << "terminals of its own";
    const emulator::process listener = first.start(probe({"hear-event"}));
    listener.wait_output("bind ok");
    EXPECT_FALSE(second.uevents_heard());
    second.uevent({"change@/second", "ACTION=change"});
    first.uevent({"change@/first", "ACTION=change"});
    EXPECT_EQ(listener.wait(), emulator::exited(0));
    EXPECT_THAT(listener.out(), AllOf(HasSubstr("change@/first"), Not(HasSubstr("change@/second"))));

    EXPECT_EQ(output_of(first, "printf one > /dev/ttyGS0; echo one > /amt/x; hostname"), "handset\n");
    EXPECT_EQ(first_station.read_exactly(3), "one");
    EXPECT_EQ(second_station.read_all(1ms), "");
    EXPECT_FALSE(second.files.exists("/amt/x"));
}

// Where this program looks for others, for a while.
class searched_path {
  public:
    explicit searched_path(const std::string &path)
    {
        const char *before = getenv("PATH");
        m_before = before != nullptr ? before : "";
        setenv("PATH", path.c_str(), 1);
    }
    ~searched_path() { setenv("PATH", m_before.c_str(), 1); }
    searched_path(const searched_path &) = delete;
    searched_path &operator=(const searched_path &) = delete;

  private:
    std::string m_before;
};

TEST(Handset, SaysWhatToInstallWhenBubblewrapIsMissing)
{
    emulator::handset handset;
    const searched_path nowhere("/nowhere");
    EXPECT_THAT([&] { handset.boot(); },
                ThrowsMessage<std::runtime_error>(HasSubstr("install the package bubblewrap")));
    EXPECT_FALSE(handset.is_on());
}

TEST(Handset, SaysWhatToAllowWhenTheMachineRefusesTheSandbox)
{
    emulator::handset handset;
    handset.files.write("/tmp/bwrap", "#!/bin/sh\necho 'bwrap: No permissions to create new namespace' >&2\nexit 1\n",
                        0755);
    const searched_path with_fake(handset.files.root() / "tmp");
    EXPECT_THAT([&] { handset.boot(); },
                ThrowsMessage<std::runtime_error>(
                    AllOf(HasSubstr("No permissions to create new namespace"), HasSubstr("user.max_user_namespaces"))));
}

TEST(Handset, SaysWhatToBuildWhenItsOwnProgramsAreMissing)
{
    emulator::handset_options options;
    options.init = "/nowhere/handset-init";
    emulator::handset handset(options);
    EXPECT_THAT([&] { handset.boot(); },
                ThrowsMessage<std::runtime_error>(HasSubstr("/nowhere/handset-init: no such file; build the target")));
}
