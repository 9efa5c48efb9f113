#include "amt/device/radio.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "pub/log/errors.h"
#include "tests/support/in_child.h"
#include "tests/support/test_log.h"
#include "tests/unit/amt/radio_fakes.h"

namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;

class RadioSteps : public radio_handset {};

struct step_row {
    const radio_step &step;
    const char *name;
    const char *call;
    const char *blamed;
};

// clang-format off
const step_row k_steps_a[] = {
    {AMT_BT_START,         "BT-start",                "hwt_btCtrl(1)",                 "hwt_btCtrl"},
    {AMT_BT_STOP,          "BT-stop",                 "hwt_btCtrl(0)",                 "hwt_btCtrl"},
    {AMT_BT_CLOSE,         "BT-start close",          "hwt_btCtrl(0)",                 "hwt_btCtrl"},
    {AMT_BT_OPEN,          "BT-start open",           "hwt_btCtrl(1)",                 "hwt_btCtrl"},
    {AMT_BT_CHECK,         "BT hardware check",       "hwt_btCheck()",                 "hwt_btCheck"},
    {AMT_WIFI_START,       "WIFI-start",              "hwt_wifiCtrl(1)",               "hwt_wifiCtrl"},
    {AMT_WIFI_STOP,        "WIFI-stop",               "hwt_wifiCtrl(0)",               "hwt_wifiCtrl"},
    {AMT_WIFI_CHECK,       "wifi connectivity check", "hwt_wifiCheck()",               "hwt_btCtrl"}, // known as that
    {AMT_GPS_START,        "GPS-start",               "hwt_gpsCtrl(1, 0, null, null)", "hwt_gpsCtrl"},
    {AMT_GPS_STOP,         "GPS stop",                "hwt_gpsCtrl(0, 0, null, null)", "hwt_gpsCtrl"},
    {AMT_GPS_STOP_BY_LINE, "GPS-stop",                "hwt_gpsCtrl(0, 0, null, null)", "hwt_gpsCtrl"},
    {AMT_GPS_CHECK,        "GPS connectivity check",  "hwt_gpsCheck()",                "hwt_gpsCheck"},
};
// clang-format on

TEST_F(RadioSteps, AreOneCallOfTheLibraryToldBeforeAndAfter)
{
    for (const step_row &row : k_steps_a) {
        in_child([&row, this] {
            SCOPED_TRACE(row.name);
            const test_log log;
            std::vector<std::string> told_before;
            g_radio.on_call = [&] { told_before = log.records(); };
            EXPECT_EQ(amt_radio_run(row.step, LOG_HERE), ERR_NONE);
            const std::string name = row.name;
            EXPECT_THAT(told_before, ElementsAre("info | " + name + " start"));
            EXPECT_THAT(log.records(), ElementsAre("info | " + name + " start", "info | " + name + " end. return:0."));
            EXPECT_EQ(calls(), std::string(row.call) + "\n");
        });
        (void)std::remove(host_path("/handset/calls").c_str());
    }
}

TEST_F(RadioSteps, FailWithWhateverIsNot0AndBlameTheEntry)
{
    for (const step_row &row : k_steps_a) {
        const std::string call = row.call;
        for (const std::string &code : std::vector<std::string>{"1", "-1", "-2147483648"}) {
            control(call.substr(0, call.find('(')), "result=" + code + "\n");
            in_child([&row, &code] {
                SCOPED_TRACE(row.name);
                const test_log log;
                EXPECT_EQ(amt_radio_run(row.step, LOG_HERE), ERR_UNKNOWN);
                const std::string name = row.name;
                EXPECT_THAT(log.records(),
                            ElementsAre("info | " + name + " start", "info | " + name + " end. return:" + code + ".",
                                        k_failed + name + " error. call " + row.blamed + " fail: " + code));
            });
        }
    }
}

TEST_F(RadioSteps, HaveAPrefixWhereTheyBeginAlone)
{
    control("hwt_btCheck", "result=3\n");
    in_child([] {
        const test_log log;
        EXPECT_EQ(amt_radio_run(AMT_BT_CHECK, LOG_HERE, "first, "), ERR_UNKNOWN);
        EXPECT_THAT(log.records(),
                    ElementsAre("info | first, BT hardware check start", "info | BT hardware check end. return:3.",
                                k_failed + "BT hardware check error. call hwt_btCheck fail: 3"));
    });
}

