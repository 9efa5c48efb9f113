// The chain of the lines that the handset answers itself.
#include "amt/at-local/at-chain.h"

#include <errno.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "pub/log/errors.h"
#include "tests/support/in_child.h"
#include "tests/unit/amt/line_fakes.h"

namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

constexpr char k_bt_file[] = "/amt/BT/BT_Address.txt";
constexpr char k_wifi_file[] = "/amt/WIFI/WIFI_nvram.txt";
constexpr char k_sn_file[] = "/amt/sn-2.txt";
constexpr char k_flag_file[] = "/amt/power_usb_amt.txt";

// A handset that has all that is asked for.
class LocalAt : public misc_library {
  protected:
    void SetUp() override
    {
        misc_library::SetUp();
        write_file("/dev/__properties__/ro.build.display.id", "KV");
        control("hwt_gpsCtrl", "svid=27\ncnr=41\n");
        control("amt_check_system_sanity", "result=1\n");
    }

    static void fill(const device_handset &handset)
    {
        handset.put(k_bt_file, "bt\n");
        handset.put(k_wifi_file, "wifi\n");
        handset.put(k_sn_file, "sn");
        handset.put(k_flag_file, "0");
    }
};

// A line, in the order of the chain, the text by which it is known, and what comes of it.
struct line_row {
    const char *text;
    std::string line;
    std::string answer;
    std::vector<std::string> events;
};

std::vector<std::string> library_call(const char *entry)
{
    return {k_load, std::string("look up ") + entry, "unload", "send"};
}

const std::vector<line_row> &lines()
{
    const std::string ok = k_ok_line;
    const std::vector<std::string> sent = {"send"};
    static const std::vector<line_row> rows = {
        {"AT^DBTADDR?\r", "AT^DBTADDR?\r", "\r\n^DBTADDR: \"bt\"\r\n" + ok, reading_of(k_bt_file) + sent},
        {"AT^DBTADDR=?\r", "AT^DBTADDR=?\r", ok, sent},
        {"AT^DBTADDR=\"", "AT^DBTADDR=\"1\"\r", ok, writing_of(k_bt_file) + sent},
        {"AT^DWIFIADDR?\r", "AT^DWIFIADDR?\r", "\r\n^DWIFIADDR: \"wifi\"\r\n" + ok, reading_of(k_wifi_file) + sent},
        {"AT^DWIFIADDR=?\r", "AT^DWIFIADDR=?\r", ok, sent},
        {"AT^DWIFIADDR=\"", "AT^DWIFIADDR=\"1\"\r", ok, writing_of(k_wifi_file) + sent},
        {"AT^DSVER\r", "AT^DSVER\r", "\r\n^DSVER: KV\r\n" + ok, sent},
        {"AT^DAMTOFF\r", "AT^DAMTOFF\r", ok, {"send", "pause 2 s", "power off"}},
        {"AT^DGPSCTRL=", "AT^DGPSCTRL=2,4\r", "\r\n^DGPSCTRL: 27,41\r\n" + ok, sent},
        {"AT^DPCBACTRL=", "AT^DPCBACTRL=1\r", "\r\n^DPCBACTRL: sn\r\n" + ok, reading_of(k_sn_file) + sent},
        {"AT^DAMT1=", "AT^DAMT1=2\r", "\r\n^DAMT1: 0\r\n" + ok, reading_of(k_flag_file) + sent},
        {"AT^DENTERIDLE", "AT^DENTERIDLE\r", ok, library_call("enter_idle")},
        {"AT^DBOOTDLFIN", "AT^DBOOTDLFIN\r", "\r\n^DBOOTDLFIN: 1\r\n" + ok, library_call("amt_check_system_sanity")},
    };
    return rows;
}

void expect_line(const outcome &seen, const line_row &row)
{
    EXPECT_EQ(seen.result, ERR_NONE);
    EXPECT_THAT(seen.at_station, ElementsAre(row.answer));
    EXPECT_THAT(seen.events, ElementsAreArray(row.events));
    EXPECT_TRUE(seen.is_response_clear);
}

void expect_declined(const outcome &seen)
{
    EXPECT_EQ(seen.result, ERR_NOT_FOUND);
    EXPECT_THAT(seen.at_station, IsEmpty());
    EXPECT_THAT(seen.events, IsEmpty());
    EXPECT_FALSE(seen.is_response_clear) << "nobody has touched it";
}

