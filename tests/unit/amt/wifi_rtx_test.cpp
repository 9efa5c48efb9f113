// WiFi's tests of sending and receiving, by messages: each command for itself. What stays behind one of them has tests
// of its own.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "amt/device/wifi.h"
#include "pub/log/errors.h"
#include "tests/unit/amt/exchange.h"
#include "tests/unit/amt/handler_arguments.h"
#include "tests/unit/amt/radio_fakes.h"
#include "tests/unit/amt/wifi_requests.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class WifiTest : public radio_handset {};

// --- each command, as it should go

struct command_row {
    const char *name;
    uint8_t command;
    std::string atoms;
    const char *call;
    std::vector<std::string> told;
    std::string answered;
};

std::vector<command_row> command_rows()
{
    return {
        {"on", ON, "", "hwt_wifiCtrl(1)", {"info | WIFI-start start", "info | WIFI-start end. return:0."}, ""},
        {"sending",
         SEND,
         channel_atom(6) + rate_atom(540) + power_atom(15),
         "hwt_TxTest(1, 15, 540, 6)",
         {"info | WIFI-TX-start start. channel:6; power:15; rate:540", "info | WIFI-TX-start end. return:0."},
         ""},
        {"stop sending",
         STOP_SENDING,
         "",
         "hwt_TxTest(0, 0, 0, 0)",
         {"info | WIFI-TX-stop start. ", "info | WIFI-TX-stop end. return:0."},
         ""},
        {"receiving",
         RECEIVE,
         channel_atom(13) + rate_atom(110),
         "hwt_RxTest(1, 13, 110, null)",
         {"info | WIFI-RX-start start. channel:13; rate:110", "info | WIFI-RX-start end. return:0."},
         ""},
        {"stop receiving",
         STOP_RECEIVING,
         "",
         "hwt_RxTest(0, 13, 0, count)",
         {"info | WIFI-RX-stop start. channel:13", "info | WIFI-RX-stop end. return:0; cnt:258."},
         int_atom(158, 258)},
        {"off", OFF, "", "hwt_wifiCtrl(0)", {"info | WIFI-stop start", "info | WIFI-stop end. return:0."}, ""},
    };
}

TEST_F(WifiTest, IsOneCallOfTheLibraryForEachCommand)
{
    control("hwt_RxTest", "count=258\n");
    for (const uint8_t channel : {AMT_CHANNEL_PC, AMT_CHANNEL_APP}) {
        with_bench([channel](radio_bench &bench) {
            for (const command_row &row : command_rows()) {
                SCOPED_TRACE(row.name);
                size_t traced = 0;
                const size_t before = g_fake.shell_commands.size();
                g_radio.on_call = [&traced, before] { traced = g_fake.shell_commands.size() - before; };
                const outcome seen = bench.ask(amt_device_wifi_rtx_test, channel, wifi_request(row.command, row.atoms));
                EXPECT_EQ(seen.result, ERR_NONE);
                EXPECT_THAT(seen.calls, ElementsAre(row.call));
                EXPECT_THAT(seen.commands, ElementsAre(trace_of(row.command)));
                EXPECT_EQ(traced, 1U) << "before anything else";
                EXPECT_EQ(seen.told, row.told);
                EXPECT_THAT(seen.told_before, ElementsAre(row.told.front()));
                const std::string answer = wifi_answer(row.command, row.answered);
                if (channel == AMT_CHANNEL_PC) {
                    EXPECT_THAT(seen.at_station, ElementsAre(enveloped(answer)));
                    EXPECT_THAT(seen.at_application, IsEmpty());
                } else {
                    EXPECT_THAT(seen.at_application, ElementsAre(answer)) << "bare";
                    EXPECT_THAT(seen.at_station, IsEmpty());
                }
                EXPECT_THAT(g_fake.pauses, IsEmpty());
            }
        });
    }
}

