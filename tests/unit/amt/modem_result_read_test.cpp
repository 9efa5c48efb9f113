// The request that reads a verdict back from the modem, and keeps a copy of it.
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
using ::testing::MatchesRegex;
using ::testing::Not;

const std::string k_refused = "0f00bb5a0900ee010104000a000000";
const std::string k_prefix = "\r\n^DATOMR: ";
const std::string k_example = "\r\n^DATOMR: 12,1,RF OK\r\n\r\nOK\r\n";
const std::string k_example_answer = "2b00bb5a2500ee270104000c000000ee2401040001000000ee250205005246204f4b"
                                     "ee0101040000000000";

constexpr uint32_t k_asked = 5; // the station that is asked for unless said

int32_t read_result(const amt_buffer &request)
{
    amt_buffer response = buffer_with("ffffffffffffffffffffffffffffffffffffffff"); // of the last answer
    return amt_modem_read_test_result(AMT_CHANNEL_APP, &request, &response);
}

// Asks for a station and lets the modem say all that there is; the console lines are taken away.
void ask(uint32_t station = k_asked)
{
    (void)output_of([station] { EXPECT_EQ(read_result(verdict_request(station)), ERR_NONE); });
}

std::string answer_of(uint32_t station, uint32_t verdict, const std::string &text)
{
    return message_of(0x5A, int_atom(39, station) + int_atom(36, verdict) + text_atom(37, text) + int_atom(1, 0));
}

TEST(ModemResultRead, GivesWhatTheModemSaysAndKeepsACopy)
{
    with_modem([](const links &link, const amt_folder &folder, const test_log &log) {
        modem_says({k_example});
        ask(12);
        EXPECT_THAT(g_fake.written, ElementsAre("AT^DATOMR=1,12\r"));
        EXPECT_THAT(link.at_application(), ElementsAre(k_example_answer));
        EXPECT_EQ(folder.content(k_modem_copy), untested_but(20, 24, '1'));
        EXPECT_FALSE(folder.has(k_product));
        EXPECT_EQ(log.records().front(), "func | ");
        EXPECT_THAT(log.records(), Not(Contains(HasSubstr("write fail"))));
        EXPECT_LT(log.text().find("write item [12]"), log.text().find("| amt_handle_send_rsp "))
            << "the copy first, then the answer";
    });
}

// --- the command

struct command_row {
    const char *name;
    amt_buffer request;
    const char *command;
    uint32_t station;
};

TEST(ModemResultRead, AsksForAStationWithASign)
{
    const command_row rows[] = {
        {"station 0", verdict_request(0), "AT^DATOMR=1,0\r", 0},
        {"station 1", verdict_request(1), "AT^DATOMR=1,1\r", 1},
        {"station 36", verdict_request(36), "AT^DATOMR=1,36\r", 36},
        {"the greatest", verdict_request(0x7FFFFFFF), "AT^DATOMR=1,2147483647\r", 0x7FFFFFFF},
        {"negative", verdict_request(0xFFFFFFFF), "AT^DATOMR=1,-1\r", 0xFFFFFFFF},
        {"the least", verdict_request(0x80000000), "AT^DATOMR=1,-2147483648\r", 0x80000000},
        {"no station", verdict_request(), "AT^DATOMR=1,0\r", 0},
        {"verdict and text of the request say nothing", verdict_request(7, 2, "x"), "AT^DATOMR=1,7\r", 7},
    };
    for (const command_row &row : rows) {
        with_modem([&row](const links &link, const amt_folder &, const test_log &) {
            modem_says({k_ok});
            (void)output_of([&row] { EXPECT_EQ(read_result(row.request), ERR_NONE) << row.name; });
            EXPECT_THAT(g_fake.written, ElementsAre(row.command)) << row.name;
            EXPECT_THAT(link.at_application(), ElementsAre(answer_of(row.station, 0, ""))) << row.name;
        });
    }
}

// --- the line

struct line_row {
    const char *name;
    std::string answer;
    uint32_t station;
    uint32_t verdict;
    std::string text;
};

