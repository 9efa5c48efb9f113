// How the handshake is done, and how it fails.
#include "amt/channels/handshake.h"

#include <errno.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>

#include <string>
#include <thread>
#include <vector>

#include "amt/channels/pc-dispatch.h"
#include "amt/channels/timers.h"
#include "amt/core/context.h"
#include "tests/support/at_once.h"
#include "tests/support/in_child.h"
#include "tests/unit/amt/handshake_fakes.h"

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;

const std::string k_deleted = "info | deleteTimer success, timerId[-1]";
const std::string k_success = "info | handshake success.";
const std::string k_busy_for_long = "info | index is over 1000. ";
const std::string k_pause = "pause 20 us";

const std::vector<std::string> k_done = {"delete timer 71", "start the loader", "charge 0"};
const std::vector<std::string> k_failed_events = {"read the flag", k_permitted_but_failed, "delete timer 71",
                                                  k_end_process};

// --- the station's data

TEST(Handshake, IsDoneWithTheFirstDataOfTheStation)
{
    in_child([] {
        cable cable;
        cable.open_period();
        amt_take_station_data();
        EXPECT_THAT(g_fake.events, ElementsAreArray(k_done));
        EXPECT_THAT(cable.told(),
                    ElementsAre("func | ", "info | delete timer.timerId:71.", k_deleted, k_success,
                                "info | pthread_create() amt_handle_load_image_for_handshake success.",
                                "info | call amt_usb_charge_ctrl. return:0, current amt mode:0, usb_charge_mode:0."));
        EXPECT_FALSE(amt_timer_exists(g_handShakeTimer));
        cable.forget();
        amt_take_station_data();
        EXPECT_THAT(g_fake.events, IsEmpty()) << "once";
        EXPECT_THAT(cable.told(), IsEmpty());
    });
}

TEST(Handshake, IsNotDoneWithDataFromBeforeItsPeriodWhichTellOfTheCable)
{
    in_child([] {
        cable cable;
        cable.admit();
        amt_await_usb_enumeration();
        cable.forget();
        amt_take_station_data();
        EXPECT_EQ(g_is_usb_configured, 1);
        EXPECT_FALSE(amt_timer_exists(g_usbEnumTimer));
        EXPECT_THAT(g_fake.events, ElementsAre("delete timer 71"));
        EXPECT_THAT(cable.told(), ElementsAre("func | ", "info | delete timer.timerId:71.", k_deleted));
        cable.forget();
        amt_take_station_data();
        EXPECT_THAT(g_fake.events, IsEmpty());
        amt_begin_relay();
        amt_end_relay();
        EXPECT_THAT(g_fake.events, ElementsAre("create timer of the station", "set timer 72: 5 s, 0 ns"))
            << "and the kernel is not asked";
        cable.forget();
        amt_take_station_data();
        EXPECT_THAT(g_fake.events, ElementsAre("delete timer 72", "start the loader", "charge 0"));
    });
}

TEST(Handshake, TakesTheCableForEnumeratedBeforeItIsDone)
{
    in_child([] {
        cable cable;
        cable.open_period();
        g_is_usb_configured = 0; // the cable was pulled and put in again
        g_usbEnumTimer = reinterpret_cast<timer_t>(7);
        amt_take_station_data();
        EXPECT_EQ(g_is_usb_configured, 1);
        EXPECT_THAT(g_fake.events, ElementsAre("delete timer 7", k_done[0], k_done[1], k_done[2]));
        g_is_usb_configured = 0;
        cable.forget();
        amt_take_station_data();
        EXPECT_EQ(g_is_usb_configured, 1) << "and behind it";
        EXPECT_THAT(g_fake.events, IsEmpty());
    });
}

TEST(Handshake, SetsHowTheCableChargesByTheModeOfTheStation)
{
    struct row {
        uint32_t mode;
        int32_t result;
        const char *event;
        const char *told;
    };
    for (const row &row :
         {row{AMT_MODE_UNKNOWN, 0, "charge 0", "return:0, current amt mode:0, usb_charge_mode:0."},
          row{AMT_MODE_AMT1, 0, "charge 0", "return:0, current amt mode:1, usb_charge_mode:0."},
          row{AMT_MODE_AMT4, 0, "charge 1", "return:0, current amt mode:4, usb_charge_mode:1."},
          row{AMT_MODE_AMT4, -118, "charge 1", "return:-118, current amt mode:4, usb_charge_mode:1."}}) {
        in_child([&row] {
            SCOPED_TRACE(row.told);
            cable cable;
            cable.open_period();
            g_amt_mode = row.mode;
            g_fake.charge_result = row.result;
            amt_take_station_data();
            EXPECT_EQ(g_fake.events.back(), row.event);
            EXPECT_EQ(cable.told().back(), std::string("info | call amt_usb_charge_ctrl. ") + row.told);
            cable.forget();
            amt_take_station_data();
            EXPECT_THAT(g_fake.events, IsEmpty()) << "done, whatever came of it";
        });
    }
}