TEST_F(RadioSteps, OfTestFramesHandTheirNumbersOn)
{
    control("hwt_RxTest", "count=77\n");
    in_child([this] {
        const test_log log;
        int count = -1;
        EXPECT_EQ(amt_wifi_start_tx(1, 2, 3, " units", LOG_HERE), ERR_NONE);
        EXPECT_EQ(amt_wifi_stop_tx(LOG_HERE), ERR_NONE);
        EXPECT_EQ(amt_wifi_start_rx(4, 5, " units", LOG_HERE), ERR_NONE);
        EXPECT_EQ(amt_wifi_stop_rx(6, &count, LOG_HERE), ERR_NONE);
        EXPECT_EQ(count, 77);
        EXPECT_EQ(calls(), "hwt_TxTest(1, 3, 2, 1)\nhwt_TxTest(0, 0, 0, 0)\n"
                           "hwt_RxTest(1, 4, 5, null)\nhwt_RxTest(0, 6, 0, count)\n");
        EXPECT_THAT(log.records(),
                    ElementsAre("info | WIFI-TX-start start. channel:1; power:3; rate:2 units",
                                "info | WIFI-TX-start end. return:0.", "info | WIFI-TX-stop start. ",
                                "info | WIFI-TX-stop end. return:0.",
                                "info | WIFI-RX-start start. channel:4; rate:5 units",
                                "info | WIFI-RX-start end. return:0.", "info | WIFI-RX-stop start. channel:6",
                                "info | WIFI-RX-stop end. return:0; cnt:77."));
    });
}

TEST_F(RadioSteps, CountNoFramesWhenTheLibraryCountsNone)
{
    control("hwt_RxTest", "result=4\ncount=77\n");
    in_child([] {
        const test_log log;
        g_radio.stores_nothing = true;
        int count = -1;
        EXPECT_EQ(amt_wifi_stop_rx(6, &count, LOG_HERE), ERR_UNKNOWN);
        EXPECT_EQ(count, 0);
        EXPECT_THAT(log.records(),
                    ElementsAre("info | WIFI-RX-stop start. channel:6", "info | WIFI-RX-stop end. return:4; cnt:0.",
                                k_failed + "WIFI-RX-stop error. call hwt_RxTest fail: 4"));
    });
}

TEST_F(RadioSteps, TakeOnlyAResultOf0ForSuccess)
{
    in_child([] {
        const test_log log;
        EXPECT_EQ(amt_radio_check("A step", "its entry", 0, LOG_HERE), ERR_NONE);
        EXPECT_THAT(log.records(), IsEmpty());
        EXPECT_EQ(amt_radio_check("A step", "its entry", -104, LOG_HERE), ERR_UNKNOWN);
        EXPECT_THAT(log.records(), ElementsAre(k_failed + "A step error. call its entry fail: -104"));
    });
}

// An operation that fails at everything.
void amt_test_radios()
{
    int count = 0;
    (void)amt_radio_run(AMT_BT_CHECK, LOG_HERE);
    (void)amt_wifi_start_tx(1, 2, 3, "", LOG_HERE);
    (void)amt_wifi_stop_tx(LOG_HERE);
    (void)amt_wifi_start_rx(1, 2, "", LOG_HERE);
    (void)amt_wifi_stop_rx(1, &count, LOG_HERE);
    (void)amt_radio_check("a step", "an entry", 1, LOG_HERE);
}

TEST_F(RadioSteps, AreToldInTheNameOfTheOperationThatTakesThem)
{
    for (const char *entry : {"hwt_btCheck", "hwt_TxTest", "hwt_RxTest"}) {
        control(entry, "result=-1\n");
    }
    in_child([] {
        const test_log log;
        amt_test_radios();
        EXPECT_THAT(log.functions(), ElementsAreArray(std::vector<std::string>(16, "amt_test_radios")));
    });
}

} // namespace