TEST_F(WifiTest, AnswersByteByByte)
{
    control("hwt_RxTest", "count=-2\n");
    with_bench([](radio_bench &bench) {
        EXPECT_THAT(ask_wifi(bench, "0c00bbbb0600ee9a03010001").at_application,
                    ElementsAre("1500bbbc0f00ee9a03010001ee0101040000000000"));
        EXPECT_THAT(ask_wifi(bench, "0c00bbbb0600ee9a03010006").at_application,
                    ElementsAre("1e00bbbc1800ee9a03010006ee9e010400feffffffee0101040000000000"));
    });
}

// --- commands

struct unknown_row {
    const char *name;
    std::string atom;
    int command;
};

TEST_F(WifiTest, HasNoOtherCommands)
{
    const unknown_row rows[] = {
        {"0", bytes_atom(154, std::string(1, '\0')), 0},
        {"7", bytes_atom(154, "\x07"), 7},
        {"128", bytes_atom(154, "\x80"), 128},
        {"255", bytes_atom(154, "\xFF"), 255},
        {"missing", "", 0},
        {"empty", bytes_atom(154, ""), 0},
        {"another atom", int_atom(152, 1), 0},
        {"256, of which only the first byte counts", int_atom(154, 256), 0},
    };
    for (const unknown_row &row : rows) {
        with_bench([&row](radio_bench &bench) {
            SCOPED_TRACE(row.name);
            (void)carry_out(bench, ON);
            const outcome seen = ask_wifi(bench, message_of(187, row.atom + all_numbers()));
            EXPECT_EQ(seen.result, ERR_INVALID_PARAM);
            expect_unanswered(seen);
            EXPECT_THAT(seen.calls, IsEmpty());
            EXPECT_THAT(seen.told, ElementsAre(k_bad_argument + "unknown operation: " + std::to_string(row.command)));
            EXPECT_THAT(seen.commands, ElementsAre(trace_of(row.command),
                                                   "echo the subcmd is invalid >> /data/local/wifi/wifi_dbg_file.txt"));
        });
    }
}

TEST_F(WifiTest, TakesTheFirstByteOfALongerCommand)
{
    for (const std::string &atom : {bytes_atom(154, "\x01\x09"), int_atom(154, 1), int_atom(154, 0x301)}) {
        with_bench([&atom](radio_bench &bench) {
            const outcome seen = ask_wifi(bench, message_of(187, atom));
            EXPECT_EQ(seen.result, ERR_NONE);
            EXPECT_THAT(seen.calls, ElementsAre("hwt_wifiCtrl(1)"));
            EXPECT_THAT(seen.at_application, ElementsAre(wifi_answer(ON))) << "the echo is one byte";
            EXPECT_THAT(seen.commands, ElementsAre(trace_of(1)));
        });
    }
}

// --- the numbers of a test

struct number_row {
    const char *name;
    std::string atoms;
    const char *call;
    const char *told;
};

TEST_F(WifiTest, SendsWithNumbersAsWideAsTheirAtoms)
{
    const number_row rows[] = {
        {"small", channel_atom(0) + rate_atom(0) + power_atom(0), "hwt_TxTest(1, 0, 0, 0)",
         "channel:0; power:0; rate:0"},
        {"great", channel_atom(255) + rate_atom(0xFFFF) + power_atom(0x7FFF), "hwt_TxTest(1, 32767, 65535, 255)",
         "channel:255; power:32767; rate:65535"},
        {"a negative power", channel_atom(128) + rate_atom(0x8000) + power_atom(0xFFFB),
         "hwt_TxTest(1, -5, 32768, 128)", "channel:128; power:-5; rate:32768"},
        {"the least power", channel_atom(1) + rate_atom(1) + power_atom(0x8000), "hwt_TxTest(1, -32768, 1, 1)",
         "channel:1; power:-32768; rate:1"},
        {"in another order", power_atom(3) + rate_atom(2) + channel_atom(1), "hwt_TxTest(1, 3, 2, 1)",
         "channel:1; power:3; rate:2"},
        {"of one byte", channel_atom(1) + bytes_atom(156, "\x82") + bytes_atom(157, "\xFF"),
         "hwt_TxTest(1, 255, 130, 1)", "channel:1; power:255; rate:130"},
        {"of more bytes", int_atom(155, 0x0201) + int_atom(156, 0x10002) + int_atom(157, 0xFFFF0003),
         "hwt_TxTest(1, 3, 2, 1)", "channel:1; power:3; rate:2"},
    };
    for (const number_row &row : rows) {
        with_bench([&row](radio_bench &bench) {
            SCOPED_TRACE(row.name);
            (void)carry_out(bench, ON);
            const outcome seen = ask_wifi(bench, wifi_request(SEND, row.atoms));
            EXPECT_EQ(seen.result, ERR_NONE);
            EXPECT_THAT(seen.calls, ElementsAre(row.call));
            EXPECT_EQ(seen.told.front(), std::string("info | WIFI-TX-start start. ") + row.told);
        });
    }
}

