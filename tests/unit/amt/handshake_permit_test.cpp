#include "amt/identity/handshake-permit.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "pub/log/errors.h"
#include "tests/support/in_child.h"
#include "tests/support/test_log.h"
#include "tests/unit/amt/device_fakes.h"
#include "tests/unit/amt/identity_steps.h"

namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;

const std::string k_file = "/amt/power_usb_amt.txt";
const std::string k_not_opened = k_failed_call + "open(\"" + k_file + "\") fail: ";
const std::string k_write_error = k_failed + "write error to do-not-permit-handshake file.";

std::string operation_told(const std::string &operation)
{
    return "info | handle_amt_damt1_operation op_type: " + operation + ".";
}

constexpr int32_t k_untouched = 77;

outcome operate(const device_handset &handset, int32_t operation, int32_t *flag)
{
    *flag = k_untouched;
    return handset.watch([&] { return handle_amt_damt1_operation(operation, flag); });
}

TEST(HandshakePermit, StoresTheFlagAndHasTheDiskTakeIt)
{
    for (const int32_t flag : {0, 1}) {
        in_child([flag] {
            SCOPED_TRACE(flag);
            const device_handset handset;
            handset.put(k_file, "something longer\n");
            const ino_t inode = inode_of(handset, k_file);
            int32_t value = 0;
            const outcome seen = operate(handset, flag, &value);
            EXPECT_EQ(seen.result, ERR_NONE);
            EXPECT_EQ(value, k_untouched) << "only a reading tells a flag";
            EXPECT_THAT(seen.events, ElementsAreArray(writing_of(k_file)));
            const std::string text = std::to_string(flag);
            EXPECT_EQ(handset.content(k_file), text);
            EXPECT_EQ(inode_of(handset, k_file), inode) << "it is the same file";
            EXPECT_THAT(handset.log().records(),
                        ElementsAre("func | ", operation_told(text), "info | write content: " + text,
                                    "info | Writed to file(" + k_file + ") success.flag: " + text + "."));
        });
    }
}

TEST(HandshakePermit, MakesTheFileOfTheFlag)
{
    in_child([] {
        const device_handset handset;
        handset.make_folder("/amt");
        int32_t value = 0;
        EXPECT_EQ(operate(handset, 0, &value).result, ERR_NONE);
        EXPECT_EQ(handset.content(k_file), "0");
    });
}

TEST(HandshakePermit, CannotBeStoredWithoutItsFolder)
{
    in_child([] {
        const device_handset handset;
        int32_t value = 0;
        const outcome seen = operate(handset, 1, &value);
        EXPECT_EQ(seen.result, ERR_UNKNOWN);
        EXPECT_EQ(value, k_untouched);
        EXPECT_THAT(seen.events, ElementsAre("read and write " + k_file)) << "there is nothing for the disk to take";
        EXPECT_THAT(
            handset.log().records(),
            ElementsAre("func | ", operation_told("1"), k_not_opened + "2 - No such file or directory", k_write_error));
    });
}

TEST(HandshakePermit, CannotBeStoredInAPipe)
{
    in_child([] {
        const device_handset handset;
        handset.make_pipe(k_file);
        int32_t value = 0;
        const outcome stored = operate(handset, 1, &value);
        EXPECT_EQ(stored.result, ERR_UNKNOWN);
        EXPECT_THAT(stored.told,
                    ElementsAre(operation_told("1"), k_not_opened + "22 - Invalid argument", k_write_error));
        EXPECT_EQ(operate(handset, 2, &value).result, ERR_NONE);
        EXPECT_EQ(value, 1) << "and not be read from one";
    });
}

TEST(HandshakePermit, TellsOfADiskThatDoesNotTakeTheFlag)
{
    for (const write_failure &row : k_write_failures) {
        in_child([&row] {
            SCOPED_TRACE(row.name);
            const device_handset handset;
            handset.put(k_file, "0");
            fail_writing(k_file, row);
            int32_t value = 0;
            const outcome seen = operate(handset, 1, &value);
            EXPECT_EQ(seen.result, ERR_UNKNOWN);
            EXPECT_EQ(value, k_untouched);
            EXPECT_THAT(seen.events, ElementsAreArray(writing_of(k_file)))
                << "the file is empty now: the disk is to know";
            EXPECT_THAT(seen.told,
                        ElementsAre(operation_told("1"), k_failed_call + "fputs fail: " + row.told, k_write_error));
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
        {"a negative number", "-3", -3},
        {"text", "permit", 0},
        {"an empty line", "\n1\n", 0},
        {"a second line", "0\n1\n", 0},
        {"too large", "4294967296", INT32_MAX},
        {"no file reads as 1", nullptr, 1},
        {"so does an empty file", "", 1},
    };
    for (const read_row &row : rows) {
        in_child([&row] {
            SCOPED_TRACE(row.name);
            const device_handset handset;
            if (row.content != nullptr) {
                handset.put(k_file, row.content);
            }
            int32_t value = 0;
            const outcome seen = operate(handset, 2, &value);
            EXPECT_EQ(seen.result, ERR_NONE);
            EXPECT_EQ(value, row.flag);
            EXPECT_THAT(seen.events,
                        ElementsAreArray(row.content != nullptr ? reading_of(k_file) : steps{"read " + k_file}));
        });
    }
}

TEST(HandshakePermit, TellsWhatItRead)
{
    in_child([] {
        const device_handset handset;
        handset.put(k_file, "0");
        int32_t value = 0;
        (void)operate(handset, 2, &value);
        EXPECT_THAT(handset.log().records(),
                    ElementsAre("func | ", operation_told("2"), "func | ", "info | read content: 0",
                                "info | readed success from file(" + k_file + "). flag: 0."));
    });
    in_child([] {
        const device_handset handset;
        int32_t value = 0;
        (void)operate(handset, 2, &value);
        EXPECT_THAT(handset.log().records(), ElementsAre("func | ", operation_told("2"), "func | ",
                                                         k_not_opened + "2 - No such file or directory",
                                                         "info | readed failure from file(" + k_file + ").."));
    });
    in_child([] {
        const device_handset handset;
        handset.put(k_file, "");
        int32_t value = 0;
        (void)operate(handset, 2, &value);
        EXPECT_THAT(handset.log().records(),
                    ElementsAre("func | ", operation_told("2"), "func | ", k_failed_call + "read fail: 0 - No error",
                                "info | readed failure from file(" + k_file + ").."));
    });
}

TEST(HandshakePermit, KnowsNoOtherOperation)
{
    const std::pair<int32_t, const char *> rows[] = {
        {3, "3"}, {-1, "4294967295"}, {INT32_MAX, "2147483647"}, {INT32_MIN, "2147483648"}};
    for (const auto &[operation, told] : rows) {
        in_child([operation = operation, told = told] {
            SCOPED_TRACE(told);
            const device_handset handset;
            handset.put(k_file, "0");
            int32_t value = 0;
            const outcome seen = operate(handset, operation, &value);
            EXPECT_EQ(seen.result, ERR_INVALID_PARAM);
            EXPECT_EQ(value, k_untouched);
            EXPECT_THAT(seen.events, IsEmpty());
            EXPECT_EQ(handset.content(k_file), "0");
            EXPECT_THAT(seen.told, ElementsAre(operation_told(std::to_string(operation)),
                                               k_bad_argument + "unknown operation type: " + told));
        });
    }
}

} // namespace
