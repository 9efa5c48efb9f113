#include <errno.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <limits.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "pub/log/errors.h"
#include "pub/util/util.h"
#include "tests/support/in_child.h"
#include "tests/support/temp_folder.h"
#include "tests/support/test_log.h"
#include "tests/unit/pub/util_fakes.h"

extern "C" {

FILE *__real__Z12pub_cfg_openPKc(const char *path);
FILE *__wrap__Z12pub_cfg_openPKc(const char *path)
{
    const auto stand_in = g_fake.files.find(path);
    return __real__Z12pub_cfg_openPKc(stand_in == g_fake.files.end() ? path : stand_in->second.c_str());
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

const std::string k_failed_call = "error | -118 - Call C function unsuccessfully | ";
const std::string k_check = "info | pub_util_get_pid_and_check_run ";

std::string own_command_line_path()
{
    return "/proc/" + std::to_string(getpid()) + "/cmdline";
}

struct check_result {
    int32_t is_run;
    int32_t pid;
};

// What the check says when the pid file holds `pid_text` and the process's command line is `command_line`.
check_result check(const std::string &pid_text, const std::string &command_line)
{
    const temp_folder folder;
    const std::string pid_file = folder.with_file("pid", pid_text);
    g_fake.files["/proc/4711/cmdline"] = folder.with_file("cmdline", command_line);
    check_result result = {7, 7};
    EXPECT_EQ(pub_util_get_pid_and_check_run(pid_file.c_str(), "kv-zep-amt", &result.is_run, &result.pid), ERR_NONE);
    g_fake = {};
    return result;
}

struct check_row {
    const char *what;
    std::string pid_text;
    std::string command_line;
    bool is_run;
};

TEST(AlreadyRunning, WhenTheProcessOfThePidFileHasTheName)
{
    const check_row k_rows_a[] = {
        {"running", "4711\n", std::string("/system/bin/kv-zep-amt\0-u\0", 26), true},
        {"no line feed", "4711", std::string("kv-zep-amt\0", 11), true},
        {"blanks in front", "  4711 rest", std::string("./kv-zep-amt\0", 13), true},
        {"a longer name", "4711", std::string("/data/kv-zep-amt-2\0", 19), true},
        {"another process", "4711", std::string("/system/bin/logd\0", 17), false},
        {"the name as an argument only", "4711", std::string("grep\0kv-zep-amt\0", 16), false},
        {"the name behind a blank", "4711", "grep kv-zep-amt", false},
        {"the name behind 255 characters", "4711", std::string(255, 'x') + "kv-zep-amt", false},
        {"the name at their end", "4711", std::string(245, 'x') + "kv-zep-amt", true},
        {"an empty command line", "4711", "", false},
        {"an empty first word", "4711", std::string("\0kv-zep-amt\0", 12), false},
        {"no number", "kv", std::string("kv-zep-amt\0", 11), false},
        {"an empty pid file", "", std::string("kv-zep-amt\0", 11), false},
        {"no such process", "0", std::string("kv-zep-amt\0", 11), false},
        {"a negative number", "-4711", std::string("kv-zep-amt\0", 11), false},
        {"a number out of range", "99999999999999999999999", std::string("kv-zep-amt\0", 11), false},
    };
    for (const check_row &row : k_rows_a) {
        const check_result result = check(row.pid_text, row.command_line);
        EXPECT_EQ(result.is_run, row.is_run ? 1 : 0) << row.what;
        EXPECT_EQ(result.pid, row.is_run ? 4711 : 0) << row.what;
    }
}

TEST(AlreadyRunning, NotWhenTheProcessHasEnded)
{
    const pid_t child = fork();
    if (child == 0) {
        _exit(0);
    }
    EXPECT_EQ(waitpid(child, nullptr, 0), child);
    const check_result result = check(std::to_string(child), "");
    EXPECT_EQ(result.is_run, 0);
    EXPECT_EQ(result.pid, 0);
}

TEST(AlreadyRunning, LogsWhatItReads)
{
    in_child([] {
        const test_log log;
        const temp_folder folder;
        const std::string pid_file = folder.with_file("pid", "4711");
        g_fake.files["/proc/4711/cmdline"] = folder.with_file("cmdline", std::string("kv-zep-amt\0", 11));
        int32_t is_run = 0;
        int32_t pid = 0;
        EXPECT_EQ(pub_util_get_pid_and_check_run(pid_file.c_str(), "kv-zep-amt", &is_run, &pid), ERR_NONE);
        EXPECT_THAT(log.records(),
                    ElementsAre("func | ", k_check + "pid_file_ptr[" + pid_file + "] name_ptr[kv-zep-amt]",
                                k_check + "pid[4711]", k_check + "fscanf buf_a[kv-zep-amt] ret_val[1]",
                                k_check + "return is_run_ptr[1] pid_ptr[4711]"));
    });
}

TEST(AlreadyRunning, LogsWhatItCannotRead)
{
    in_child([] {
        const test_log log;
        const temp_folder folder;
        const std::string missing = folder.path("missing");
        const std::string garbage = folder.with_file("garbage", "x");
        const std::string stale = folder.with_file("stale", "4711");
        g_fake.files["/proc/4711/cmdline"] = missing;
        int32_t is_run = 0;
        int32_t pid = 0;
        for (const std::string &file : {missing, garbage, stale}) {
            EXPECT_EQ(pub_util_get_pid_and_check_run(file.c_str(), "n", &is_run, &pid), ERR_NONE);
        }
        const std::string result = k_check + "return is_run_ptr[0] pid_ptr[0]";
        EXPECT_THAT(log.records(),
                    ElementsAre("func | ", k_check + "pid_file_ptr[" + missing + "] name_ptr[n]",
                                k_failed_call + "Open file \"" + missing + "\" fail: 2 - No such file or directory",
                                result, "func | ", k_check + "pid_file_ptr[" + garbage + "] name_ptr[n]",
                                k_failed_call + "fscanf() return: 0; 0 - No error", result, "func | ",
                                k_check + "pid_file_ptr[" + stale + "] name_ptr[n]", k_check + "pid[4711]",
                                k_failed_call + "Open file \"/proc/4711/cmdline\" fail: 2 - No such file or directory",
                                result));
    });
}

TEST(AlreadyRunning, RefusesBadArgumentsAndTellsWhich)
{
    in_child([] {
        const test_log log;
        int32_t out = 7;
        EXPECT_EQ(pub_util_get_pid_and_check_run(nullptr, "n", &out, &out), ERR_INVALID_PARAM);
        EXPECT_EQ(pub_util_get_pid_and_check_run("", "n", &out, &out), ERR_INVALID_PARAM);
        EXPECT_EQ(pub_util_get_pid_and_check_run("f", nullptr, &out, &out), ERR_INVALID_PARAM);
        EXPECT_EQ(pub_util_get_pid_and_check_run("f", "", &out, &out), ERR_INVALID_PARAM);
        EXPECT_EQ(pub_util_get_pid_and_check_run("f", "n", nullptr, &out), ERR_INVALID_PARAM);
        EXPECT_EQ(pub_util_get_pid_and_check_run("f", "n", &out, nullptr), ERR_INVALID_PARAM);
        EXPECT_EQ(out, 7);
        EXPECT_THAT(log.records(),
                    ElementsAre("func | ", k_bad_argument + "1, 0, 0, 0, 0, 0", "func | ",
                                k_bad_argument + "0, 1, 0, 0, 0, 0", "func | ", k_bad_argument + "0, 0, 1, 0, 0, 0",
                                "func | ", k_bad_argument + "0, 0, 0, 1, 0, 0", "func | ",
                                k_bad_argument + "0, 0, 0, 0, 1, 0", "func | ", k_bad_argument + "0, 0, 0, 0, 0, 1"));
    });
}

TEST(CommandLine, IsTheFirstWordOfTheProcess)
{
    char buffer[4096];
    EXPECT_EQ(pub_util_get_cmd_line(getpid(), buffer, sizeof(buffer)), ERR_NONE);
    EXPECT_THAT(buffer, HasSubstr("pub-util-test"));
    EXPECT_STREQ(strrchr(buffer, '/'), "/pub-util-test");
}

TEST(CommandLine, IsCutToTheBufferAndTerminated)
{
    const temp_folder folder;
    g_fake.files["/proc/4711/cmdline"] = folder.with_file("cmdline", std::string(300, 'x'));
    char buffer[400];
    memset(buffer, '#', sizeof(buffer));
    EXPECT_EQ(pub_util_get_cmd_line(4711, buffer, 5), ERR_NONE);
    EXPECT_STREQ(buffer, "xxxx");
    EXPECT_EQ(buffer[5], '#');
    EXPECT_EQ(pub_util_get_cmd_line(4711, buffer, 1), ERR_NONE);
    EXPECT_STREQ(buffer, "");
    EXPECT_EQ(pub_util_get_cmd_line(4711, buffer, sizeof(buffer)), ERR_NONE);
    EXPECT_STREQ(buffer, std::string(255, 'x').c_str());
    EXPECT_EQ(std::string(buffer + 255, sizeof(buffer) - 255), std::string(sizeof(buffer) - 255, '\0'));
    g_fake = {};
}

TEST(CommandLine, EndsAtWhiteSpaceOrANul)
{
    const temp_folder folder;
    char buffer[64];
    for (const std::string &content : {std::string("/a/b c"), std::string("/a/b\0c", 6), std::string("/a/b\nc")}) {
        g_fake.files["/proc/4711/cmdline"] = folder.with_file("cmdline", content);
        EXPECT_EQ(pub_util_get_cmd_line(4711, buffer, sizeof(buffer)), ERR_NONE);
        EXPECT_STREQ(buffer, "/a/b");
    }
    g_fake = {};
}

TEST(CommandLine, TellsWhyItCannotBeRead)
{
    in_child([] {
        const test_log log;
        const temp_folder folder;
        char buffer[16] = "old";
        g_fake.files["/proc/4711/cmdline"] = folder.path("missing");
        EXPECT_EQ(pub_util_get_cmd_line(4711, buffer, sizeof(buffer)), ERR_C_FUNCTION);
        EXPECT_STREQ(buffer, "");
        g_fake.files["/proc/4711/cmdline"] = folder.path(); // a folder opens, and cannot be read
        EXPECT_EQ(pub_util_get_cmd_line(4711, buffer, sizeof(buffer)), ERR_C_FUNCTION);
        EXPECT_EQ(pub_util_get_cmd_line(4711, nullptr, 16), ERR_INVALID_PARAM);
        EXPECT_EQ(pub_util_get_cmd_line(4711, buffer, 0), ERR_INVALID_PARAM);
        EXPECT_THAT(log.records(),
                    ElementsAre("func | ",
                                k_failed_call + "Open file \"/proc/4711/cmdline\" fail: 2 - No such file or directory",
                                "func | ", "sys error | fscanf: 21 - Is a directory", "func | ",
                                k_bad_argument + "1, 0", "func | ", k_bad_argument + "0, 1"));
    });
}

struct path_row {
    const char *command_line;
    const char *path;
};

TEST(ProcessPath, IsTheWordUpToItsLastSlash)
{
    const temp_folder folder;
    constexpr path_row k_rows_a[] = {
        {"/system/bin/kv-zep-amt", "/system/bin"},
        {"./kv-zep-amt", "."},
        {"kv-zep-amt", "kv-zep-amt"},
        {"/kv-zep-amt", ""},
        {"a/b/", "a/b"},
    };
    for (const path_row &row : k_rows_a) {
        g_fake.files[own_command_line_path()] = folder.with_file("cmdline", row.command_line);
        char buffer[256];
        EXPECT_EQ(pub_util_get_process_path(buffer, sizeof(buffer)), ERR_NONE);
        EXPECT_STREQ(buffer, row.path) << row.command_line;
    }
    g_fake = {};
}

TEST(ProcessPath, FailsAsTheCommandLineDoes)
{
    const temp_folder folder;
    char buffer[256];
    EXPECT_EQ(pub_util_get_process_path(nullptr, 16), ERR_INVALID_PARAM);
    EXPECT_EQ(pub_util_get_process_path(buffer, 0), ERR_INVALID_PARAM);
    g_fake.files[own_command_line_path()] = folder.path("missing");
    EXPECT_EQ(pub_util_get_process_path(buffer, sizeof(buffer)), ERR_C_FUNCTION);
    g_fake = {};
}

TEST(PidFile, IsWrittenByTheShellBelowTmp)
{
    in_child([] {
        const test_log log;
        pub_util_create_pid_file("kv-zep-amt-never-there");
        const std::string pid = std::to_string(getpid());
        EXPECT_THAT(g_fake.commands, ElementsAre("echo " + pid + " > /tmp/kv-zep-amt-never-there.pid"));
        EXPECT_THAT(log.records(), ElementsAre("func | ", "info | PID of kv-zep-amt-never-there: " + pid));
    });
}

TEST(PidFile, CutsItsCommandAt59Characters)
{
    in_child([] {
        pub_util_create_pid_file(std::string(100, 'n').c_str());
        ASSERT_EQ(g_fake.commands.size(), 1U);
        EXPECT_EQ(g_fake.commands[0].size(), 59U);
    });
}

TEST(PidFile, NeedsAName)
{
    in_child([] {
        const test_log log;
        pub_util_create_pid_file(nullptr);
        EXPECT_TRUE(g_fake.commands.empty());
        EXPECT_THAT(log.records(), ElementsAre("func | ", k_bad_argument + "1"));
    });
}

TEST(PidFile, NeverWaitsAtAPipe)
{
    in_child([] {
        const test_log log;
        const std::string name = "kv-zep-amt-test-" + std::to_string(getpid());
        const std::string pipe = "/tmp/" + name + ".pid";
        ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
        pub_util_create_pid_file(name.c_str());
        (void)unlink(pipe.c_str());
        EXPECT_TRUE(g_fake.commands.empty());
        EXPECT_THAT(log.records(),
                    ElementsAre("func | ",
                                "warning | \"" + pipe + "\" is a pipe: it would hold the start until somebody reads it",
                                "info | PID of " + name + ": " + std::to_string(getpid())));
    });
}

} // namespace