TEST_F(WifiTest, ReceivesWithNumbersAsWideAsTheirAtoms)
{
    const number_row rows[] = {
        {"small", channel_atom(0) + rate_atom(0), "hwt_RxTest(1, 0, 0, null)", "channel:0; rate:0"},
        {"great", channel_atom(255) + rate_atom(0xFFFF), "hwt_RxTest(1, 255, 65535, null)", "channel:255; rate:65535"},
        {"in another order", rate_atom(2) + channel_atom(1), "hwt_RxTest(1, 1, 2, null)", "channel:1; rate:2"},
        {"of one byte", channel_atom(1) + bytes_atom(156, "\x82"), "hwt_RxTest(1, 1, 130, null)",
         "channel:1; rate:130"},
        {"of more bytes", int_atom(155, 0x0201) + int_atom(156, 0x10002), "hwt_RxTest(1, 1, 2, null)",
         "channel:1; rate:2"},
    };
    for (const number_row &row : rows) {
        with_bench([&row](radio_bench &bench) {
            SCOPED_TRACE(row.name);
            (void)carry_out(bench, ON);
            const outcome seen = ask_wifi(bench, wifi_request(RECEIVE, row.atoms));
            EXPECT_EQ(seen.result, ERR_NONE);
            EXPECT_THAT(seen.calls, ElementsAre(row.call));
            EXPECT_EQ(seen.told.front(), std::string("info | WIFI-RX-start start. ") + row.told);
        });
    }
}

struct missing_row {
    const char *name;
    uint8_t command;
    std::string atoms;
    const char *told;
};

TEST_F(WifiTest, TellsTheFirstNumberThatItMisses)
{
    const missing_row rows[] = {
        {"sending, none", SEND, "", "Tx get channel error"},
        {"sending, no channel", SEND, rate_atom(1) + power_atom(1), "Tx get channel error"},
        {"sending, an empty channel", SEND, bytes_atom(155, "") + rate_atom(1) + power_atom(1), "Tx get channel error"},
        {"sending, the channel alone", SEND, channel_atom(1), "Tx get rate error"},
        {"sending, no rate", SEND, channel_atom(1) + power_atom(1), "Tx get rate error"},
        {"sending, an empty rate", SEND, channel_atom(1) + bytes_atom(156, "") + power_atom(1), "Tx get rate error"},
        {"sending, no power", SEND, channel_atom(1) + rate_atom(1), "Tx get power error"},
        {"sending, an empty power", SEND, channel_atom(1) + rate_atom(1) + bytes_atom(157, ""), "Tx get power error"},
        {"receiving, none", RECEIVE, "", "Rx get channel error"},
        {"receiving, no channel", RECEIVE, rate_atom(1) + power_atom(1), "Rx get channel error"},
        {"receiving, an empty channel", RECEIVE, bytes_atom(155, "") + rate_atom(1), "Rx get channel error"},
        {"receiving, no rate", RECEIVE, channel_atom(1) + power_atom(1), "Rx get rate error"},
        {"receiving, an empty rate", RECEIVE, channel_atom(1) + bytes_atom(156, ""), "Rx get rate error"},
    };
    for (const missing_row &row : rows) {
        with_bench([&row](radio_bench &bench) {
            SCOPED_TRACE(row.name);
            (void)carry_out(bench, ON);
            const outcome seen = ask_wifi(bench, wifi_request(row.command, row.atoms));
            EXPECT_EQ(seen.result, ERR_UNKNOWN);
            expect_unanswered(seen);
            EXPECT_THAT(seen.calls, IsEmpty());
            EXPECT_THAT(seen.told, ElementsAre(k_failed + row.told));
            EXPECT_THAT(seen.commands, ElementsAre(trace_of(row.command)));
        });
    }
}