TEST_F(LocalAt, AnswersItsLinesWhereverTheyStand)
{
    for (const line_row &row : lines()) {
        for (const std::string &request :
             {row.line, row.line + "\n", "noise " + row.line, "ATI\r\n" + row.line, "at" + row.line + "ATI\r",
              row.line + std::string("\0ATI\r", 5), std::string(4095 - row.line.size(), 'x') + row.line}) {
            in_child([&] {
                SCOPED_TRACE(request.substr(0, 60));
                const device_handset handset;
                fill(handset);
                expect_line(say(handset, amt_handle_local_at, request), row);
            });
        }
    }
}

TEST_F(LocalAt, WantsACarriageReturnOnlyWhereItIsAPartOfTheText)
{
    for (const line_row &row : lines()) {
        const std::string without_end = row.line.substr(0, row.line.size() - 1);
        const bool needs_end = std::string(row.text).back() == '\r';
        in_child([&] {
            SCOPED_TRACE(without_end);
            const device_handset handset;
            fill(handset);
            const outcome seen = say(handset, amt_handle_local_at, without_end);
            if (needs_end) {
                expect_declined(seen);
            } else {
                expect_line(seen, row);
            }
        });
    }
}

std::string in_small_letters(std::string text)
{
    for (char &letter : text) {
        letter = letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
    }
    return text;
}

TEST_F(LocalAt, LeavesWhatIsNotWhollyItsText)
{
    for (const line_row &row : lines()) {
        const std::string text = row.text;
        const std::string without_end = text.substr(0, text.size() - 1);
        for (const std::string &request :
             {without_end, without_end + "\n", without_end + " \r", text.substr(1), in_small_letters(row.line),
              std::string(1, '\0') + row.line, "ATI\r" + std::string(1, '\0') + row.line,
              text.substr(0, 4) + std::string(1, '\0') + text.substr(4),
              std::string(4095 - without_end.size(), 'x') + without_end}) {
            in_child([&] {
                SCOPED_TRACE(request.substr(0, 60));
                const device_handset handset;
                fill(handset);
                expect_declined(say(handset, amt_handle_local_at, request));
                EXPECT_THAT(handset.log().records(), IsEmpty());
            });
        }
    }
}

TEST_F(LocalAt, LeavesLinesOfTheModem)
{
    for (const char *line : {"", "\r", "AT\r", "ATI\r", "AT^DCGSNW=490154203237518\r", "AT^DMSN=1\r", "AT^DMPCHN=1\r",
                             "AT^DSVER?\r", "AT^DAMTON\r", "AT^DAMT2=1\r"}) {
        in_child([line] {
            const device_handset handset;
            fill(handset);
            expect_declined(say(handset, amt_handle_local_at, line));
        });
    }
    EXPECT_EQ(calls(), "(missing)");
}

TEST_F(LocalAt, AnswersTheEarlierOfTwoLinesInTheChainWhicheverIsFirstInTheText)
{
    for (size_t first = 0; first < lines().size(); first++) {
        for (size_t second = first + 1; second < lines().size(); second++) {
            const line_row &row = lines()[first];
            const line_row &other = lines()[second];
            for (const std::string &request : {row.line + other.line, other.line + row.line}) {
                in_child([&] {
                    SCOPED_TRACE(request);
                    const device_handset handset;
                    fill(handset);
                    expect_line(say(handset, amt_handle_local_at, request), row);
                });
            }
        }
    }
}

TEST_F(LocalAt, TellsTheVersionAndKeepsThePowerOnWhenItIsAskedForBoth)
{
    for (const char *request : {"AT^DSVER\rAT^DAMTOFF\r", "AT^DAMTOFF\rAT^DSVER\r", "AT^DAMTOFF\r\nAT^DSVER\r\n"}) {
        in_child([request] {
            const device_handset handset;
            const outcome seen = say(handset, amt_handle_local_at, request);
            EXPECT_THAT(seen.at_station, ElementsAre("\r\n^DSVER: KV\r\n\r\nOK\r\n")) << request;
            EXPECT_THAT(seen.events, ElementsAre("send")) << request;
        });
    }
}

