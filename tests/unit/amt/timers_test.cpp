#include "amt/channels/timers.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include "tests/support/in_child.h"
#include "tests/support/test_log.h"

namespace {

using ::testing::ElementsAre;
using ::testing::MatchesRegex;

TEST(Timers, ThatAreNotThereAreDeletedAsOftenAsOneLikes)
{
    in_child([] {
        const test_log log;
        amt_prepare_timers();
        deleteTimer(&g_usbEnumTimer);
        deleteTimer(&g_handShakeTimer);
        deleteTimer(&g_handShakeTimer);
        EXPECT_THAT(log.records(), ElementsAre("func | ", "info | deleteTimer success, timerId[-1]", "func | ",
                                               "info | deleteTimer success, timerId[-1]", "func | ",
                                               "info | deleteTimer success, timerId[-1]"));
    });
}

TEST(Timers, ThatAreThereAreDeletedOnce)
{
    in_child([] {
        const test_log log;
        amt_prepare_timers();
        sigevent nothing = {};
        nothing.sigev_notify = SIGEV_NONE;
        ASSERT_EQ(timer_create(CLOCK_REALTIME, &nothing, &g_usbEnumTimer), 0);
        timer_t timer = g_usbEnumTimer;
        deleteTimer(&g_usbEnumTimer);
        deleteTimer(&g_usbEnumTimer);
        itimerspec left = {};
        EXPECT_EQ(timer_gettime(timer, &left), -1) << "it is gone";
        EXPECT_THAT(log.records(), ElementsAre("func | ", MatchesRegex("info \\| delete timer\\.timerId:-?[0-9]+\\."),
                                               "info | deleteTimer success, timerId[-1]", "func | ",
                                               "info | deleteTimer success, timerId[-1]"));
    });
}

TEST(Timers, OfAStartThatNeverCameThatFarAreLeftAlone)
{
    in_child([] {
        const test_log log;
        deleteTimer(&g_usbEnumTimer);
        EXPECT_THAT(log.records(), ElementsAre("func | ")) << "and nothing is waited for";
    });
}

} // namespace
