// What the sleeps ask of the system.
#include <errno.h>
#include <gtest/gtest.h>
#include <time.h>

#include <utility>
#include <vector>

#include "pub/base/wait.h"

namespace {

// What the sleeps of one test were asked for, and how they come back: interrupted so many times, each with a third of
// the time left, then as told. Nobody sleeps.
struct {
    int interruptions = 0;
    int error = 0;
    std::vector<std::pair<long long, long>> asked;
} g_sleep;

} // namespace

extern "C" {

int __wrap_nanosleep(const timespec *time, timespec *left)
{
    g_sleep.asked.emplace_back(time->tv_sec, time->tv_nsec);
    if (g_sleep.interruptions > 0) {
        g_sleep.interruptions--;
        *left = {time->tv_sec / 3, time->tv_nsec / 3};
        errno = EINTR;
        return -1;
    }
    errno = g_sleep.error;
    return errno == 0 ? 0 : -1;
}
}

namespace {

using asked_times = std::vector<std::pair<long long, long>>; // seconds and nanoseconds

TEST(Sleeps, AskForTheTimeThatTheyWereGiven)
{
    struct {
        const char *name;
        void (*sleep)(uint32_t);
        uint32_t time;
        std::pair<long long, long> asked;
    } const rows_a[] = {
        {"no ms", pub_util_sleep_ms, 0, {0, 0}},
        {"one ms", pub_util_sleep_ms, 1, {0, 1'000'000}},
        {"the most ms below a second", pub_util_sleep_ms, 999, {0, 999'000'000}},
        {"a second in ms", pub_util_sleep_ms, 1000, {1, 0}},
        {"a second and a ms", pub_util_sleep_ms, 1001, {1, 1'000'000}},
        {"the most ms", pub_util_sleep_ms, UINT32_MAX, {4294967, 295'000'000}},
        {"no seconds", pub_util_sleep_seconds, 0, {0, 0}},
        {"a second", pub_util_sleep_seconds, 1, {1, 0}},
        {"many seconds", pub_util_sleep_seconds, 1001, {1001, 0}},
        {"the most seconds", pub_util_sleep_seconds, UINT32_MAX, {4294967295, 0}},
        {"no us", pub_util_pause_us, 0, {0, 0}},
        {"one us", pub_util_pause_us, 1, {0, 1'000}},
        {"the most us below a second", pub_util_pause_us, 999'999, {0, 999'999'000}},
        {"a second in us", pub_util_pause_us, 1'000'000, {1, 0}},
        {"a second and a half in us", pub_util_pause_us, 1'500'000, {1, 500'000'000}},
        {"the most us", pub_util_pause_us, UINT32_MAX, {4294, 967'295'000}},
    };
    for (const auto &row : rows_a) {
        g_sleep = {};
        row.sleep(row.time);
        EXPECT_EQ(g_sleep.asked, asked_times{row.asked}) << row.name;
    }
}

TEST(Sleeps, GoOnWithWhatIsLeftWhenInterruptedBySomethingElse)
{
    g_sleep = {};
    g_sleep.interruptions = 2;
    pub_util_sleep_ms(90);
    EXPECT_EQ(g_sleep.asked, (asked_times{{0, 90'000'000}, {0, 30'000'000}, {0, 10'000'000}}));
    g_sleep.asked.clear();
    g_sleep.interruptions = 2;
    pub_util_sleep_seconds(9);
    EXPECT_EQ(g_sleep.asked, (asked_times{{9, 0}, {3, 0}, {1, 0}}));
    g_sleep.asked.clear();
    g_sleep.interruptions = 2;
    pub_util_pause_us(9'900'000);
    EXPECT_EQ(g_sleep.asked, (asked_times{{9, 900'000'000}, {3, 300'000'000}, {1, 100'000'000}}));
}

TEST(Sleeps, AreNotRepeatedWhenRefused)
{
    g_sleep = {};
    g_sleep.error = EINVAL;
    pub_util_sleep_ms(5);
    EXPECT_EQ(g_sleep.asked, (asked_times{{0, 5'000'000}}));
    g_sleep.asked.clear();
    pub_util_pause_us(5);
    EXPECT_EQ(g_sleep.asked, (asked_times{{0, 5'000}}));
}

} // namespace
