#include "amt/identity/handshake-permit.h"

#include <errno.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "pub/log/errors.h"
#include "tests/support/in_child.h"
#include "tests/support/test_log.h"
#include "tests/unit/amt/device_fakes.h"
#include "tests/unit/amt/handler_arguments.h"
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

// --- at a start on the insertion of a cable

struct start_row {
    const char *name;
    const char *content; // null: there is no file
    bool is_permitted;
};

TEST(HandshakePermit, ForbidsAStartByTheNumber0Alone)
{
    const start_row rows[] = {
        {"0", "0", false},
        {"with a line end", "0\n", false},
        {"1", "1", true},
        {"1 with a line end", "1\n", true},
        {"another number", "2", true},
        {"a negative number", "-1", true},
        {"a negative 0", "-0", false},
        {"10", "10", true},
        {"the largest", "2147483647", true},
        {"too large", "4294967296", true},
        {"two digits", "00", false},
        {"a zero in front", "01", true},
        {"a blank in front", " 0", false},
        {"a blank in front of 1", " 1", true},
        {"hexadecimal", "0x1", false},
        {"text", "permit", false},
        {"text behind", "0 1", false},
        {"text behind 1", "1 0", true},
        {"a line end alone", "\n", false},
        {"no file", nullptr, true},
        {"an empty file", "", true},
    };
    for (const start_row &row : rows) {
        in_child([&row] {
            SCOPED_TRACE(row.name);
            const device_handset handset;
            if (row.content != nullptr) {
                handset.put(k_file, row.content);
            }
            const outcome seen = handset.watch([] { return amt_is_handshake_permitted() ? 1 : 0; });
            EXPECT_EQ(seen.result, row.is_permitted ? 1 : 0);
            EXPECT_THAT(seen.events,
                        ElementsAreArray(row.content != nullptr ? reading_of(k_file) : steps{"read " + k_file}));
            expect_nothing_sent(seen);
            EXPECT_EQ(handset.content(k_file), row.content != nullptr ? row.content : "(missing)");
        });
    }
}

TEST(HandshakePermit, TellsAStartWhatItRead)
{
    for (const std::string flag : {"0", "1", "-17", "permit"}) {
        in_child([&flag] {
            const device_handset handset;
            handset.put(k_file, flag);
            (void)amt_is_handshake_permitted();
            EXPECT_THAT(handset.log().records(),
                        ElementsAre("func | ", "info | read content: " + flag,
                                    "info | readed success from file(" + k_file + "). flag: " + flag + "."));
        });
    }
}

struct unreadable_row {
    const char *name;
    void (*prepare)(const device_handset &);
    steps events;
    std::string told;
};

TEST(HandshakePermit, PermitsAStartByAFileThatCannotBeReadAndTellsNoFlag)
{
    const unreadable_row rows[] = {
        {"no file", [](const device_handset &) {}, {"read " + k_file}, k_not_opened + "2 - No such file or directory"},
        {"one of another's",
         [](const device_handset &handset) {
             handset.put(k_file, "0");
             g_fake.refused = {{"read " + k_file, EACCES}};
         },
         {"read " + k_file},
         k_not_opened + "13 - Permission denied"},
        {"an empty one", [](const device_handset &handset) { handset.put(k_file, ""); }, reading_of(k_file),
         k_failed_call + "read fail: 0 - No error"},
        {"a folder", [](const device_handset &handset) { handset.make_folder(k_file); }, reading_of(k_file),
         k_failed_call + "read fail: 21 - Is a directory"},
    };
    for (const unreadable_row &row : rows) {
        in_child([&row] {
            SCOPED_TRACE(row.name);
            const device_handset handset;
            row.prepare(handset);
            const outcome seen = handset.watch([] { return amt_is_handshake_permitted() ? 1 : 0; });
            EXPECT_EQ(seen.result, 1);
            EXPECT_THAT(seen.events, ElementsAreArray(row.events));
            EXPECT_THAT(handset.log().records(), ElementsAre("func | ", row.told));
        });
    }
}

// --- the station's request

constexpr char k_request[] = "0600bbdb0000";
const std::string k_answer = "0f00bbdc0900ee0101040000000000"; // result 0

