// What lines for the radios leave behind, and what becomes of them when the maker's library refuses.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "pub/log/errors.h"
#include "tests/unit/amt/radio_fakes.h"
#include "tests/unit/amt/wifi_requests.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class DeviceAtState : public radio_handset {};
class DeviceAtRefusal : public radio_handset {};

// --- what lines and messages share, and what not

TEST_F(DeviceAtState, StopsReceivingOnTheChannelOfTheLastGoodStart)
{
    with_bench([this](radio_bench &bench) {
        const auto stop = [&bench] { return bench.line("AT^DWLTRD=0\r").calls.front(); };
        EXPECT_EQ(stop(), "hwt_RxTest(0, 6, 0, count)") << "before any";
        EXPECT_THAT(bench.line("AT^DWLTRD=1,456,540\r").at_station, ElementsAre(k_line_ok));
        EXPECT_EQ(stop(), "hwt_RxTest(0, 200, 0, count)");
        EXPECT_EQ(stop(), "hwt_RxTest(0, 200, 0, count)") << "again";
        EXPECT_THAT(bench.line("AT^DWLTSD=1,7,540,15\r").at_station, ElementsAre(k_line_ok));
        EXPECT_THAT(bench.line("AT^DWLTRD=1,8\r").at_station, ElementsAre(k_line_error));
        control("hwt_RxTest", "result=1\n");
        EXPECT_THAT(bench.line("AT^DWLTRD=1,9,540\r").at_station, ElementsAre(k_line_error));
        EXPECT_EQ(stop(), "hwt_RxTest(0, 200, 0, count)") << "not where it sends, and not one that failed";
    });
}

TEST_F(DeviceAtState, LinesHaveAReceivingChannelOfTheirOwn)
{
    with_bench([](radio_bench &bench) {
        const auto ask = [&bench](uint8_t command) {
            return ask_wifi(bench, wifi_request(command, channel_atom(13) + rate_atom(1))).calls;
        };
        EXPECT_THAT(ask(ON), ElementsAre("hwt_wifiCtrl(1)"));
        EXPECT_THAT(ask(RECEIVE), ElementsAre("hwt_RxTest(1, 13, 1, null)"));
        EXPECT_EQ(bench.line("AT^DWLTRD=0\r").calls.front(), "hwt_RxTest(0, 6, 0, count)");
        EXPECT_EQ(bench.line("AT^DWLTRD=1,9,1\r").calls.back(), "hwt_RxTest(1, 9, 1, null)");
        EXPECT_THAT(ask(STOP_RECEIVING), ElementsAre("hwt_RxTest(0, 13, 0, count)"));
        EXPECT_EQ(bench.line("AT^DWLTRD=0\r").calls.front(), "hwt_RxTest(0, 9, 0, count)");
    });
}

TEST_F(DeviceAtState, LinesNeitherSeeNorChangeWhetherWifiRunsByMessages)
{
    with_bench([](radio_bench &bench) {
        const auto ask = [&bench](uint8_t command) {
            return ask_wifi(bench, wifi_request(command, channel_atom(13) + rate_atom(1)));
        };
        EXPECT_EQ(bench.line("AT^DWLTRD=1,9,1\r").calls.front(), "hwt_wifiCtrl(1)");
        EXPECT_EQ(bench.line("AT^DWLTSD=1,9,1,1\r").calls.front(), "hwt_wifiCtrl(1)") << "every time";
        EXPECT_EQ(ask(RECEIVE).result, ERR_UNKNOWN) << "not running by messages";
        EXPECT_THAT(ask(ON).calls, ElementsAre("hwt_wifiCtrl(1)"));
        EXPECT_EQ(bench.line("AT^DWLTRD=1,9,1\r").calls.front(), "hwt_wifiCtrl(1)");
        EXPECT_EQ(bench.line("AT^DWLTRD=0\r").calls.back(), "hwt_wifiCtrl(0)");
        EXPECT_EQ(bench.line("AT^DWLTSD=0\r").calls.back(), "hwt_wifiCtrl(0)") << "every time";
        EXPECT_EQ(ask(RECEIVE).result, ERR_NONE) << "still running by messages";
        EXPECT_THAT(ask(ON).calls, IsEmpty());
    });
}