TEST(Handshake, IsDoneAlsoWithoutAPicture)
{
    in_child([] {
        cable cable;
        cable.open_period();
        g_fake.thread_error = EAGAIN;
        amt_take_station_data();
        EXPECT_THAT(g_fake.events, ElementsAreArray(k_done));
        EXPECT_THAT(cable.told(),
                    ElementsAre("func | ", "info | delete timer.timerId:71.", k_deleted, k_success,
                                k_failed_call + "pthread_create() amt_handle_load_image_for_handshake: 11 - Resource "
                                                "temporarily unavailable",
                                "info | call amt_usb_charge_ctrl. return:0, current amt mode:0, usb_charge_mode:0."));
        cable.forget();
        amt_take_station_data();
        EXPECT_THAT(g_fake.events, IsEmpty());
    });
}

// --- a modem reader that is busy

TEST(Handshake, WaitsForTheModemReaderOnlyWhileItIsBusy)
{
    in_child([] {
        cable cable;
        cable.open_period();
        amt_begin_relay();
        amt_end_relay();
        amt_take_station_data();
        EXPECT_EQ(times(k_pause), 0U);
        EXPECT_EQ(times("start the loader"), 1U);
    });
}

TEST(Handshake, WaitsUntilTheModemReaderHasOpenedThePeriod)
{
    for (const size_t pauses : {1U, 2U, 1000U}) {
        in_child([pauses] {
            SCOPED_TRACE(pauses);
            cable cable;
            cable.admit();
            cable::enumerate();
            amt_begin_relay();
            g_fake.on_event = [pauses](const std::string &event) {
                if (event == k_pause && times(k_pause) + 1 == pauses) {
                    on_another_thread(amt_end_relay);
                }
            };
            amt_take_station_data();
            EXPECT_EQ(times(k_pause), pauses);
            EXPECT_EQ(times("start the loader"), 1U) << "what it has just been asked is answered in time";
            EXPECT_THAT(cable.told(), Contains(k_busy_for_long).Times(0));
        });
    }
}

TEST(Handshake, DoesNotWaitForEverForAModemReaderThatIsStuck)
{
    in_child([] {
        cable cable;
        cable.admit();
        cable::enumerate();
        amt_begin_relay();
        amt_take_station_data();
        EXPECT_THAT(g_fake.events, ElementsAreArray(std::vector<std::string>(1001, k_pause)));
        EXPECT_THAT(cable.told(), ElementsAre(k_busy_for_long)) << "the period is not open";
        cable.forget();
        amt_take_station_data();
        EXPECT_THAT(g_fake.events, IsEmpty()) << "it counts as done with its chunk";
        EXPECT_THAT(cable.told(), IsEmpty());
    });
}

TEST(Handshake, IsDoneBehindAModemReaderThatIsStuckOverALaterChunk)
{
    in_child([] {
        cable cable;
        cable.open_period();
        amt_begin_relay();
        amt_take_station_data();
        EXPECT_EQ(times(k_pause), 1001U);
        EXPECT_EQ(cable.told().front(), k_busy_for_long);
        EXPECT_EQ(times("start the loader"), 1U);
    });
}

TEST(Handshake, WaitsForNobodyOnceItIsDone)
{
    in_child([] {
        cable cable;
        cable.open_period();
        amt_take_station_data();
        cable.forget();
        amt_begin_relay();
        amt_take_station_data();
        amt_end_relay();
        EXPECT_THAT(g_fake.events, IsEmpty());
    });
}

TEST(Handshake, WaitsForNobodyOnceItHasFailed)
{
    in_child([] {
        cable cable;
        cable.open_period();
        amt_begin_relay();
        HandShakeTimeout({});
        cable.forget();
        amt_take_station_data();
        EXPECT_THAT(g_fake.events, IsEmpty());
    });
}

// --- the ends of the periods

