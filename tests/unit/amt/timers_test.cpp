// Who may delete the timers, and when.
#include "amt/channels/timers.h"

#include <errno.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <time.h>

#include <string>
#include <thread>
#include <vector>

#include "amt/channels/release.h"
#include "amt/core/context.h"
#include "tests/support/at_once.h"
#include "tests/support/in_child.h"
#include "tests/support/test_log.h"
#include "tests/unit/amt/timer_fakes.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
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
        make_timer(&g_usbEnumTimer);
        const timer_t timer = g_usbEnumTimer;
        deleteTimer(&g_usbEnumTimer);
        deleteTimer(&g_usbEnumTimer);
        itimerspec left = {};
        EXPECT_EQ(timer_gettime(timer, &left), -1) << "it is gone";
        EXPECT_THAT(log.records(), ElementsAre("func | ", MatchesRegex("info \\| delete timer\\.timerId:-?[0-9]+\\."),
                                               "info | deleteTimer success, timerId[-1]", "func | ",
                                               "info | deleteTimer success, timerId[-1]"));
    });
}

TEST(Timers, AreDeletedOneAtATime)
{
    in_child([] {
        g_order = {};
        amt_prepare_timers();
        make_timer(&g_handShakeTimer);
        g_order.timer = g_handShakeTimer;
        deleteTimer(&g_handShakeTimer);
        deleteTimer(&g_handShakeTimer);
        EXPECT_THAT(g_order.calls,
                    ElementsAre("init 0, 1", "wait, a timer", "post, no timer", "wait, no timer", "post, no timer"));
        int value = -1;
        EXPECT_EQ(sem_getvalue(g_order.made, &value), 0);
        EXPECT_EQ(value, 1) << "the next one may";
    });
}

TEST(Timers, AreNotDeletedBeforeTheirTurnWhateverInterruptsTheWait)
{
    in_child([] {
        g_order = {};
        amt_prepare_timers();
        make_timer(&g_usbEnumTimer);
        g_order.timer = g_usbEnumTimer;
        g_order.interruptions = 2;
        deleteTimer(&g_usbEnumTimer);
        EXPECT_THAT(g_order.calls, ElementsAre("init 0, 1", "interrupted, a timer", "interrupted, a timer",
                                               "wait, a timer", "post, no timer"));
    });
}

TEST(Timers, OfACopyAreGoneAndDeletingWaitsForNobody)
{
    in_child([] {
        g_order = {};
        amt_prepare_timers();
        make_timer(&g_usbEnumTimer);
        make_timer(&g_handShakeTimer);
        take_semaphore();               // by a thread that the copy does not have
        g_order.timer = g_usbEnumTimer; // the other process's to delete
        amt_forget_timers();
        deleteTimer(&g_usbEnumTimer);
        deleteTimer(&g_handShakeTimer);
        EXPECT_THAT(g_order.calls, ElementsAre("init 0, 1", "init 0, 1", "wait, a timer", "post, a timer",
                                               "wait, a timer", "post, a timer"));
    });
}

TEST(Timers, ThatWereNeverPreparedAreForgottenWithoutASemaphore)
{
    in_child([] {
        g_order = {};
        make_timer(&g_usbEnumTimer);
        amt_forget_timers();
        deleteTimer(&g_usbEnumTimer);
        EXPECT_THAT(g_order.calls, IsEmpty());
    });
}

TEST(Timers, OfAStartThatNeverCameThatFarAreDeletedWithoutWaiting)
{
    in_child([] {
        const test_log log;
        g_order = {};
        deleteTimer(&g_usbEnumTimer);
        EXPECT_THAT(log.records(), ElementsAre("func | ", "info | deleteTimer success, timerId[-1]"));
        EXPECT_THAT(g_order.calls, IsEmpty());
    });
}

TEST(Timers, AreDeletedWithoutWaitingWhereThereIsNoSemaphore)
{
    in_child([] {
        g_order = {};
        g_order.init_error = ENOSYS;
        amt_prepare_timers();
        make_timer(&g_usbEnumTimer);
        g_order.timer = g_usbEnumTimer;
        deleteTimer(&g_usbEnumTimer);
        EXPECT_FALSE(amt_timer_exists(g_usbEnumTimer));
        EXPECT_THAT(g_order.calls, ElementsAre("init 0, 1"));
    });
}

// --- the release

