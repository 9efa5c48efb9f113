#include "amt/modem/modem-requests.h"

#include <errno.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "pub/log/errors.h"
#include "tests/unit/amt/exchange.h"
#include "tests/unit/amt/handler_arguments.h"
#include "tests/unit/amt/port_fakes.h"

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

// What a value becomes in the answer.
std::string as_text_21(const std::string &value)
{
    return text_atom(21, value) + int_atom(1, 0);
}
std::string as_text_38(const std::string &value)
{
    return text_atom(38, value) + int_atom(1, 0);
}
std::string as_text_27(const std::string &value)
{
    return text_atom(27, value) + int_atom(1, 0);
}
std::string as_bytes_163(const std::string &value)
{
    return (value.empty() ? "" : bytes_atom(163, value)) + int_atom(1, 0);
}
std::string as_flag_41(const std::string &value)
{
    const std::string digits = value.substr(0, value.find_first_not_of("0123456789"));
    return bool_atom(41, digits == "1" || digits == "2" ? 1 : 0);
}

struct reader_row {
    const char *name;
    amt_handle_func handler;
    uint8_t id;
    const char *command;
    std::string prefix;
    size_t max; // characters
    std::string (*atoms)(const std::string &value);
};

// clang-format off
const reader_row k_readers[] = {
    {"the IMEI",          amt_modem_handle_read_imei,    0x07, "AT^DGSN?\r",  "\r\n^DGSN: ", 38, as_text_21},
    {"the board",         amt_modem_handle_read_board,   0x55, "AT^DMSN\r",   "\r\n^DMSN:",  38, as_text_38},
    {"the date",          amt_modem_handle_read_outdate, 0x41, "AT^DMFD??\r", "\r\n^DMFD:",  14, as_text_27},
    {"the serial number", amt_read_serial_number,        0xEA, "AT^DMSN\r",   "\r\n^DMSN:",  38, as_bytes_163},
    {"the SIM",           amt_dtoc_checkSIM,             0x63, "AT^DTOC\r",   "\r\n^DTOC:",  38, as_flag_41},
};
// clang-format on

const std::string k_end = "\r\n\r\nOK\r\n";

// The handler answers with the value, or with its failure.
void expect_answer(const reader_row &row, const std::string &what, const std::vector<std::string> &modem,
                   const std::string *value)
{
    with_exchange(row.handler, message_of(row.id), modem, [&](const exchange &seen) {
        const auto answer_id = static_cast<uint8_t>(row.id + 1);
        EXPECT_EQ(seen.result, ERR_NONE) << row.name << what;
        EXPECT_THAT(seen.commands, ElementsAre(row.command)) << row.name << what;
        EXPECT_THAT(seen.answers,
                    ElementsAre(value == nullptr ? result_of(answer_id, 10) : message_of(answer_id, row.atoms(*value))))
            << row.name << what;
        EXPECT_TRUE(seen.is_response_clear) << row.name << what;
    });
}

TEST(ModemRequest, IsAnsweredWithTheValueThatTheModemTells)
{
    for (const reader_row &row : k_readers) {
        const std::string value = "1357";
        expect_answer(row, "", {row.prefix + value + k_end}, &value);
        expect_answer(row, " behind blanks", {row.prefix + "  " + value + k_end}, &value);
        expect_answer(row, " before more line ends", {row.prefix + value + "\r\n\r\n" + k_end}, &value);
        expect_answer(row, " behind an echo", {"AT\r" + row.prefix + value + k_end}, &value);
    }
}

TEST(ModemRequest, IsAnsweredAlsoWhenTheAnswerComesInPieces)
{
    for (const reader_row &row : k_readers) {
        const std::string value = "13579";
        const std::string text = row.prefix + value + k_end;
        for (const std::vector<std::string> &pieces : split_everywhere(text)) {
            expect_answer(row, " in pieces", pieces, &value);
        }
        expect_answer(row, " in bytes", bytewise(text), &value);
    }
}