const line_row k_lines_a[] = {
    {"station alone", k_prefix + "7\r\n" + k_ok, 7, 0, ""},
    {"station of two digits", k_prefix + "19\r\n" + k_ok, 19, 0, ""},
    {"station 0", k_prefix + "0,1\r\n" + k_ok, 0, 1, ""},
    {"station with a zero in front", k_prefix + "07,1\r\n" + k_ok, 7, 1, ""},
    {"three digits are two and a verdict", k_prefix + "123\r\n" + k_ok, 12, 3, ""},
    {"behind three digits comes a text", k_prefix + "123,1\r\n" + k_ok, 12, 3, "1"},
    {"station and verdict", k_prefix + "4,2\r\n" + k_ok, 4, 2, ""},
    {"station and comma", k_prefix + "4,\r\n" + k_ok, 4, 0, ""},
    {"an empty text", k_prefix + "4,2,\r\n" + k_ok, 4, 2, ""},
    {"a text", k_prefix + "4,2,x\r\n" + k_ok, 4, 2, "x"},
    {"a text with commas", k_prefix + "4,2,a,,b,\r\n" + k_ok, 4, 2, "a,,b,"},
    {"a text with blanks", k_prefix + "4,2, a b \r\n" + k_ok, 4, 2, " a b "},
    {"a text with half a line end", k_prefix + "4,2,a\rb\nc\r\n" + k_ok, 4, 2, "a\rb\nc"},
    {"a text of 126", k_prefix + "4,2," + std::string(126, 'x') + "\r\n" + k_ok, 4, 2, std::string(126, 'x')},
    {"a text of 127", k_prefix + "4,2," + std::string(127, 'x') + "\r\n" + k_ok, 4, 2, std::string(127, 'x')},
    {"a text of 128", k_prefix + "4,2," + std::string(128, 'x') + "\r\n" + k_ok, 4, 2, std::string(127, 'x')},
    {"a text of 3000", k_prefix + "4,2," + std::string(3000, 'x') + "\r\n" + k_ok, 4, 2, std::string(127, 'x')},
    {"a verdict that is none", k_prefix + "4,9,x\r\n" + k_ok, 4, 9, "x"},
    {"a verdict of two digits", k_prefix + "4,21,x\r\n" + k_ok, 4, 2, ""},
    {"no verdict but a text", k_prefix + "4,,x\r\n" + k_ok, 4, 0, "x"},
    {"two commas and a digit", k_prefix + "4,,1,x\r\n" + k_ok, 4, 0, "1,x"},
    {"a letter for a verdict", k_prefix + "4,x,y\r\n" + k_ok, 4, 0, ""},
    {"no comma", k_prefix + "4 2,x\r\n" + k_ok, 4, 0, ""},
    {"no station", k_prefix + ",2,x\r\n" + k_ok, k_asked, 2, "x"},
    {"a letter for a station", k_prefix + "x,2\r\n" + k_ok, k_asked, 0, ""},
    {"a blank in front of the station", k_prefix + " 4,2\r\n" + k_ok, k_asked, 0, ""},
    {"a negative station", k_prefix + "-4,2\r\n" + k_ok, k_asked, 0, ""},
    {"an empty line", k_prefix + "\r\n" + k_ok, k_asked, 0, ""},
    {"an empty line before digits", k_prefix + "\r\n9,2" + k_ok, k_asked, 0, ""},
    {"what follows the line is not its own", k_prefix + "4\r\n,2,x" + k_ok, 4, 0, ""},
    {"the line ends where the OK begins", k_prefix + "4,2,x" + k_ok, 4, 2, "x"},
    {"behind the echo", "AT^DATOMR=1,5\r" + k_example, 12, 1, "RF OK"},
    {"two lines: the first", k_prefix + "4,1,x\r\n" + k_prefix + "6,2,y\r\n" + k_ok, 4, 1, "x"},
    {"behind the OK", k_ok + k_prefix + "4,2,x\r\n", 4, 2, "x"},
    {"a line without its end", k_ok + k_prefix + "4,2,x", k_asked, 0, ""},
    {"a line with half its end", k_ok + k_prefix + "4,2,x\r", k_asked, 0, ""},
    {"another line", "\r\n^DATOMX: 4,2,x\r\n" + k_ok, k_asked, 0, ""},
    {"not at the beginning of a line", "^DATOMR: 4,2,x\r\n" + k_ok, k_asked, 0, ""},
    {"no blank behind the colon", "\r\n^DATOMR:4,2,x\r\n" + k_ok, k_asked, 0, ""},
    {"no line", k_ok, k_asked, 0, ""},
};

