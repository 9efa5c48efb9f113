#include "pub/log/log_directory.h"

#include <errno.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <stdarg.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/stat.h>

#include "pub/log/errors.h"
#include "pub/log/log_client.h"
#include "tests/support/in_child.h"
#include "tests/support/temp_folder.h"
#include "tests/support/test_log.h"
#include "tests/unit/pub/log_fakes.h"

log_fakes g_fake;

extern "C" {

void *__real_calloc(size_t count, size_t size);
void *__wrap_calloc(size_t count, size_t size)
{
    if (g_fake.calloc_fails) {
        errno = ENOMEM;
        return nullptr;
    }
    return __real_calloc(count, size);
}

int __real_pthread_mutex_init(pthread_mutex_t *mutex, const pthread_mutexattr_t *attributes);
int __wrap_pthread_mutex_init(pthread_mutex_t *mutex, const pthread_mutexattr_t *attributes)
{
    return g_fake.mutex_init_result != 0 ? g_fake.mutex_init_result : __real_pthread_mutex_init(mutex, attributes);
}

int __real_open(const char *path, int flags, mode_t mode);
int __wrap_open(const char *path, int flags, mode_t mode)
{
    if (!g_fake.open_fails_for.empty() && strstr(path, g_fake.open_fails_for.c_str()) != nullptr) {
        errno = EACCES;
        return -1;
    }
    if (strstr(path, "/cmdline") == nullptr) {
        return __real_open(path, flags, mode);
    }
    if (!g_fake.command_line_file.empty()) {
        return __real_open(g_fake.command_line_file.c_str(), flags, mode);
    }
    // However deep the tests were built: the log takes the first 99 characters only.
    constexpr char k_words[] = "/bin/pub-log-test";
    const int fd = memfd_create("cmdline", MFD_CLOEXEC);
    EXPECT_EQ(write(fd, k_words, sizeof(k_words)), static_cast<ssize_t>(sizeof(k_words)));
    EXPECT_EQ(lseek(fd, 0, SEEK_SET), 0);
    return fd;
}

int __wrap__Z18pub_util_run_shellPKc(const char *command)
{
    g_fake.commands.emplace_back(command);
    return 0;
}
}

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;

// This test program's name, as the log will find it.
std::string own_name()
{
    char name[50] = "";
    EXPECT_EQ(get_process_name(name, sizeof(name)), ERR_NONE);
    return name;
}

TEST(ProcessName, IsTheLastComponentOfTheFirstWord)
{
    EXPECT_EQ(own_name(), "pub-log-test");
}

TEST(ProcessName, IsCutToItsBuffer)
{
    char name[5] = {'#', '#', '#', '#', '#'};
    EXPECT_EQ(get_process_name(name, sizeof(name)), ERR_NONE);
    EXPECT_STREQ(name, "pub-");
    char one = '#';
    EXPECT_EQ(get_process_name(&one, 1), ERR_NONE);
    EXPECT_EQ(one, '\0');
}

struct command_line_row {
    const char *what;
    std::string words;
    std::string name;
};

TEST(ProcessName, IsReadFromTheFirstWordOnly)
{
    const temp_folder folder;
    const command_line_row k_rows_a[] = {
        {"a path", std::string("/system/bin/kv-zep-amt\0-u\0", 26), "kv-zep-amt"},
        {"a relative path", std::string("./kv-zep-amt\0", 13), "kv-zep-amt"},
        {"a bare name", std::string("kv-zep-amt\0/etc/x\0", 18), "kv-zep-amt"},
        {"a word with a blank", std::string("/a/b c\0", 7), "b c"},
        {"a line feed", "/a/name\nmore", "name"},
        {"100 characters", std::string(100, 'n'), std::string(49, 'n')},
        {"a slash as the 99th character", std::string(98, 'n') + "/tail", ""},
        {"a slash as the 98th character", std::string(97, 'n') + "/tail", "t"},
        {"an empty word", std::string("\0-u\0", 4), ""},
        {"no words", "", ""},
    };
    for (const command_line_row &row : k_rows_a) {
        g_fake.command_line_file = folder.with_file("cmdline", row.words);
        char name[50] = "";
        (void)get_process_name(name, sizeof(name));
        EXPECT_EQ(name, row.name) << row.what;
    }
    g_fake = {};
}

