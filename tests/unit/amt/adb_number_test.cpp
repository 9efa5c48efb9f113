#include "amt/identity/identity-requests.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>

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

const std::string k_adb_file = "/amt/usb_serial";
const std::string k_read_adb = message_of(191, int_atom(160, 0));

std::string write_adb(uint32_t length, const std::string &number)
{
    return message_of(191, int_atom(160, 1) + int_atom(162, length) + text_atom(161, number));
}

std::string adb_answer(const std::string &number)
{
    return message_of(192, text_atom(161, number) + int_atom(1, 0));
}

TEST(AdbNumberRequest, ReadsTheNumber)
{
    for (const uint8_t channel : {uint8_t{AMT_CHANNEL_PC}, uint8_t{AMT_CHANNEL_APP}, uint8_t{7}}) {
        in_child([channel] {
            SCOPED_TRACE(static_cast<int>(channel));
            const device_handset handset;
            handset.put(k_adb_file, "KV42");
            const outcome seen = handset.ask(amt_handle_adb_serial_no, channel, k_read_adb);
            EXPECT_EQ(seen.result, ERR_NONE);
            EXPECT_THAT(seen.answers(channel), ElementsAre(answer_on(channel, "1800bbc01200ee"
                                                                              "a10204004b563432ee01010400"
                                                                              "00000000")));
            EXPECT_THAT(seen.events, ElementsAreArray(reading_of(k_adb_file) + steps{"send"}));
            EXPECT_THAT(seen.told, ElementsAre("info | read adb serial no. ok, it is : KV42"));
            EXPECT_TRUE(seen.is_response_clear);
        });
    }
}

struct text_row {
    const char *name;
    std::string given;
    std::string kept;
};

TEST(AdbNumberRequest, TellsTheFirstWordUpTo99Characters)
{
    const text_row rows[] = {
        {"one character", "1", "1"},
        {"with a line end", "KV42\n", "KV42"},
        {"two words", "KV 42", "KV"},
        {"behind blanks and empty lines", " \n\t\r\n KV42 ", "KV42"},
        {"98 characters", std::string(98, 'x'), std::string(98, 'x')},
        {"99 characters", std::string(99, 'x'), std::string(99, 'x')},
        {"100 characters", std::string(99, 'x') + "y", std::string(99, 'x')},
        {"5000 characters", std::string(5000, 'x'), std::string(99, 'x')},
    };
    for (const text_row &row : rows) {
        in_child([&row] {
            SCOPED_TRACE(row.name);
            const device_handset handset;
            handset.put(k_adb_file, row.given);
            const outcome seen = handset.ask(amt_handle_adb_serial_no, AMT_CHANNEL_APP, k_read_adb);
            EXPECT_EQ(seen.result, ERR_NONE);
            EXPECT_THAT(seen.answers(AMT_CHANNEL_APP), ElementsAre(adb_answer(row.kept)));
        });
    }
}

TEST(AdbNumberRequest, SaysNothingOfANumberThatCannotBeRead)
{
    in_child([] {
        const device_handset handset;
        const outcome missing = handset.ask(amt_handle_adb_serial_no, AMT_CHANNEL_PC, k_read_adb);
        EXPECT_EQ(missing.result, ERR_UNKNOWN);
        expect_nothing_sent(missing);
        EXPECT_THAT(missing.events, ElementsAre("read " + k_adb_file));
        EXPECT_THAT(missing.told, ElementsAre(k_failed + "fopen error"));
        for (const char *content : {"", " \n\t\n"}) {
            handset.put(k_adb_file, content);
            const outcome empty = handset.ask(amt_handle_adb_serial_no, AMT_CHANNEL_PC, k_read_adb);
            EXPECT_EQ(empty.result, ERR_UNKNOWN);
            expect_nothing_sent(empty);
            EXPECT_THAT(empty.events, ElementsAreArray(reading_of(k_adb_file)));
            EXPECT_THAT(empty.told, ElementsAre(k_failed + "fscanf error"));
        }
    });
    in_child([] {
        const device_handset handset;
        handset.make_folder(k_adb_file);
        const outcome folder = handset.ask(amt_handle_adb_serial_no, AMT_CHANNEL_PC, k_read_adb);
        EXPECT_EQ(folder.result, ERR_UNKNOWN);
        EXPECT_THAT(folder.told, ElementsAre(k_failed + "fscanf error"));
    });
}

