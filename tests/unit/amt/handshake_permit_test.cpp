#include "amt/identity/handshake-permit.h"

#include <errno.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <string>

#include "pub/log/errors.h"
#include "tests/support/in_child.h"
#include "tests/support/test_log.h"
#include "tests/unit/amt/amt_folder.h"
#include "tests/unit/amt/port_fakes.h"

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

constexpr char k_flag_file[] = "power_usb_amt.txt";
const std::string k_file = "/amt/power_usb_amt.txt";
const std::string k_write_error = k_failed + "write error to do-not-permit-handshake file.";

TEST(HandshakePermit, StoresTheFlagAndHasTheDiskTakeIt)
{
    for (const int32_t flag : {0, 1}) {
        in_child([flag] {
            const amt_folder folder;
            folder.put(k_flag_file, "something longer\n");
            const test_log log;
            g_fake.on_pause = [&folder, flag] {
                EXPECT_EQ(folder.content(k_flag_file), std::to_string(flag));
                EXPECT_THAT(g_fake.files, IsEmpty()) << "closed before the disk is told";
            };
            int32_t value = 77;
            EXPECT_EQ(handle_amt_damt1_operation(flag, &value), ERR_NONE);
            EXPECT_EQ(value, 77) << "only a reading tells a flag";
            EXPECT_THAT(g_fake.pauses, ElementsAre(50U, 50U));
            EXPECT_THAT(g_fake.shell_commands, ElementsAre("/system/bin/sync", "/system/bin/sync"));
            const std::string text = std::to_string(flag);
            EXPECT_THAT(log.records(),
                        ElementsAre("func | ", "info | handle_amt_damt1_operation op_type: " + text + ".",
                                    "info | write content: " + text,
                                    "info | Writed to file(" + k_file + ") success.flag: " + text + "."));
        });
    }
}

TEST(HandshakePermit, CannotBeStoredWithoutItsFolder)
{
    in_child([] {
        const test_log log;
        int32_t value = 77;
        EXPECT_EQ(handle_amt_damt1_operation(1, &value), ERR_UNKNOWN);
        EXPECT_EQ(value, 77);
        EXPECT_THAT(g_fake.pauses, IsEmpty()) << "there is nothing for the disk to take";
        EXPECT_THAT(log.records(),
                    ElementsAre("func | ", "info | handle_amt_damt1_operation op_type: 1.",
                                k_failed_call + "open(\"" + k_file + "\") fail: 2 - No such file or directory",
                                k_write_error));
    });
}

TEST(HandshakePermit, CannotBeStoredInAPipe)
{
    in_child([] {
        const amt_folder folder;
        ASSERT_EQ(mkfifo(folder.path(k_flag_file).c_str(), 0600), 0);
        const test_log log;
        int32_t value = 77;
        EXPECT_EQ(handle_amt_damt1_operation(1, &value), ERR_UNKNOWN);
        EXPECT_THAT(log.records(), Contains(k_failed_call + "open(\"" + k_file + "\") fail: 22 - Invalid argument"));
        EXPECT_EQ(handle_amt_damt1_operation(2, &value), ERR_NONE);
        EXPECT_EQ(value, 1) << "and not be read from one";
    });
}

TEST(HandshakePermit, TellsOfADiskThatTakesNothing)
{
    const std::pair<writing, const char *> rows[] = {{{0, ENOSPC}, "fputs fail: 28 - No space left on device"},
                                                     {{0, 0}, "fputs fail: 0 - "}};
    for (const auto &[fault, told] : rows) {
        in_child([fault = fault, told = told] {
            const amt_folder folder;
            const test_log log;
            g_fake.file_writings = {fault};
            int32_t value = 77;
            EXPECT_EQ(handle_amt_damt1_operation(1, &value), ERR_UNKNOWN);
            EXPECT_THAT(g_fake.pauses, ElementsAre(50U, 50U)) << "the file is empty now: the disk is to know";
            EXPECT_THAT(log.records(), Contains(HasSubstr(told)));
            EXPECT_EQ(log.records().back(), k_write_error);
        });
    }
}

struct read_row {
    const char *name;
    const char *content; // null: there is no file
    int32_t flag;
};

TEST(HandshakePermit, ReadsTheFlag)
{
    const read_row rows[] = {
        {"0", "0", 0},
        {"1", "1", 1},
        {"with a line end", "0\n", 0},
        {"another number", "12", 12},
        {"text", "permit", 0},
        {"a second line", "0\n1\n", 0},
        {"too large", "4294967296", INT32_MAX},
        {"no file forbids", nullptr, 1},
        {"an empty file forbids", "", 1},
    };
    for (const read_row &row : rows) {
        in_child([&row] {
            const amt_folder folder;
            if (row.content != nullptr) {
                folder.put(k_flag_file, row.content);
            }
            int32_t value = 77;
            EXPECT_EQ(handle_amt_damt1_operation(2, &value), ERR_NONE) << row.name;
            EXPECT_EQ(value, row.flag) << row.name;
            EXPECT_THAT(g_fake.pauses, IsEmpty());
        });
    }
}

TEST(HandshakePermit, TellsWhatItRead)
{
    in_child([] {
        const amt_folder folder;
        folder.put(k_flag_file, "0");
        const test_log log;
        int32_t value = 77;
        (void)handle_amt_damt1_operation(2, &value);
        EXPECT_THAT(log.records(),
                    ElementsAre("func | ", "info | handle_amt_damt1_operation op_type: 2.", "func | ",
                                "info | read content: 0", "info | readed success from file(" + k_file + "). flag: 0."));
    });
    in_child([] {
        const test_log log;
        int32_t value = 77;
        (void)handle_amt_damt1_operation(2, &value);
        EXPECT_THAT(log.records(),
                    ElementsAre("func | ", "info | handle_amt_damt1_operation op_type: 2.", "func | ",
                                k_failed_call + "open(\"" + k_file + "\") fail: 2 - No such file or directory",
                                "info | readed failure from file(" + k_file + ").."));
    });
}

TEST(HandshakePermit, KnowsNoOtherOperation)
{
    const std::pair<int32_t, const char *> rows[] = {
        {3, "3"}, {-1, "4294967295"}, {INT32_MAX, "2147483647"}, {INT32_MIN, "2147483648"}};
    for (const auto &[operation, told] : rows) {
        in_child([operation = operation, told = told] {
            const amt_folder folder;
            folder.put(k_flag_file, "0");
            const test_log log;
            int32_t value = 77;
            EXPECT_EQ(handle_amt_damt1_operation(operation, &value), ERR_INVALID_PARAM);
            EXPECT_EQ(value, 77);
            EXPECT_EQ(folder.content(k_flag_file), "0");
            EXPECT_EQ(log.records().back(), k_bad_argument + "unknown operation type: " + told);
        });
    }
}

} // namespace