TEST(ProcessName, IsRefusedWhenTheWordEndsInASlash)
{
    in_child([] {
        const test_log log;
        const temp_folder folder;
        const std::string internal_log = log.folder() + "/log_internal.log";
        g_fake.command_line_file = folder.with_file("cmdline", std::string("/system/bin/\0x", 14));
        char name[50] = "old";
        EXPECT_EQ(get_process_name(name, sizeof(name)), ERR_UNKNOWN);
        EXPECT_STREQ(name, "old");
        g_fake = {};
        EXPECT_THAT(read_whole_file(internal_log),
                    MatchesRegex("log/log_client -> get_process_name -> [0-9]+ -> can not get valid name "
                                 "from \"/system/bin/\".\n"));
    });
}

TEST(ProcessName, NeedsABuffer)
{
    in_child([] {
        const test_log log;
        char name[5] = "old";
        EXPECT_EQ(get_process_name(nullptr, 5), ERR_INVALID_PARAM);
        EXPECT_EQ(get_process_name(name, 0), ERR_INVALID_PARAM);
        EXPECT_STREQ(name, "old");
        EXPECT_THAT(read_whole_file(log.folder() + "/log_internal.log"),
                    MatchesRegex("(log/log_client -> get_process_name -> [0-9]+ -> -101 - Invalid parameter.\n){2}"));
    });
}

TEST(ProcessName, TellsWhenTheCommandLineCannotBeRead)
{
    in_child([] {
        const test_log log;
        const std::string folder = log.folder();
        g_fake.open_fails_for = "/cmdline";
        char name[50] = "old";
        EXPECT_EQ(get_process_name(name, sizeof(name)), ERR_UNKNOWN);
        g_fake = {};
        EXPECT_THAT(read_whole_file(folder + "/log_internal.log"),
                    MatchesRegex("log/log_client -> get_process_name -> [0-9]+ -> open \"/proc/[0-9]+/"
                                 "cmdline\" fail: 13 - Permission denied.\n"));
    });
}

TEST(LogDirectory, TakesOneTo253Characters)
{
    EXPECT_EQ(sfw_log_set_directory(nullptr), ERR_INVALID_PARAM);
    EXPECT_EQ(sfw_log_set_directory(""), ERR_INVALID_PARAM);
    in_child([] { EXPECT_EQ(sfw_log_set_directory("x"), ERR_NONE); });
    in_child([] { EXPECT_EQ(sfw_log_set_directory(std::string(253, 'x').c_str()), ERR_NONE); });
    EXPECT_EQ(sfw_log_set_directory(std::string(254, 'x').c_str()), ERR_INVALID_PARAM);
}

TEST(LogDirectory, IsNamedAfterTheProcessAndMadeWithAllItsParents)
{
    in_child([] {
        const temp_folder folder;
        EXPECT_EQ(sfw_log_set_directory(folder.path("a/b").c_str()), ERR_NONE);
        EXPECT_NE(sfw_log_start(SFW_LOG_DEFAULT_OBJECT, nullptr), nullptr);
        EXPECT_TRUE(std::filesystem::exists(folder.path("a/b/pub-log-test-log/pub-log-test.log")));
        EXPECT_TRUE(std::filesystem::exists(folder.path("a/b/pub-log-test-log/log_internal.log")));
    });
}

TEST(LogDirectory, TurnsTrailingSlashesIntoZeros)
{
    in_child([] {
        const temp_folder folder;
        EXPECT_EQ(sfw_log_set_directory((folder.path("a") + "//").c_str()), ERR_NONE);
        EXPECT_NE(sfw_log_start(SFW_LOG_DEFAULT_OBJECT, nullptr), nullptr);
        EXPECT_TRUE(std::filesystem::exists(folder.path("a00/pub-log-test-log/pub-log-test.log")));
    });
}

TEST(LogDirectory, LeavesAFileInItsWayAlone)
{
    in_child([] {
        const temp_folder folder;
        const std::string file = folder.with_file("file", "");
        EXPECT_EQ(sfw_log_set_directory((file + "/b").c_str()), ERR_NONE);
        EXPECT_NE(sfw_log_start(SFW_LOG_DEFAULT_OBJECT, nullptr), nullptr) << "the start-up goes on without a log";
        EXPECT_TRUE(std::filesystem::is_regular_file(file));
    });
}

