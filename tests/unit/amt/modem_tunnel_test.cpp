#include "amt/modem/modem-tunnel.h"

#include <errno.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "amt/modem/at-channel.h"
#include "pub/log/errors.h"
#include "tests/support/in_child.h"
#include "tests/support/test_log.h"
#include "tests/unit/amt/exchange.h"
#include "tests/unit/amt/handler_arguments.h"
#include "tests/unit/amt/links.h"
#include "tests/unit/amt/port_fakes.h"
#include "tests/unit/amt/wire_vectors.h"

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

const std::string k_request = message_of(0x75); // a dial request without atoms

// The line with which the modem answers.
std::string answer_line(const std::string &hex)
{
    return "\r\n^DTTEST: " + hex + "\r\n";
}

// The line and the OK in one reading.
void expect_answers(const std::string &name, const std::vector<std::string> &modem,
                    const std::vector<std::string> &answers, int32_t result = ERR_NONE)
{
    with_exchange(amt_modem_handle_req, k_request, modem, [&](const exchange &seen) {
        EXPECT_EQ(seen.result, result) << name;
        EXPECT_EQ(seen.answers, answers) << name;
        EXPECT_THAT(seen.commands, ElementsAre("AT^DTTEST=75\r")) << name;
    });
}

// --- the request

TEST(Tunnel, TakesTheRequestToTheModemInHexadecimal)
{
    for (const wire_vector &vector : wire_vectors("request to AT data")) {
        with_exchange(amt_modem_handle_req, vector.fields.at("message"), {k_ok}, [&](const exchange &seen) {
            EXPECT_EQ(seen.result, ERR_NONE) << vector.name;
            EXPECT_THAT(seen.commands, ElementsAre(vector.fields.at("tunnel"))) << vector.name;
            EXPECT_THAT(seen.answers, IsEmpty()) << vector.name;
        });
    }
}

TEST(Tunnel, WritesEveryByteAsTwoCapitalDigits)
{
    std::string bytes;
    std::string digits = "AT^DTTEST=75";
    for (int byte = 0; byte < 256; byte++) {
        bytes += static_cast<char>(byte);
        digits += "0123456789ABCDEF"[byte / 16];
        digits += "0123456789ABCDEF"[byte % 16];
    }
    digits += "\r";
    with_exchange(amt_modem_handle_req, message_of(0x75, bytes_atom(9, bytes)), {k_ok},
                  [&](const exchange &seen) { EXPECT_THAT(seen.commands, ElementsAre(digits)); });
}

TEST(Tunnel, TakesUpTo2041Bytes)
{
    for (const size_t length : {2040U, 2041U, 2042U, 4000U}) {
        const std::string request = message_of(0x75, bytes_atom(9, std::string(length - 1, 'x'))); // and the command id
        with_exchange(amt_modem_handle_req, request, {k_ok}, [length](const exchange &seen) {
            if (length <= 2041) {
                EXPECT_EQ(seen.result, ERR_NONE) << length;
                ASSERT_EQ(seen.commands.size(), 1U) << length;
                EXPECT_EQ(seen.commands[0].size(), 10 + 2 * length + 1) << length;
                EXPECT_EQ(seen.commands[0].back(), '\r') << length;
                return;
            }
            EXPECT_EQ(seen.result, ERR_UNKNOWN) << length;
            EXPECT_THAT(seen.commands, IsEmpty()) << length;
            EXPECT_THAT(seen.answers, IsEmpty()) << length;
            EXPECT_THAT(seen.told, Contains("error | -100 - Unknown error | (10 + " + std::to_string(length) +
                                            " * 2 + 2) < 4096"));
        });
    }
}

TEST(Tunnel, RefusesARequestThatIsNone)
{
    const std::pair<const char *, int32_t> rows[] = {
        {"0600aa750000", ERR_UNKNOWN},                       // another command head
        {"0c00bb750600ee0109010078", ERR_UNKNOWN},           // an unknown type
        {"1000bb750a00ee01010500010000000000", ERR_UNKNOWN}, // a number of five bytes
        {"0b00bb750500dd01010400", ERR_UNKNOWN},             // another atom head
        {"00", ERR_UNKNOWN},
    };
    for (const auto &[request, result] : rows) {
        with_exchange(amt_modem_handle_req, request, {k_ok},
                      [request = request, result = result](const exchange &seen) {
                          EXPECT_EQ(seen.result, result) << request;
                          EXPECT_THAT(seen.commands, IsEmpty()) << request;
                          EXPECT_THAT(seen.answers, IsEmpty()) << request;
                      });
    }
}