// --- the library refuses

struct refusal_of_line {
    std::string line;
    const char *entry; // that refuses
    std::vector<std::string> calls;
    std::vector<std::string> told; // behind the line and its number, without levels; the last one is the failure's
};

std::vector<refusal_of_line> refusals()
{
    const std::string wifi_start = "start wifi firstly, WIFI-start start";
    const std::string wifi_started = "WIFI-start end. return:0.";
    return {
        {"AT^DDEVCONNCHK=0\r",
         "hwt_wifiCheck",
         {"hwt_wifiCheck()"},
         {"wifi connectivity check start", "wifi connectivity check end. return:-5.",
          "wifi connectivity check error. call hwt_btCtrl fail: -5"}},
        {"AT^DDEVCONNCHK=1\r",
         "hwt_gpsCheck",
         {"hwt_gpsCheck()"},
         {"GPS connectivity check start", "GPS connectivity check end. return:-5.",
          "GPS connectivity check error. call hwt_gpsCheck fail: -5"}},
        {"AT^DDEVCONNCHK=3\r",
         "hwt_btCheck",
         {"hwt_btCheck()"},
         {"BT hardware check start", "BT hardware check end. return:-5.",
          "BT hardware check error. call hwt_btCheck fail: -5"}},
        {"AT^DBTCTRL=1\r",
         "hwt_btCtrl",
         {"hwt_btCtrl(1)"},
         {"BT-start start", "BT-start end. return:-5.", "BT-start error. call hwt_btCtrl fail: -5"}},
        {"AT^DBTCTRL=0\r",
         "hwt_btCtrl",
         {"hwt_btCtrl(0)"},
         {"BT-stop start", "BT-stop end. return:-5.", "BT-stop error. call hwt_btCtrl fail: -5"}},
        {"AT^DGPSCTRL=0\r",
         "hwt_gpsCtrl",
         {"hwt_gpsCtrl(0, 0, null, null)"},
         {"GPS-stop start", "GPS-stop end. return:-5.", "GPS-stop error. call hwt_gpsCtrl fail: -5"}},
        {"AT^DGPSCTRL=2,3\r",
         "hwt_gpsCtrl",
         {"hwt_gpsCtrl(1, 0, null, null)"},
         {"start gps firstly, GPS-start start", "GPS-start end. return:-5.",
          "GPS-start error. call hwt_gpsCtrl fail: -5"}},
        {"AT^DWLTSD=1,6,540,15\r",
         "hwt_wifiCtrl",
         {"hwt_wifiCtrl(1)"},
         {wifi_start, "WIFI-start end. return:-5.", "WIFI-start error. call hwt_wifiCtrl fail: -5"}},
        {"AT^DWLTSD=1,6,540,15\r",
         "hwt_TxTest",
         {"hwt_wifiCtrl(1)", "hwt_TxTest(1, 15, 540, 6)"},
         {wifi_start, wifi_started, "WIFI-TX-start start. channel:6; power:15; rate:540(will multi 100)",
          "WIFI-TX-start end. return:-5.", "WIFI-TX-start error. call hwt_TxTest fail: -5"}},
        {"AT^DWLTSD=0\r",
         "hwt_TxTest",
         {"hwt_TxTest(0, 0, 0, 0)"},
         {"WIFI-TX-stop start. ", "WIFI-TX-stop end. return:-5.", "WIFI-TX-stop error. call hwt_TxTest fail: -5"}},
        {"AT^DWLTSD=0\r",
         "hwt_wifiCtrl",
         {"hwt_TxTest(0, 0, 0, 0)", "hwt_wifiCtrl(0)"},
         {"WIFI-TX-stop start. ", "WIFI-TX-stop end. return:0.", "then will stop wifi, WIFI-stop start",
          "WIFI-stop end. return:-5.", "WIFI-stop error. call hwt_wifiCtrl fail: -5"}},
        {"AT^DWLTRD=1,11,540\r",
         "hwt_wifiCtrl",
         {"hwt_wifiCtrl(1)"},
         {wifi_start, "WIFI-start end. return:-5.", "WIFI-start error. call hwt_wifiCtrl fail: -5"}},
        {"AT^DWLTRD=1,11,540\r",
         "hwt_RxTest",
         {"hwt_wifiCtrl(1)", "hwt_RxTest(1, 11, 540, null)"},
         {wifi_start, wifi_started, "WIFI-RX-start start. channel:11; rate:540(will multi 100)",
          "WIFI-RX-start end. return:-5.", "WIFI-RX-start error. call hwt_RxTest fail: -5"}},
        {"AT^DWLTRD=0\r",
         "hwt_RxTest",
         {"hwt_RxTest(0, 6, 0, count)"},
         {"WIFI-RX-stop start. channel:6", "WIFI-RX-stop end. return:-5; cnt:77.",
          "WIFI-RX-stop error. call hwt_RxTest fail: -5"}},
        {"AT^DWLTRD=0\r",
         "hwt_wifiCtrl",
         {"hwt_RxTest(0, 6, 0, count)", "hwt_wifiCtrl(0)"},
         {"WIFI-RX-stop start. channel:6", "WIFI-RX-stop end. return:0; cnt:0.", "then will stop wifi, WIFI-stop start",
          "WIFI-stop end. return:-5.", "WIFI-stop error. call hwt_wifiCtrl fail: -5"}},
    };
}