TEST(LogFile, EndsInLogJustOnce)
{
    in_child([] {
        const test_log log;
        for (const char *name : {"plain", "with.log", "/some/where/deep", ".log", "x.logs"}) {
            sfw_log_stop(sfw_log_start(0, name));
        }
        for (const char *file : {"plain.log", "with.log", "deep.log", ".log", "x.logs.log"}) {
            EXPECT_TRUE(std::filesystem::exists(log.folder() + "/" + file)) << file;
        }
    });
}

TEST(LogFile, IsNamedAfterTheProcessWhenItHasNoNameOfItsOwn)
{
    in_child([] {
        const test_log log;
        for (const char *name : {static_cast<const char *>(nullptr), "", "ends/in/slash/"}) {
            std::filesystem::remove(log.folder() + "/pub-log-test.log");
            sfw_log_stop(sfw_log_start(0, name));
            EXPECT_TRUE(std::filesystem::exists(log.folder() + "/pub-log-test.log"));
        }
    });
}

TEST(LogFile, IsNamedAfterTheProcessIdWhenTheProcessHasNoName)
{
    in_child([] {
        const temp_folder folder;
        EXPECT_EQ(sfw_log_set_directory(folder.path().c_str()), ERR_NONE);
        g_fake.open_fails_for = "/cmdline";
        EXPECT_NE(sfw_log_start(SFW_LOG_DEFAULT_OBJECT, nullptr), nullptr);
        char name[32];
        (void)snprintf(name, sizeof(name), "%08X.log", static_cast<unsigned>(getpid()));
        EXPECT_TRUE(std::filesystem::exists(folder.path(name))) << "and the directory stays as it was set";
    });
}

TEST(LogFile, IsEmptiedWhenItIsOpened)
{
    in_child([] {
        const test_log log;
        const size_t header = log.text().size();
        sfw_log_stop(nullptr); // leaves a footer
        sfw_log_object *again = sfw_log_start(0, "test");
        ASSERT_NE(again, nullptr);
        EXPECT_EQ(log.text().size(), header);
        sfw_log_stop(again);
    });
}

TEST(LogFile, AndItsFoldersAreOpenToWhomeverTheUmaskLets)
{
    in_child([] {
        (void)umask(0);
        const test_log log;
        struct stat info = {};
        EXPECT_EQ(stat(log.folder().c_str(), &info), 0);
        EXPECT_EQ(info.st_mode & 07777U, 0777U);
        EXPECT_EQ(stat((log.folder() + "/test.log").c_str(), &info), 0);
        EXPECT_EQ(info.st_mode & 07777U, 0666U);
    });
}

TEST(LogFile, IsNotPassedOnToPrograms)
{
    in_child([] {
        const test_log log;
        for (const auto &entry : std::filesystem::directory_iterator("/proc/self/fd")) {
            std::error_code gone;
            const std::string target = std::filesystem::read_symlink(entry.path(), gone);
            if (target.find(log.folder()) == 0) {
                EXPECT_EQ(fcntl(std::stoi(entry.path().filename()), F_GETFD), FD_CLOEXEC) << target;
            }
        }
    });
}

TEST(LogFile, IsNotWaitedForWhenAPipeIsInItsPlace)
{
    in_child([] {
        const temp_folder folder;
        const std::string own = folder.path("pub-log-test-log");
        ASSERT_EQ(mkdir(own.c_str(), 0777), 0);
        ASSERT_EQ(mkfifo((own + "/test.log").c_str(), 0666), 0);
        EXPECT_EQ(sfw_log_set_directory(folder.path().c_str()), ERR_NONE);
        EXPECT_NE(sfw_log_start(SFW_LOG_DEFAULT_OBJECT, "test"), nullptr);
        EXPECT_THAT(read_whole_file(own + "/log_internal.log"), HasSubstr("call client_open_file() fail."));
    });
}

// --- rotation

std::string quoted(const std::string &path)
{
    return "'" + path + "'";
}

