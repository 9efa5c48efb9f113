#include <errno.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <string>
#include <utility>
#include <vector>

#include "amt/core/context.h"
#include "amt/identity/identity-files.h"
#include "pub/log/errors.h"
#include "tests/support/in_child.h"
#include "tests/support/temp_folder.h"
#include "tests/support/test_log.h"
#include "tests/unit/amt/core_fakes.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// A file to be written to, and its descriptor, which the function under test closes.
class written_file {
  public:
    written_file()
        : m_fd(open(m_folder.path("file").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600))
    {
    }
    written_file(const written_file &) = delete;
    written_file &operator=(const written_file &) = delete;

    [[nodiscard]] int fd() const { return m_fd; }
    [[nodiscard]] std::string content() const { return read_whole_file(m_folder.path("file")); }

  private:
    temp_folder m_folder;
    int m_fd;
};

bool is_open(int fd)
{
    return fcntl(fd, F_GETFD) >= 0;
}

using write_function = bool (*)(int fd, const char *text);
constexpr write_function k_write_functions_a[] = {amt_write_and_close, amt_write_line_and_close};

// The next write to the file fails with the errno, or takes so many bytes.
void fail_write(int fd, int error, size_t taken = 0)
{
    handle_context_st.m_fd_pc = fd; // whose writes can fail
    g_fake.write_fails_at = 1;
    g_fake.write_error = error;
    g_fake.write_count = taken;
}

// The closing of the file fails with EBADF.
void fail_close(int fd)
{
    g_fake.on_close = [fd](int closing) {
        if (closing == fd) {
            (void)syscall(SYS_close, fd);
        }
    };
}

TEST(WriteText, WritesAllOfItAndNothingElse)
{
    const std::pair<const char *, std::string> rows[] = {
        {"usual", "490154203237518"},
        {"nothing is all of it", ""},
        {"with line ends", "1\n2\n"},
        {"with a format", "%s%n"},
        {"5000 characters", std::string(5000, 'x')},
    };
    for (const auto &[name, text] : rows) {
        in_child([name = name, &text = text] {
            const written_file file;
            EXPECT_TRUE(amt_write_and_close(file.fd(), text.c_str())) << name;
            EXPECT_EQ(file.content(), text) << name;
            EXPECT_FALSE(is_open(file.fd())) << name;
        });
    }
}

TEST(WriteLine, AddsALineFeedToUpTo98Characters)
{
    const std::pair<const char *, std::string> rows[] = {
        {"usual", "00:11:22:33:44:55"},
        {"empty", ""},
        {"with a format", "%s%n"},
        {"98 characters", std::string(98, 'x')},
    };
    for (const auto &[name, line] : rows) {
        in_child([name = name, &line = line] {
            const written_file file;
            EXPECT_TRUE(amt_write_line_and_close(file.fd(), line.c_str())) << name;
            EXPECT_EQ(file.content(), line + "\n") << name;
            EXPECT_FALSE(is_open(file.fd())) << name;
        });
    }
}

TEST(WriteTextAndLine, SayByErrnoWhyTheyFail)
{
    for (const write_function function : k_write_functions_a) {
        in_child([function] {
            const written_file file;
            fail_write(file.fd(), ENOSPC);
            errno = EIO; // of an earlier call
            EXPECT_FALSE(function(file.fd(), "0123456789"));
            EXPECT_EQ(errno, ENOSPC);
            EXPECT_FALSE(is_open(file.fd())) << "it is closed all the same";
        });
    }
}

TEST(WriteTextAndLine, FailWithoutAnErrnoWhenTheFileTakesOnlyAPart)
{
    for (const write_function function : k_write_functions_a) {
        for (const size_t taken : {0, 1, 9}) {
            in_child([function, taken] {
                const written_file file;
                fail_write(file.fd(), 0, taken);
                errno = EIO; // of an earlier call
                EXPECT_FALSE(function(file.fd(), "0123456789")) << taken;
                EXPECT_EQ(errno, 0) << taken;
                EXPECT_EQ(file.content(), std::string("0123456789").substr(0, taken)) << "one write, not repeated";
                EXPECT_FALSE(is_open(file.fd()));
            });
        }
    }
}

