#include "pub/base/shell.h"

#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>

#include "pub/base/wait.h"
#include "tests/support/in_child.h"
#include "tests/support/temp_folder.h"

namespace {

bool g_fork_fails = false;
int g_waitpid_interruptions = 0;
bool g_waitpid_fails = false;

} // namespace

extern "C" {

pid_t __real_fork();
pid_t __wrap_fork()
{
    if (g_fork_fails) {
        errno = EAGAIN;
        return -1;
    }
    return __real_fork();
}

pid_t __real_waitpid(pid_t pid, int *status, int options);
pid_t __wrap_waitpid(pid_t pid, int *status, int options)
{
    if (g_waitpid_interruptions > 0) {
        g_waitpid_interruptions--;
        errno = EINTR;
        return -1;
    }
    if (g_waitpid_fails) {
        (void)__real_waitpid(pid, status, options);
        errno = ECHILD;
        return -1;
    }
    return __real_waitpid(pid, status, options);
}
}

namespace {

TEST(Shell, RunsACommandAndGivesItsStatus)
{
    const temp_folder folder;
    const int status = pub_util_run_shell(("echo done > " + folder.path("out") + "; exit 7").c_str());
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 7);
    EXPECT_EQ(read_whole_file(folder.path("out")), "done\n");
}

TEST(Shell, GivesTheSignalThatEndedTheCommand)
{
    const int status = pub_util_run_shell("kill -9 $$");
    EXPECT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(WTERMSIG(status), SIGKILL);
}

TEST(Shell, StartsProgramsWithNothingBlockedAndSigpipeAsUsual)
{
    in_child([] {
        const temp_folder folder;
        pub_util_block_ending_signals();
        (void)signal(SIGPIPE, SIG_IGN);
        const std::string out = folder.path("out");
        EXPECT_EQ(pub_util_run_shell(("exec grep -E 'Sig(Blk|Ign)' /proc/self/status > " + out).c_str()), 0);
        EXPECT_EQ(read_whole_file(out), "SigBlk:\t0000000000000000\nSigIgn:\t0000000000000000\n");
    });
}

TEST(Shell, GivesProgramsTheStandardDescriptorsOnly)
{
    const int fd = open("/dev/null", O_RDONLY | O_CLOEXEC); // as every descriptor of the service
    ASSERT_GT(fd, 2);
    EXPECT_EQ(pub_util_run_shell("test -e /proc/$$/fd/0 && test -e /proc/$$/fd/1 && test -e /proc/$$/fd/2"), 0);
    EXPECT_EQ(pub_util_run_shell(("test ! -e /proc/$$/fd/" + std::to_string(fd)).c_str()), 0);
    (void)close(fd);
}

TEST(Shell, LetsNoProgramAskForInput)
{
    EXPECT_EQ(pub_util_run_shell("read answer"), 1 << 8) << "the end of the input, at once";
}

TEST(Shell, NeverRunsTheServicesHandlersInItsPrograms)
{
    const int status = wait_status_of_child([] {
        pub_util_block_ending_signals();
        (void)signal(SIGTERM, [](int) { _exit(42); });
        // Between fork and exec, where a signal to the whole process group would find the child.
        (void)pthread_atfork(nullptr, nullptr, [] { (void)raise(SIGTERM); });
        const int command = pub_util_run_shell("exit 42");
        EXPECT_TRUE(WIFSIGNALED(command)) << "ended by the signal itself, as any program";
    });
    EXPECT_EQ(status, 0);
}

TEST(Shell, CanBeEndedWhileAProgramRuns)
{
    const int status = wait_status_of_child([] {
        pub_util_block_ending_signals();
        (void)signal(SIGTERM, [](int) { _exit(42); });
        pub_util_admit_ending_signals(ending_signals::main_thread);
        (void)pub_util_run_shell("kill -TERM $PPID; while test -d /proc/$PPID/task/$PPID/net; do :; done");
    });
    EXPECT_EQ(WEXITSTATUS(status), 42);
}

TEST(Shell, GoesOnWaitingWhenInterrupted)
{
    g_waitpid_interruptions = 3;
    EXPECT_EQ(WEXITSTATUS(pub_util_run_shell("exit 3")), 3);
    EXPECT_EQ(g_waitpid_interruptions, 0);
}

TEST(Shell, TellsWhenThereIsNoProcessOrNoStatus)
{
    g_fork_fails = true;
    errno = 0;
    EXPECT_EQ(pub_util_run_shell("true"), -1);
    EXPECT_EQ(errno, EAGAIN);
    g_fork_fails = false;
    g_waitpid_fails = true;
    EXPECT_EQ(pub_util_run_shell("true"), -1);
    EXPECT_EQ(errno, ECHILD);
    g_waitpid_fails = false;
}

TEST(Shell, TakesAQuotedTextAsOneWord)
{
    const temp_folder folder;
    for (const std::string text : {"plain", "two words", "it's", "$HOME `id` \"x\" \\ * ; & | \n end", "''", "-n"}) {
        char quoted[256];
        ASSERT_TRUE(pub_util_quote_for_shell(text.c_str(), quoted, sizeof(quoted)));
        const std::string out = folder.path("out");
        EXPECT_EQ(pub_util_run_shell(("printf %s " + std::string(quoted) + " > " + out).c_str()), 0);
        EXPECT_EQ(read_whole_file(out), text);
    }
}

TEST(Shell, QuotesOnlyWhatFits)
{
    char quoted[16];
    EXPECT_TRUE(pub_util_quote_for_shell("", quoted, 3));
    EXPECT_STREQ(quoted, "''");
    EXPECT_TRUE(pub_util_quote_for_shell("a'b", quoted, 9));
    EXPECT_STREQ(quoted, "'a'\\''b'");
    for (size_t size = 1; size < 9; size++) {
        quoted[0] = '#';
        EXPECT_FALSE(pub_util_quote_for_shell("a'b", quoted, size)) << size;
        EXPECT_STREQ(quoted, "") << size;
    }
    EXPECT_FALSE(pub_util_quote_for_shell("a", quoted, 0));
}

} // namespace
