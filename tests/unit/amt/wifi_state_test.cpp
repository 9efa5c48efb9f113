// What WiFi's tests of sending and receiving leave behind for the next: whether it runs, and the channel it receives
// on.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "amt/device/wifi.h"
#include "pub/log/errors.h"
#include "tests/unit/amt/exchange.h"
#include "tests/unit/amt/radio_fakes.h"
#include "tests/unit/amt/wifi_requests.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class WifiState : public radio_handset {};

// --- stopped and running

TEST_F(WifiState, RunsNothingWhileStoppedNotEvenToLookForItsNumbers)
{
    for (const uint8_t command : {SEND, STOP_SENDING, RECEIVE, STOP_RECEIVING}) {
        for (const std::string &atoms : {std::string(), all_numbers()}) {
            with_bench([command, &atoms](radio_bench &bench) {
                const auto expect_refused = [&] {
                    const outcome seen = ask_wifi(bench, wifi_request(command, atoms));
                    EXPECT_EQ(seen.result, ERR_UNKNOWN) << static_cast<int>(command);
                    expect_unanswered(seen);
                    EXPECT_THAT(seen.calls, IsEmpty());
                    EXPECT_THAT(seen.told, ElementsAre(k_failed + "WIFI is not running"));
                    EXPECT_THAT(seen.commands, ElementsAre(trace_of(command)));
                };
                expect_refused();
                (void)carry_out(bench, ON);
                (void)carry_out(bench, OFF);
                expect_refused();
            });
        }
    }
}

TEST_F(WifiState, IsSwitchedOnOnceHoweverOftenItIsAsked)
{
    with_bench([](radio_bench &bench) {
        EXPECT_THAT(carry_out(bench, ON).calls, ElementsAre("hwt_wifiCtrl(1)"));
        const outcome seen = carry_out(bench, ON);
        EXPECT_THAT(seen.calls, IsEmpty());
        EXPECT_THAT(seen.told, IsEmpty());
        EXPECT_THAT(seen.commands, ElementsAre(trace_of(ON)));
        EXPECT_THAT(seen.at_application, ElementsAre(wifi_answer(ON)));
        EXPECT_THAT(carry_out(bench, OFF).calls, ElementsAre("hwt_wifiCtrl(0)"));
        EXPECT_THAT(carry_out(bench, ON).calls, ElementsAre("hwt_wifiCtrl(1)")) << "again";
    });
}

TEST_F(WifiState, IsSwitchedOffOnlyWhenItIsOn)
{
    with_bench([](radio_bench &bench) {
        const outcome seen = carry_out(bench, OFF);
        EXPECT_THAT(seen.calls, IsEmpty());
        EXPECT_THAT(seen.told, IsEmpty());
        EXPECT_THAT(seen.commands, ElementsAre(trace_of(OFF)));
        EXPECT_THAT(seen.at_application, ElementsAre(wifi_answer(OFF)));
        (void)carry_out(bench, ON);
        EXPECT_THAT(carry_out(bench, OFF).calls, ElementsAre("hwt_wifiCtrl(0)"));
        EXPECT_THAT(carry_out(bench, OFF).calls, IsEmpty());
    });
}

TEST_F(WifiState, StaysStoppedWhenItDoesNotStart)
{
    control("hwt_wifiCtrl", "result=8\n");
    with_bench([this](radio_bench &bench) {
        outcome seen = ask_wifi(bench, wifi_request(ON));
        EXPECT_EQ(seen.result, ERR_UNKNOWN);
        expect_unanswered(seen);
        EXPECT_THAT(seen.told, ElementsAre("info | WIFI-start start", "info | WIFI-start end. return:8.",
                                           k_failed + "WIFI-start error. call hwt_wifiCtrl fail: 8"));
        seen = ask_wifi(bench, wifi_request(SEND, all_numbers()));
        EXPECT_EQ(seen.result, ERR_UNKNOWN);
        EXPECT_THAT(seen.told, ElementsAre(k_failed + "WIFI is not running"));
        EXPECT_THAT(carry_out(bench, OFF).calls, IsEmpty());
        control("hwt_wifiCtrl", "");
        EXPECT_THAT(carry_out(bench, ON).calls, ElementsAre("hwt_wifiCtrl(1)")) << "it is tried again";
    });
}

