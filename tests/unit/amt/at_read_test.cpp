// The answers of the AT port; its commands are tested in at_channel_test.cpp.
#include <errno.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stddef.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "amt/modem/at-channel.h"
#include "pub/log/errors.h"
#include "tests/support/in_child.h"
#include "tests/support/test_log.h"
#include "tests/unit/amt/port_fakes.h"

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

// What read_at brings: its result, the bytes and their count, in a place of exactly that size.
struct read_result {
    int32_t code;
    std::string bytes;
    uint32_t length;
};

read_result read_into(uint32_t room)
{
    read_result result = {0, "", 77};
    std::vector<char> place(room, '#');
    result.code = read_at(place.data(), room, &result.length);
    result.bytes.assign(place.begin(), place.end());
    return result;
}

TEST(ReadAt, BringsWhatHasComeAndTellsSo)
{
    in_child([] {
        (void)open_port();
        const test_log log;
        modem_says({k_ok});
        read_result result = {};
        const std::string output = output_of([&] { result = read_into(20); });
        EXPECT_EQ(result.code, ERR_NONE);
        EXPECT_EQ(result.length, 6U);
        EXPECT_EQ(result.bytes, k_ok + std::string(14, '#')) << "not terminated";
        EXPECT_THAT(g_fake.rooms, ElementsAre(20U));
        EXPECT_EQ(output, "[kv-zep-amt]read_at\n[kv-zep-amt]read_at return:\r\nOK\r\n\n");
        EXPECT_THAT(log.text(), HasSubstr("| read_at read_len_ptr[6] buf_ptr[\r\nOK\r\n]\n"));
        EXPECT_THAT(log.records(), Contains("at cmd | receive   <CR><LF>OK<CR><LF>"));
    });
}

TEST(ReadAt, TakesNoMoreThanThereIsRoomFor)
{
    in_child([] {
        (void)open_port();
        modem_says({"123456789"});
        read_result result = read_into(5);
        EXPECT_EQ(result.code, ERR_NONE);
        EXPECT_EQ(result.bytes, "12345") << "full, and nothing is looked for behind it";
        EXPECT_EQ(result.length, 5U);
        result = read_into(5);
        EXPECT_EQ(result.bytes, "6789#");
        EXPECT_EQ(result.length, 4U);
        EXPECT_THAT(g_fake.rooms, ElementsAre(5U, 5U)) << "one read each";
    });
}

// A tty that hangs up between two readings says so by giving nothing, again and again.
TEST(ReadAt, OfAPortThatHasHungUpOpensItAgain)
{
    in_child([] {
        const int fd = open_port();
        g_fake.has_hung_up = true;
        modem_says({"", k_ok, "\r\nRING\r\n"}); // the second is the modem's word on its reports
        const read_result result = read_into(20);
        EXPECT_EQ(result.code, ERR_NONE);
        EXPECT_EQ(result.bytes.substr(0, 8), "\r\nRING\r\n");
        EXPECT_EQ(g_fake.opening_flags.size(), 1U);
        EXPECT_EQ(handle_context_st.m_fd_at, fd) << "the lowest that is free";
        EXPECT_THAT(g_fake.written, ElementsAre(k_disable));
    });
}

TEST(ReadAt, OfNothingIsASuccess)
{
    in_child([] {
        (void)open_port();
        const test_log log;
        modem_says({""});
        read_result result = {};
        const std::string output = output_of([&] { result = read_into(20); });
        EXPECT_EQ(result.code, ERR_NONE);
        EXPECT_EQ(result.length, 0U);
        EXPECT_EQ(output, "[kv-zep-amt]read_at\n[kv-zep-amt]read_at return:\n");
        EXPECT_THAT(log.records(), ElementsAre("func | ", "info | read_at read_len_ptr[0] buf_ptr[]",
                                               "at cmd | (sfw log error: empty at)"));
    });
}

TEST(ReadAt, WithoutAPlaceOrRoomLeavesThePortAlone)
{
    in_child([] {
        (void)open_port();
        const test_log log;
        modem_says({k_ok});
        char text[20] = "#";
        uint32_t length = 0;
        const std::string output = output_of([&] {
            EXPECT_EQ(read_at(nullptr, 20, &length), ERR_INVALID_PARAM);
            EXPECT_EQ(read_at(text, 0, &length), ERR_INVALID_PARAM);
            EXPECT_EQ(read_at(text, 20, nullptr), ERR_INVALID_PARAM);
            EXPECT_EQ(read_at(nullptr, 0, nullptr), ERR_INVALID_PARAM);
        });
        EXPECT_THAT(g_fake.rooms, IsEmpty());
        EXPECT_STREQ(text, "#");
        EXPECT_EQ(output, "");
        EXPECT_THAT(log.records(),
                    ElementsAre("func | ", k_bad_argument + "1, 0, 0", "func | ", k_bad_argument + "0, 1, 0", "func | ",
                                k_bad_argument + "0, 0, 1", "func | ", k_bad_argument + "1, 1, 1"));
    });
}