TEST(LogRotation, DeletesTheOldestGenerationAndMovesTheOthersUp)
{
    in_child([] {
        EXPECT_EQ(sfw_log_set_directory("/some/where"), ERR_NONE);
        sfw_log_rotate(3);
        const std::string log = quoted("/some/where/pub-log-test-log");
        EXPECT_THAT(g_fake.commands, ElementsAre("/system/bin/rm " + log + "-3/*", "/system/bin/rmdir " + log + "-3",
                                                 "/system/bin/mv " + log + "-2 " + log + "-3",
                                                 "/system/bin/mv " + log + "-1 " + log + "-2",
                                                 "/system/bin/mv " + log + " " + log + "-1"));
    });
}

TEST(LogRotation, WorksBelowTheDefaultDirectory)
{
    in_child([] {
        sfw_log_rotate(1);
        const std::string log = quoted("/data/local/log/pub-log-test-log");
        EXPECT_THAT(g_fake.commands, ElementsAre("/system/bin/rm " + log + "-1/*", "/system/bin/rmdir " + log + "-1",
                                                 "/system/bin/mv " + log + " " + log + "-1"));
    });
}

// After a command that failed; the next start takes it from there.
TEST(LogRotation, MovesNoGenerationIntoOneThatIsStillThere)
{
    in_child([] {
        const temp_folder folder;
        EXPECT_EQ(sfw_log_set_directory(folder.path().c_str()), ERR_NONE);
        const std::string own = folder.path("pub-log-test-log");
        const std::string log = quoted(own);
        ASSERT_EQ(mkdir((own + "-2").c_str(), 0700), 0);
        sfw_log_rotate(2);
        EXPECT_THAT(g_fake.commands, ElementsAre("/system/bin/rm " + log + "-2/*", "/system/bin/rmdir " + log + "-2",
                                                 "/system/bin/mv " + log + " " + log + "-1"));
        ASSERT_EQ(mkdir((own + "-1").c_str(), 0700), 0);
        g_fake.commands.clear();
        sfw_log_rotate(2);
        EXPECT_THAT(g_fake.commands, ElementsAre("/system/bin/rm " + log + "-2/*", "/system/bin/rmdir " + log + "-2"));
    });
}

TEST(LogRotation, OfNoGenerationDoesNothing)
{
    in_child([] {
        sfw_log_rotate(0);
        EXPECT_THAT(g_fake.commands, IsEmpty());
    });
}

TEST(LogRotation, QuotesTheLongestAndTheWorstPath)
{
    in_child([] {
        const std::string ending = "/pub-log-test-log";
        EXPECT_EQ(sfw_log_set_directory(std::string(254 - ending.size(), '\'').c_str()), ERR_NONE);
        sfw_log_rotate(2);
        std::string folder;
        for (size_t i = 0; i < 254 - ending.size(); i++) {
            folder += "'\\''";
        }
        ASSERT_EQ(g_fake.commands.size(), 4U);
        EXPECT_EQ(g_fake.commands.back(),
                  "/system/bin/mv " + quoted(folder + ending) + " " + quoted(folder + ending) + "-1");
    });
}

TEST(LogRotation, LeavesAFolderAloneThatIsNotTheLogsOwn)
{
    const size_t ending = std::string("/pub-log-test-log").size();
    in_child([ending] {
        EXPECT_EQ(sfw_log_set_directory(std::string(255 - ending, 'x').c_str()), ERR_NONE); // a character too many
        sfw_log_rotate(2);
        EXPECT_THAT(g_fake.commands, IsEmpty());
    });
    in_child([] {
        EXPECT_EQ(sfw_log_set_directory("/some/where"), ERR_NONE);
        sfw_log_stop(sfw_log_start(0, nullptr)); // from now on the folder is the log's own
        EXPECT_EQ(sfw_log_set_directory(std::string(253, 'x').c_str()), ERR_NONE);
        sfw_log_rotate(2);
        EXPECT_THAT(g_fake.commands, IsEmpty());
    });
    in_child([] {
        EXPECT_EQ(sfw_log_set_directory(std::string(253, 'x').c_str()), ERR_NONE); // no room for the process's name
        sfw_log_rotate(2);
        EXPECT_THAT(g_fake.commands, IsEmpty());
    });
    in_child([] {
        EXPECT_EQ(sfw_log_set_directory("/some/where"), ERR_NONE);
        g_fake.open_fails_for = "/cmdline"; // no process name
        sfw_log_rotate(2);
        EXPECT_THAT(g_fake.commands, IsEmpty());
    });
}

} // namespace
