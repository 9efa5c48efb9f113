// The request that writes a verdict into the modem, and keeps a copy of it.
#include <errno.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "amt/results/result-requests.h"
#include "pub/log/errors.h"
#include "tests/support/in_child.h"
#include "tests/support/test_log.h"
#include "tests/unit/amt/amt_folder.h"
#include "tests/unit/amt/exchange.h"
#include "tests/unit/amt/handler_arguments.h"
#include "tests/unit/amt/links.h"
#include "tests/unit/amt/port_fakes.h"
#include "tests/unit/amt/verdicts.h"

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

const std::string k_done = "0f00bb5c0900ee0101040000000000";
const std::string k_refused = "0f00bb5c0900ee010104000a000000";

// Station 3 failed: "RF".
const std::string k_request = "1f00bb5b1900ee2701040003000000ee2401040002000000ee250202005246";

int32_t write_result(const amt_buffer &request)
{
    amt_buffer response = buffer_with("ffffffffffffffffffffffffffffffffffffffff"); // of the last answer
    return amt_modem_write_test_result(AMT_CHANNEL_APP, &request, &response);
}

size_t count_of(const std::string &part, const std::string &text)
{
    size_t count = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        count++;
    }
    return count;
}

TEST(ModemResultWrite, TellsTheModemAndKeepsACopy)
{
    with_modem([](const links &link, const amt_folder &folder, const test_log &log) {
        modem_says({k_ok});
        (void)output_of([] { EXPECT_EQ(write_result(buffer_with(k_request)), ERR_NONE); });
        EXPECT_THAT(g_fake.written, ElementsAre("AT^DATOMW=3,2,RF\r"));
        EXPECT_THAT(link.at_application(), ElementsAre(k_done));
        EXPECT_EQ(folder.content(k_modem_copy), untested_but(20, 6, '2')) << "the station is the index";
        EXPECT_FALSE(folder.has(k_product));
        EXPECT_THAT(log.text(),
                    HasSubstr("| amt_modem_write_test_result  ret_val[0] m_buf_a[\r\nOK\r\n]\n")); // over three lines
        std::vector<std::string> records = without_entries(log);
        ASSERT_GT(records.size(), 5U);
        records.resize(5);
        EXPECT_THAT(records, ElementsAre("info | initTestFile . path:/amt/amt_result.txt; count: 20",
                                         "info | write item [3], result= 2",
                                         "info | write amt_result success amt station_num: 3, station_result: 2.",
                                         "info | amt_modem_write_test_result m_buf_a[AT^DATOMW=3,2,RF\r] m_buf_len[17]",
                                         "info | write_at write_len[17]"))
            << "the copy first, then the command, then the port";
        EXPECT_THAT(log.text(), HasSubstr("station_result: 2.\n\n")) << "the text has a line end of its own";
    });
}

// --- the command

struct command_row {
    const char *name;
    amt_buffer request;
    std::string command;
};

std::vector<command_row> commands()
{
    const std::string x100(100, 'x');
    const std::string x127(127, 'x');
    const std::string x126(126, 'x');
    amt_buffer with_zero = verdict_request(1, 1, "ab#cd");
    with_zero.m_data_a[with_zero.m_length - 3] = 0;
    return {
        {"a text", verdict_request(1, 1, "RF OK"), "AT^DATOMW=1,1,RF OK\r"},
        {"no text", verdict_request(3, 2), "AT^DATOMW=3,2\r"},
        {"an empty text", verdict_request(3, 2, ""), "AT^DATOMW=3,2\r"},
        {"one character", verdict_request(3, 2, "x"), "AT^DATOMW=3,2,x\r"},
        {"100 characters", verdict_request(3, 2, x100), "AT^DATOMW=3,2," + x100 + "\r"},
        {"126 characters", verdict_request(3, 2, x126), "AT^DATOMW=3,2," + x126 + "\r"},
        {"127 characters", verdict_request(3, 2, x127), "AT^DATOMW=3,2," + x127 + "\r"},
        {"128 characters lose two", verdict_request(3, 2, x127 + "x"), "AT^DATOMW=3,2," + x126 + "\r"},
        {"200 characters keep 126", verdict_request(3, 2, x100 + x100), "AT^DATOMW=3,2," + x126 + "\r"},
        {"commas in the text", verdict_request(3, 2, ",a,b"), "AT^DATOMW=3,2,,a,b\r"},
        {"a format in the text", verdict_request(3, 2, "%s%n%d"), "AT^DATOMW=3,2,%s%n%d\r"},
        {"a carriage return in the text", verdict_request(3, 2, "a\rb"), "AT^DATOMW=3,2,a\rb\r"},
        {"a zero byte ends the text", with_zero, "AT^DATOMW=1,1,ab\r"},
        {"no verdict", verdict_request(4), "AT^DATOMW=4,0\r"},
        {"nothing", verdict_request(), "AT^DATOMW=0,0\r"},
        {"a verdict of 5 goes as it is", verdict_request(4, 5), "AT^DATOMW=4,5\r"},
        {"the greatest", verdict_request(0x7FFFFFFF, 0x7FFFFFFF), "AT^DATOMW=2147483647,2147483647\r"},
        {"negative", verdict_request(0xFFFFFFFF, 0xFFFFFFFE), "AT^DATOMW=-1,-2\r"},
        {"the longest", verdict_request(0x80000000, 0x80000000, x127),
         "AT^DATOMW=-2147483648,-2147483648," + x127 + "\r"},
    };
}