TEST(ReadAt, FailsWhenThePortCannotBeRead)
{
    for (const int error : {EAGAIN, EBADF, ENXIO}) {
        in_child([error] {
            (void)open_port();
            const test_log log;
            fail_read(error);
            read_result result = {};
            const std::string output = output_of([&] { result = read_into(20); });
            EXPECT_EQ(result.code, ERR_UNKNOWN);
            EXPECT_EQ(result.length, 0U);
            EXPECT_EQ(result.bytes, std::string(20, '#'));
            EXPECT_THAT(g_fake.opening_flags, IsEmpty()) << "no reopening for errno " << error;
            EXPECT_EQ(output, "[kv-zep-amt]read_at\n[kv-zep-amt]read_at return:\n");
            EXPECT_THAT(log.records(), ElementsAre("func | ", "info | read_at read_len_ptr[-1] buf_ptr[]",
                                                   k_failed + "read_at ret_val[-100]"));
        });
    }
}

TEST(ReadAt, ReopensThePortOfAModemThatWentAwayAndReadsAgain)
{
    for (const uint32_t is_not_opened : {0U, 1U}) {
        in_child([is_not_opened] {
            (void)open_port();
            g_at_dev_not_opened = is_not_opened; // makes no difference to the reader
            const test_log log;
            fail_read(EIO);
            modem_says({k_ok, "\r\n^DGSN: 1"});
            const read_result result = read_into(20);
            EXPECT_EQ(result.code, ERR_NONE);
            EXPECT_EQ(result.bytes, "\r\n^DGSN: 1" + std::string(10, '#'));
            EXPECT_EQ(result.length, 10U);
            EXPECT_THAT(g_fake.written, ElementsAre(k_disable)) << "the command is not sent again";
            EXPECT_THAT(g_fake.descriptors, ElementsAre(handle_context_st.m_fd_at.load()));
            EXPECT_EQ(g_fake.opening_flags.front() & O_ACCMODE, O_RDWR);
            const std::string device = std::string("device \"") + k_port_path + "\"";
            EXPECT_THAT(log.records(),
                        ElementsAre("func | ", "info | read_at read_len_ptr[-1] buf_ptr[]",
                                    k_failed_call + "read_at ret_val[-118]", "func | ",
                                    "info | begin to check if can open " + device, "info | (0/30)try to open " + device,
                                    "info | open " + device + " successfully", "func | ",
                                    "at cmd | receive   <CR><LF>^DGSN: 1"));
        });
    }
}

TEST(ReadAt, GoesByTheErrorOfThePortWhateverTheConsoleSays)
{
    in_child([] {
        (void)open_port();
        fail_read(EIO);
        modem_says({k_ok, "\r\nRING\r\n"});
        read_result result = {};
        {
            const full_console console;
            result = read_into(20);
        }
        EXPECT_EQ(result.code, ERR_NONE);
        EXPECT_EQ(result.length, 8U);
    });
}

TEST(ReadAt, IsContentWithOneByteOfTheSecondRead)
{
    in_child([] {
        (void)open_port();
        fail_read(EIO);
        modem_says({k_ok, "\r"});
        const read_result result = read_into(20);
        EXPECT_EQ(result.code, ERR_NONE);
        EXPECT_EQ(result.length, 1U);
    });
}

TEST(ReadAt, FailsWhenTheSecondReadBringsNothing)
{
    for (const int error : {0, EAGAIN, EIO}) {
        in_child([error] {
            (void)open_port();
            const test_log log;
            fail_read(EIO);
            modem_says({k_ok});
            fail_read(error);
            const read_result result = read_into(20);
            EXPECT_EQ(result.code, ERR_UNKNOWN) << error;
            EXPECT_EQ(result.length, 0U) << error;
            EXPECT_EQ(g_fake.opening_flags.size(), 1U) << "reopened once only";
            EXPECT_THAT(log.records(), Not(Contains(HasSubstr("at cmd"))));
        });
    }
}

TEST(ReadAt, GivesUpAModemThatStaysAwayOrSilent)
{
    in_child([] {
        (void)open_port();
        fail_read(EIO);
        g_fake.openings = std::deque<int>(31, ENOENT);
        const read_result result = read_into(20);
        EXPECT_EQ(result.code, ERR_C_FUNCTION);
        EXPECT_EQ(result.length, 0U);
        EXPECT_EQ(g_fake.pauses.size(), 30U);
        EXPECT_EQ(handle_context_st.m_fd_at, 0);
    });
    in_child([] {
        (void)open_port();
        fail_read(EIO);
        EXPECT_EQ(read_into(20).code, ERR_TIMEOUT);
        EXPECT_THAT(g_fake.rooms, ElementsAre(20U)) << "no second read";
    });
}

static_assert(offsetof(amt_at_record, m_end) == offsetof(amt_at_record, m_text_a) + AMT_AT_TEXT_SIZE,
              "a text search in the record must stop right behind it");

TEST(ReadAt, RefusesAnAnswerThatNeverEnds)
{
    in_child([] {
        (void)open_port();
        modem_says({std::string(5000, 'x')});
        g_at_rsp_buf = {};
        EXPECT_EQ(read_at(g_at_rsp_buf.m_text_a, AMT_AT_TEXT_SIZE, &g_at_rsp_buf.m_length), ERR_NONE);
        EXPECT_EQ(g_at_rsp_buf.m_length, AMT_AT_TEXT_SIZE);
        EXPECT_EQ(g_at_rsp_buf.m_end, '\0') << "a search in it still ends";
        uint32_t count = 0;
        EXPECT_EQ(read_at(g_at_rsp_buf.m_text_a + AMT_AT_TEXT_SIZE, AMT_AT_TEXT_SIZE - g_at_rsp_buf.m_length, &count),
                  ERR_INVALID_PARAM);
    });
}

} // namespace
