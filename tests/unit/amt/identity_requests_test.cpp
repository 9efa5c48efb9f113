#include "amt/identity/identity-requests.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <string>
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

const std::string k_sn_file = "/amt/sn-2.txt";
const std::string k_read_sn = message_of(193, bytes_atom(190, "\x01"));

std::string write_sn(const std::string &number)
{
    return message_of(193, bytes_atom(190, "\x02") + text_atom(191, number));
}

std::string sn_answer(const std::string &number)
{
    return message_of(194, text_atom(191, number) + int_atom(1, 0));
}

constexpr char k_written[] = "0f00bbc20900ee01010400" // command 194, an int atom 1 of 4 bytes
                             "00000000";
constexpr char k_sn_reading[] = "info | pcba op-type: 1.";
constexpr char k_sn_writing[] = "info | pcba op-type: 2.";

TEST(BoardNumberRequest, ReadsTheNumber)
{
    for (const uint8_t channel : {uint8_t{AMT_CHANNEL_PC}, uint8_t{AMT_CHANNEL_APP}, uint8_t{7}}) {
        in_child([channel] {
            SCOPED_TRACE(static_cast<int>(channel));
            const device_handset handset;
            handset.put(k_sn_file, "12345");
            const outcome seen = handset.ask(amt_handle_board_pcba_ctrl, channel, k_read_sn);
            EXPECT_EQ(seen.result, ERR_NONE);
            EXPECT_THAT(seen.answers(channel), ElementsAre(answer_on(channel, "1900bbc21300ee"
                                                                              "bf0205003132333435ee01010400"
                                                                              "00000000")));
            EXPECT_THAT(seen.events, ElementsAreArray(reading_of(k_sn_file) + steps{"send"}));
            EXPECT_THAT(seen.told,
                        ElementsAre(k_sn_reading, "info | read pcba-sn: 12345", "info | readed pcba-sn: 12345."));
            EXPECT_TRUE(seen.is_response_clear);
        });
    }
}

struct text_row {
    const char *name;
    std::string given;
    std::string kept;
};

TEST(BoardNumberRequest, TellsUpTo29CharactersOfTheFirstLine)
{
    const text_row rows[] = {
        {"one character", "1", "1"},
        {"29 characters", std::string(29, 'x'), std::string(29, 'x')},
        {"30 characters", std::string(30, 'x'), std::string(29, 'x')},
        {"200 characters", std::string(200, 'x'), std::string(29, 'x')},
        {"with its line end", "1234\n", "1234\n"},
        {"two lines", "1234\n5678", "1234\n"},
        {"a line end behind the 29th", std::string(29, 'x') + "\n", std::string(29, 'x')},
    };
    for (const text_row &row : rows) {
        in_child([&row] {
            SCOPED_TRACE(row.name);
            const device_handset handset;
            handset.put(k_sn_file, row.given);
            const outcome seen = handset.ask(amt_handle_board_pcba_ctrl, AMT_CHANNEL_APP, k_read_sn);
            EXPECT_EQ(seen.result, ERR_NONE);
            EXPECT_THAT(seen.answers(AMT_CHANNEL_APP), ElementsAre(sn_answer(row.kept)));
        });
    }
}

TEST(BoardNumberRequest, SaysNothingOfANumberThatCannotBeRead)
{
    in_child([] {
        const device_handset handset;
        const outcome missing = handset.ask(amt_handle_board_pcba_ctrl, AMT_CHANNEL_PC, k_read_sn);
        EXPECT_EQ(missing.result, ERR_UNKNOWN);
        expect_nothing_sent(missing);
        EXPECT_THAT(missing.events, ElementsAre("read " + k_sn_file));
        EXPECT_THAT(missing.told,
                    ElementsAre(k_sn_reading,
                                k_failed_call + "open(\"/amt/sn-2.txt\") fail: 2 - No such file or directory",
                                k_failed + "read error."));
        handset.put(k_sn_file, "");
        const outcome empty = handset.ask(amt_handle_board_pcba_ctrl, AMT_CHANNEL_PC, k_read_sn);
        EXPECT_EQ(empty.result, ERR_UNKNOWN);
        expect_nothing_sent(empty);
        EXPECT_THAT(empty.events, ElementsAreArray(reading_of(k_sn_file)));
        EXPECT_THAT(empty.told,
                    ElementsAre(k_sn_reading, k_failed_call + "read fail: 0 - No error", k_failed + "read error."));
    });
}