// --- the answer

TEST(Tunnel, BringsTheAnswersOfEveryKindBack)
{
    for (const wire_vector &vector : wire_vectors("AT data to response")) {
        std::string digits = vector.fields.at("at");
        for (int round = 0; round < 2; round++) {
            expect_answers(vector.name, {answer_line(digits) + k_ok}, {vector.fields.at("message")});
            expect_answers(vector.name + " in two readings", {answer_line(digits), k_ok},
                           {vector.fields.at("message")});
            std::transform(digits.begin(), digits.end(), digits.begin(), ::toupper);
        }
    }
}

TEST(Tunnel, BringsEveryTableBack)
{
    for (const int id : {48, 62, 114}) {
        char head[3];
        (void)snprintf(head, sizeof(head), "%02X", static_cast<unsigned>(id));
        const std::string answer = int_atom(1, 0) + bytes_atom(4, "\x0A\x0B\x0C");
        expect_answers(head, {answer_line(head + std::string("00000000") + "03000000" + "0A0B0C") + k_ok},
                       {message_of(static_cast<uint8_t>(id), answer)});
    }
}

struct kind_row {
    const char *name;
    std::string hex;
    std::string message;
};

// Twice as many bytes are taken as there are: the line's own, then what follows it, of which no character of a usual
// ending is a digit.
TEST(Tunnel, FillsAbsentFieldsWithZeros)
{
    const kind_row rows[] = {
        {"an IMEI", "0800000000", result_of(8, 0)},
        {"a flag", "6400000000", result_of(100, 0)},
        {"a number", "1A00000001", result_of(26, 1)},
        {"a table flag", "6E00000000", result_of(110, 0)},
    };
    const std::string fields[] = {bytes_atom(21, std::string(15, '\0')), bool_atom(41, 0), int_atom(13, 0),
                                  bool_atom(44, 0)};
    for (size_t i = 0; i < std::size(rows); i++) {
        const auto id = static_cast<uint8_t>(std::stoul(rows[i].hex.substr(0, 2), nullptr, 16));
        const uint32_t code = rows[i].hex.back() == '1' ? 1 : 0;
        const std::string expected = message_of(id, int_atom(1, code) + fields[i]);
        expect_answers(rows[i].name, {answer_line(rows[i].hex) + k_ok}, {expected});
        expect_answers(rows[i].name, {answer_line(rows[i].hex), k_ok}, {expected});
    }
    expect_answers("a version", {answer_line("2E00000000") + k_ok},
                   {message_of(46, int_atom(1, 0) + int_atom(19, 0) + bytes_atom(18, std::string(64, '\0')))});
    expect_answers("a partial IMEI", {answer_line("0800000000333537") + k_ok},
                   {message_of(8, int_atom(1, 0) + bytes_atom(21, std::string("357") + std::string(12, '\0')))});
}

TEST(Tunnel, TakesTheBytesBehindAShortLineForItsFields)
{
    // Of the line end and the digits in "\r\nEDCBA", each in its place: 00 ED CB A0.
    expect_answers("digits behind", {answer_line("1A00000000") + "EDCBA\r\nOK\r\n"},
                   {message_of(26, int_atom(1, 0) + int_atom(13, 0x00EDCBA0))});
}

TEST(Tunnel, RefusesAFieldWithoutBytesOrTooLargeForItsMessage)
{
    expect_answers("no bytes", {answer_line("300000000000000000") + k_ok}, {}, ERR_INVALID_PARAM);
    expect_answers("a bare table", {answer_line("3000000000") + k_ok}, {}, ERR_INVALID_PARAM);
    expect_answers("a length beyond all", {answer_line("3000000000FFFFFFFF11") + k_ok}, {}, ERR_INVALID_PARAM);
    expect_answers("the longest field", {answer_line("3000000000EC0F000011") + k_ok}, // 4096 - 15 - 5 = 4076 bytes
                   {message_of(48, int_atom(1, 0) + bytes_atom(4, "\x11" + std::string(4075, '\0')))});
    expect_answers("one byte more", {answer_line("3000000000ED0F000011") + k_ok}, {}, ERR_INVALID_PARAM);
}

TEST(Tunnel, CountsWhatIsNoDigitAsZero)
{
    expect_answers("a letter", {answer_line("76G0000x00") + k_ok}, {result_of(0x76, 0)});
    expect_answers("in its place", {answer_line("7600000z1g") + k_ok}, {result_of(0x76, 0x10)});
    expect_answers("half a byte", {answer_line("760000000") + k_ok}, {result_of(0x76, 0)});
    expect_answers("an id of none", {answer_line("zz") + k_ok}, {result_of(0, 0)});
}