TEST_F(LocalAt, LeavesTheRadiosAloneForALineBeforeTheirs)
{
    in_child([] {
        const device_handset handset;
        const outcome seen = say(handset, amt_handle_local_at, "AT^DBTCTRL=1\rAT^DSVER\r");
        EXPECT_THAT(seen.at_station, ElementsAre("\r\n^DSVER: KV\r\n\r\nOK\r\n"));
    });
    EXPECT_THAT(calls(), Not(HasSubstr("hwt_")));
}

TEST_F(LocalAt, TestsARadioByItsLine)
{
    in_child([] {
        const device_handset handset;
        EXPECT_THAT(say(handset, amt_handle_local_at, "AT^DBTCTRL=0\r").at_station, ElementsAre(k_ok_line));
    });
    EXPECT_THAT(calls(), HasSubstr("hwt_btCtrl(0)\n"));
}

// What a handset answers that has nothing.
struct failure_row {
    const char *line;
    const char *answer; // null: none
    int32_t result;
};

TEST_F(LocalAt, AnswersFailuresItself)
{
    const failure_row rows[] = {
        {"AT^DBTADDR?\r", k_cme_line, ERR_NONE},         {"AT^DBTADDR=\"1\"\r", k_cme_line, ERR_NONE},
        {"AT^DBTADDR=\"\"\r", k_cme_line, ERR_NONE},     {"AT^DWIFIADDR?\r", k_cme_line, ERR_NONE},
        {"AT^DWIFIADDR=\"1\"\r", k_cme_line, ERR_NONE},  {"AT^DWIFIADDR=\"\"\r", k_cme_line, ERR_NONE},
        {"AT^DBTCTRL=2\r", k_error_line, ERR_NONE},      {"AT^DPCBACTRL=1\r", k_error_line, ERR_NONE},
        {"AT^DPCBACTRL=2,1\r", k_error_line, ERR_NONE},  {"AT^DPCBACTRL=3\r", k_error_line, ERR_NONE},
        {"AT^DAMT1=1\r", k_error_line, ERR_NONE},        {"AT^DAMT1=3\r", k_error_line, ERR_NONE},
        {"AT^DENTERIDLE\r", k_error_line, ERR_NONE},     {"AT^DBOOTDLFIN\r", k_error_line, ERR_NONE},
        {"AT^DPCBACTRL=\r", nullptr, ERR_INVALID_PARAM}, {"AT^DPCBACTRL=2\r", nullptr, ERR_INVALID_PARAM},
        {"AT^DAMT1=\r", nullptr, ERR_INVALID_PARAM},
    };
    for (const failure_row &row : rows) {
        in_child([&row] {
            SCOPED_TRACE(row.line);
            const device_handset handset;
            g_fake.refused = {{k_load, ENOENT}};
            const outcome seen = say(handset, amt_handle_local_at, row.line);
            EXPECT_EQ(seen.result, row.result);
            if (row.answer == nullptr) {
                EXPECT_THAT(seen.at_station, IsEmpty());
            } else {
                EXPECT_THAT(seen.at_station, ElementsAre(row.answer)) << "and not a word of the next in the chain";
            }
        });
    }
}

// A failure of a handler that has claimed the line must not hand it to the modem, nor to the next of the chain.
TEST_F(LocalAt, GivesTheResultOfTheAnswer)
{
    for (const line_row &row : lines()) {
        in_child([&row] {
            const device_handset handset;
            fill(handset);
            g_fake.is_send_cut = true;
            EXPECT_EQ(say(handset, amt_handle_local_at, row.line).result, ERR_WRITE_NOT_COMPLETED) << row.line;
        });
    }
}

// What the library says of itself is no word about whose the line is.
TEST_F(LocalAt, KeepsALineThatTheLibraryDoesNotFind)
{
    control("enter_idle", "result=-104\n");
    in_child([] {
        const device_handset handset;
        const outcome seen = say(handset, amt_handle_local_at, "AT^DENTERIDLE\rAT^DBOOTDLFIN\r");
        EXPECT_EQ(seen.result, ERR_NONE);
        EXPECT_THAT(seen.at_station, ElementsAre(k_error_line));
    });
}

} // namespace