TEST(AdbNumberRequest, WritesTheNumber)
{
    for (const uint8_t channel : {uint8_t{AMT_CHANNEL_PC}, uint8_t{AMT_CHANNEL_APP}, uint8_t{7}}) {
        in_child([channel] {
            SCOPED_TRACE(static_cast<int>(channel));
            const device_handset handset;
            handset.put(k_adb_file, "an older and longer one\n");
            const ino_t inode = inode_of(handset, k_adb_file);
            const outcome seen = handset.ask(amt_handle_adb_serial_no, channel, write_adb(4, "KV42"));
            EXPECT_EQ(seen.result, ERR_NONE);
            EXPECT_THAT(seen.answers(channel), ElementsAre(answer_on(channel, result_of(192, 0))));
            EXPECT_EQ(handset.content(k_adb_file), "KV42");
            EXPECT_EQ(inode_of(handset, k_adb_file), inode);
            EXPECT_THAT(seen.events, ElementsAreArray(writing_of(k_adb_file) + steps{"send"}))
                << "answered when the disk has it";
            EXPECT_THAT(seen.told,
                        ElementsAre("info | open file \"/amt/usb_serial\" ok", "info | write adb serial no.[KV42] ok"));
            EXPECT_TRUE(seen.is_response_clear);
        });
    }
}

struct length_row {
    const char *name;
    uint32_t length;
    std::string given;
    std::string kept;
};

TEST(AdbNumberRequest, CutsTheNumberToItsLength)
{
    const length_row rows[] = {
        {"one character", 1, "1", "1"},
        {"one of many", 1, "12345", "1"},
        {"one of two", 1, "12", "1"},
        {"all but one", 4, "12345", "1234"},
        {"all but two", 3, "12345", "123"},
        {"shorter than its length", 99, "12345", "12345"},
        {"98", 98, std::string(98, 'x'), std::string(98, 'x')},
        {"99", 99, std::string(98, 'x') + "y", std::string(98, 'x') + "y"},
        {"99 of 100", 99, std::string(100, 'x'), std::string(99, 'x')},
        {"99 of 150", 99, std::string(150, 'x'), std::string(99, 'x')},
        {"an empty number", 5, "", ""},
        {"up to a zero byte", 4, std::string("12\0003", 4), "12"},
        {"with a format", 8, "%s%n%d%s", "%s%n%d%s"},
        {"with blanks", 4, " 1 2", " 1 2"},
    };
    for (const length_row &row : rows) {
        in_child([&row] {
            SCOPED_TRACE(row.name);
            const device_handset handset;
            handset.make_folder("/amt");
            const outcome seen =
                handset.ask(amt_handle_adb_serial_no, AMT_CHANNEL_APP, write_adb(row.length, row.given));
            EXPECT_EQ(seen.result, ERR_NONE);
            EXPECT_THAT(seen.answers(AMT_CHANNEL_APP), ElementsAre(result_of(192, 0)));
            EXPECT_EQ(handset.content(k_adb_file), row.kept);
            EXPECT_THAT(seen.told, ElementsAre("info | open file \"/amt/usb_serial\" ok",
                                               "info | write adb serial no.[" + row.kept + "] ok"));
        });
    }
}

struct request_row {
    const char *name;
    std::string request;
};

TEST(AdbNumberRequest, WithoutANumberWritesAnEmptyOne)
{
    const std::string writing = int_atom(160, 1) + int_atom(162, 5);
    const request_row rows[] = {
        {"no atom of it", message_of(191, writing)},
        {"in another atom", message_of(191, writing + text_atom(163, "12345"))},
        {"cut short", message_of(191, writing + "eea1020500313233")},
    };
    for (const request_row &row : rows) {
        in_child([&row] {
            SCOPED_TRACE(row.name);
            const device_handset handset;
            handset.put(k_adb_file, "old");
            const outcome seen = handset.ask(amt_handle_adb_serial_no, AMT_CHANNEL_APP, row.request);
            EXPECT_EQ(seen.result, ERR_NONE);
            EXPECT_THAT(seen.answers(AMT_CHANNEL_APP), ElementsAre(result_of(192, 0)));
            EXPECT_EQ(handset.content(k_adb_file), "");
            EXPECT_THAT(seen.events, ElementsAreArray(writing_of(k_adb_file) + steps{"send"}));
        });
    }
}

TEST(AdbNumberRequest, RefusesAnImpossibleLength)
{
    const std::string number = text_atom(161, std::string(120, 'x'));
    const request_row rows[] = {
        {"0", write_adb(0, "12345")},
        {"100", write_adb(100, std::string(100, 'x'))},
        {"256 and one", write_adb(257, "12345")},
        {"all bits", write_adb(0xFFFFFFFF, "12345")},
        {"none", message_of(191, int_atom(160, 1) + number)},
    };
    for (const request_row &row : rows) {
        in_child([&row] {
            SCOPED_TRACE(row.name);
            const device_handset handset;
            handset.put(k_adb_file, "old");
            const outcome seen = handset.ask(amt_handle_adb_serial_no, AMT_CHANNEL_PC, row.request);
            EXPECT_EQ(seen.result, ERR_UNKNOWN);
            expect_nothing_sent(seen);
            EXPECT_THAT(seen.events, IsEmpty());
            EXPECT_EQ(handset.content(k_adb_file), "old");
            EXPECT_THAT(seen.told, ElementsAre(k_failed + "Invalid adb serial number length!"));
        });
    }
}

