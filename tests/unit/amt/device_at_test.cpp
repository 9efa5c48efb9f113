#include "amt/at-local/device-at.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "pub/log/errors.h"
#include "tests/unit/amt/exchange.h"
#include "tests/unit/amt/radio_fakes.h"

namespace {

using ::testing::Contains;
using ::testing::ContainsRegex;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::StartsWith;

class DeviceAt : public radio_handset {};

// --- each line, as it should go

struct line_row {
    std::string line;
    std::string answer;
    std::vector<std::string> calls;
    std::vector<std::string> told; // behind the line itself, without levels
};

std::string parameter(const std::string &text, const std::string &prefix)
{
    return "getted parameter:" + text + ". prefix:" + prefix + "; rtn:0.";
}

constexpr char k_check[] = "AT^DDEVCONNCHK=";
constexpr char k_bt[] = "AT^DBTCTRL=";

std::vector<line_row> good_lines()
{
    const std::string satellite = text_answer("\r\n^DGPSCTRL: 21,-38\r\n\r\nOK\r\n");
    return {
        {"AT^DDEVCONNCHK=0\r",
         k_line_ok,
         {"hwt_wifiCheck()"},
         {parameter("0", k_check), "wifi connectivity check start", "wifi connectivity check end. return:0."}},
        {"AT^DDEVCONNCHK=1\r",
         k_line_ok,
         {"hwt_gpsCheck()"},
         {parameter("1", k_check), "GPS connectivity check start", "GPS connectivity check end. return:0."}},
        {"AT^DDEVCONNCHK=3\r",
         k_line_ok,
         {"hwt_btCheck()"},
         {parameter("3", k_check), "BT hardware check start", "BT hardware check end. return:0."}},
        {"AT^DBTCTRL=1\r",
         k_line_ok,
         {"hwt_btCtrl(1)"},
         {parameter("1", k_bt), "BT-start start", "BT-start end. return:0."}},
        {"AT^DBTCTRL=0\r",
         k_line_ok,
         {"hwt_btCtrl(0)"},
         {parameter("0", k_bt), "BT-stop start", "BT-stop end. return:0."}},
        {"AT^DGPSCTRL=0\r",
         k_line_ok,
         {"hwt_gpsCtrl(0, 0, null, null)"},
         {"getted flag:0.", "GPS-stop start", "GPS-stop end. return:0."}},
        {"AT^DGPSCTRL=2,3\r",
         satellite,
         {"hwt_gpsCtrl(1, 0, null, null)", "hwt_gpsCtrl(2, 3, svid, cnr)"},
         {"getted flag:2.", "start gps firstly, GPS-start start", "GPS-start end. return:0.",
          "GPS-READ-SIGNAL start. index:3", "GPS-READ-SIGNAL end. return:0; index:3; svid:21; cnr:-38."}},
        {"AT^DWLTSD=1,6,540,-15\r",
         k_line_ok,
         {"hwt_wifiCtrl(1)", "hwt_TxTest(1, -15, 540, 6)"},
         {"getted control:1.", "start wifi firstly, WIFI-start start", "WIFI-start end. return:0.",
          "WIFI-TX-start start. channel:6; power:-15; rate:540(will multi 100)", "WIFI-TX-start end. return:0."}},
        {"AT^DWLTSD=0\r",
         k_line_ok,
         {"hwt_TxTest(0, 0, 0, 0)", "hwt_wifiCtrl(0)"},
         {"getted control:0.", "WIFI-TX-stop start. ", "WIFI-TX-stop end. return:0.",
          "then will stop wifi, WIFI-stop start", "WIFI-stop end. return:0."}},
        {"AT^DWLTRD=1,11,540\r",
         k_line_ok,
         {"hwt_wifiCtrl(1)", "hwt_RxTest(1, 11, 540, null)"},
         {"getted control:1.", "start wifi firstly, WIFI-start start", "WIFI-start end. return:0.",
          "WIFI-RX-start start. channel:11; rate:540(will multi 100)", "WIFI-RX-start end. return:0."}},
        {"AT^DWLTRD=0\r",
         k_line_ok,
         {"hwt_RxTest(0, 6, 0, count)", "hwt_wifiCtrl(0)"},
         {"getted control:0.", "WIFI-RX-stop start. channel:6", "WIFI-RX-stop end. return:0; cnt:77.",
          "then will stop wifi, WIFI-stop start", "WIFI-stop end. return:0."}},
    };
}

std::vector<std::string> records_of(const line_row &row)
{
    std::vector<std::string> records = {"info | received at command:" + row.line};
    for (const std::string &text : row.told) {
        records.push_back("info | " + text);
    }
    return records;
}

TEST_F(DeviceAt, LinesAreCarriedOutByTheLibraryAndToldStepByStep)
{
    control("hwt_gpsCtrl", "svid=21\ncnr=-38\n");
    control("hwt_RxTest", "count=77\n");
    for (const line_row &row : good_lines()) {
        with_bench([&row](radio_bench &bench) {
            SCOPED_TRACE(row.line);
            const outcome seen = bench.line(row.line);
            EXPECT_EQ(seen.result, ERR_NONE);
            EXPECT_THAT(seen.at_station, ElementsAre(row.answer));
            EXPECT_EQ(seen.calls, row.calls);
            EXPECT_EQ(seen.told, records_of(row));
            for (const std::string &record : seen.told_before) {
                EXPECT_THAT(record, ContainsRegex(" start(\\. .*)?$")) << "each call is told before it";
            }
            EXPECT_THAT(seen.commands, IsEmpty());
            EXPECT_THAT(g_fake.pauses, IsEmpty());
        });
    }
}

TEST_F(DeviceAt, LinesMayHaveTextInFrontAndNoEnd)
{
    control("hwt_gpsCtrl", "svid=21\ncnr=-38\n");
    for (const line_row &row : good_lines()) {
        const std::string bare = row.line.substr(0, row.line.size() - 1);
        for (const std::string &line : {bare, "ATI\r\n" + row.line, "AT^D" + row.line, row.line + "\nATI\r"}) {
            with_bench([&](radio_bench &bench) {
                SCOPED_TRACE(line);
                const outcome seen = bench.line(line);
                EXPECT_EQ(seen.result, ERR_NONE);
                EXPECT_THAT(seen.at_station, ElementsAre(row.answer));
                EXPECT_EQ(seen.calls, row.calls);
            });
        }
    }
}

TEST_F(DeviceAt, LinesGiveTheResultOfTheirAnswer)
{
    for (const line_row &row : good_lines()) {
        with_bench([&row](radio_bench &bench) {
            radio_bench::close_links();
            const outcome seen = bench.line(row.line);
            EXPECT_EQ(seen.result, ERR_UNKNOWN) << row.line;
            EXPECT_EQ(seen.calls, row.calls) << row.line;
        });
    }
}

// --- whose line it is

TEST_F(DeviceAt, LinesOfOthersAreLeftToThem)
{
    for (const std::string &line : std::vector<std::string>{
             "", "AT\r", "AT^DSVER\r", "AT^DBTCTRL\r", "AT^DBTCTRL?\r", "AT^DBTADDR?\r", "at^dbtctrl=1\r",
             "DBTCTRL=1\r", "AT^DDEVCONNCHK\r", "AT^DGPSCTRL =0\r", "AT^ DWLTSD=0\r", "AT^DWLTR D=0\r",
             "AT^DENTERIDLE\r", std::string("\0AT^DBTCTRL=1\r", 14)}) {
        with_bench([&line](radio_bench &bench) {
            const outcome seen = bench.line(line);
            EXPECT_EQ(seen.result, ERR_NOT_FOUND) << line;
            EXPECT_THAT(seen.at_station, IsEmpty());
            EXPECT_THAT(seen.calls, IsEmpty());
            EXPECT_THAT(seen.told, IsEmpty());
            EXPECT_EQ(bench.number_of_records(), 0U) << "not even the entry";
            EXPECT_EQ(handle_context_st.m_response.m_data_a[0], 0xFF) << "nothing was begun";
        });
    }
}

struct prefix_row {
    const char *line;
    const char *first_call;
};

// clang-format off
constexpr prefix_row k_prefixes_a[] = { // in their order
    {"AT^DDEVCONNCHK=1", "hwt_gpsCheck()"},
    {"AT^DBTCTRL=1",     "hwt_btCtrl(1)"},
    {"AT^DGPSCTRL=0",    "hwt_gpsCtrl(0, 0, null, null)"},
    {"AT^DWLTSD=0",      "hwt_TxTest(0, 0, 0, 0)"},
    {"AT^DWLTRD=0",      "hwt_RxTest(0, 6, 0, count)"},
};
// clang-format on

TEST_F(DeviceAt, LinesInOneRequestAreOneOfAFixedOrder)
{
    for (size_t later = 0; later < std::size(k_prefixes_a); later++) {
        for (size_t earlier = 0; earlier < later; earlier++) {
            const std::string one = std::string(k_prefixes_a[earlier].line) + "\r";
            const std::string other = std::string(k_prefixes_a[later].line) + "\r";
            for (const std::string &request : {one + other, other + one}) {
                with_bench([&](radio_bench &bench) {
                    const outcome seen = bench.line(request);
                    EXPECT_EQ(seen.result, ERR_NONE) << request;
                    EXPECT_THAT(seen.at_station, ElementsAre(k_line_ok)) << request;
                    ASSERT_FALSE(seen.calls.empty()) << request;
                    EXPECT_EQ(seen.calls.front(), k_prefixes_a[earlier].first_call) << request;
                });
            }
        }
    }
}

// --- the parameter of a check and of Bluetooth

struct parameter_row {
    const char *line;
    const char *told;
    const char *call; // null: an error
    const char *unknown;
};

TEST_F(DeviceAt, ParameterIsANumberInUpTo20Characters)
{
    const parameter_row rows[] = {
        {"AT^DBTCTRL=\r", "getted parameter:. prefix:AT^DBTCTRL=; rtn:0.", "hwt_btCtrl(0)", ""},
        {"AT^DBTCTRL=", "getted parameter:. prefix:AT^DBTCTRL=; rtn:0.", "hwt_btCtrl(0)", ""},
        {"AT^DBTCTRL=on\r", "getted parameter:on. prefix:AT^DBTCTRL=; rtn:0.", "hwt_btCtrl(0)", ""},
        {"AT^DBTCTRL=  1\r", "getted parameter:1. prefix:AT^DBTCTRL=; rtn:0.", "hwt_btCtrl(1)", ""},
        {"AT^DBTCTRL=1,2\r", "getted parameter:1,2. prefix:AT^DBTCTRL=; rtn:0.", "hwt_btCtrl(1)", ""},
        {"AT^DBTCTRL=00000000000000000001\r", "getted parameter:00000000000000000001. prefix:AT^DBTCTRL=; rtn:0.",
         "hwt_btCtrl(1)", ""},
        {"AT^DBTCTRL=000000000000000000001\r", "getted parameter:00000000000000000000. prefix:AT^DBTCTRL=; rtn:0.",
         "hwt_btCtrl(0)", ""},
        {"AT^DBTCTRL=4294967297\r", "getted parameter:4294967297. prefix:AT^DBTCTRL=; rtn:0.", "hwt_btCtrl(1)", ""},
        {"AT^DBTCTRL=2\r", "getted parameter:2. prefix:AT^DBTCTRL=; rtn:0.", nullptr, "2"},
        {"AT^DBTCTRL=-1\r", "getted parameter:-1. prefix:AT^DBTCTRL=; rtn:0.", nullptr, "-1"},
        {"AT^DDEVCONNCHK=\r", "getted parameter:. prefix:AT^DDEVCONNCHK=; rtn:0.", "hwt_wifiCheck()", ""},
        {"AT^DDEVCONNCHK=2\r", "getted parameter:2. prefix:AT^DDEVCONNCHK=; rtn:0.", nullptr, "2"},
        {"AT^DDEVCONNCHK=4\r", "getted parameter:4. prefix:AT^DDEVCONNCHK=; rtn:0.", nullptr, "4"},
        {"AT^DDEVCONNCHK=-3\r", "getted parameter:-3. prefix:AT^DDEVCONNCHK=; rtn:0.", nullptr, "-3"},
        {"AT^DDEVCONNCHK=99999999999\r", "getted parameter:99999999999. prefix:AT^DDEVCONNCHK=; rtn:0.", nullptr,
         "1215752191"},
    };
    for (const parameter_row &row : rows) {
        with_bench([&row](radio_bench &bench) {
            SCOPED_TRACE(row.line);
            const outcome seen = bench.line(row.line);
            EXPECT_EQ(seen.result, ERR_NONE);
            ASSERT_GE(seen.told.size(), 3U);
            EXPECT_EQ(seen.told[1], std::string("info | ") + row.told);
            if (row.call != nullptr) {
                EXPECT_THAT(seen.at_station, ElementsAre(k_line_ok));
                EXPECT_THAT(seen.calls, ElementsAre(row.call));
            } else {
                EXPECT_THAT(seen.at_station, ElementsAre(k_line_error));
                EXPECT_THAT(seen.calls, IsEmpty());
                EXPECT_EQ(seen.told.back(), k_bad_argument + "unknown operation: " + row.unknown);
                EXPECT_EQ(seen.told.size(), 3U);
            }
        });
    }
}

TEST_F(DeviceAt, ParameterThatCannotBeHadIsAnError)
{
    for (const char *prefix : {k_check, k_bt}) {
        with_bench([prefix](radio_bench &bench) {
            const std::string line = std::string(prefix) + "3\r";
            const outcome seen = bench.line(line, 0);
            EXPECT_EQ(seen.result, ERR_NONE);
            EXPECT_THAT(seen.at_station, ElementsAre(k_line_error));
            EXPECT_THAT(seen.calls, IsEmpty());
            EXPECT_THAT(seen.told,
                        ElementsAre("info | received at command:" + line, k_bad_argument + "0, 0, 0, 1",
                                    "info | getted parameter:. prefix:" + std::string(prefix) + "; rtn:-101."));
        });
    }
}

// --- the fields of the others

struct field_row {
    std::string line;
    const char *told; // of the first field
    std::vector<std::string> calls;
    std::string missing; // what is missing, or not known
};

TEST_F(DeviceAt, LineWithoutItsFirstFieldIsNotAnswered)
{
    const std::pair<const char *, const char *> rows[] = {
        {"AT^DGPSCTRL=", "flag is null!!!"},      {"AT^DGPSCTRL=,", "flag is null!!!"},
        {"AT^DWLTSD=", "control is null!!!"},     {"AT^DWLTSD=,,,", "control is null!!!"},
        {"AT^DWLTRD=", "control is null!!!"},     {"AT^DWLTRD=,,", "control is null!!!"},
        {"ATI\rAT^DWLTRD=", "control is null!!!"}};
    for (const auto &[line, told] : rows) {
        with_bench([line = std::string(line), told = std::string(told)](radio_bench &bench) {
            const outcome seen = bench.line(line);
            EXPECT_EQ(seen.result, ERR_INVALID_PARAM) << line;
            EXPECT_THAT(seen.at_station, IsEmpty()) << line;
            EXPECT_THAT(seen.calls, IsEmpty()) << line;
            EXPECT_EQ(handle_context_st.m_response.m_data_a[0], 0xFF) << "nothing was begun";
            ASSERT_EQ(seen.told.size(), 2U) << line;
            EXPECT_THAT(seen.told.front(), StartsWith("info | received at command:"));
            EXPECT_EQ(seen.told.back(), k_bad_argument + told);
        });
    }
}

TEST_F(DeviceAt, FirstFieldIsANumberWhateverItHolds)
{
    const std::pair<const char *, const char *> rows[] = {
        {"AT^DGPSCTRL=\r", "flag:0"},         {"AT^DGPSCTRL= 0\r", "flag:0"},  {"AT^DGPSCTRL=,0\r", "flag:0"},
        {"AT^DGPSCTRL=off\r", "flag:0"},      {"AT^DGPSCTRL=0,5\r", "flag:0"}, {"AT^DWLTSD=\r", "control:0"},
        {"AT^DWLTSD=x,1,2,3\r", "control:0"}, {"AT^DWLTRD=\r\n", "control:0"}, {"AT^DWLTRD=4294967296\r", "control:0"}};
    for (const auto &[line, told] : rows) {
        with_bench([line = std::string(line), told = std::string(told)](radio_bench &bench) {
            const outcome seen = bench.line(line);
            EXPECT_EQ(seen.result, ERR_NONE) << line;
            EXPECT_THAT(seen.at_station, ElementsAre(k_line_ok)) << line;
            EXPECT_THAT(seen.told, Contains("info | getted " + told + ".")) << line;
        });
    }
}

TEST_F(DeviceAt, FirstFieldHasNoOtherMeanings)
{
    const field_row rows[] = {
        {"AT^DGPSCTRL=1\r", "flag:1.", {}, "1"},           {"AT^DGPSCTRL=1,3\r", "flag:1.", {}, "1"},
        {"AT^DGPSCTRL=3\r", "flag:3.", {}, "3"},           {"AT^DGPSCTRL=-1\r", "flag:-1.", {}, "-1"},
        {"AT^DWLTSD=2,6,540,15\r", "control:2.", {}, "2"}, {"AT^DWLTSD=-1\r", "control:-1.", {}, "-1"},
        {"AT^DWLTRD=2,6,540\r", "control:2.", {}, "2"},    {"AT^DWLTRD=257,6,540\r", "control:257.", {}, "257"},
    };
    for (const field_row &row : rows) {
        with_bench([&row](radio_bench &bench) {
            const outcome seen = bench.line(row.line);
            EXPECT_EQ(seen.result, ERR_NONE) << row.line;
            EXPECT_THAT(seen.at_station, ElementsAre(k_line_error)) << row.line;
            EXPECT_THAT(seen.calls, IsEmpty()) << row.line;
            EXPECT_THAT(seen.told,
                        ElementsAre("info | received at command:" + row.line, std::string("info | getted ") + row.told,
                                    k_bad_argument + "unknown operation: " + row.missing));
        });
    }
}

TEST_F(DeviceAt, FieldThatIsMissingIsToldWhenTheRadioIsOnAlready)
{
    const field_row rows[] = {
        {"AT^DGPSCTRL=2", "flag:2.", {"hwt_gpsCtrl(1, 0, null, null)"}, "index"},
        {"AT^DGPSCTRL=2\r", "flag:2.", {"hwt_gpsCtrl(1, 0, null, null)"}, "index"},
        {"AT^DGPSCTRL=2,", "flag:2.", {"hwt_gpsCtrl(1, 0, null, null)"}, "index"},
        {"AT^DWLTSD=1\r", "control:1.", {"hwt_wifiCtrl(1)"}, "channel"},
        {"AT^DWLTSD=1,6\r", "control:1.", {"hwt_wifiCtrl(1)"}, "rate"},
        {"AT^DWLTSD=1,6,540\r", "control:1.", {"hwt_wifiCtrl(1)"}, "power"},
        {"AT^DWLTSD=1,6,,540\r", "control:1.", {"hwt_wifiCtrl(1)"}, "power"},
        {"AT^DWLTRD=1\r", "control:1.", {"hwt_wifiCtrl(1)"}, "channel"},
        {"AT^DWLTRD=1,6\r", "control:1.", {"hwt_wifiCtrl(1)"}, "rate"},
    };
    for (const field_row &row : rows) {
        with_bench([&row](radio_bench &bench) {
            SCOPED_TRACE(row.line);
            const outcome seen = bench.line(row.line);
            EXPECT_EQ(seen.result, ERR_NONE);
            EXPECT_THAT(seen.at_station, ElementsAre(k_line_error));
            EXPECT_EQ(seen.calls, row.calls);
            const bool is_gps = row.missing == "index";
            EXPECT_THAT(seen.told,
                        ElementsAre("info | received at command:" + row.line, std::string("info | getted ") + row.told,
                                    is_gps ? "info | start gps firstly, GPS-start start"
                                           : "info | start wifi firstly, WIFI-start start",
                                    is_gps ? "info | GPS-start end. return:0." : "info | WIFI-start end. return:0.",
                                    k_bad_argument + row.missing + " is null!!!"));
        });
    }
}

struct number_row {
    const char *line;
    const char *last_call;
    const char *told;
};

TEST_F(DeviceAt, NumbersAreNarrowedToWhatTheyMean)
{
    const number_row rows[] = {
        {"AT^DGPSCTRL=2,4294967297\r", "hwt_gpsCtrl(2, 1, svid, cnr)", "GPS-READ-SIGNAL start. index:1"},
        {"AT^DGPSCTRL=2,300\r", "hwt_gpsCtrl(2, 300, svid, cnr)", "GPS-READ-SIGNAL start. index:300"},
        {"AT^DGPSCTRL=2,-3\r", "hwt_gpsCtrl(2, -3, svid, cnr)", "GPS-READ-SIGNAL start. index:-3"},
        {"AT^DGPSCTRL=2,\r", "hwt_gpsCtrl(2, 0, svid, cnr)", "GPS-READ-SIGNAL start. index:0"},
        {"AT^DGPSCTRL=2,3,4\r", "hwt_gpsCtrl(2, 3, svid, cnr)", "GPS-READ-SIGNAL start. index:3"},
        {"AT^DWLTSD=1,255,65535,32767\r", "hwt_TxTest(1, 32767, 65535, 255)",
         "WIFI-TX-start start. channel:255; power:32767; rate:65535(will multi 100)"},
        {"AT^DWLTSD=1,262,65537,65535\r", "hwt_TxTest(1, -1, 1, 6)",
         "WIFI-TX-start start. channel:6; power:-1; rate:1(will multi 100)"},
        {"AT^DWLTSD=1,-1,-1,32768\r", "hwt_TxTest(1, -32768, 65535, 255)",
         "WIFI-TX-start start. channel:255; power:-32768; rate:65535(will multi 100)"},
        {"AT^DWLTSD=1,x,,y,z,9\r", "hwt_TxTest(1, 0, 0, 0)",
         "WIFI-TX-start start. channel:0; power:0; rate:0(will multi 100)"},
        {"AT^DWLTRD=1,262,65537\r", "hwt_RxTest(1, 6, 1, null)",
         "WIFI-RX-start start. channel:6; rate:1(will multi 100)"},
        {"AT^DWLTRD=1,-2,-2,3\r", "hwt_RxTest(1, 254, 65534, null)",
         "WIFI-RX-start start. channel:254; rate:65534(will multi 100)"},
    };
    for (const number_row &row : rows) {
        with_bench([&row](radio_bench &bench) {
            SCOPED_TRACE(row.line);
            const outcome seen = bench.line(row.line);
            EXPECT_EQ(seen.result, ERR_NONE);
            EXPECT_NE(seen.at_station, std::vector<std::string>{k_line_error});
            ASSERT_EQ(seen.calls.size(), 2U);
            EXPECT_EQ(seen.calls.back(), row.last_call);
            EXPECT_THAT(seen.told, Contains(std::string("info | ") + row.told));
        });
    }
}

} // namespace