TEST(ModemResultWrite, SendsNumbersWithASignAndTheTextIfThereIsOne)
{
    for (const command_row &row : commands()) {
        with_modem([&row](const links &link, const amt_folder &, const test_log &log) {
            modem_says({k_ok});
            (void)output_of([&row] { EXPECT_EQ(write_result(row.request), ERR_NONE) << row.name; });
            EXPECT_THAT(g_fake.written, ElementsAre(row.command)) << row.name;
            EXPECT_THAT(log.text(), HasSubstr("| amt_modem_write_test_result m_buf_a[" + row.command + "] m_buf_len[" +
                                              std::to_string(row.command.size()) + "]\n"))
                << row.name;
            EXPECT_THAT(link.at_application(), ElementsAre(k_done)) << row.name;
        });
    }
}

// --- the answer

struct answer_row {
    const char *name;
    std::string answer;
    bool is_ok;
};

const answer_row k_answers_a[] = {
    {"accepted", "\r\nOK\r\n", true},
    {"accepted behind its echo", "AT^DATOMW=3,2,RF\r\r\nOK\r\n", true},
    {"accepted behind a refusal", "\r\nERROR\r\n\r\nOK\r\n", true},
    {"accepted in front of a refusal", "\r\nOK\r\n\r\n+CME ERROR: 10\r\n", true},
    {"CME with a number", "\r\n+CME ERROR: 10\r\n", false},
    {"CME without one", "\r\n+CME ERROR", false},
    {"CMS with a number", "\r\n+CMS ERROR: 500\r\n", false},
    {"CMS without one", "\r\n+CMS ERROR", false},
    {"refused", "\r\nERROR\r\n", false},
};

TEST(ModemResultWrite, AnswersAsTheModemDoesAcceptanceFirst)
{
    for (const answer_row &row : k_answers_a) {
        with_modem([&row](const links &link, const amt_folder &, const test_log &log) {
            modem_says({row.answer});
            (void)output_of([] { EXPECT_EQ(write_result(buffer_with(k_request)), ERR_NONE); });
            EXPECT_THAT(g_fake.rooms, ElementsAre(4096U)) << row.name;
            EXPECT_THAT(link.at_application(), ElementsAre(row.is_ok ? k_done : k_refused)) << row.name;
            EXPECT_THAT(log.text(), HasSubstr("  ret_val[0] m_buf_a[" + row.answer + "]\n")) << row.name;
        });
    }
}

TEST(ModemResultWrite, WaitsForAWholeAnswerHoweverItIsCut)
{
    for (const std::string &end : {std::string("\r\nOK\r\n"), std::string("\r\nERROR\r\n")}) {
        const std::string whole = "AT^DATOMW=3,2,RF\r" + end;
        for (size_t cut = 1; cut < whole.size(); cut++) {
            with_modem([&](const links &link, const amt_folder &, const test_log &log) {
                modem_says({whole.substr(0, cut), whole.substr(cut)});
                (void)output_of([] { EXPECT_EQ(write_result(buffer_with(k_request)), ERR_NONE); });
                EXPECT_THAT(g_fake.rooms, ElementsAre(4096U, 4096U - cut)) << cut;
                EXPECT_THAT(link.at_application(), ElementsAre(end == k_ok ? k_done : k_refused)) << cut;
                EXPECT_THAT(log.text(), HasSubstr("  ret_val[0] m_buf_a[" + whole.substr(0, cut) + "]\n")) << cut;
                EXPECT_THAT(log.text(), HasSubstr("  ret_val[0] m_buf_a[" + whole + "]\n")) << cut;
            });
        }
    }
}

TEST(ModemResultWrite, TellsOfEveryReading)
{
    with_modem([](const links &link, const amt_folder &, const test_log &log) {
        for (const char character : k_ok) {
            modem_says({std::string(1, character)});
        }
        (void)output_of([] { EXPECT_EQ(write_result(buffer_with(k_request)), ERR_NONE); });
        EXPECT_EQ(count_of("amt_modem_write_test_result  ret_val[0] m_buf_a[", log.text()), 6U);
        EXPECT_THAT(link.at_application(), ElementsAre(k_done));
        EXPECT_THAT(g_fake.written, ElementsAre("AT^DATOMW=3,2,RF\r")) << "it was asked once";
    });
}