TEST_F(DeviceAtRefusal, LinesAreAnErrorAsSoonAsTheLibraryRefusesAStep)
{
    for (const refusal_of_line &row : refusals()) {
        control(row.entry, "result=-5\ncount=77\n");
        with_bench([&row](radio_bench &bench) {
            SCOPED_TRACE(row.line + " " + row.entry);
            const outcome seen = bench.line(row.line);
            EXPECT_EQ(seen.result, ERR_NONE);
            EXPECT_THAT(seen.at_station, ElementsAre(k_line_error));
            EXPECT_EQ(seen.calls, row.calls);
            std::vector<std::string> told;
            for (const std::string &text : row.told) {
                told.push_back((&text == &row.told.back() ? k_failed : "info | ") + text);
            }
            ASSERT_GT(seen.told.size(), 2U);
            EXPECT_EQ(std::vector<std::string>(seen.told.begin() + 2, seen.told.end()), told);
        });
        control(row.entry, "");
    }
}

TEST_F(DeviceAtRefusal, SatelliteThatCannotBeReadIsAnError)
{
    control("hwt_gpsCtrl", "svid=21\ncnr=38\n");
    with_bench([this](radio_bench &bench) {
        int number_of_call = 0;
        g_radio.on_call = [this, &number_of_call] {
            if (++number_of_call == 2) {
                control("hwt_gpsCtrl", "result=9\nsvid=21\ncnr=38\n");
            }
        };
        const outcome seen = bench.line("AT^DGPSCTRL=2,3\r");
        EXPECT_EQ(seen.result, ERR_NONE);
        EXPECT_THAT(seen.at_station, ElementsAre(k_line_error));
        EXPECT_THAT(seen.calls, ElementsAre("hwt_gpsCtrl(1, 0, null, null)", "hwt_gpsCtrl(2, 3, svid, cnr)"));
        EXPECT_THAT(seen.told, ElementsAre("info | received at command:AT^DGPSCTRL=2,3\r", "info | getted flag:2.",
                                           "info | start gps firstly, GPS-start start",
                                           "info | GPS-start end. return:0.", "info | GPS-READ-SIGNAL start. index:3",
                                           "info | GPS-READ-SIGNAL end. return:9; index:3; svid:21; cnr:38.",
                                           k_failed + "GPS-READ-SIGNAL error. call hwt_gpsCtrl fail: 9"));
    });
}

TEST_F(DeviceAtRefusal, SatelliteIsNumber0WhenTheLibraryStoresNone)
{
    control("hwt_gpsCtrl", "svid=21\ncnr=38\n");
    with_bench([](radio_bench &bench) {
        g_radio.stores_nothing = true;
        EXPECT_THAT(bench.line("AT^DGPSCTRL=2,3\r").at_station,
                    ElementsAre(text_answer("\r\n^DGPSCTRL: 0,0\r\n\r\nOK\r\n")));
    });
}

} // namespace
