// How the timers are made and set.
#include <errno.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <stdint.h>
#include <time.h>

#include <chrono>
#include <future>
#include <string>

#include "amt/channels/timers.h"
#include "tests/support/in_child.h"
#include "tests/support/test_log.h"
#include "tests/unit/amt/timer_fakes.h"

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

void callback(sigval) {}

// --- making

TEST(Timers, TellByAThreadOfTheirOwn)
{
    in_child([] {
        const test_log log;
        g_timers = {};
        g_timers.is_real = false;
        amt_timer timer{timer_of(-1)};
        createTimer(&timer, callback);
        EXPECT_EQ(timer, timer_of(71));
        EXPECT_TRUE(amt_timer_exists(timer));
        EXPECT_EQ(g_timers.clock, CLOCK_REALTIME);
        const sigevent &notification = g_timers.notification;
        EXPECT_EQ(notification.sigev_notify, SIGEV_THREAD);
        EXPECT_EQ(notification.sigev_notify_function, callback);
        EXPECT_EQ(notification.sigev_value.sival_int, 111);
        EXPECT_EQ(notification.sigev_signo, SIGRTMIN);
        EXPECT_EQ(notification.sigev_notify_attributes, nullptr);
        EXPECT_THAT(g_timers.calls, ElementsAre("create")) << "nothing sets it yet";
        EXPECT_THAT(log.records(), ElementsAre("func | ", "info | createTimer success, timerId[71]"));
    });
}

TEST(Timers, ReplaceTheOldOne)
{
    in_child([] {
        const test_log log;
        g_timers = {};
        g_timers.is_real = false;
        amt_prepare_timers();
        amt_timer timer{timer_of(7)};
        createTimer(&timer, callback);
        EXPECT_EQ(timer, timer_of(71));
        EXPECT_THAT(g_timers.calls, ElementsAre("delete 7", "create"));
        EXPECT_THAT(log.records(),
                    ElementsAre("func | ", "func | ", "info | delete timer.timerId:7.",
                                "info | deleteTimer success, timerId[-1]", "info | createTimer success, timerId[71]"));
    });
}

TEST(Timers, ThatCannotBeMadeAreNotThere)
{
    in_child([] {
        const test_log log;
        g_timers = {};
        g_timers.is_real = false;
        g_timers.create_error = EAGAIN;
        amt_timer timer{timer_of(7)};
        createTimer(&timer, callback);
        EXPECT_FALSE(amt_timer_exists(timer)) << "and the old one has gone";
        EXPECT_THAT(g_timers.calls, ElementsAre("delete 7", "create"));
        EXPECT_THAT(log.records(),
                    ElementsAre("func | ", "func | ", "info | delete timer.timerId:7.",
                                "info | deleteTimer success, timerId[-1]",
                                k_failed_call + "timer_create, error: 11 - Resource temporarily unavailable"));
    });
}

TEST(Timers, WithAnIdThatMeansNoneAreTold)
{
    in_child([] {
        const test_log log;
        g_timers = {};
        g_timers.is_real = false;
        g_timers.next = -1;
        amt_timer timer{timer_of(-1)};
        createTimer(&timer, callback);
        EXPECT_FALSE(amt_timer_exists(timer));
        EXPECT_THAT(log.records(), ElementsAre("func | ", k_failed_call + "timer_create, error, id is -1.",
                                               "info | createTimer success, timerId[-1]"));
    });
}

TEST(Timers, AreToldByTheLowerHalfOfTheirIds)
{
    in_child([] {
        const test_log log;
        g_timers = {};
        g_timers.is_real = false;
        constexpr intptr_t k_id = 0x12345678'80000001;
        g_timers.next = k_id;
        amt_timer timer{timer_of(-1)};
        createTimer(&timer, callback);
        setTimer(&timer, 5000);
        deleteTimer(&timer);
        EXPECT_THAT(g_timers.calls,
                    ElementsAre("create", "set " + std::to_string(k_id), "delete " + std::to_string(k_id)));
        EXPECT_THAT(log.records(),
                    ElementsAre("func | ", "info | createTimer success, timerId[-2147483647]", "func | ",
                                "info | setTimer success, timerId[-2147483647], timeMSec:5000. ", "func | ",
                                "info | delete timer.timerId:-2147483647.", "info | deleteTimer success, timerId[-1]"));
    });
}

