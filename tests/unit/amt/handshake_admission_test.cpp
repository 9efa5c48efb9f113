// Whether a start on the insertion of a cable goes on, and when its two periods are opened.
#include <errno.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "amt/channels/failure-exit.h"
#include "amt/channels/handshake.h"
#include "amt/channels/timers.h"
#include "amt/channels/usb-monitor.h"
#include "amt/core/context.h"
#include "tests/support/in_child.h"
#include "tests/unit/amt/handshake_fakes.h"

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

const std::string k_deleted = "info | deleteTimer success, timerId[-1]";
const std::string k_sys_open = "sys error | open: 2 - No such file or directory";

std::vector<std::string> operator+(std::vector<std::string> a, const std::vector<std::string> &b)
{
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

std::string told_answer(int32_t result, uint32_t mode)
{
    return "info | after amt_get_charge_mode. return:" + std::to_string(result) + ", mode:" + std::to_string(mode) +
           ".";
}

std::vector<std::string> told_again(int32_t result, uint32_t mode)
{
    return {told_answer(result, mode),
            "info | return mode is not valid or return error. will recall get function. return:" +
                std::to_string(result) + ", mode:" + std::to_string(mode) + "."};
}

const std::vector<std::string> k_told_begin = {"info | will treat handshake.", "func | "};

const std::vector<std::string> k_told_permission = {
    "func | ", k_failed_call + "open(\"/amt/power_usb_amt.txt\") fail: 2 - No such file or directory",
    "info | permit to enter amt by handshake."};

// Of the failure exit, behind the reading of the flag if there is any.
const std::vector<std::string> k_told_refusal = {"info | do not permit to enter amt by handshake. ",
                                                 "info | set property(sys.kv.amt.failure.handshake) to 1.",
                                                 "func | ",
                                                 k_deleted,
                                                 "func | ",
                                                 k_deleted};

const std::vector<std::string> k_told_charger =
    std::vector<std::string>{"info | power-supply is ac, do not enter amt by handshake. will exit", "func | ",
                             "func | "} +
    k_told_refusal;

const std::vector<std::string> k_again = {"ask for the charge mode", "sleep 1 s"};
const std::vector<std::string> k_refusal = {k_not_permitted, k_end_process, "take the signal"};

// --- the admission

struct admission {
    const char *name;
    std::vector<charge_mode> answers;
    bool is_admitted;
    std::vector<std::string> events; // up to the decision
    std::vector<std::string> told;   // up to the decision
};

TEST(Handshake, IsForAUsbHostAndNotForACharger)
{
    const admission rows[] = {
        {"a USB host at once", {{0, 2}}, true, {"ask for the charge mode"}, {told_answer(0, 2)}},
        {"a charger at once", {{0, 1}}, false, {"ask for the charge mode"}, {told_answer(0, 1)}},
        {"errors first",
         {{-118, 2}, {-1, 1}, {0, 2}},
         true,
         k_again + k_again + std::vector<std::string>{"ask for the charge mode"},
         told_again(-118, 2) + told_again(-1, 1) + std::vector<std::string>{told_answer(0, 2)}},
        {"a positive result first",
         {{1, 2}, {0, 1}},
         false,
         k_again + std::vector<std::string>{"ask for the charge mode"},
         told_again(1, 2) + std::vector<std::string>{told_answer(0, 1)}},
        {"other modes first",
         {{0, 0}, {0, 3}, {0, 2}},
         true,
         k_again + k_again + std::vector<std::string>{"ask for the charge mode"},
         told_again(0, 0) + told_again(0, 3) + std::vector<std::string>{told_answer(0, 2)}},
    };
    for (const admission &row : rows) {
        in_child([&row] {
            SCOPED_TRACE(row.name);
            const cable cable;
            g_fake.charge_modes.assign(row.answers.begin(), row.answers.end());
            EXPECT_EQ(amt_admit(), row.is_admitted);
            const std::vector<std::string> read = {"read the flag"};
            EXPECT_THAT(g_fake.events, ElementsAreArray(row.events + (row.is_admitted ? read : k_refusal)));
            EXPECT_THAT(cable.told(), ElementsAreArray(k_told_begin + row.told +
                                                       (row.is_admitted ? k_told_permission : k_told_charger)));
        });
    }
}

TEST(Handshake, IsNotForACableThatNobodyKnowsBehindTwentyAttempts)
{
    struct row {
        const char *name;
        charge_mode answer;
    };
    for (const row &row : {row{"no library", {-118, 0}}, row{"no mode", {0, 0}}, row{"another mode", {0, 255}}}) {
        in_child([&row] {
            SCOPED_TRACE(row.name);
            const cable cable;
            cable.put_flag("1");
            g_fake.charge_modes.assign(20, row.answer);
            std::vector<std::string> events;
            std::vector<std::string> told = k_told_begin;
            for (int i = 0; i < 20; i++) {
                events = events + k_again;
                told = told + told_again(row.answer.result, row.answer.mode);
            }
            told.push_back("info | through (20) time's try. do not get valid mode, will exit as ac charge. return:" +
                           std::to_string(row.answer.result) + ", mode:" + std::to_string(row.answer.mode) + ".");
            EXPECT_FALSE(amt_admit());
            EXPECT_THAT(g_fake.events, ElementsAreArray(events + k_refusal)) << "whatever the flag says";
            EXPECT_THAT(cable.told(), ElementsAreArray(told + k_told_charger));
        });
    }
}

TEST(Handshake, IsForAUsbHostThatIsKnownAtTheTwentiethAttempt)
{
    in_child([] {
        const cable cable;
        g_fake.charge_modes.assign(19, {-118, 0});
        EXPECT_TRUE(amt_admit());
        EXPECT_EQ(times("ask for the charge mode"), 20U);
        EXPECT_EQ(times("sleep 1 s"), 19U);
        EXPECT_EQ(times(k_end_process), 0U);
    });
}

TEST(Handshake, IsForbiddenByAFlagOf0)
{
    struct row {
        const char *name;
        std::string text;
    };
    for (const row &row : {row{"0", "0"}, row{"no number", "no"}}) {
        in_child([&row] {
            SCOPED_TRACE(row.name);
            const cable cable;
            cable.put_flag(row.text);
            const std::vector<std::string> told_of_flag = {
                "func | ", "info | read content: " + row.text,
                "info | readed success from file(/amt/power_usb_amt.txt). flag: " + row.text + "."};
            EXPECT_FALSE(amt_admit());
            EXPECT_THAT(g_fake.events, ElementsAreArray(std::vector<std::string>{"ask for the charge mode",
                                                                                 "read the flag", "read the flag"} +
                                                        k_refusal));
            EXPECT_THAT(
                cable.told(),
                ElementsAreArray(k_told_begin + std::vector<std::string>{told_answer(0, 2)} + told_of_flag +
                                 std::vector<std::string>{"info | do not permit to enter amt by handshake. will exit",
                                                          "func | ", "func | "} +
                                 told_of_flag + k_told_refusal));
        });
    }
    in_child([] {
        const cable cable;
        cable.put_flag("0\n");
        EXPECT_FALSE(amt_admit());
        EXPECT_EQ(times(k_not_permitted), 1U);
        EXPECT_EQ(times(k_end_process), 1U);
    });
}

TEST(Handshake, IsPermittedByAnyOtherFlagAndWithoutAny)
{
    struct row {
        const char *name;
        void (*prepare)(const cable &);
    };
    for (const row &row :
         {row{"missing", [](const cable &) {}}, row{"1", [](const cable &c) { c.put_flag("1"); }},
          row{"1 in a line", [](const cable &c) { c.put_flag("1\n"); }},
          row{"2", [](const cable &c) { c.put_flag("2"); }}, row{"-1", [](const cable &c) { c.put_flag("-1"); }},
          row{"empty", [](const cable &c) { c.put_flag(""); }},
          row{"a folder", [](const cable &c) { c.make_flag_folder(); }},
          row{"not to be opened", [](const cable &) { g_fake.flag_error = EACCES; }}}) {
        in_child([&row] {
            SCOPED_TRACE(row.name);
            const cable cable;
            row.prepare(cable);
            EXPECT_TRUE(amt_admit());
            EXPECT_THAT(g_fake.events, ElementsAre("ask for the charge mode", "read the flag"));
            EXPECT_EQ(cable.told().back(), "info | permit to enter amt by handshake.");
        });
    }
}

TEST(Handshake, ForgetsAnOlderOneBeforeItAsksForTheCable)
{
    in_child([] {
        cable cable;
        cable.open_period();
        amt_begin_relay();
        HandShakeTimeout({});
        g_usbEnumTimer = reinterpret_cast<timer_t>(7);
        g_handShakeTimer = reinterpret_cast<timer_t>(8);
        cable.forget();
        g_fake.on_event = [](const std::string &) {
            EXPECT_EQ(g_is_usb_configured, 0);
            EXPECT_FALSE(amt_timer_exists(g_usbEnumTimer));
            EXPECT_FALSE(amt_timer_exists(g_handShakeTimer));
        };
        EXPECT_TRUE(amt_admit());
        EXPECT_THAT(g_fake.events, ElementsAre("ask for the charge mode", "read the flag")) << "ids only";
        g_fake.on_event = nullptr;
        amt_take_station_data();
        EXPECT_EQ(times("pause 20 us"), 0U) << "no modem reader is busy";
        amt_end_relay();
        amt_take_station_data();
        EXPECT_EQ(times("start the loader"), 1U) << "it can be done again";
    });
}

// --- the first period

TEST(Handshake, WaitsTwentySecondsForTheCable)
{
    in_child([] {
        cable cable;
        cable.admit();
        amt_await_usb_enumeration();
        EXPECT_THAT(g_fake.events, ElementsAre("create timer of the cable", "set timer 71: 20 s, 0 ns"));
        EXPECT_THAT(cable.told(), ElementsAre("func | ", "info | createTimer success, timerId[71]", "func | ",
                                              "info | setTimer success, timerId[71], timeMSec:20000. "));
        EXPECT_TRUE(amt_timer_exists(g_usbEnumTimer));
        EXPECT_FALSE(amt_timer_exists(g_handShakeTimer));
    });
}

TEST(Handshake, WaitsForTheCableWithoutATimeWhenThereIsNoTimer)
{
    in_child([] {
        cable cable;
        cable.admit();
        g_fake.create_error = EAGAIN;
        amt_await_usb_enumeration();
        EXPECT_THAT(g_fake.events, ElementsAre("create timer of the cable"));
        EXPECT_THAT(cable.told(),
                    ElementsAre("func | ", k_failed_call + "timer_create, error: 11 - Resource temporarily unavailable",
                                "func | ", k_bad_argument + "invalid parameter.timerId:-1; timeMSec:20000."));
    });
}

// --- the second period

const std::vector<std::string> k_armed = {"create timer of the station", "set timer 71: 5 s, 0 ns"};
const std::vector<std::string> k_told_armed = {"info | will create timer.", "func | ",
                                               "info | createTimer success, timerId[71]", "func | ",
                                               "info | setTimer success, timerId[71], timeMSec:5000. "};

void relay()
{
    amt_begin_relay();
    amt_end_relay();
}

TEST(Handshake, WaitsFiveSecondsForTheStationOnceTheModemHasSpokenOverAnEnumeratedCable)
{
    in_child([] {
        cable cable;
        cable.admit();
        cable::enumerate();
        amt_begin_relay();
        EXPECT_THAT(g_fake.events, IsEmpty());
        amt_end_relay();
        EXPECT_THAT(g_fake.events, ElementsAreArray(k_armed)) << "and the kernel is not asked";
        EXPECT_THAT(cable.told(), ElementsAreArray(k_told_armed));
        cable.forget();
        relay();
        relay();
        EXPECT_THAT(g_fake.events, IsEmpty()) << "once";
        EXPECT_THAT(cable.told(), IsEmpty());
    });
}

TEST(Handshake, HasTheStationsDataWaitUntilThePeriodIsOpen)
{
    in_child([] {
        cable cable;
        cable.admit();
        cable::enumerate();
        g_fake.on_event = [](const std::string &event) {
            if (event == k_armed[0]) { // there is no timer yet
                on_another_thread(amt_take_station_data);
            }
        };
        relay();
        EXPECT_EQ(times("pause 20 us"), 1001U);
    });
}

TEST(Handshake, AsksTheKernelWhetherTheCableIsEnumerated)
{
    const std::string front = "CONFIGURED" + std::string(190, 'x');
    struct row {
        const char *name;
        std::string text;
        bool is_enumerated;
        std::string told; // the first line of it
    };
    for (const row &row :
         {row{"configured", "CONFIGURED", true, "CONFIGURED."}, row{"in a line", "CONFIGURED\n", true, "CONFIGURED"},
          row{"connected", "CONNECTED\n", false, "CONNECTED"}, row{"empty", "", false, "."},
          row{"disconnected", "DISCONNECTED\n", false, "DISCONNECTED"},
          row{"in small letters", "configured", false, "configured."},
          row{"99 bytes", std::string(89, 'x') + "CONFIGURED", true, std::string(89, 'x') + "CONFIGURED."},
          row{"100 bytes", std::string(90, 'x') + "CONFIGURED", false, std::string(90, 'x') + "CONFIGURE."},
          row{"200 bytes", front, true, front.substr(0, 99) + "."}}) {
        in_child([&row] {
            SCOPED_TRACE(row.name);
            cable cable;
            cable.admit();
            cable.put_state(row.text);
            relay();
            const std::vector<std::string> asked = {"read the state"};
            const std::vector<std::string> told = {
                "func | ",
                "info | readed success from file(/sys/class/android_usb/android0/state). value: " + row.told};
            if (row.is_enumerated) {
                EXPECT_EQ(g_is_usb_configured, 1);
                EXPECT_THAT(g_fake.events, ElementsAreArray(asked + k_armed));
                EXPECT_THAT(cable.told(),
                            ElementsAreArray(told + std::vector<std::string>{"func | ", k_deleted} + k_told_armed));
            } else {
                EXPECT_EQ(g_is_usb_configured, 0);
                EXPECT_THAT(g_fake.events, ElementsAreArray(asked));
                EXPECT_THAT(cable.told(), ElementsAreArray(told));
                EXPECT_FALSE(amt_timer_exists(g_handShakeTimer));
            }
        });
    }
}

TEST(Handshake, TakesAStateThatCannotBeReadForNone)
{
    in_child([] {
        cable cable;
        cable.admit();
        relay();
        EXPECT_THAT(g_fake.events, ElementsAre("read the state"));
        EXPECT_THAT(cable.told(), ElementsAre("func | ", k_sys_open));
        EXPECT_EQ(g_is_usb_configured, 0);
        cable.make_state_folder();
        cable.forget();
        relay();
        EXPECT_THAT(cable.told(), ElementsAre("func | ", "sys error | read: 21 - Is a directory"));
        EXPECT_EQ(g_is_usb_configured, 0);
        EXPECT_FALSE(amt_timer_exists(g_handShakeTimer));
    });
}

TEST(Handshake, EndsTheFirstPeriodWhenTheKernelKnowsTheCable)
{
    in_child([] {
        cable cable;
        cable.admit();
        amt_await_usb_enumeration();
        cable.put_state("CONFIGURED\n");
        cable.forget();
        relay();
        EXPECT_THAT(g_fake.events, ElementsAre("read the state", "delete timer 71", "create timer of the station",
                                               "set timer 72: 5 s, 0 ns"));
        EXPECT_FALSE(amt_timer_exists(g_usbEnumTimer));
        EXPECT_TRUE(amt_timer_exists(g_handShakeTimer));
    });
}

TEST(Handshake, AsksTheKernelAgainUntilTheCableIsEnumerated)
{
    in_child([] {
        cable cable;
        cable.admit();
        cable.put_state("CONNECTED\n");
        relay();
        relay();
        EXPECT_THAT(g_fake.events, ElementsAre("read the state", "read the state"));
        cable.put_state("CONFIGURED\n");
        cable.forget();
        relay();
        relay();
        EXPECT_THAT(g_fake.events, ElementsAre("read the state", k_armed[0], k_armed[1]));
    });
}

TEST(Handshake, AsksTheKernelAgainBehindADisconnectionButOpensNoSecondPeriod)
{
    in_child([] {
        cable cable;
        cable.open_period();
        const std::string event = "USB_STATE=DISCONNECTED";
        amt_handle_usb_event(event.c_str(), event.size() + 1);
        EXPECT_EQ(g_is_usb_configured, 0);
        cable.put_state("CONFIGURED\n");
        relay();
        EXPECT_EQ(g_is_usb_configured, 1);
        EXPECT_THAT(g_fake.events, ElementsAre("read the state"));
    });
}

TEST(Handshake, OpensNoPeriodBehindItsEnd)
{
    in_child([] {
        cable cable;
        cable.open_period();
        amt_take_station_data();
        EXPECT_EQ(times("start the loader"), 1U);
        cable.forget();
        relay();
        EXPECT_THAT(g_fake.events, IsEmpty());
    });
    in_child([] {
        cable cable;
        cable.open_period();
        HandShakeTimeout({});
        EXPECT_EQ(times(k_end_process), 1U);
        cable.forget();
        relay();
        EXPECT_THAT(g_fake.events, IsEmpty());
    });
    in_child([] {
        cable cable;
        cable.admit();
        amt_await_usb_enumeration();
        HandUsbEnumTimeout({});
        EXPECT_EQ(times(k_end_process), 1U);
        cable.put_state("CONFIGURED");
        cable.forget();
        relay();
        EXPECT_THAT(g_fake.events, ElementsAre("read the state")) << "no station can save it any more";
    });
}

TEST(Handshake, TriesAgainToOpenThePeriodWhenThereWasNoTimer)
{
    in_child([] {
        cable cable;
        cable.admit();
        cable::enumerate();
        g_fake.create_error = EAGAIN;
        relay();
        EXPECT_THAT(g_fake.events, ElementsAre("create timer of the station"));
        EXPECT_THAT(cable.told(),
                    ElementsAre("info | will create timer.", "func | ",
                                k_failed_call + "timer_create, error: 11 - Resource temporarily unavailable", "func | ",
                                k_bad_argument + "invalid parameter.timerId:-1; timeMSec:5000."));
        g_fake.create_error = 0;
        cable.forget();
        amt_take_station_data();
        EXPECT_THAT(g_fake.events, IsEmpty()) << "no period is open";
        relay();
        EXPECT_THAT(g_fake.events, ElementsAreArray(k_armed));
    });
}

TEST(Handshake, LeavesAPeriodOpenWhoseTimerCannotBeSet)
{
    in_child([] {
        cable cable;
        cable.admit();
        cable::enumerate();
        g_fake.set_error = EINVAL;
        relay();
        EXPECT_THAT(cable.told(), Contains(HasSubstr("timer_settime errorr: 22 - Invalid argument")));
        cable.forget();
        relay();
        EXPECT_THAT(g_fake.events, IsEmpty());
        amt_take_station_data();
        EXPECT_EQ(times("start the loader"), 1U);
    });
}

} // namespace