TEST(WriteLine, FailsWhenTheLineFeedAloneIsMissing)
{
    in_child([] {
        const written_file file;
        fail_write(file.fd(), 0, 10);
        EXPECT_FALSE(amt_write_line_and_close(file.fd(), "0123456789"));
        EXPECT_EQ(file.content(), "0123456789");
    });
}

TEST(WriteTextAndLine, FailWhenTheFileCannotBeClosed)
{
    for (const write_function function : k_write_functions_a) {
        in_child([function] {
            const written_file file;
            fail_close(file.fd());
            errno = EIO; // of an earlier call
            EXPECT_FALSE(function(file.fd(), "0123456789"));
            EXPECT_EQ(errno, EBADF);
            EXPECT_EQ(file.content().substr(0, 10), "0123456789");
        });
    }
}

TEST(WriteTextAndLine, SayWhyTheyCouldNotWriteThoughTheyCannotCloseEither)
{
    for (const write_function function : k_write_functions_a) {
        in_child([function] {
            const written_file file;
            fail_write(file.fd(), ENOSPC);
            fail_close(file.fd());
            EXPECT_FALSE(function(file.fd(), "0123456789"));
            EXPECT_EQ(errno, ENOSPC);
        });
        in_child([function] {
            const written_file file;
            fail_write(file.fd(), 0, 3);
            fail_close(file.fd());
            EXPECT_FALSE(function(file.fd(), "0123456789"));
            EXPECT_EQ(errno, 0) << "only a part was taken";
        });
    }
}

TEST(OpenAnew, MakesAFileForEverybody)
{
    in_child([] {
        const temp_folder folder;
        (void)umask(0);
        const int fd = amt_open_anew(folder.path("file").c_str());
        struct stat info = {};
        ASSERT_EQ(fstat(fd, &info), 0);
        EXPECT_EQ(info.st_mode & 07777, 0666U);
        EXPECT_EQ(fcntl(fd, F_GETFL) & (O_ACCMODE | O_NONBLOCK | O_APPEND), O_RDWR);
        EXPECT_EQ(fcntl(fd, F_GETFD), FD_CLOEXEC) << "no command of the shell is to have it";
        EXPECT_EQ(close(fd), 0);
    });
}

TEST(OpenAnew, EmptiesTheFileThatIsThere)
{
    in_child([] {
        const temp_folder folder;
        const std::string path = folder.with_file("file", "old");
        struct stat before = {};
        ASSERT_EQ(stat(path.c_str(), &before), 0);
        const int fd = amt_open_anew(path.c_str());
        struct stat info = {};
        ASSERT_EQ(fstat(fd, &info), 0);
        EXPECT_EQ(info.st_size, 0);
        EXPECT_EQ(info.st_ino, before.st_ino);
        EXPECT_EQ(info.st_mode, before.st_mode);
        EXPECT_EQ(close(fd), 0);
    });
}

TEST(OpenAnew, SaysByErrnoWhyItFails)
{
    in_child([] {
        const temp_folder folder;
        EXPECT_EQ(amt_open_anew(folder.path("missing/file").c_str()), -1);
        EXPECT_EQ(errno, ENOENT);
        EXPECT_EQ(amt_open_anew(folder.path().c_str()), -1);
        EXPECT_EQ(errno, EISDIR);
        const std::string pipe = folder.path("pipe");
        ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
        EXPECT_EQ(amt_open_anew(pipe.c_str()), -1);
        EXPECT_EQ(errno, EINVAL) << "nobody reads it";
    });
}

// --- amt_write_and_tell