// --- the library refuses

struct refusal {
    const char *name;
    uint8_t command;
    const char *entry;
    const char *blamed;
    std::vector<std::string> told;
};

TEST_F(WifiTest, IsNotAnsweredForWhenTheLibraryRefuses)
{
    const refusal rows[] = {
        {"sending",
         SEND,
         "hwt_TxTest",
         "WIFI-TX-start error. call hwt_TxTest fail: 4",
         {"info | WIFI-TX-start start. channel:6; power:15; rate:540", "info | WIFI-TX-start end. return:4."}},
        {"stop sending",
         STOP_SENDING,
         "hwt_TxTest",
         "WIFI-TX-stop error. call hwt_TxTest fail: 4",
         {"info | WIFI-TX-stop start. ", "info | WIFI-TX-stop end. return:4."}},
        {"receiving",
         RECEIVE,
         "hwt_RxTest",
         "WIFI-RX-start error. call hwt_RxTest fail: 4",
         {"info | WIFI-RX-start start. channel:6; rate:540", "info | WIFI-RX-start end. return:4."}},
        {"stop receiving",
         STOP_RECEIVING,
         "hwt_RxTest",
         "WIFI-RX-stop error. call hwt_RxTest fail: 4",
         {"info | WIFI-RX-stop start. channel:6", "info | WIFI-RX-stop end. return:4; cnt:77."}},
    };
    for (const refusal &row : rows) {
        control(row.entry, "result=4\ncount=77\n");
        with_bench([&row](radio_bench &bench) {
            SCOPED_TRACE(row.name);
            (void)carry_out(bench, ON);
            const outcome seen = ask_wifi(bench, wifi_request(row.command, all_numbers()));
            EXPECT_EQ(seen.result, ERR_UNKNOWN);
            expect_unanswered(seen);
            EXPECT_EQ(seen.calls.size(), 1U) << "WiFi itself is left on";
            std::vector<std::string> told = row.told;
            told.push_back(k_failed + row.blamed);
            EXPECT_EQ(seen.told, told);
            EXPECT_THAT(seen.commands, ElementsAre(trace_of(row.command)));
            EXPECT_THAT(carry_out(bench, ON).calls, IsEmpty()) << "it still runs";
        });
    }
}

// --- what all handlers do

TEST_F(WifiTest, GivesTheResultOfItsAnswer)
{
    with_bench([](radio_bench &bench) {
        (void)carry_out(bench, ON);
        radio_bench::close_links();
        for (const uint8_t command : {ON, SEND, STOP_SENDING, RECEIVE, STOP_RECEIVING, OFF}) {
            const std::string request = wifi_request(command, all_numbers());
            EXPECT_EQ(bench.ask(amt_device_wifi_rtx_test, AMT_CHANNEL_PC, request).result, ERR_UNKNOWN);
            EXPECT_EQ(bench.ask(amt_device_wifi_rtx_test, AMT_CHANNEL_PC, wifi_request(ON)).result, ERR_UNKNOWN);
        }
    });
}

TEST_F(WifiTest, RefusesBadArgumentsAndTellsWhich)
{
    expect_bad_arguments_refused(amt_device_wifi_rtx_test, AMT_CHANNEL_PC, wifi_request(ON));
    EXPECT_EQ(calls(), "(missing)");
}

} // namespace