TEST_F(WifiState, KeepsRunningWhenItDoesNotStop)
{
    with_bench([this](radio_bench &bench) {
        (void)carry_out(bench, ON);
        control("hwt_wifiCtrl", "result=-8\n");
        const outcome seen = ask_wifi(bench, wifi_request(OFF));
        EXPECT_EQ(seen.result, ERR_UNKNOWN);
        expect_unanswered(seen);
        EXPECT_THAT(seen.calls, ElementsAre("hwt_wifiCtrl(0)"));
        EXPECT_THAT(seen.told, ElementsAre("info | WIFI-stop start", "info | WIFI-stop end. return:-8.",
                                           k_failed + "WIFI-stop error. call hwt_wifiCtrl fail: -8"));
        EXPECT_THAT(carry_out(bench, SEND).calls, ElementsAre("hwt_TxTest(1, 15, 540, 6)"));
        EXPECT_THAT(carry_out(bench, ON).calls, IsEmpty());
        control("hwt_wifiCtrl", "");
        EXPECT_THAT(carry_out(bench, OFF).calls, ElementsAre("hwt_wifiCtrl(0)")) << "it is tried again";
    });
}

TEST_F(WifiState, RunsForBothChannelsAlike)
{
    with_bench([](radio_bench &bench) {
        EXPECT_EQ(bench.ask(amt_device_wifi_rtx_test, AMT_CHANNEL_PC, wifi_request(ON)).result, ERR_NONE);
        EXPECT_THAT(carry_out(bench, SEND).calls, ElementsAre("hwt_TxTest(1, 15, 540, 6)"));
    });
}

TEST_F(WifiState, RunsAlthoughItsAnswerWasLost)
{
    with_bench([](radio_bench &bench) {
        radio_bench::close_links();
        EXPECT_EQ(ask_wifi(bench, wifi_request(ON)).result, ERR_UNKNOWN);
        EXPECT_THAT(ask_wifi(bench, wifi_request(SEND, all_numbers())).calls, ElementsAre("hwt_TxTest(1, 15, 540, 6)"));
        EXPECT_THAT(ask_wifi(bench, wifi_request(OFF)).calls, ElementsAre("hwt_wifiCtrl(0)"));
        EXPECT_THAT(ask_wifi(bench, wifi_request(SEND, all_numbers())).calls, IsEmpty());
    });
}

// --- the channel that is received on

std::string stop_receiving(radio_bench &bench)
{
    const outcome seen = carry_out(bench, STOP_RECEIVING);
    EXPECT_EQ(seen.calls.size(), 1U);
    return seen.calls.front();
}

TEST_F(WifiState, StopsReceivingOnTheChannelOfTheLastGoodStart)
{
    with_bench([this](radio_bench &bench) {
        (void)carry_out(bench, ON);
        EXPECT_EQ(stop_receiving(bench), "hwt_RxTest(0, 6, 0, count)") << "before any";
        EXPECT_EQ(ask_wifi(bench, wifi_request(RECEIVE, channel_atom(200) + rate_atom(1))).result, ERR_NONE);
        EXPECT_EQ(ask_wifi(bench, wifi_request(SEND, channel_atom(7) + rate_atom(1) + power_atom(1))).result, ERR_NONE);
        EXPECT_EQ(stop_receiving(bench), "hwt_RxTest(0, 200, 0, count)") << "not where it sends";
        EXPECT_EQ(stop_receiving(bench), "hwt_RxTest(0, 200, 0, count)") << "again";
        control("hwt_RxTest", "result=1\n");
        EXPECT_EQ(ask_wifi(bench, wifi_request(RECEIVE, channel_atom(9) + rate_atom(1))).result, ERR_UNKNOWN);
        control("hwt_RxTest", "");
        EXPECT_EQ(ask_wifi(bench, wifi_request(RECEIVE, channel_atom(8))).result, ERR_UNKNOWN);
        EXPECT_EQ(stop_receiving(bench), "hwt_RxTest(0, 200, 0, count)") << "not one that failed";
        (void)carry_out(bench, OFF);
        (void)carry_out(bench, ON);
        EXPECT_EQ(stop_receiving(bench), "hwt_RxTest(0, 200, 0, count)") << "also after a pause";
    });
}

TEST_F(WifiState, CountsNothingWhenTheLibraryStoresNothing)
{
    control("hwt_RxTest", "count=77\n");
    with_bench([](radio_bench &bench) {
        (void)carry_out(bench, ON);
        g_radio.stores_nothing = true;
        EXPECT_THAT(carry_out(bench, STOP_RECEIVING).at_application,
                    ElementsAre(wifi_answer(STOP_RECEIVING, int_atom(158, 0))));
    });
}

} // namespace