TEST(Tunnel, BringsAnAnswerBackInAnyPieces)
{
    const std::string text = answer_line("7600000005") + k_ok;
    for (const std::vector<std::string> &pieces : split_everywhere(text)) {
        expect_answers("split", pieces, {result_of(0x76, 5)});
    }
    expect_answers("in bytes", bytewise(text), {result_of(0x76, 5)});
}

TEST(Tunnel, WithoutALineAnswersNothing)
{
    expect_answers("only OK", {k_ok}, {});
    expect_answers("the bare letters", {"OK"}, {});
    expect_answers("the letters in a word", {"BOOKS"}, {});
    expect_answers("a line without its blank", {"\r\n^DTTEST:7600000000\r\n" + k_ok}, {});
    expect_answers("a line not of its own", {"^DTTEST: 7600000000\r\n" + k_ok}, {});
    expect_answers("a line that has not ended", {"\r\n^DTTEST: 7600000000 OK"}, {});
}

TEST(Tunnel, WithAnEmptyLineFails)
{
    expect_answers("empty", {answer_line("") + k_ok}, {}, ERR_INVALID_PARAM);
    expect_answers("empty, then a good one", {answer_line(""), answer_line("7600000000") + k_ok}, {result_of(0x76, 0)});
}

TEST(Tunnel, BringsSeveralAnswersBackOneAReading)
{
    const std::string first = answer_line("7600000001");
    const std::string second = answer_line("CC00000002");
    expect_answers("two readings", {first, second + k_ok}, {result_of(0x76, 1), result_of(0xCC, 2)});
    expect_answers("two in one, then the end", {first + second, k_ok}, {result_of(0x76, 1), result_of(0xCC, 2)});
    expect_answers("two in one, with the end", {first + second + k_ok}, {result_of(0x76, 1)});
    expect_answers("three in one, the end in bytes", {first + second + first, "\r", "\nO", "K\r\n"},
                   {result_of(0x76, 1), result_of(0xCC, 2), result_of(0x76, 1)});
}

// A short line behind a long one: what the long one left behind the end of the text is no part of the answer.
TEST(Tunnel, ForgetsALineThatItHasTaken)
{
    const std::string long_line = answer_line("76000000" + std::string(200, 'F'));
    expect_answers("a short one", {long_line, answer_line("0800000000") + k_ok},
                   {result_of(0x76, 0xFF), message_of(8, int_atom(1, 0) + bytes_atom(21, std::string(15, '\0')))});
    in_child([&] {
        const links link;
        (void)open_port();
        modem_says({"\r\nRING\r\n" + long_line + "\r\n^DX\r\n", k_ok});
        const amt_buffer request = buffer_with(k_request);
        amt_buffer response = {};
        EXPECT_EQ(amt_modem_handle_req(AMT_CHANNEL_APP, &request, &response), ERR_NONE);
        const std::string rest = "\r\nRING\r\n\r\n^DX\r\n\r\nOK\r\n";
        EXPECT_EQ(g_at_rsp_buf.m_length, rest.size());
        EXPECT_EQ(std::string(g_at_rsp_buf.m_text_a, AMT_AT_TEXT_SIZE),
                  rest + std::string(AMT_AT_TEXT_SIZE - rest.size(), '\0'));
    });
}

TEST(Tunnel, TakesALineThatFillsTheAnswer)
{
    const std::string head = "\r\n^DTTEST: 7600000007";
    const std::string line = head + std::string(4096 - head.size() - 2, '1') + "\r\n";
    expect_answers("4096 bytes", {line, k_ok}, {result_of(0x76, 7)});
    const std::string open_line = head + std::string(4096 - head.size(), '1');
    expect_answers("4096 bytes and no end", {open_line, k_ok}, {}, ERR_INVALID_PARAM);
}