TEST(NotPermitHandshake, StoresThe0AndAnswersBehindTheDisk)
{
    for (const uint8_t channel : k_both_channels_a) {
        for (const char *before : {"1", "0", "something longer\n"}) {
            in_child([channel, before] {
                SCOPED_TRACE(before);
                const device_handset handset;
                handset.put(k_file, before);
                const outcome seen = handset.ask(amt_handle_not_permit_handshake, channel, k_request);
                EXPECT_EQ(seen.result, ERR_NONE);
                EXPECT_THAT(seen.answers(channel), ElementsAre(answer_on(channel, k_answer)));
                EXPECT_TRUE(seen.is_response_clear);
                EXPECT_THAT(seen.events, ElementsAreArray(writing_of(k_file) + steps{"send"}));
                EXPECT_EQ(handset.content(k_file), "0");
                EXPECT_FALSE(amt_is_handshake_permitted()) << "the next start is the first to feel it";
            });
        }
    }
}

TEST(NotPermitHandshake, IsToldFromEndToEnd)
{
    in_child([] {
        const device_handset handset;
        handset.make_folder("/amt");
        (void)handset.ask(amt_handle_not_permit_handshake, AMT_CHANNEL_PC, k_request);
        std::vector<std::string> records = handset.log().records();
        ASSERT_GE(records.size(), 5U);
        records.resize(5); // what follows is of sending
        EXPECT_THAT(records, ElementsAre("func | ", "func | ", operation_told("0"), "info | write content: 0",
                                         "info | Writed to file(" + k_file + ") success.flag: 0."));
        EXPECT_EQ(handset.log().functions().at(0), "amt_handle_not_permit_handshake");
        EXPECT_EQ(handset.log().functions().at(1), "handle_amt_damt1_operation");
        EXPECT_EQ(handset.content(k_file), "0") << "made, as there was none";
    });
}

void expect_unanswered(const outcome &seen, const std::string &told)
{
    EXPECT_EQ(seen.result, ERR_UNKNOWN);
    expect_nothing_sent(seen);
    EXPECT_THAT(seen.told, ElementsAre(operation_told("0"), told, k_write_error));
}

TEST(NotPermitHandshake, IsNotAnsweredWhenThe0IsNotStored)
{
    for (const uint8_t channel : k_both_channels_a) {
        for (const write_failure &row : k_write_failures) {
            in_child([channel, &row] {
                SCOPED_TRACE(row.name);
                const device_handset handset;
                handset.put(k_file, "1");
                fail_writing(k_file, row);
                const outcome seen = handset.ask(amt_handle_not_permit_handshake, channel, k_request);
                expect_unanswered(seen, k_failed_call + "fputs fail: " + row.told);
                EXPECT_THAT(seen.events, ElementsAreArray(writing_of(k_file)));
            });
        }
        in_child([channel] {
            const device_handset handset;
            const outcome seen = handset.ask(amt_handle_not_permit_handshake, channel, k_request);
            expect_unanswered(seen, k_not_opened + "2 - No such file or directory");
            EXPECT_THAT(seen.events, ElementsAre("read and write " + k_file));
        });
    }
}

TEST(NotPermitHandshake, GivesTheResultOfItsAnswerAndHasStoredThe0)
{
    expect_result_of_sending(amt_handle_not_permit_handshake, k_request,
                             [](const device_handset &handset) { handset.make_folder("/amt"); });
    in_child([] {
        const device_handset handset;
        handset.make_folder("/amt");
        g_fake.is_send_cut = true;
        (void)handset.ask(amt_handle_not_permit_handshake, AMT_CHANNEL_PC, k_request);
        EXPECT_EQ(handset.content(k_file), "0");
    });
}

TEST(NotPermitHandshake, RefusesBadArgumentsAndTouchesNoFile)
{
    g_fake.on_event = [](const std::string &event) { ADD_FAILURE() << event; };
    expect_bad_arguments_refused(amt_handle_not_permit_handshake, AMT_CHANNEL_PC, k_request);
    expect_bad_arguments_refused(amt_handle_not_permit_handshake, AMT_CHANNEL_APP, k_request);
    g_fake = {};
}

} // namespace