TEST(BoardNumberRequest, WritesTheNumber)
{
    for (const uint8_t channel : {uint8_t{AMT_CHANNEL_PC}, uint8_t{AMT_CHANNEL_APP}, uint8_t{7}}) {
        in_child([channel] {
            SCOPED_TRACE(static_cast<int>(channel));
            const device_handset handset;
            handset.put(k_sn_file, "an older and longer one\n");
            const ino_t inode = inode_of(handset, k_sn_file);
            const outcome seen = handset.ask(amt_handle_board_pcba_ctrl, channel, write_sn("12345"));
            EXPECT_EQ(seen.result, ERR_NONE);
            EXPECT_THAT(seen.answers(channel), ElementsAre(answer_on(channel, result_of(194, 0))));
            EXPECT_EQ(handset.content(k_sn_file), "12345");
            EXPECT_EQ(inode_of(handset, k_sn_file), inode);
            EXPECT_THAT(seen.events, ElementsAreArray(writing_of(k_sn_file) + steps{"send"}))
                << "answered when the disk has it";
            EXPECT_THAT(seen.told,
                        ElementsAre(k_sn_writing, "info | getted pcba-sn: 12345.", "info | write pcba-sn: 12345",
                                    "info | Writed to file success.pcba-sn: 12345."));
            EXPECT_TRUE(seen.is_response_clear);
        });
    }
}

TEST(BoardNumberRequest, KeepsUpTo30CharactersAnd29OfMore)
{
    const text_row rows[] = {
        {"one character", "1", "1"},
        {"29 characters", std::string(29, 'x'), std::string(29, 'x')},
        {"30 characters", std::string(29, 'x') + "y", std::string(29, 'x') + "y"},
        {"31 characters", std::string(31, 'x'), std::string(29, 'x')},
        {"1000 characters", std::string(1000, 'x'), std::string(29, 'x')},
        {"up to a zero byte", std::string("12\0003", 4), "12"},
        {"with a format", "%s%n", "%s%n"},
        {"with a line end", "12\n", "12\n"},
    };
    for (const text_row &row : rows) {
        in_child([&row] {
            SCOPED_TRACE(row.name);
            const device_handset handset;
            handset.make_folder("/amt");
            const outcome seen = handset.ask(amt_handle_board_pcba_ctrl, AMT_CHANNEL_APP, write_sn(row.given));
            EXPECT_EQ(seen.result, ERR_NONE);
            EXPECT_THAT(seen.answers(AMT_CHANNEL_APP), ElementsAre(k_written));
            EXPECT_EQ(handset.content(k_sn_file), row.kept);
        });
    }
}

// Leaves something where the next call has its variables.
__attribute__((noinline)) void litter_stack()
{
    volatile char litter[4096];
    std::fill(std::begin(litter), std::end(litter), 'd');
}

TEST(BoardNumberRequest, EndsANumberThatFillsItsStore)
{
    in_child([] {
        const device_handset handset;
        handset.make_folder("/amt");
        const amt_buffer request = buffer_with(write_sn(std::string(30, 'x')));
        amt_buffer response = {};
        const outcome seen = handset.watch([&] {
            litter_stack();
            return amt_handle_board_pcba_ctrl(AMT_CHANNEL_APP, &request, &response);
        });
        EXPECT_EQ(seen.result, ERR_NONE);
        EXPECT_EQ(handset.content(k_sn_file), std::string(30, 'x'));
    });
}

struct request_row {
    const char *name;
    std::string request;
};

TEST(BoardNumberRequest, WithoutANumberWritesNothing)
{
    const std::string writing = bytes_atom(190, "\x02");
    const request_row rows[] = {
        {"no atom of it", message_of(193, writing)},
        {"an empty one", message_of(193, writing + text_atom(191, ""))},
        {"a zero byte", message_of(193, writing + text_atom(191, std::string(1, '\0')))},
        {"in another atom", message_of(193, writing + text_atom(192, "12345"))},
        {"cut short", message_of(193, writing + "eebf020500313233")},
    };
    for (const request_row &row : rows) {
        in_child([&row] {
            SCOPED_TRACE(row.name);
            const device_handset handset;
            handset.put(k_sn_file, "old");
            const outcome seen = handset.ask(amt_handle_board_pcba_ctrl, AMT_CHANNEL_PC, row.request);
            EXPECT_EQ(seen.result, ERR_UNKNOWN);
            expect_nothing_sent(seen);
            EXPECT_EQ(handset.content(k_sn_file), "old");
            EXPECT_THAT(seen.events, IsEmpty());
            EXPECT_THAT(seen.told, ElementsAre(k_sn_writing, "info | getted pcba-sn: .", k_bad_argument + "0, 1",
                                               k_failed + "write error."));
        });
    }
}