// Behind the end of the answer there are zeros, whatever stands there in the memory.
TEST(Tunnel, TakesBytesUpToTheEndOfTheAnswerAndNotBeyond)
{
    const std::string head = "\r\n^DTTEST: 3000000000"; // and the length of the table, and the table
    const std::string filled = head + "F2070000" + std::string(2043 - 18, '2') + "\r\n";
    expect_answers("digits up to the last byte", {filled + std::string(4096 - filled.size(), '2'), "OK"},
                   {message_of(48, int_atom(1, 0) + bytes_atom(4, std::string(1012, '\x22') + "\x20\x02" +
                                                                      std::string(1019, '\x22') + "\x20"))});
    const std::string whole = head + "EA0F0000" + std::string(4083 - 18, '2') + "\r\n";
    expect_answers(
        "a line up to the last byte", {whole, "OK"},
        {message_of(48, int_atom(1, 0) + bytes_atom(4, std::string(2032, '\x22') + "\x20" + std::string(2041, '\0')))});
}

// Without a modem nothing of the request counts.
TEST(Tunnel, FailsWhenTheModemRefuses)
{
    for (const refusal_row &refusal : k_refusals) {
        expect_answers(refusal.name, {refusal.text, k_ok}, {}, ERR_UNKNOWN);
        expect_answers(refusal.name, {answer_line("7600000000") + refusal.text, k_ok}, {result_of(0x76, 0)},
                       ERR_UNKNOWN);
    }
    expect_answers("beside an OK it is none", {"\r\nERROR\r\n\r\nOK\r\n"}, {});
    expect_answers("nor behind a bare one", {"OK\r\nERROR\r\n"}, {});
}

TEST(Tunnel, GivesTheLastResult)
{
    const std::string good = answer_line("7600000000");
    const std::string bad = answer_line("300000000000000000");
    expect_answers("good, then bad", {good, bad + k_ok}, {result_of(0x76, 0)}, ERR_INVALID_PARAM);
    expect_answers("bad, then good", {bad, good + k_ok}, {result_of(0x76, 0)});
    expect_answers("bad, then only the end", {bad, k_ok}, {}, ERR_INVALID_PARAM);
    with_exchange(
        amt_modem_handle_req, k_request, {good, k_ok},
        [](const exchange &seen) { EXPECT_EQ(seen.result, ERR_UNKNOWN) << "the answer could not be sent"; },
        [] { handle_context_st.m_pty.m_ptm_fd = -1; });
}

TEST(Tunnel, FailsWithThePort)
{
    const auto failed_with = [](int32_t result) {
        return [result](const exchange &seen) {
            EXPECT_EQ(seen.result, result);
            EXPECT_THAT(seen.answers, IsEmpty());
        };
    };
    with_exchange(amt_modem_handle_req, k_request, {}, failed_with(ERR_UNKNOWN), [] { fail_write(EAGAIN); });
    with_exchange(amt_modem_handle_req, k_request, {}, failed_with(ERR_UNKNOWN), [] { fail_read(EAGAIN); });
    with_exchange(amt_modem_handle_req, k_request, {std::string(4096, 'x')}, failed_with(ERR_INVALID_PARAM));
    const auto is_gone = [] { g_fake.openings = std::deque<int>(30, ENOENT); };
    with_exchange(amt_modem_handle_req, k_request, {}, failed_with(ERR_C_FUNCTION), [&] {
        fail_write(EIO);
        is_gone();
    });
    with_exchange(amt_modem_handle_req, k_request, {}, failed_with(ERR_C_FUNCTION), [&] {
        fail_read(EIO);
        is_gone();
    });
}

TEST(Tunnel, IsRefusedWithoutAModem)
{
    expect_refused_without_modem(amt_modem_handle_req, k_request);
}

TEST(Tunnel, RefusesBadArgumentsAndTellsWhich)
{
    expect_bad_arguments_refused(amt_modem_handle_req, AMT_CHANNEL_APP, k_request);
    in_child([] {
        const links link;
        const test_log log;
        const amt_buffer request = buffer_with(k_request);
        amt_buffer response = {};
        EXPECT_EQ(amt_modem_handle_req(0, &request, &response), ERR_INVALID_PARAM) << "channel 0 is none either";
        EXPECT_THAT(log.records(), ElementsAre("func | ", k_bad_argument + "1, 0, 0, 0"));
    });
}

TEST(Tunnel, AnswersOnTheChannelThatAsked)
{
    in_child([] {
        const links link;
        (void)open_port();
        modem_says({answer_line("7600000000") + k_ok});
        const amt_buffer request = buffer_with(k_request);
        amt_buffer response = {};
        EXPECT_EQ(amt_modem_handle_req(AMT_CHANNEL_PC, &request, &response), ERR_NONE);
        EXPECT_THAT(link.at_station(), ElementsAre(result_of(0x76, 0))) << "bare: only the application asks so";
        EXPECT_THAT(link.at_application(), IsEmpty());
    });
}

} // namespace