TEST(ModemResultRead, ReadsWhatTheLineHoldsAndLeavesTheRestAsItWasAskedFor)
{
    for (const line_row &row : k_lines_a) {
        with_modem([&row](const links &link, const amt_folder &folder, const test_log &) {
            SCOPED_TRACE(row.name);
            modem_says({row.answer});
            ask();
            EXPECT_THAT(link.at_application(), ElementsAre(answer_of(row.station, row.verdict, row.text)));
            const char digit = row.verdict == 1 ? '1' : row.verdict == 2 ? '2' : '0';
            EXPECT_EQ(folder.content(k_modem_copy), untested_but(20, size_t{2} * row.station, digit));
        });
    }
}

// --- the answer as a whole

TEST(ModemResultRead, WaitsForTheOkHoweverTheAnswerIsCut)
{
    for (size_t cut = 1; cut < k_example.size(); cut++) {
        with_modem([cut](const links &link, const amt_folder &folder, const test_log &) {
            modem_says({k_example.substr(0, cut), k_example.substr(cut)});
            ask();
            EXPECT_THAT(g_fake.rooms, ElementsAre(4096U, 4096U - cut)) << cut;
            EXPECT_THAT(link.at_application(), ElementsAre(k_example_answer)) << cut;
            EXPECT_EQ(folder.content(k_modem_copy), untested_but(20, 24, '1')) << cut;
        });
    }
    with_modem([](const links &link, const amt_folder &, const test_log &) {
        for (const char character : k_example) {
            modem_says({std::string(1, character)});
        }
        ask();
        EXPECT_EQ(g_fake.rooms.size(), k_example.size());
        EXPECT_THAT(link.at_application(), ElementsAre(k_example_answer));
        EXPECT_THAT(g_fake.written, ElementsAre("AT^DATOMR=1,5\r")) << "it was asked once";
    });
}

TEST(ModemResultRead, BeginsWithACleanAnswer)
{
    with_modem([](const links &link, const amt_folder &, const test_log &) {
        modem_says({k_example, k_ok});
        ask(12);
        ask(5);
        EXPECT_THAT(link.at_application(), ElementsAre(k_example_answer, answer_of(5, 0, "")));
    });
}

const line_row k_refusals_a[] = {
    {"CME with a number", "\r\n+CME ERROR: 10\r\n", 0, 0, ""},
    {"CME without one", "\r\n+CME ERROR", 0, 0, ""},
    {"CMS with a number", "\r\n+CMS ERROR: 500\r\n", 0, 0, ""},
    {"CMS without one", "\r\n+CMS ERROR", 0, 0, ""},
    {"refused", "\r\nERROR\r\n", 0, 0, ""},
    {"refused behind the line", k_prefix + "4,2,x\r\n\r\nERROR\r\n", 0, 0, ""},
    {"refused in front of an OK", "\r\nERROR\r\n\r\nOK\r\n", 0, 0, ""},
    {"refused behind an OK", "\r\nOK\r\n\r\n+CME ERROR: 10\r\n", 0, 0, ""},
    {"refused behind all that was asked for", k_example + "\r\n+CMS ERROR: 1\r\n", 0, 0, ""},
};

TEST(ModemResultRead, IsRefusedWhenTheModemRefusesEvenBesideAnOk)
{
    for (const line_row &row : k_refusals_a) {
        with_modem([&row](const links &link, const amt_folder &folder, const test_log &) {
            modem_says({row.answer, k_ok});
            ask();
            EXPECT_EQ(g_fake.rooms.size(), 1U) << row.name;
            EXPECT_THAT(link.at_application(), ElementsAre(k_refused)) << row.name;
            EXPECT_FALSE(folder.has(k_modem_copy)) << row.name << ": nothing is known, nothing is copied";
        });
    }
}

TEST(ModemResultRead, TakesARefusalThatComesBehindTheOkForNobodys)
{
    with_modem([](const links &link, const amt_folder &, const test_log &) {
        modem_says({k_example, "\r\nERROR\r\n"});
        ask();
        EXPECT_THAT(link.at_application(), ElementsAre(k_example_answer)) << "the answer was whole before";
    });
}