struct period {
    const char *name;
    void (*open)(cable &cable); // its timer is 71
    void (*end)(sigval);
    amt_timer *timer;
    std::string told;
};

const period k_periods_a[] = {{"of the cable",
                               [](cable &cable) {
                                   cable.admit();
                                   amt_await_usb_enumeration();
                                   cable.forget();
                               },
                               HandUsbEnumTimeout, &g_usbEnumTimer, "info | usb enum timeout. time:20 seconds."},
                              {"of the station", [](cable &cable) { cable.open_period(); }, HandShakeTimeout,
                               &g_handShakeTimer, "info | timeout. time:5 seconds."}};

TEST(Handshake, FailsAtTheEndOfEitherPeriod)
{
    for (const period &period : k_periods_a) {
        in_child([&period] {
            SCOPED_TRACE(period.name);
            cable cable;
            period.open(cable);
            period.end({});
            EXPECT_THAT(g_fake.events, ElementsAreArray(k_failed_events));
            const bool is_first = period.timer == &g_usbEnumTimer;
            std::vector<std::string> expected = {
                "func | ",
                period.told,
                "func | ",
                "func | ",
                "func | ",
                k_failed_call + "open(\"/amt/power_usb_amt.txt\") fail: 2 - No such file or directory",
                "info | permit to enter amt by handshake. ",
                "info | set property(sys.kv.amt.failure.handshake) to 2.",
                "func | "};
            const std::vector<std::string> deleted =
                is_first ? std::vector<std::string>{"info | delete timer.timerId:71.", k_deleted, "func | ", k_deleted}
                         : std::vector<std::string>{k_deleted, "func | ", "info | delete timer.timerId:71.", k_deleted};
            expected.insert(expected.end(), deleted.begin(), deleted.end());
            EXPECT_THAT(cable.told(), ElementsAreArray(expected));
            EXPECT_FALSE(amt_timer_exists(*period.timer));
        });
    }
}

TEST(Handshake, FailsForbiddenWhenThatHasBeenSaidMeanwhile)
{
    for (const period &period : k_periods_a) {
        in_child([&period] {
            SCOPED_TRACE(period.name);
            cable cable;
            period.open(cable);
            cable.put_flag("0");
            period.end({});
            EXPECT_THAT(g_fake.events, ElementsAre("read the flag", k_not_permitted, "delete timer 71", k_end_process));
        });
    }
}

TEST(Handshake, FailsOnce)
{
    for (const period &period : k_periods_a) {
        in_child([&period] {
            SCOPED_TRACE(period.name);
            cable cable;
            period.open(cable);
            period.end({});
            cable.forget();
            g_usbEnumTimer = reinterpret_cast<timer_t>(7); // as if each were just about to be deleted
            g_handShakeTimer = reinterpret_cast<timer_t>(8);
            HandUsbEnumTimeout({});
            HandShakeTimeout({});
            EXPECT_THAT(g_fake.events, IsEmpty());
            EXPECT_THAT(cable.told(), IsEmpty());
        });
    }
}

TEST(Handshake, DoesNotFailByATimerThatHasBeenDeleted)
{
    for (const period &period : k_periods_a) {
        in_child([&period] {
            SCOPED_TRACE(period.name);
            cable cable;
            period.open(cable);
            deleteTimer(period.timer);
            cable.forget();
            period.end({});
            EXPECT_THAT(g_fake.events, IsEmpty());
            EXPECT_THAT(cable.told(), IsEmpty());
            cable::enumerate();
            amt_begin_relay();
            amt_end_relay();
            amt_take_station_data();
            EXPECT_EQ(times("start the loader"), 1U) << "the handshake is still open";
        });
    }
    in_child([] {
        cable cable;
        cable.admit();
        amt_await_usb_enumeration();
        amt_take_station_data(); // the cable is enumerated
        cable.forget();
        HandUsbEnumTimeout({});
        EXPECT_THAT(g_fake.events, IsEmpty());
        cable::enumerate();
        amt_begin_relay();
        amt_end_relay();
        amt_take_station_data();
        EXPECT_EQ(times("start the loader"), 1U) << "the handshake is still open";
    });
}

