#include "amt/run-mode.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "tests/support/temp_folder.h"

namespace {

std::string g_command_line_file; // stands in for the process's command line
std::string g_log_directory;     // what was chosen

} // namespace

extern "C" {

FILE *__real__Z12pub_cfg_openPKc(const char *path);
FILE *__wrap__Z12pub_cfg_openPKc(const char *path)
{
    const bool is_own = !g_command_line_file.empty() && std::string(path).find("/cmdline") != std::string::npos;
    return __real__Z12pub_cfg_openPKc(is_own ? g_command_line_file.c_str() : path);
}

int32_t __real__Z21sfw_log_set_directoryPKc(const char *path);
int32_t __wrap__Z21sfw_log_set_directoryPKc(const char *path)
{
    const bool is_test = std::string(path).find("kv-zep-amt-test-") != std::string::npos;
    if (is_test) {
        return __real__Z21sfw_log_set_directoryPKc(path); // the log of a test
    }
    g_log_directory = path;
    return 0;
}
}

namespace {

struct parsed {
    bool goes_on;
    int exit_status;
    std::string output;
};

parsed parse(std::vector<std::string> words)
{
    std::vector<char *> argv;
    for (std::string &word : words) {
        argv.push_back(word.data());
    }
    argv.push_back(nullptr);
    optind = 0; // getopt begins anew
    opterr = 0; // its own complaints are not what is tested
    parsed result = {false, 77, ""};
    testing::internal::CaptureStdout();
    result.goes_on = amt_parse_options(static_cast<int>(words.size()), argv.data(), &result.exit_status);
    result.output = testing::internal::GetCapturedStdout();
    return result;
}

const std::string k_usage = "\nUsage: kv-zep-amt [OPTION]\n"
                            "  -h                     Display this help and exit.\n"
                            "  -u                     For usb-insert-enter-amt.\n\n";

struct option_row {
    std::vector<std::string> words;
    bool goes_on;
    int32_t usb_activate;
};

TEST(Options, KnowUsbInsertionAndAnswerAllOthersWithTheUsage)
{
    const option_row k_rows_a[] = {
        {{"kv-zep-amt"}, true, 0},
        {{"kv-zep-amt", "-u"}, true, 1},
        {{"kv-zep-amt", "-uu"}, true, 1},
        {{"kv-zep-amt", "word"}, true, 0},
        {{"kv-zep-amt", "word", "-u"}, true, 1},
        {{"kv-zep-amt", "word", "-u", "more", "-u", "words"}, true, 1},
        {{"kv-zep-amt", "word", "-x"}, false, 0},
        {{"kv-zep-amt", "word", "--", "-u"}, true, 0},
        {{"kv-zep-amt", "--", "-u"}, true, 0},
        {{"kv-zep-amt", "-"}, true, 0},
        {{"kv-zep-amt", ""}, true, 0},
        {{"kv-zep-amt", "-h"}, false, 0},
        {{"kv-zep-amt", "-h", "-u"}, false, 0},
        {{"kv-zep-amt", "-h", "word"}, false, 0},
        {{"kv-zep-amt", "-x"}, false, 0},
        {{"kv-zep-amt", "-u", "-x"}, false, 1},
        {{"kv-zep-amt", "-ux"}, false, 1},
        {{"kv-zep-amt", "--help"}, false, 0},
    };
    for (const option_row &row : k_rows_a) {
        g_usb_activate = 7;
        const parsed result = parse(row.words);
        EXPECT_EQ(result.goes_on, row.goes_on) << row.words.back();
        EXPECT_EQ(g_usb_activate, row.usb_activate) << row.words.back();
        EXPECT_EQ(result.output, row.goes_on ? "" : k_usage) << row.words.back();
        EXPECT_EQ(result.exit_status, row.goes_on ? 77 : 0) << row.words.back();
    }
    g_usb_activate = 0;
}

TEST(Options, SayWhereTheyFoundNoProgramName)
{
    testing::internal::CaptureStdout();
    EXPECT_EQ(prompt_usage(nullptr), -1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "prompt_usage(L238)invalid parameter\n");
}

struct mode_row {
    const char *what;
    int32_t usb_activate;
    std::string command_line;
    std::string config_file;
    std::string pid_file;
    uint32_t platform_flag;
    std::string log_directory; // empty: not changed
    std::string output;
};

constexpr char k_normal[] = "normal mode(with ZEP platform)";
constexpr char k_simplified[] = "simplified mode(only with kernel)";

std::string paths_told(const std::string &config_file, const std::string &pid_file)
{
    return "[kv-zep-amt]config file is \"" + config_file + "\"\n            pid file is \"" + pid_file + "\"\n";
}

std::string mode_told(const std::string &directory, const std::string &text)
{
    return "[kv-zep-amt]command path is \"" + directory + "\"\n[kv-zep-amt]run under " + text + " \n";
}

TEST(RunMode, FollowsFromTheOptionAndTheFolderOfTheExecutable)
{
    const std::string system_cfg = "/system/etc/kv-zep-amt.cfg";
    const std::string tmp_pid = "/tmp/kv-zep-amt.pid";
    const std::string long_folder = "/data/local/tmp/a-folder-with-a-long-name/within";
    const mode_row k_rows_a[] = {
        {"at boot", 0, "/system/bin/kv-zep-amt", system_cfg, tmp_pid, 1, "", mode_told("/system/bin", k_normal)},
        {"below a longer path", 0, "/x/system/bin/y/kv-zep-amt", system_cfg, tmp_pid, 1, "",
         mode_told("/x/system/bin/y", k_normal)},
        {"elsewhere", 0, "/data/local/tmp/kv-zep-amt", "/data/local/tmp/kv-zep-amt.cfg",
         "/data/local/tmp/kv-zep-amt.pid", 0, "/data/local/tmp", mode_told("/data/local/tmp", k_simplified)},
        {"here", 0, "./kv-zep-amt", "./kv-zep-amt.cfg", "./kv-zep-amt.pid", 0, ".", mode_told(".", k_simplified)},
        {"by a bare name", 0, "kv-zep-amt", "kv-zep-amt/kv-zep-amt.cfg", "kv-zep-amt/kv-zep-amt.pid", 0, "kv-zep-amt",
         mode_told("kv-zep-amt", k_simplified)},
        {"under another name", 0, "/data/other", "/data/kv-zep-amt.cfg", "/data/kv-zep-amt.pid", 0, "/data",
         mode_told("/data", k_simplified)},
        {"in a long path", 0, long_folder + "/kv-zep-amt", (long_folder + "/kv-zep-amt.cfg").substr(0, 58),
         (long_folder + "/kv-zep-amt.pid").substr(0, 58), 0, long_folder, mode_told(long_folder, k_simplified)},
        {"on USB insertion", 1, "/data/local/tmp/kv-zep-amt", system_cfg, tmp_pid, 0, "", ""},
        {"on USB insertion from the system", 1, "/system/bin/kv-zep-amt", system_cfg, tmp_pid, 0, "", ""},
    };
    const temp_folder folder;
    for (const mode_row &row : k_rows_a) {
        g_usb_activate = row.usb_activate;
        g_command_line_file = folder.with_file("cmdline", row.command_line);
        g_log_directory.clear();
        amt_run_mode mode;
        memset(&mode, 'x', sizeof(mode));
        testing::internal::CaptureStdout();
        amt_choose_run_mode(&mode);
        EXPECT_EQ(testing::internal::GetCapturedStdout(), row.output + paths_told(row.config_file, row.pid_file))
            << row.what;
        EXPECT_EQ(mode.m_config_file_a, row.config_file) << row.what;
        EXPECT_EQ(mode.m_pid_file_a, row.pid_file) << row.what;
        EXPECT_STREQ(mode.m_text, row.platform_flag == 1 ? k_normal : k_simplified) << row.what;
        EXPECT_EQ(mode.m_platform_flag, row.platform_flag) << row.what;
        EXPECT_EQ(g_log_directory, row.log_directory) << row.what;
    }
    g_usb_activate = 0;
    g_command_line_file.clear();
}

TEST(RunMode, IsSimplifiedWhenTheFolderIsUnknown)
{
    g_command_line_file = "/no/such/file";
    amt_run_mode mode = {};
    testing::internal::CaptureStdout();
    amt_choose_run_mode(&mode);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              mode_told("", k_simplified) + paths_told("/kv-zep-amt.cfg", "/kv-zep-amt.pid"));
    EXPECT_EQ(mode.m_platform_flag, 0U);
    g_command_line_file.clear();
}

} // namespace
