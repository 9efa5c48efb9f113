#include "amt/device/kernel-file.h"

#include <errno.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>

#include <string>

#include "pub/log/errors.h"
#include "tests/support/in_child.h"
#include "tests/support/test_log.h"
#include "tests/unit/amt/device_fakes.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr char k_path[] = "/sys/class/device/number";
const std::string k_reading = std::string("read ") + k_path;
const std::string k_writing = std::string("write ") + k_path;
const std::string k_closing = std::string("close ") + k_path;
const std::string k_not_opened = k_failed_call + "Open file \"" + k_path + "\" fail: ";

// Two operations on devices that are not there.
int32_t amt_test_reading()
{
    int32_t number = 0;
    return amt_device_read_number(k_path, &number, LOG_HERE);
}

int32_t amt_test_writing()
{
    return amt_device_write_number(k_path, 1, LOG_HERE);
}

TEST(KernelFile, FailsInTheNameOfTheOperationThatWantedIt)
{
    in_child([] {
        const device_handset handset;
        EXPECT_EQ(amt_test_reading(), ERR_C_FUNCTION);
        EXPECT_EQ(amt_test_writing(), ERR_C_FUNCTION);
        handset.put(k_path, "warm");
        EXPECT_EQ(amt_test_reading(), ERR_C_FUNCTION);
        g_fake.printing = output_end{};
        EXPECT_EQ(amt_test_writing(), ERR_C_FUNCTION);
        EXPECT_THAT(handset.log().functions(),
                    ElementsAre("amt_test_reading", "amt_test_writing", "amt_test_reading", "amt_test_writing"));
    });
}

// --- reading

struct number_row {
    const char *name;
    const char *content;
    int32_t number;
};

// clang-format off
constexpr number_row k_numbers_a[] = {
    {"usual",                          "3900000\n",   3900000},
    {"without a line end",             "180",         180},
    {"nothing",                        "0\n",         0},
    {"below nothing",                  "-5\n",        -5},
    {"the largest",                    "2147483647",  INT32_MAX},
    {"the smallest",                   "-2147483648", INT32_MIN},
    {"behind blanks and line ends",    " \n\t\n 7\n", 7},
    {"text behind",                    "12mV\n",      12},
    {"another number behind",          "12 13\n",     12},
    {"a zero in front",                "010\n",       10},
    {"no number but its beginning",    "0x10\n",      0},
};
// clang-format on

TEST(KernelFile, HoldsADecimalNumber)
{
    for (const number_row &row : k_numbers_a) {
        in_child([&row] {
            SCOPED_TRACE(row.name);
            const device_handset handset;
            handset.put(k_path, row.content);
            int32_t number = 77;
            EXPECT_EQ(amt_device_read_number(k_path, &number, LOG_HERE), ERR_NONE);
            EXPECT_EQ(number, row.number);
            EXPECT_THAT(handset.told(), IsEmpty());
            EXPECT_THAT(g_fake.events, ElementsAre(k_reading, k_closing));
            EXPECT_EQ(handset.content(k_path), row.content);
        });
    }
}

struct no_number_row {
    const char *name;
    const char *content;
    const char *told;
};

// clang-format off
constexpr no_number_row k_no_numbers_a[] = {
    {"empty",         "",       "fscanf() return: -1; 0 - No error"},
    {"a line end",    "\n",     "fscanf() return: -1; 0 - No error"},
    {"text",          "full\n", "fscanf() return: 0; 0 - No error"},
    {"a sign alone",  "-\n",    "fscanf() return: 0; 0 - No error"},
};
// clang-format on

TEST(KernelFile, WithoutANumberLeavesTheCallersAsItIs)
{
    for (const no_number_row &row : k_no_numbers_a) {
        in_child([&row] {
            SCOPED_TRACE(row.name);
            const device_handset handset;
            handset.put(k_path, row.content);
            int32_t number = 77;
            EXPECT_EQ(amt_device_read_number(k_path, &number, LOG_HERE), ERR_C_FUNCTION);
            EXPECT_EQ(number, 77);
            EXPECT_THAT(handset.told(), ElementsAre(k_failed_call + row.told));
            EXPECT_THAT(g_fake.events, ElementsAre(k_reading, k_closing));
        });
    }
}

TEST(KernelFile, ThatCannotBeReadTellsWhy)
{
    in_child([] {
        const device_handset handset;
        handset.make_folder(k_path);
        int32_t number = 77;
        EXPECT_EQ(amt_device_read_number(k_path, &number, LOG_HERE), ERR_C_FUNCTION);
        EXPECT_EQ(number, 77);
        EXPECT_THAT(handset.told(), ElementsAre(k_failed_call + "fscanf() return: -1; 21 - Is a directory"));
        EXPECT_THAT(g_fake.events, ElementsAre(k_reading, k_closing));
    });
}