TEST(ModemResultRead, IsRefusedWhenThePortFails)
{
    with_modem([](const links &link, const amt_folder &folder, const test_log &) {
        fail_write(EAGAIN);
        ask();
        EXPECT_THAT(g_fake.rooms, IsEmpty()) << "nothing was asked, nothing is read";
        fail_read(EAGAIN);
        ask();
        modem_says({k_prefix + "4,2,x\r\n"}); // a whole line, and then the port fails
        fail_read(EAGAIN);
        ask();
        EXPECT_THAT(link.at_application(), ElementsAre(k_refused, k_refused, k_refused));
        EXPECT_FALSE(folder.has(k_modem_copy));
    });
}

TEST(ModemResultRead, IsRefusedWhenTheAnswerIsFull)
{
    with_modem([](const links &link, const amt_folder &, const test_log &) {
        modem_says({k_prefix + "4,2," + std::string(4096, 'x'), k_ok});
        ask();
        EXPECT_THAT(link.at_application(), ElementsAre(k_refused));
        EXPECT_THAT(g_fake.rooms, ElementsAre(4096U));
    });
}

TEST(ModemResultRead, NeedsAModem)
{
    with_modem([](const links &link, const amt_folder &folder, const test_log &log) {
        g_at_dev_not_opened = 1;
        EXPECT_EQ(read_result(verdict_request(1)), ERR_NOT_READY);
        EXPECT_THAT(g_fake.written, IsEmpty());
        EXPECT_FALSE(folder.has(k_modem_copy));
        EXPECT_THAT(link.at_application(), IsEmpty());
        EXPECT_THAT(log.records(), ElementsAre("func | ", "warning | no CP."));
    });
}

TEST(ModemResultRead, GivesTheResultOfItsSending)
{
    in_child([] {
        amt_context_clear(); // no link
        const amt_folder folder;
        (void)open_port();
        modem_says({k_ok, "\r\nERROR\r\n"});
        EXPECT_EQ(read_result(verdict_request(1)), ERR_UNKNOWN);
        EXPECT_EQ(read_result(verdict_request(1)), ERR_UNKNOWN);
    });
}

TEST(ModemResultRead, RefusesBadArgumentsAndTellsWhich)
{
    expect_bad_arguments_refused(amt_modem_read_test_result, AMT_CHANNEL_APP, "1100bb590b00ee2701040003000000");
}

// --- the copy

TEST(ModemResultRead, AnswersAlsoWhenTheCopyFails)
{
    struct row {
        const char *name;
        const char *line;
        uint32_t station;
        const char *record;
    };
    // clang-format off
    constexpr row rows[] = {
        {"station 20", "20,1,x", 20, "write fail amt station_num: 20, station_result: 1. rtn:-3."},
        {"station 99", "99,1,x", 99, "write fail amt station_num: 99, station_result: 1. rtn:-3."},
    };
    // clang-format on
    const std::string told = "error \\| -3 -  \\| \\[kv-zep-amt:L[0-9]+\\] ";
    for (const row &row : rows) {
        with_modem([&](const links &link, const amt_folder &folder, const test_log &log) {
            modem_says({k_prefix + row.line, "\r\n" + k_ok});
            ask();
            EXPECT_THAT(link.at_application(), ElementsAre(answer_of(row.station, 1, "x"))) << row.name;
            EXPECT_FALSE(folder.has(k_modem_copy)) << row.name;
            EXPECT_THAT(log.records(), Contains(MatchesRegex(told + row.record))) << row.name;
            EXPECT_THAT(log.text(), HasSubstr("rtn:-3.\n\n")) << row.name;
        });
    }
    with_modem([](const links &link, const amt_folder &, const test_log &log) {
        amt_folder::deny(W_OK);
        modem_says({k_example});
        ask();
        EXPECT_THAT(link.at_application(), ElementsAre(k_example_answer));
        EXPECT_THAT(log.text(), HasSubstr("write fail amt station_num: 12, station_result: 1. rtn:-1.\n\n"));
    });
}

TEST(ModemResultRead, CopiesANegativeStationThatWasAskedForAsItem0)
{
    with_modem([](const links &link, const amt_folder &folder, const test_log &) {
        modem_says({k_prefix + ",2\r\n" + k_ok});
        ask(0xFFFFFFFF);
        EXPECT_EQ(folder.content(k_modem_copy), untested_but(20, 0, '2'));
        EXPECT_THAT(link.at_application(), ElementsAre(answer_of(0xFFFFFFFF, 2, "")));
    });
}

} // namespace