// --- setting

TEST(Timers, AreSetToEndOnceAfterATime)
{
    struct row {
        int32_t milliseconds;
        time_t seconds;
        long nanoseconds;
    };
    for (const row &row :
         {row{20000, 20, 0}, row{5000, 5, 0}, row{1500, 1, 500'000'000}, row{999, 0, 999'000'000}, row{1, 0, 1'000'000},
          row{0, 0, 0}, row{-1, 0, -1'000'000}, row{-1500, -1, -500'000'000}, row{INT32_MAX, 2'147'483, 647'000'000}}) {
        in_child([&row] {
            SCOPED_TRACE(row.milliseconds);
            const test_log log;
            g_timers = {};
            g_timers.is_real = false;
            amt_timer timer{timer_of(7)};
            setTimer(&timer, row.milliseconds);
            EXPECT_EQ(g_timers.period.it_value.tv_sec, row.seconds);
            EXPECT_EQ(g_timers.period.it_value.tv_nsec, row.nanoseconds);
            EXPECT_EQ(g_timers.period.it_interval.tv_sec, 0);
            EXPECT_EQ(g_timers.period.it_interval.tv_nsec, 0);
            EXPECT_EQ(g_timers.set_flags, 0) << "from now on, not at a time of day";
            EXPECT_EQ(timer, timer_of(7));
            EXPECT_THAT(g_timers.calls, ElementsAre("set 7"));
            EXPECT_THAT(log.records(), ElementsAre("func | ", "info | setTimer success, timerId[7], timeMSec:" +
                                                                  std::to_string(row.milliseconds) + ". "));
        });
    }
}

TEST(Timers, ThatAreNotThereAreNotSet)
{
    in_child([] {
        const test_log log;
        g_order = {};
        g_timers = {};
        g_timers.is_real = false;
        amt_prepare_timers();
        setTimer(&g_usbEnumTimer, 20000);
        EXPECT_THAT(g_timers.calls, IsEmpty());
        EXPECT_THAT(log.records(),
                    ElementsAre("func | ", k_bad_argument + "invalid parameter.timerId:-1; timeMSec:20000."));
        EXPECT_EQ(value_of_semaphore(), 1);
    });
}

TEST(Timers, ThatCannotBeSetAreToldOfTwice)
{
    in_child([] {
        const test_log log;
        g_timers = {};
        g_timers.is_real = false;
        g_timers.set_error = EINVAL;
        amt_prepare_timers();
        amt_timer timer{timer_of(7)};
        setTimer(&timer, -1500);
        EXPECT_THAT(log.records(), ElementsAre("func | ", k_failed_call + "timer_settime errorr: 22 - Invalid argument",
                                               "info | setTimer success, timerId[7], timeMSec:-1500. "));
        EXPECT_EQ(timer, timer_of(7)) << "it is still there to be deleted";
        EXPECT_EQ(value_of_semaphore(), 1);
    });
}

TEST(Timers, AreNotDeletedWhileTheyAreSet)
{
    in_child([] {
        g_order = {};
        g_timers = {};
        amt_prepare_timers();
        make_timer(&g_usbEnumTimer);
        g_order.timer = g_usbEnumTimer;
        setTimer(&g_usbEnumTimer, 20000);
        EXPECT_THAT(g_order.calls, ElementsAre("init 0, 1", "wait, a timer", "set", "post, a timer"));
        deleteTimer(&g_usbEnumTimer);
    });
}

std::promise<int> g_told; // the value that the callback got

TEST(Timers, ReallyTell)
{
    in_child([] {
        const test_log log;
        g_timers = {};
        amt_prepare_timers();
        createTimer(&g_handShakeTimer, [](sigval value) { g_told.set_value(value.sival_int); });
        setTimer(&g_handShakeTimer, 1);
        std::future<int> told = g_told.get_future();
        ASSERT_EQ(told.wait_for(std::chrono::seconds(60)), std::future_status::ready);
        EXPECT_EQ(told.get(), 111);
        EXPECT_TRUE(amt_timer_exists(g_handShakeTimer)) << "its end does not delete it";
        deleteTimer(&g_handShakeTimer);
        EXPECT_THAT(log.records(), Contains(HasSubstr("error")).Times(0));
    });
}

} // namespace