TEST(ModemRequest, RefusesAValueBeyondItsLimit)
{
    for (const reader_row &row : k_readers) {
        for (const size_t length :
             {size_t{1}, row.max - 1, row.max, row.max + 1, row.max + 2, size_t{40}, size_t{4000}}) {
            const std::string value = "1" + std::string(length - 1, '7');
            const std::string what = " of " + std::to_string(length);
            expect_answer(row, what, {row.prefix + value + k_end}, length <= row.max ? &value : nullptr);
        }
    }
}

TEST(ModemRequest, TakesAnEmptyValue)
{
    for (const reader_row &row : k_readers) {
        const std::string value;
        expect_answer(row, " empty", {row.prefix + k_end}, &value);
        expect_answer(row, " of blanks", {row.prefix + "   " + k_end}, &value);
    }
}

TEST(ModemRequest, MayBeAnsweredOverSeveralLines)
{
    for (const reader_row &row : k_readers) {
        const std::string value = "1\r\n23";
        expect_answer(row, " of two lines", {row.prefix + value + k_end}, &value);
    }
}

TEST(ModemRequest, FailsWhenTheModemRefuses)
{
    for (const reader_row &row : k_readers) {
        for (const refusal_row &refusal : k_refusals) {
            for (const char *before : {"", "\r\n^DX: 1"}) {
                const auto answer_id = static_cast<uint8_t>(row.id + 1);
                with_exchange(row.handler, message_of(row.id), {before + refusal.text, row.prefix + "1" + k_end},
                              [&](const exchange &seen) {
                                  EXPECT_THAT(seen.answers, ElementsAre(result_of(answer_id, 10)))
                                      << row.name << refusal.name;
                                  EXPECT_EQ(seen.unread, 1U) << row.name << refusal.name;
                              });
            }
        }
    }
}

TEST(ModemRequest, FailsWhenTheAnswerHasNoValue)
{
    for (const reader_row &row : k_readers) {
        expect_answer(row, " only OK", {k_ok}, nullptr);
        expect_answer(row, " another line", {"\r\n^DOTHER: 1" + k_end}, nullptr);
        expect_answer(row, " a line that is not ended", {row.prefix + "1" + k_ok}, nullptr);
        expect_answer(row, " behind the OK", {k_ok + row.prefix + "1\r\n"}, nullptr);
        expect_answer(row, " no line of its own", {row.prefix.substr(2) + "1" + k_end}, nullptr);
    }
}

// Its prefix has a blank, the others' have none.
TEST(ModemRequest, ForTheImeiWantsABlankBehindTheColon)
{
    expect_answer(k_readers[0], " without a blank", {"\r\n^DGSN:357" + k_end}, nullptr);
}

TEST(ModemRequest, ForTheDateRefusesAnErasedOne)
{
    expect_answer(k_readers[2], " erased", {"\r\n^DMFD:" + std::string(14, '\xFF') + k_end}, nullptr);
    expect_answer(k_readers[2], " erased at its beginning", {"\r\n^DMFD:\xFF" + std::string("2") + k_end}, nullptr);
    const std::string partly = "2\xFF";
    expect_answer(k_readers[2], " erased behind", {"\r\n^DMFD:" + partly + k_end}, &partly);
    const std::string almost = "\xFE";
    expect_answer(k_readers[2], " almost erased", {"\r\n^DMFD:" + almost + k_end}, &almost);
    const std::string erased = "\xFF\xFF";
    for (const size_t other : {0U, 1U, 3U, 4U}) {
        expect_answer(k_readers[other], " erased", {k_readers[other].prefix + erased + k_end}, &erased);
    }
}

TEST(ModemRequest, FailsWithThePort)
{
    for (const reader_row &row : k_readers) {
        const auto answer_id = static_cast<uint8_t>(row.id + 1);
        const auto failed = [&](const exchange &seen) {
            EXPECT_EQ(seen.result, ERR_NONE) << row.name;
            EXPECT_THAT(seen.answers, ElementsAre(result_of(answer_id, 10))) << row.name;
        };
        with_exchange(row.handler, message_of(row.id), {}, failed, [] { fail_write(EAGAIN); });
        with_exchange(row.handler, message_of(row.id), {}, failed, [] { fail_read(EAGAIN); });
        with_exchange(row.handler, message_of(row.id), {"\r\n^D", std::string(4092, 'x'), k_ok}, failed);
        with_exchange(row.handler, message_of(row.id), {}, failed, [] {
            fail_read(EIO);
            g_fake.openings = std::deque<int>(30, ENOENT);
        });
    }
}