TEST(BoardNumberRequest, SaysNothingOfANumberThatCannotBeWritten)
{
    in_child([] {
        const device_handset handset;
        const outcome seen = handset.ask(amt_handle_board_pcba_ctrl, AMT_CHANNEL_PC, write_sn("12345"));
        EXPECT_EQ(seen.result, ERR_UNKNOWN);
        expect_nothing_sent(seen);
        EXPECT_THAT(seen.events, ElementsAre("read and write " + k_sn_file));
        EXPECT_THAT(seen.told,
                    ElementsAre(k_sn_writing, "info | getted pcba-sn: 12345.",
                                k_failed_call + "open(\"/amt/sn-2.txt\") fail: 2 - No such file or directory",
                                k_failed + "write error."));
    });
    for (const write_failure &row : k_write_failures) {
        in_child([&row] {
            SCOPED_TRACE(row.name);
            const device_handset handset;
            handset.make_folder("/amt");
            fail_writing(k_sn_file, row);
            const outcome seen = handset.ask(amt_handle_board_pcba_ctrl, AMT_CHANNEL_PC, write_sn("12345"));
            EXPECT_EQ(seen.result, ERR_UNKNOWN);
            expect_nothing_sent(seen);
            EXPECT_THAT(seen.events, ElementsAreArray(writing_of(k_sn_file)));
            EXPECT_THAT(seen.told, ElementsAre(k_sn_writing, "info | getted pcba-sn: 12345.",
                                               k_failed_call + "fputs fail: " + row.told, k_failed + "write error."));
        });
    }
}

struct operation_row {
    const char *name;
    std::string atoms;
    const char *told;
};

TEST(BoardNumberRequest, KnowsNoOtherOperation)
{
    const operation_row rows[] = {
        {"none", "", "0"},
        {"0", bytes_atom(190, std::string(1, '\0')), "0"},
        {"3", bytes_atom(190, "\x03"), "3"},
        {"255", bytes_atom(190, "\xff"), "255"},
        {"an empty one", bytes_atom(190, ""), "0"},
        {"3, and a 1 behind it", bytes_atom(190, "\x03\x01"), "3"},
        {"cut short", "eebe030200" + hex_of("\x01"), "0"},
        {"a 1 in another atom", bytes_atom(189, "\x01"), "0"},
    };
    for (const operation_row &row : rows) {
        in_child([&row] {
            SCOPED_TRACE(row.name);
            const device_handset handset;
            handset.put(k_sn_file, "old");
            const outcome seen = handset.ask(amt_handle_board_pcba_ctrl, AMT_CHANNEL_PC, message_of(193, row.atoms));
            EXPECT_EQ(seen.result, ERR_INVALID_PARAM);
            expect_nothing_sent(seen);
            EXPECT_THAT(seen.events, IsEmpty());
            EXPECT_THAT(seen.told, ElementsAre(std::string("info | pcba op-type: ") + row.told + ".",
                                               k_bad_argument + "unknown operation type: " + row.told));
        });
    }
}

TEST(BoardNumberRequest, TakesTheFirstByteOfTheOperation)
{
    in_child([] {
        const device_handset handset;
        handset.put(k_sn_file, "12345");
        const outcome seen = handset.ask(amt_handle_board_pcba_ctrl, AMT_CHANNEL_APP,
                                         message_of(193, bytes_atom(190, std::string("\x01\x02", 2))));
        EXPECT_THAT(seen.answers(AMT_CHANNEL_APP), ElementsAre(sn_answer("12345")));
    });
}

TEST(BoardNumberRequest, RefusesBadArguments)
{
    for (const uint8_t channel : k_both_channels_a) {
        expect_bad_arguments_refused(amt_handle_board_pcba_ctrl, channel, k_read_sn);
    }
}

TEST(BoardNumberRequest, HasTheResultOfItsAnswer)
{
    const auto prepare = [](const device_handset &handset) { handset.put(k_sn_file, "12345"); };
    expect_result_of_sending(amt_handle_board_pcba_ctrl, k_read_sn, prepare);
    expect_result_of_sending(amt_handle_board_pcba_ctrl, write_sn("12345"), prepare);
}

} // namespace