// Calls one of the two; the number of the reading stays as it was.
int32_t read_or_write(bool is_reading)
{
    int32_t number = 77;
    const int32_t result = is_reading ? amt_device_read_number(k_path, &number, LOG_HERE)
                                      : amt_device_write_number(k_path, number, LOG_HERE);
    EXPECT_EQ(number, 77);
    return result;
}

TEST(KernelFile, ThatIsNotThereTellsWhy)
{
    for (const bool is_reading : {true, false}) {
        in_child([is_reading] {
            const device_handset handset;
            const int descriptor = next_descriptor();
            EXPECT_EQ(read_or_write(is_reading), ERR_C_FUNCTION);
            EXPECT_THAT(handset.told(), ElementsAre(k_not_opened + "2 - No such file or directory"));
            EXPECT_THAT(g_fake.events, ElementsAre(is_reading ? k_reading : k_writing));
            EXPECT_EQ(next_descriptor(), descriptor);
        });
    }
}

TEST(KernelFile, ThatIsDeniedTellsWhy)
{
    for (const bool is_reading : {true, false}) {
        in_child([is_reading] {
            const device_handset handset;
            handset.put(k_path, "5");
            g_fake.refused[is_reading ? k_reading : k_writing] = EACCES;
            EXPECT_EQ(read_or_write(is_reading), ERR_C_FUNCTION);
            EXPECT_THAT(handset.told(), ElementsAre(k_not_opened + "13 - Permission denied"));
            EXPECT_EQ(handset.content(k_path), "5");
        });
    }
}

TEST(KernelFile, IsNoPipeAtWhoseEndNobodyIs)
{
    in_child([] {
        const device_handset handset;
        handset.make_pipe(k_path);
        const int descriptor = next_descriptor();
        EXPECT_EQ(read_or_write(true), ERR_C_FUNCTION);
        EXPECT_THAT(handset.told(), ElementsAre(k_not_opened + "22 - Invalid argument"));
        EXPECT_EQ(read_or_write(false), ERR_C_FUNCTION);
        EXPECT_EQ(next_descriptor(), descriptor);
    });
}

// --- writing

TEST(KernelFile, GetsTheNumberAndNothingElse)
{
    for (const int32_t number : {0, 1, -1, 255, 3000, INT32_MAX, INT32_MIN}) {
        in_child([number] {
            const device_handset handset;
            handset.put(k_path, "a number before, and longer");
            EXPECT_EQ(amt_device_write_number(k_path, number, LOG_HERE), ERR_NONE);
            EXPECT_EQ(handset.content(k_path), std::to_string(number));
            EXPECT_THAT(handset.told(), IsEmpty());
            EXPECT_THAT(g_fake.events, ElementsAre(k_writing, k_closing));
        });
    }
}

TEST(KernelFile, IsMadeToBeWritten)
{
    in_child([] {
        const device_handset handset;
        handset.make_folder("/sys/class/device");
        EXPECT_EQ(amt_device_write_number(k_path, 8, LOG_HERE), ERR_NONE);
        EXPECT_EQ(handset.content(k_path), "8");
    });
}

struct printing_row {
    const char *name;
    output_end end;
    const char *told;
};

constexpr printing_row k_printings_a[] = {
    {"nothing", {0, 0}, "fprintf() return: 0; 0 - No error"},
    {"an error", {-1, EIO}, "fprintf() return: -1; 5 - Input/output error"},
};

TEST(KernelFile, ThatTakesNothingTellsSo)
{
    for (const printing_row &row : k_printings_a) {
        in_child([&row] {
            SCOPED_TRACE(row.name);
            const device_handset handset;
            handset.put(k_path, "5");
            g_fake.printing = row.end;
            const int descriptor = next_descriptor();
            EXPECT_EQ(amt_device_write_number(k_path, 8, LOG_HERE), ERR_C_FUNCTION);
            EXPECT_THAT(handset.told(), ElementsAre(k_failed_call + row.told));
            EXPECT_THAT(g_fake.events, ElementsAre(k_writing, k_closing));
            EXPECT_EQ(next_descriptor(), descriptor);
        });
    }
}

TEST(KernelFile, IsNotAskedWhatItsDriverThinksOfTheNumber)
{
    in_child([] {
        const temp_folder folder; // and no log, which could not be written either
        std::filesystem::create_directories(folder.path("sys/class/device"));
        g_fake.root = folder.path();
        (void)signal(SIGXFSZ, SIG_IGN);
        rlimit limit = {};
        ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &limit), 0);
        const rlimit nothing = {0, limit.rlim_max};
        ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &nothing), 0);
        const int32_t result = amt_device_write_number(k_path, 8, LOG_HERE);
        ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
        EXPECT_EQ(result, ERR_NONE);
        EXPECT_EQ(read_whole_file(folder.path(k_path + 1)), "") << "it took it";
        EXPECT_THAT(g_fake.events, ElementsAre(k_writing, k_closing));
    });
}

} // namespace