TEST(ModemResultWrite, BeginsWithACleanAnswer)
{
    with_modem([](const links &link, const amt_folder &, const test_log &) {
        modem_says({k_ok, "\r\nERROR\r\n"});
        EXPECT_EQ(write_result(buffer_with(k_request)), ERR_NONE);
        EXPECT_EQ(write_result(buffer_with(k_request)), ERR_NONE);
        EXPECT_THAT(link.at_application(), ElementsAre(k_done, k_refused));
    });
}

TEST(ModemResultWrite, IsRefusedWhenThePortFails)
{
    with_modem([](const links &link, const amt_folder &folder, const test_log &log) {
        fail_write(EAGAIN);
        EXPECT_EQ(write_result(buffer_with(k_request)), ERR_NONE);
        EXPECT_THAT(link.at_application(), ElementsAre(k_refused));
        EXPECT_THAT(g_fake.rooms, IsEmpty()) << "nothing was asked, nothing is read";
        EXPECT_EQ(folder.content(k_modem_copy), untested_but(20, 6, '2')) << "the copy is kept all the same";
        modem_says({"\r\nO"});
        fail_read(EAGAIN);
        EXPECT_EQ(write_result(buffer_with(k_request)), ERR_NONE);
        EXPECT_THAT(link.at_application(), ElementsAre(k_refused));
        EXPECT_THAT(log.text(), HasSubstr("| amt_modem_write_test_result  ret_val[-100] m_buf_a[\r\nO]\n"));
    });
}

TEST(ModemResultWrite, IsRefusedWhenTheAnswerIsFull)
{
    with_modem([](const links &link, const amt_folder &, const test_log &log) {
        modem_says({std::string(4096, 'x'), k_ok});
        (void)output_of([] { EXPECT_EQ(write_result(buffer_with(k_request)), ERR_NONE); });
        EXPECT_THAT(link.at_application(), ElementsAre(k_refused));
        EXPECT_THAT(g_fake.rooms, ElementsAre(4096U));
        EXPECT_THAT(log.text(), HasSubstr("| amt_modem_write_test_result  ret_val[-101] m_buf_a[xxx"));
    });
}

TEST(ModemResultWrite, NeedsAModem)
{
    with_modem([](const links &link, const amt_folder &folder, const test_log &log) {
        g_at_dev_not_opened = 1;
        EXPECT_EQ(write_result(buffer_with(k_request)), ERR_NOT_READY);
        EXPECT_THAT(g_fake.written, IsEmpty());
        EXPECT_FALSE(folder.has(k_modem_copy));
        EXPECT_THAT(link.at_application(), IsEmpty());
        EXPECT_THAT(log.records(), ElementsAre("func | ", "warning | no CP."));
    });
}

TEST(ModemResultWrite, GivesTheResultOfItsSending)
{
    in_child([] {
        amt_context_clear(); // no link
        const amt_folder folder;
        (void)open_port();
        modem_says({k_ok, "\r\nERROR\r\n"});
        EXPECT_EQ(write_result(buffer_with(k_request)), ERR_UNKNOWN);
        EXPECT_EQ(write_result(buffer_with(k_request)), ERR_UNKNOWN);
    });
}

TEST(ModemResultWrite, RefusesBadArgumentsAndTellsWhich)
{
    expect_bad_arguments_refused(amt_modem_write_test_result, AMT_CHANNEL_APP, k_request);
}

// --- the copy

TEST(ModemResultWrite, GoesOnWhetherTheCopyIsKeptOrNot)
{
    for (const copy_row &row : k_copies) {
        with_modem([&row](const links &link, const amt_folder &folder, const test_log &log) {
            SCOPED_TRACE(row.name);
            prepare_copy(folder);
            modem_says({k_ok});
            EXPECT_EQ(write_result(verdict_request(row.station, row.verdict)), ERR_NONE);
            EXPECT_EQ(g_fake.written.size(), 1U);
            EXPECT_THAT(link.at_application(), ElementsAre(k_done));
            expect_copy(row, folder, log);
        });
    }
}

TEST(ModemResultWrite, GoesOnWithoutAFolder)
{
    with_modem([](const links &link, const amt_folder &, const test_log &log) {
        amt_folder::deny(W_OK);
        modem_says({k_ok});
        EXPECT_EQ(write_result(buffer_with(k_request)), ERR_NONE);
        EXPECT_THAT(g_fake.written, ElementsAre("AT^DATOMW=3,2,RF\r"));
        EXPECT_THAT(link.at_application(), ElementsAre(k_done));
        EXPECT_THAT(log.records(), Contains(k_no_access + "Save fail: Directory access deny"));
    });
}

} // namespace