// An operation that writes a file.
int32_t amt_test_writing(const std::string &path, const char *text)
{
    return amt_write_and_tell(path.c_str(), text, "write number", LOG_HERE);
}

// The descriptor that the next opened file gets.
int next_descriptor()
{
    const int fd = dup(STDIN_FILENO);
    (void)close(fd);
    return fd;
}

TEST(WriteAndTell, IsDoneWhenTheDiskHasIt)
{
    in_child([] {
        const temp_folder folder;
        const std::string path = folder.with_file("file", "an older and longer one\n");
        const test_log log;
        std::vector<std::string> at_pauses;
        const int fd = next_descriptor();
        g_fake.on_pause = [&] {
            EXPECT_FALSE(is_open(fd)) << "closed before the disk is told";
            at_pauses.push_back(std::to_string(g_fake.commands.size()) + ": " + read_whole_file(path));
        };
        EXPECT_EQ(amt_test_writing(path, "12345"), ERR_NONE);
        EXPECT_THAT(at_pauses, ElementsAre("0: 12345", "1: 12345"));
        EXPECT_THAT(g_fake.pauses, ElementsAre(50U, 50U));
        EXPECT_THAT(g_fake.commands, ElementsAre("/system/bin/sync", "/system/bin/sync"));
        EXPECT_THAT(log.records(), ElementsAre("info | write number: 12345"));
        EXPECT_THAT(log.functions(), ElementsAre("amt_test_writing"));
    });
}

TEST(WriteAndTell, OfAFileThatCannotBeOpenedHasNothingForTheDisk)
{
    in_child([] {
        const temp_folder folder;
        const std::string path = folder.path("missing/file");
        const test_log log;
        EXPECT_EQ(amt_test_writing(path, "12345"), ERR_C_FUNCTION);
        EXPECT_THAT(g_fake.pauses, IsEmpty());
        EXPECT_THAT(g_fake.commands, IsEmpty());
        EXPECT_THAT(log.records(),
                    ElementsAre(k_failed_call + "open(\"" + path + "\") fail: 2 - No such file or directory"));
        EXPECT_THAT(log.functions(), ElementsAre("amt_test_writing"));
    });
}

struct failure_row {
    const char *name;
    int error; // of the write
    size_t taken;
    bool is_close_failing;
    const char *told;
};

TEST(WriteAndTell, TellsWhyItFailedAndStillTellsTheDisk)
{
    const failure_row rows[] = {
        {"a full disk", ENOSPC, 0, false, "28 - No space left on device"},
        {"a part", 0, 3, false, "0 - No error"},
        {"all but a byte", 0, 4, false, "0 - No error"},
        {"a full disk, and no close", ENOSPC, 0, true, "28 - No space left on device"},
        {"a part, and no close", 0, 3, true, "0 - No error"},
        {"no close", 0, 5, true, "9 - Bad file descriptor"},
    };
    for (const failure_row &row : rows) {
        in_child([&row] {
            SCOPED_TRACE(row.name);
            const temp_folder folder;
            const std::string path = folder.with_file("file", "old");
            const test_log log;
            const int fd = next_descriptor();
            fail_write(fd, row.error, row.taken);
            if (row.is_close_failing) {
                fail_close(fd);
            }
            EXPECT_EQ(amt_test_writing(path, "12345"), ERR_C_FUNCTION);
            EXPECT_THAT(g_fake.pauses, ElementsAre(50U, 50U)) << "the file has lost what it held";
            EXPECT_THAT(g_fake.commands, ElementsAre("/system/bin/sync", "/system/bin/sync"));
            EXPECT_THAT(log.records(), ElementsAre(k_failed_call + "fputs fail: " + row.told));
            EXPECT_THAT(log.functions(), ElementsAre("amt_test_writing"));
            EXPECT_EQ(read_whole_file(path), std::string("12345").substr(0, row.taken));
        });
    }
}

} // namespace
