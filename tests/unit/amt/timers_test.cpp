#include "amt/channels/timers.h"

#include <errno.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <semaphore.h>
#include <signal.h>
#include <time.h>

#include <string>
#include <vector>

#include "tests/support/in_child.h"
#include "tests/support/test_log.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;

// What happens to the semaphore. Reset by assignment: g_fake = {};
struct semaphore_fakes {
    std::vector<std::string> calls; // of a wait and a post: whether the timer is there
    int interruptions = 0;          // so many waits from now on are interrupted
    timer_t timer = {};
    sem_t *made = nullptr;
};
semaphore_fakes g_fake;

void note(const char *call, const sem_t *semaphore)
{
    itimerspec left = {};
    const char *which = semaphore == g_fake.made ? "" : "another ";
    const char *timer = timer_gettime(g_fake.timer, &left) == 0 ? ", a timer" : ", no timer";
    g_fake.calls.push_back(std::string(which) + call + timer);
}

void make_timer(timer_t *timer)
{
    sigevent nothing = {};
    nothing.sigev_notify = SIGEV_NONE;
    ASSERT_EQ(timer_create(CLOCK_REALTIME, &nothing, timer), 0);
}

} // namespace

extern "C" {

int __real_sem_init(sem_t *semaphore, int is_shared, unsigned value);
int __wrap_sem_init(sem_t *semaphore, int is_shared, unsigned value)
{
    g_fake.made = semaphore;
    g_fake.calls.push_back("init " + std::to_string(is_shared) + ", " + std::to_string(value));
    return __real_sem_init(semaphore, is_shared, value);
}

int __real_sem_wait(sem_t *semaphore);
int __wrap_sem_wait(sem_t *semaphore)
{
    if (g_fake.interruptions > 0) {
        g_fake.interruptions--;
        note("interrupted", semaphore);
        errno = EINTR;
        return -1;
    }
    note("wait", semaphore);
    return __real_sem_wait(semaphore);
}

int __real_sem_post(sem_t *semaphore);
int __wrap_sem_post(sem_t *semaphore)
{
    note("post", semaphore);
    return __real_sem_post(semaphore);
}
}

namespace {

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

TEST(Timers, AreDeletedOneAtATime)
{
    in_child([] {
        g_fake = {};
        amt_prepare_timers();
        make_timer(&g_handShakeTimer);
        g_fake.timer = g_handShakeTimer;
        deleteTimer(&g_handShakeTimer);
        deleteTimer(&g_handShakeTimer);
        EXPECT_THAT(g_fake.calls,
                    ElementsAre("init 0, 1", "wait, a timer", "post, no timer", "wait, no timer", "post, no timer"));
        int value = -1;
        EXPECT_EQ(sem_getvalue(g_fake.made, &value), 0);
        EXPECT_EQ(value, 1) << "the next one may";
    });
}

TEST(Timers, AreNotDeletedBeforeTheirTurnWhateverInterruptsTheWait)
{
    in_child([] {
        g_fake = {};
        amt_prepare_timers();
        make_timer(&g_usbEnumTimer);
        g_fake.timer = g_usbEnumTimer;
        g_fake.interruptions = 2;
        deleteTimer(&g_usbEnumTimer);
        EXPECT_THAT(g_fake.calls, ElementsAre("init 0, 1", "interrupted, a timer", "interrupted, a timer",
                                              "wait, a timer", "post, no timer"));
    });
}

TEST(Timers, OfACopyAreGoneAndDeletingWaitsForNobody)
{
    in_child([] {
        g_fake = {};
        amt_prepare_timers();
        make_timer(&g_usbEnumTimer);
        make_timer(&g_handShakeTimer);
        ASSERT_EQ(__real_sem_wait(g_fake.made), 0) << "a thread that the copy does not have is deleting one";
        g_fake.timer = g_usbEnumTimer; // the other process's to delete
        amt_forget_timers();
        deleteTimer(&g_usbEnumTimer);
        deleteTimer(&g_handShakeTimer);
        EXPECT_THAT(g_fake.calls, ElementsAre("init 0, 1", "init 0, 1", "wait, a timer", "post, a timer",
                                              "wait, a timer", "post, a timer"));
    });
}

TEST(Timers, ThatWereNeverPreparedAreForgottenWithoutASemaphore)
{
    in_child([] {
        g_fake = {};
        make_timer(&g_usbEnumTimer);
        amt_forget_timers();
        deleteTimer(&g_usbEnumTimer);
        EXPECT_THAT(g_fake.calls, IsEmpty());
    });
}

TEST(Timers, OfAStartThatNeverCameThatFarAreDeletedWithoutWaiting)
{
    in_child([] {
        const test_log log;
        g_fake = {};
        deleteTimer(&g_usbEnumTimer);
        EXPECT_THAT(log.records(), ElementsAre("func | ", "info | deleteTimer success, timerId[-1]"));
        EXPECT_THAT(g_fake.calls, IsEmpty());
    });
}

} // namespace