TEST(Handshake, DoesNotFailByTheEndOfTheFirstPeriodOnceTheCableIsEnumerated)
{
    in_child([] {
        cable cable;
        cable.admit();
        amt_await_usb_enumeration();
        cable.forget();
        g_fake.on_wait = [] { // for the turn to delete the timer, which is still there
            g_fake.on_wait = nullptr;
            EXPECT_TRUE(amt_timer_exists(g_usbEnumTimer));
            on_another_thread([] { HandUsbEnumTimeout({}); });
        };
        amt_end_usb_enumeration();
        EXPECT_THAT(g_fake.events, ElementsAre("delete timer 71"));
        EXPECT_EQ(g_is_usb_configured, 1);
        amt_begin_relay();
        amt_end_relay();
        amt_take_station_data();
        EXPECT_EQ(times("start the loader"), 1U) << "the handshake is still open";
    });
}

TEST(Handshake, DoesNotFailOnceItIsDone)
{
    for (const period &period : k_periods_a) {
        in_child([&period] {
            SCOPED_TRACE(period.name);
            cable cable;
            cable.open_period();
            amt_take_station_data();
            *period.timer = reinterpret_cast<timer_t>(7); // as if it were just about to be deleted
            cable.forget();
            period.end({});
            EXPECT_THAT(g_fake.events, IsEmpty());
            EXPECT_THAT(cable.told(), IsEmpty());
        });
    }
}

TEST(Handshake, EndsItsPeriodsOnThreadsThatNoEndingSignalReaches)
{
    for (const period &period : k_periods_a) {
        for (const bool is_in_time : {false, true}) {
            in_child([&period, is_in_time] {
                SCOPED_TRACE(period.name);
                cable cable;
                period.open(cable);
                if (is_in_time) {
                    deleteTimer(period.timer);
                }
                const auto expect_blocked = [] {
                    sigset_t blocked;
                    EXPECT_EQ(pthread_sigmask(SIG_BLOCK, nullptr, &blocked), 0);
                    for (const int signal_number : {SIGTERM, SIGUSR1, SIGUSR2}) {
                        EXPECT_EQ(sigismember(&blocked, signal_number), 1) << signal_number;
                    }
                };
                g_fake.on_event = [&](const std::string &) { expect_blocked(); };
                on_another_thread([&] {
                    sigset_t none;
                    sigemptyset(&none);
                    EXPECT_EQ(pthread_sigmask(SIG_SETMASK, &none, nullptr), 0); // as the C library starts it
                    period.end({});
                    expect_blocked();
                });
                g_fake.on_event = nullptr;
            });
        }
    }
}

// --- both at the same moment

TEST(Handshake, IsDoneWhenThePeriodEndsJustBehindTheAnswer)
{
    in_child([] {
        cable cable;
        cable.open_period();
        int waits = 0;
        g_fake.on_wait = [&waits] { // for the turn to delete the timer, which is still there
            if (waits++ > 0) {
                return;
            }
            EXPECT_TRUE(amt_timer_exists(g_handShakeTimer));
            on_another_thread([] { HandShakeTimeout({}); });
            EXPECT_THAT(g_fake.events, IsEmpty());
        };
        amt_take_station_data();
        EXPECT_EQ(waits, 1);
        EXPECT_THAT(g_fake.events, ElementsAreArray(k_done));
    });
}

TEST(Handshake, FailsWhenTheAnswerComesJustBehindTheEndOfThePeriod)
{
    in_child([] {
        cable cable;
        cable.open_period();
        int answers = 0;
        g_fake.on_event = [&answers](const std::string &event) {
            if (event == k_permitted_but_failed) {
                answers++;
                EXPECT_TRUE(amt_timer_exists(g_handShakeTimer));
                on_another_thread(amt_take_station_data);
            }
        };
        on_another_thread([] { HandShakeTimeout({}); });
        EXPECT_EQ(answers, 1);
        EXPECT_THAT(g_fake.events, ElementsAreArray(k_failed_events));
        cable.forget();
        amt_take_station_data();
        EXPECT_THAT(g_fake.events, IsEmpty()) << "nor later";
    });
}

TEST(Handshake, HasOneEndWhateverComesFirst)
{
    in_child([] {
        const cable cable;
        for (int round = 0; round < k_rounds; round++) {
            g_fake.next_timer = 71;
            EXPECT_TRUE(amt_admit());
            cable::enumerate();
            amt_end_relay();
            g_fake.events.clear();
            at_once([] { HandShakeTimeout({}); }, amt_take_station_data, turns_behind(round));
            EXPECT_EQ(times("delete timer 71"), 1U) << round;
            EXPECT_EQ(times("start the loader") + times(k_end_process), 1U) << round;
            EXPECT_EQ(times("start the loader"), times("charge 0")) << round;
        }
    });
}

} // namespace