TEST(AdbNumberRequest, SaysNothingOfANumberThatCannotBeWritten)
{
    in_child([] {
        const device_handset handset;
        const outcome seen = handset.ask(amt_handle_adb_serial_no, AMT_CHANNEL_PC, write_adb(5, "12345"));
        EXPECT_EQ(seen.result, ERR_UNKNOWN);
        expect_nothing_sent(seen);
        EXPECT_THAT(seen.events, ElementsAre("read and write " + k_adb_file)) << "there is nothing for the disk";
        EXPECT_THAT(seen.told, ElementsAre(k_failed + "fopen error"));
    });
    for (const write_failure &row : k_write_failures) {
        in_child([&row] {
            SCOPED_TRACE(row.name);
            const device_handset handset;
            handset.put(k_adb_file, "old");
            fail_writing(k_adb_file, row);
            const outcome seen = handset.ask(amt_handle_adb_serial_no, AMT_CHANNEL_PC, write_adb(5, "12345"));
            EXPECT_EQ(seen.result, ERR_UNKNOWN);
            expect_nothing_sent(seen);
            EXPECT_THAT(seen.events, ElementsAreArray(writing_of(k_adb_file))) << "the file has lost what it held";
            EXPECT_THAT(seen.told, ElementsAre("info | open file \"/amt/usb_serial\" ok", k_failed + "fprintf error"));
        });
    }
}

TEST(AdbNumberRequest, KnowsNoOtherOperation)
{
    const std::pair<uint32_t, const char *> rows[] = {
        {2, "2"}, {256, "256"}, {257, "257"}, {0x7FFFFFFF, "2147483647"}, {0xFFFFFFFF, "-1"}};
    for (const auto &[operation, told] : rows) {
        in_child([operation = operation, told = told] {
            SCOPED_TRACE(told);
            const device_handset handset;
            handset.put(k_adb_file, "old");
            const std::string request =
                message_of(191, int_atom(160, operation) + int_atom(162, 5) + text_atom(161, "12345"));
            const outcome seen = handset.ask(amt_handle_adb_serial_no, AMT_CHANNEL_PC, request);
            EXPECT_EQ(seen.result, ERR_INVALID_PARAM);
            expect_nothing_sent(seen);
            EXPECT_THAT(seen.events, IsEmpty());
            EXPECT_EQ(handset.content(k_adb_file), "old");
            EXPECT_THAT(seen.told, ElementsAre(k_bad_argument + "unknown operation: " + told));
        });
    }
}

TEST(AdbNumberRequest, WithoutAnOperationReads)
{
    in_child([] {
        const device_handset handset;
        handset.put(k_adb_file, "KV42");
        const std::string request = message_of(191, int_atom(162, 5) + text_atom(161, "12345"));
        const outcome seen = handset.ask(amt_handle_adb_serial_no, AMT_CHANNEL_APP, request);
        EXPECT_THAT(seen.answers(AMT_CHANNEL_APP), ElementsAre(adb_answer("KV42")));
        EXPECT_EQ(handset.content(k_adb_file), "KV42");
    });
}

TEST(AdbNumberRequest, ReadsWhatItWrote)
{
    in_child([] {
        const device_handset handset;
        handset.make_folder("/amt");
        const std::string number(99, 'x');
        EXPECT_EQ(handset.ask(amt_handle_adb_serial_no, AMT_CHANNEL_APP, write_adb(99, number)).result, ERR_NONE);
        EXPECT_THAT(handset.ask(amt_handle_adb_serial_no, AMT_CHANNEL_APP, k_read_adb).answers(AMT_CHANNEL_APP),
                    ElementsAre(adb_answer(number)));
    });
}

TEST(AdbNumberRequest, RefusesBadArguments)
{
    for (const uint8_t channel : k_both_channels_a) {
        expect_bad_arguments_refused(amt_handle_adb_serial_no, channel, k_read_adb);
    }
}

TEST(AdbNumberRequest, HasTheResultOfItsAnswer)
{
    const auto prepare = [](const device_handset &handset) { handset.put(k_adb_file, "KV42"); };
    expect_result_of_sending(amt_handle_adb_serial_no, k_read_adb, prepare);
    expect_result_of_sending(amt_handle_adb_serial_no, write_adb(5, "12345"), prepare);
}

} // namespace