TEST(ModemRequest, GivesTheResultOfItsAnswer)
{
    for (const reader_row &row : k_readers) {
        for (const std::string &text : {row.prefix + "1" + k_end, std::string("\r\nERROR\r\n")}) {
            with_exchange(
                row.handler, message_of(row.id), {text},
                [&](const exchange &seen) { EXPECT_EQ(seen.result, ERR_UNKNOWN) << row.name; },
                [] { handle_context_st.m_pty.m_ptm_fd = -1; });
        }
    }
}

TEST(ModemRequest, IsRefusedWithoutAModem)
{
    for (const reader_row &row : k_readers) {
        expect_refused_without_modem(row.handler, message_of(row.id));
    }
}

TEST(ModemRequest, RefusesBadArgumentsAndTellsWhich)
{
    for (const reader_row &row : k_readers) {
        expect_bad_arguments_refused(row.handler, AMT_CHANNEL_APP, message_of(row.id));
    }
}

TEST(SerialNumber, IsToldInTheLog)
{
    with_exchange(
        amt_read_serial_number, message_of(0xEA), {"\r\n^DMSN: K", "V1\r\n\r\nOK\r\n"}, [](const exchange &seen) {
            EXPECT_THAT(seen.told, Contains(StartsWith("info | amt_read_serial_number :")));
            EXPECT_THAT(seen.told, Contains("info | get serial-number success. serial-number:[len:3 content:KV1]"));
            int answers = 0;
            for (const std::string &record : seen.told) {
                answers += record.find("amt_read_serial_number :") != std::string::npos ? 1 : 0;
            }
            EXPECT_EQ(answers, 2) << "after every reading";
        });
    with_exchange(amt_read_serial_number, message_of(0xEA), {"\r\nERROR\r\n"}, [](const exchange &seen) {
        EXPECT_THAT(seen.told, Contains(HasSubstr("amt_read_serial_number :")));
        EXPECT_THAT(seen.told, Not(Contains(HasSubstr("success"))));
    });
    with_exchange(amt_modem_handle_read_board, message_of(0x55), {"\r\n^DMSN: KV1\r\n\r\nOK\r\n"},
                  [](const exchange &seen) { EXPECT_THAT(seen.told, Not(Contains(HasSubstr("serial")))); });
}

struct sim_row {
    const char *value;
    int32_t type;
    uint8_t is_present;
};

TEST(SimCheck, ReadsTheTypeAsADecimalNumber)
{
    const sim_row rows[] = {
        {"0", 0, 0},
        {"1", 1, 1},
        {"2", 2, 1},
        {"3", 3, 0},
        {"-1", -1, 0},
        {"+2", 2, 1},
        {"02", 2, 1},
        {"12", 12, 0},
        {"1,2", 1, 1},
        {"2x", 2, 1},
        {"x2", 0, 0},
        {"\t1", 1, 1},
        {"", 0, 0},
        {"4294967297", INT32_MAX, 0},
        {"-2147483649", INT32_MIN, 0},
        {"99999999999999999999999999999999999999", INT32_MAX, 0},
    };
    for (const sim_row &row : rows) {
        const std::string text = std::string("\r\n^DTOC:") + row.value + k_end;
        with_exchange(amt_dtoc_checkSIM, message_of(0x63), {text}, [&row](const exchange &seen) {
            EXPECT_THAT(seen.answers, ElementsAre(message_of(0x64, bool_atom(41, row.is_present)))) << row.value;
            EXPECT_THAT(seen.told, Contains("info | amt_dtoc_checkSIM simtype=" + std::to_string(row.type)));
        });
    }
}

} // namespace
