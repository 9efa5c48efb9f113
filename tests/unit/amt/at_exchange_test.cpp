#include "amt/modem/at-exchange.h"

#include <errno.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string.h>

#include <algorithm>
#include <string>

#include "pub/log/errors.h"
#include "tests/support/in_child.h"
#include "tests/support/test_log.h"
#include "tests/unit/amt/exchange.h"
#include "tests/unit/amt/links.h"
#include "tests/unit/amt/port_fakes.h"

namespace {

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

std::string answer_text()
{
    return g_at_rsp_buf.m_text_a;
}

// --- the command

TEST(AtPrepare, ForgetsTheLastCommandAndTheLastAnswer)
{
    in_child([] {
        memset(static_cast<void *>(&g_at_cmd_buf), 'x', sizeof(g_at_cmd_buf));
        memset(static_cast<void *>(&g_at_rsp_buf), 'x', sizeof(g_at_rsp_buf));
        amt_at_prepare("AT^X=%d,%s\r", -5, "abc");
        EXPECT_STREQ(g_at_cmd_buf.m_text_a, "AT^X=-5,abc\r");
        EXPECT_EQ(g_at_cmd_buf.m_length, 12U);
        EXPECT_EQ(std::string(g_at_cmd_buf.m_text_a + 12, AMT_AT_TEXT_SIZE - 12),
                  std::string(AMT_AT_TEXT_SIZE - 12, 0));
        EXPECT_EQ(g_at_rsp_buf.m_length, 0U);
        EXPECT_EQ(std::string(g_at_rsp_buf.m_text_a, AMT_AT_TEXT_SIZE), std::string(AMT_AT_TEXT_SIZE, 0));
    });
}

TEST(AtPrepare, CutsACommandBehind4095Characters)
{
    for (const uint32_t length : {4094U, 4095U, 4096U, 5000U}) {
        in_child([length] {
            amt_at_prepare("%s", std::string(length, 'x').c_str());
            EXPECT_EQ(g_at_cmd_buf.m_length, std::min(length, 4095U));
            EXPECT_EQ(std::string(g_at_cmd_buf.m_text_a), std::string(g_at_cmd_buf.m_length, 'x'));
        });
    }
}

TEST(AtSend, WritesThePreparedCommandOnce)
{
    in_child([] {
        (void)open_port();
        amt_at_prepare("AT\r");
        EXPECT_EQ(amt_at_send(), ERR_NONE);
        EXPECT_THAT(g_fake.written, ElementsAre("AT\r"));
        fail_write(EAGAIN);
        EXPECT_EQ(amt_at_send(), ERR_UNKNOWN);
    });
}

// --- the answer

TEST(AtReceive, ReadsBehindWhatHasComeBefore)
{
    in_child([] {
        (void)open_port();
        amt_at_prepare("AT\r");
        modem_says({"12345", "678"});
        EXPECT_EQ(amt_at_receive(), ERR_NONE);
        EXPECT_EQ(answer_text(), "12345");
        EXPECT_EQ(amt_at_receive(), ERR_NONE);
        EXPECT_EQ(answer_text(), "12345678");
        EXPECT_EQ(g_at_rsp_buf.m_length, 8U);
        EXPECT_THAT(g_fake.rooms, ElementsAre(4096U, 4091U));
        EXPECT_THAT(g_fake.pauses, IsEmpty());
        fail_read(EAGAIN);
        EXPECT_EQ(amt_at_receive(), ERR_UNKNOWN);
        EXPECT_EQ(g_at_rsp_buf.m_length, 8U);
    });
}

TEST(AtReceive, OfAFullAnswerIsRefused)
{
    in_child([] {
        (void)open_port();
        amt_at_prepare("AT\r");
        modem_says({std::string(4000, 'a'), std::string(95, 'b'), "c", k_ok});
        for (int i = 0; i < 3; i++) {
            EXPECT_EQ(amt_at_receive(), ERR_NONE);
        }
        EXPECT_EQ(g_at_rsp_buf.m_length, 4096U);
        EXPECT_EQ(answer_text().size(), 4096U) << "terminated behind its last byte";
        EXPECT_EQ(amt_at_receive(), ERR_INVALID_PARAM);
        EXPECT_THAT(g_fake.rooms, ElementsAre(4096U, 96U, 1U)) << "nothing is read without room";
    });
}

TEST(AtReceive, CountsZeroBytesButKeepsNone)
{
    in_child([] {
        (void)open_port();
        amt_at_prepare("AT\r");
        modem_says({std::string(4000, '\0'), std::string("a\0b", 3), std::string(93, '\0'), "c"});
        for (int i = 0; i < 3; i++) {
            EXPECT_EQ(amt_at_receive(), ERR_NONE);
        }
        EXPECT_EQ(answer_text(), "ab");
        EXPECT_EQ(g_at_rsp_buf.m_length, 2U);
        EXPECT_THAT(g_fake.rooms, ElementsAre(4096U, 96U, 93U));
        EXPECT_EQ(amt_at_receive(), ERR_INVALID_PARAM) << "4096 bytes have come";
        amt_at_prepare("AT\r");
        EXPECT_EQ(amt_at_receive(), ERR_NONE) << "the next answer has all the room again";
        EXPECT_EQ(answer_text(), "c");
    });
}

TEST(AtReceive, LeavesZeroBytesOutAsIfTheyHadNeverCome)
{
    in_child([] {
        (void)open_port();
        amt_at_prepare("AT\r");
        modem_says({std::string("\0\0\0\r\nO", 6), std::string("\0K\r\n", 4)});
        EXPECT_EQ(amt_at_receive(), ERR_NONE);
        EXPECT_EQ(g_at_rsp_buf.m_length, 3U);
        EXPECT_EQ(std::string(g_at_rsp_buf.m_text_a, AMT_AT_TEXT_SIZE),
                  "\r\nO" + std::string(AMT_AT_TEXT_SIZE - 3, '\0'))
            << "nothing of it stays behind the text";
        EXPECT_EQ(amt_at_receive(), ERR_NONE);
        EXPECT_EQ(answer_text(), k_ok) << "the next reading follows without a gap";
        EXPECT_EQ(g_at_rsp_buf.m_length, 6U);
        EXPECT_THAT(g_fake.rooms, ElementsAre(4096U, 4090U));
    });
}

// A device that gives nothing at once, and nothing again, would keep the processor busy otherwise.
TEST(AtReceive, OfNothingTakesAPause)
{
    in_child([] {
        (void)open_port();
        amt_at_prepare("AT\r");
        modem_says({"", "", k_ok});
        EXPECT_EQ(amt_at_exchange(nullptr), ERR_NONE);
        EXPECT_THAT(g_fake.pauses, ElementsAre(100U, 100U));
    });
}

struct verdict_row {
    const char *name;
    std::string text;
    bool is_ok;
    bool is_refused;
};

TEST(AtVerdict, IsLookedForInTheWholeAnswer)
{
    const verdict_row rows[] = {
        {"nothing", "", false, false},
        {"an OK", "\r\nOK\r\n", true, false},
        {"an OK behind lines", "\r\n^DGSN: 1\r\n\r\nOK\r\n", true, false},
        {"an OK before lines", "\r\nOK\r\n\r\nRING\r\n", true, false},
        {"an OK without its beginning", "OK\r\n", false, false},
        {"an OK without its end", "\r\nOK\r", false, false},
        {"an OK without its line", "\r\nBOOK\r\n", false, false},
        {"an OK in small letters", "\r\nok\r\n", false, false},
        {"an error", "\r\nERROR\r\n", false, true},
        {"an error without its end", "\r\nERROR\r", false, false},
        {"an error without its beginning", "ERROR\r\n", false, false},
        {"an error of the equipment", "\r\n+CME ERROR: 10\r\n", false, true},
        {"the beginning of one", "\r\n+CME ERROR", false, true},
        {"less than the beginning", "\r\n+CME ERRO", false, false},
        {"an error of a message", "\r\n+CMS ERROR: 500\r\n", false, true},
        {"the beginning of that", "\r\n+CMS ERROR", false, true},
        {"another error", "\r\n+CMT ERROR: 1\r\n", false, false},
        {"both", "\r\nERROR\r\n\r\nOK\r\n", true, true},
        {"behind a zero byte", std::string("\r\n\0\r\nOK\r\n", 9), true, false},
        {"among zero bytes", std::string("\0\0\r\n\0E\0RROR\r\n\0", 14), false, true},
    };
    for (const verdict_row &row : rows) {
        in_child([&row] {
            (void)open_port();
            amt_at_prepare("AT\r");
            modem_says({row.text});
            (void)amt_at_receive();
            EXPECT_EQ(amt_at_is_ok(), row.is_ok) << row.name;
            EXPECT_EQ(amt_at_is_refused(), row.is_refused) << row.name;
        });
    }
}

// --- all of it

TEST(AtExchange, IsOverWithTheFirstOk)
{
    in_child([] {
        (void)open_port();
        amt_at_prepare("AT^X\r");
        modem_says({"\r\n^X: 1\r\n", "\r\nOK\r\n", "\r\nnever read\r\n"});
        EXPECT_EQ(amt_at_exchange(nullptr), ERR_NONE);
        EXPECT_THAT(g_fake.written, ElementsAre("AT^X\r"));
        EXPECT_EQ(answer_text(), "\r\n^X: 1\r\n\r\nOK\r\n");
    });
}

TEST(AtExchange, IsOverWithEachRefusal)
{
    for (const refusal_row &row : k_refusals) {
        for (const bool is_second : {false, true}) {
            in_child([&row, is_second] {
                (void)open_port();
                amt_at_prepare("AT^X\r");
                modem_says(is_second ? std::vector<std::string>{"\r\n^X: 1", row.text, k_ok}
                                     : std::vector<std::string>{row.text, k_ok});
                EXPECT_EQ(amt_at_exchange(nullptr), ERR_UNKNOWN) << row.name;
                EXPECT_EQ(g_fake.readings.size(), 1U) << row.name << ": nothing more is read";
            });
        }
    }
}

TEST(AtExchange, WithAnOkBesideARefusalSucceeds)
{
    for (const char *text : {"\r\nERROR\r\n\r\nOK\r\n", "\r\nOK\r\n\r\n+CME ERROR: 3\r\n"}) {
        in_child([text] {
            (void)open_port();
            amt_at_prepare("AT^X\r");
            modem_says({text});
            EXPECT_EQ(amt_at_exchange(nullptr), ERR_NONE) << text;
        });
    }
}

TEST(AtExchange, MayHaveARefusalCountFirst)
{
    for (const char *text : {"\r\nERROR\r\n\r\nOK\r\n", "\r\nOK\r\n\r\n+CME ERROR: 3\r\n"}) {
        in_child([text] {
            (void)open_port();
            amt_at_prepare("AT^X\r");
            modem_says({text});
            EXPECT_EQ(amt_at_exchange(nullptr, amt_at_first::refusal), ERR_UNKNOWN) << text;
        });
    }
    in_child([] {
        (void)open_port();
        amt_at_prepare("AT^X\r");
        modem_says({k_ok});
        EXPECT_EQ(amt_at_exchange(nullptr, amt_at_first::refusal), ERR_NONE);
    });
}

TEST(AtExchange, CollectsAnAnswerInAnyPieces)
{
    const std::string text = "\r\n^X: 1,2\r\n\r\nOK\r\n";
    std::vector<std::vector<std::string>> ways = split_everywhere(text);
    ways.push_back(bytewise(text));
    for (const std::vector<std::string> &pieces : ways) {
        in_child([&] {
            (void)open_port();
            amt_at_prepare("AT^X\r");
            modem_says(pieces);
            EXPECT_EQ(amt_at_exchange(nullptr), ERR_NONE) << pieces[0].size();
            EXPECT_EQ(answer_text(), text) << pieces[0].size();
        });
    }
}

TEST(AtExchange, FailsAsItsStepsDo)
{
    in_child([] {
        (void)open_port();
        amt_at_prepare("AT\r");
        fail_write(EAGAIN);
        EXPECT_EQ(amt_at_exchange(nullptr), ERR_UNKNOWN);
        EXPECT_THAT(g_fake.rooms, IsEmpty()) << "what was not asked has no answer";
        modem_says({"\r\n"});
        fail_read(EAGAIN);
        EXPECT_EQ(amt_at_exchange(nullptr), ERR_UNKNOWN);
        amt_at_prepare("AT\r");
        modem_says({std::string(4096, 'x')});
        EXPECT_EQ(amt_at_exchange(nullptr), ERR_INVALID_PARAM) << "4096 bytes without a verdict";
        amt_at_prepare("AT\r");
        fail_write(EIO);
        g_fake.openings = std::deque<int>(30, ENOENT);
        EXPECT_EQ(amt_at_exchange(nullptr), ERR_C_FUNCTION);
        g_fake.rooms.clear();
        EXPECT_EQ(amt_at_exchange(nullptr), ERR_UNKNOWN) << "the port is closed now";
        EXPECT_THAT(g_fake.rooms, IsEmpty());
        EXPECT_FALSE(g_fake.is_standard_input_used);
    });
}

TEST(AtExchange, OfAPortThatIsGoneBetweenCommandAndAnswerFails)
{
    in_child([] {
        (void)open_port();
        amt_at_prepare("AT\r");
        fail_read(EIO);
        g_fake.openings = std::deque<int>(30, ENOENT);
        EXPECT_EQ(amt_at_exchange(nullptr), ERR_C_FUNCTION);
        EXPECT_EQ(amt_at_receive(), ERR_UNKNOWN);
        EXPECT_FALSE(g_fake.is_standard_input_used);
    });
}

TEST(AtExchange, IsToldUnderTheNameOfItsCaller)
{
    in_child([] {
        (void)open_port();
        const test_log log;
        amt_at_prepare("AT\r");
        modem_says({"^X", "^Y\r\nOK\r\n"});
        EXPECT_EQ(amt_at_exchange("who_asks"), ERR_NONE);
        EXPECT_THAT(log.text(), HasSubstr(" | who_asks :^X\n"));
        EXPECT_THAT(log.text(), HasSubstr(" | who_asks :^X^Y\r\nOK\r\n\n")) << "the whole of it each time";
    });
    in_child([] {
        (void)open_port();
        const test_log log;
        amt_at_prepare("AT\r");
        modem_says({"^X"});
        fail_read(EAGAIN);
        EXPECT_EQ(amt_at_exchange("who_asks"), ERR_UNKNOWN);
        EXPECT_THAT(log.text(), HasSubstr("who_asks :^X\n"));
        EXPECT_EQ(log.text().find("who_asks"), log.text().rfind("who_asks"))
            << "a failed reading brings nothing to tell";
    });
    in_child([] {
        (void)open_port();
        const test_log log;
        amt_at_prepare("AT\r");
        modem_says({k_ok});
        EXPECT_EQ(amt_at_exchange(nullptr), ERR_NONE);
        EXPECT_THAT(log.records(), Each(Not(HasSubstr(" :\r"))));
    });
}

// --- values

struct value_row {
    const char *name;
    std::string answer;
    bool is_found;
    std::string value;
    bool ends_its_line;
};

TEST(AtValue, StandsBetweenItsPrefixAndTheOk)
{
    const value_row rows[] = {
        {"usual", "\r\n^V: 357\r\n\r\nOK\r\n", true, "357", true},
        {"without a blank", "\r\n^V:357\r\n\r\nOK\r\n", true, "357", true},
        {"with many", "\r\n^V:   357\r\n\r\nOK\r\n", true, "357", true},
        {"blanks inside and behind", "\r\n^V: 3 7  \r\n\r\nOK\r\n", true, "3 7  ", true},
        {"a tab", "\r\n^V:\t3\r\n\r\nOK\r\n", true, "\t3", true},
        {"more line ends", "\r\n^V: 3\r\n\r\n\r\n\r\nOK\r\n", true, "3", true},
        {"several lines", "\r\n^V: 3\r\n4\r\n\r\nOK\r\n", true, "3\r\n4", true},
        {"its line not ended", "\r\n^V: 3\r\nOK\r\n", true, "3", false},
        {"ended by half a line end", "\r\n^V: 3\n\r\nOK\r\n", true, "3\n", false},
        {"ended by the other half", "\r\n^V: 3\r\r\nOK\r\n", true, "3\r", false},
        {"a bare line feed within", "\r\n^V: 3\n\r\n\r\nOK\r\n", true, "3\n", true},
        {"empty", "\r\n^V:\r\n\r\nOK\r\n", true, "", true},
        {"empty behind blanks", "\r\n^V:  \r\n\r\nOK\r\n", true, "", true},
        {"empty in several lines", "\r\n^V:\r\n\r\n\r\n\r\nOK\r\n", true, "", true},
        {"empty, its line not ended", "\r\n^V:\r\nOK\r\n", true, "", false},
        {"one character of a line end", "\r\n^V:\n\r\nOK\r\n", true, "\n", false},
        {"behind an echo", "AT^V\r\r\n^V: 3\r\n\r\nOK\r\n", true, "3", true},
        {"the first of two", "\r\n^V: 3\r\n\r\n^V: 4\r\n\r\nOK\r\n", true, "3\r\n\r\n^V: 4", true},
        {"the first OK of two", "\r\n^V: 3\r\n\r\nOK\r\n\r\nOK\r\n", true, "3", true},
        {"another prefix", "\r\n^W: 3\r\n\r\nOK\r\n", false, "", false},
        {"a prefix within a line", "x^V: 3\r\n\r\nOK\r\n", false, "", false},
        {"no OK", "\r\n^V: 3\r\n", false, "", false},
        {"behind the OK", "\r\nOK\r\n\r\n^V: 3\r\n", false, "", false},
        {"behind the OK, and another", "\r\nOK\r\n\r\n^V: 3\r\n\r\nOK\r\n", false, "", false},
        {"nothing at all", "", false, "", false},
    };
    for (const value_row &row : rows) {
        in_child([&row] {
            amt_at_prepare("AT\r");
            memcpy(g_at_rsp_buf.m_text_a, row.answer.data(), row.answer.size());
            amt_at_value value = {};
            EXPECT_EQ(amt_at_find_value("\r\n^V:", &value), row.is_found) << row.name;
            if (row.is_found) {
                EXPECT_EQ(std::string(value.m_text, value.m_length), row.value) << row.name;
                EXPECT_EQ(value.m_ends_its_line, row.ends_its_line) << row.name;
            }
            char text[8] = "#######";
            const bool is_copied = row.is_found && row.ends_its_line && row.value.size() <= 6;
            EXPECT_EQ(amt_at_copy_value("\r\n^V:", 6, text), is_copied) << row.name;
            EXPECT_EQ(std::string(text), is_copied ? row.value : "#######") << row.name;
        });
    }
}

TEST(AtValue, IsCopiedUpToItsLimit)
{
    for (const size_t length : {5U, 6U, 7U, 4000U}) {
        in_child([length] {
            amt_at_prepare("AT\r");
            const std::string answer = "\r\n^V: " + std::string(length, 'v') + "\r\n\r\nOK\r\n";
            memcpy(g_at_rsp_buf.m_text_a, answer.data(), answer.size());
            char text[9] = "########";
            EXPECT_EQ(amt_at_copy_value("\r\n^V: ", 6, text), length <= 6);
            EXPECT_EQ(std::string(text), length <= 6 ? std::string(length, 'v') : "########");
            EXPECT_EQ(text[7], '#') << "one byte behind the limit is its own, for the terminator";
        });
    }
}

TEST(AtHexDigit, IsOneOf22Characters)
{
    const std::string digits = "0123456789abcdefABCDEF";
    for (int character = 0; character < 256; character++) {
        const size_t at = character == 0 ? std::string::npos : digits.find(static_cast<char>(character));
        const int expected = at == std::string::npos ? -1 : static_cast<int>(at < 16 ? at : at - 6);
        EXPECT_EQ(amt_at_hex_digit(static_cast<char>(character)), expected) << character;
    }
}

// --- before it

TEST(AtCheck, RefusesWithoutAModemAndSaysSo)
{
    in_child([] {
        const test_log log;
        amt_buffer request = buffer_with("0600bb010000");
        amt_buffer response = {};
        g_at_dev_not_opened = 0;
        EXPECT_EQ(amt_at_check_modem(), ERR_NONE);
        EXPECT_EQ(amt_at_check_request(AMT_CHANNEL_APP, &request, &response, LOG_HERE), ERR_NONE);
        EXPECT_THAT(log.records(), IsEmpty());
        g_at_dev_not_opened = 1;
        EXPECT_EQ(amt_at_check_modem(), ERR_NOT_READY);
        EXPECT_EQ(amt_at_check_request(AMT_CHANNEL_APP, &request, &response, LOG_HERE), ERR_NOT_READY);
        EXPECT_EQ(amt_at_check_request(255, &request, &response, LOG_HERE), ERR_INVALID_PARAM)
            << "the arguments come first";
        EXPECT_THAT(log.records(), ElementsAre("warning | no CP.", "warning | no CP.", k_bad_argument + "1, 0, 0, 0"));
    });
}

} // namespace