TEST(Timers, AreNotWaitedForBehindTheRelease)
{
    in_child([] {
        g_order = {};
        amt_prepare_timers();
        make_timer(&g_usbEnumTimer);
        make_timer(&g_handShakeTimer);
        take_semaphore(); // by a thread that has been ended
        g_order.timer = g_usbEnumTimer;
        amt_release_timer_order();
        deleteTimer(&g_usbEnumTimer);
        EXPECT_FALSE(amt_timer_exists(g_usbEnumTimer));
        setTimer(&g_handShakeTimer, 5000);
        deleteTimer(&g_handShakeTimer);
        EXPECT_THAT(g_order.calls, ElementsAre("init 0, 1", "set")) << "no wait, and no post either";
        EXPECT_EQ(value_of_semaphore(), 0);
    });
}

TEST(Timers, DoNotHoldTheReleaseUpWhoeverIsDeletingThem)
{
    in_child([] {
        g_order = {};
        g_timers = {};
        amt_context_clear();
        amt_prepare_timers();
        make_timer(&g_usbEnumTimer);
        make_timer(&g_handShakeTimer);
        take_semaphore();
        EXPECT_EQ(amt_handle_deinit(), -1) << "there is no pseudo-terminal to close";
        EXPECT_FALSE(amt_timer_exists(g_usbEnumTimer));
        EXPECT_FALSE(amt_timer_exists(g_handShakeTimer));
        EXPECT_EQ(g_timers.calls.size(), 2U);
        EXPECT_THAT(g_order.calls, ElementsAre("init 0, 1"));
    });
}

TEST(Timers, GiveTheTurnBackThatWasTakenBeforeTheRelease)
{
    in_child([] {
        g_order = {};
        g_timers = {};
        g_timers.is_real = false;
        amt_prepare_timers();
        g_usbEnumTimer = timer_of(7);
        g_timers.on_delete = [] {
            EXPECT_EQ(value_of_semaphore(), 0);
            amt_release_timer_order();
        };
        deleteTimer(&g_usbEnumTimer);
        EXPECT_EQ(value_of_semaphore(), 1);
    });
}

TEST(Timers, OfACopyOfAReleasedProcessGetNoOrderAgain)
{
    in_child([] {
        g_order = {};
        amt_prepare_timers();
        amt_release_timer_order();
        amt_forget_timers();
        deleteTimer(&g_usbEnumTimer);
        EXPECT_THAT(g_order.calls, ElementsAre("init 0, 1"));
    });
}

// --- two threads

TEST(Timers, AreDeletedOnceByManyThreadsInTheirTurns)
{
    in_child([] {
        g_timers = {};
        g_timers.is_real = false;
        amt_prepare_timers();
        g_handShakeTimer = timer_of(7);
        std::vector<std::thread> threads;
        for (int i = 0; i < 8; i++) {
            threads.emplace_back([] { deleteTimer(&g_handShakeTimer); });
        }
        for (std::thread &thread : threads) {
            thread.join();
        }
        EXPECT_THAT(g_timers.calls, ElementsAre("delete 7"));
        EXPECT_EQ(value_of_semaphore(), 1);
    });
}

TEST(Timers, AreDeletedOnceAlsoBehindTheReleaseWithoutAnyTurns)
{
    in_child([] {
        g_timers = {};
        g_timers.is_real = false;
        amt_prepare_timers();
        amt_release_timer_order();
        g_handShakeTimer = timer_of(7);
        g_timers.on_delete = [] {
            g_timers.on_delete = nullptr;
            std::thread([] { deleteTimer(&g_handShakeTimer); }).join(); // while the first is just at it
        };
        deleteTimer(&g_handShakeTimer);
        EXPECT_THAT(g_timers.calls, ElementsAre("delete 7"));
    });
}

TEST(Timers, AreDeletedOnceByTwoThreadsThatComeAtTheSameMomentBehindTheRelease)
{
    in_child([] {
        g_timers = {};
        g_timers.is_real = false;
        amt_prepare_timers();
        amt_release_timer_order();
        for (int round = 0; round < k_rounds; round++) {
            g_timers.calls.clear();
            g_handShakeTimer = timer_of(7);
            const auto end = [] { deleteTimer(&g_handShakeTimer); };
            at_once(end, end, turns_behind(round));
            EXPECT_THAT(g_timers.calls, ElementsAre("delete 7")) << round;
        }
    });
}

} // namespace
