#include "tests/unit/amt/timer_fakes.h"

#include <errno.h>
#include <gtest/gtest.h>

#include <mutex>

semaphore_fakes g_order;
timer_fakes g_timers;

namespace {

std::mutex g_lock; // of what is noted

void note_timer(const char *call, timer_t id)
{
    const std::lock_guard<std::mutex> guard(g_lock);
    g_timers.calls.push_back(call + std::to_string(reinterpret_cast<intptr_t>(id)));
}

int end_of_call(int error)
{
    errno = error;
    return error == 0 ? 0 : -1;
}

void note(const char *call, const sem_t *semaphore)
{
    itimerspec left = {};
    const char *which = semaphore == g_order.made ? "" : "another ";
    const char *timer = timer_gettime(g_order.timer, &left) == 0 ? ", a timer" : ", no timer";
    const std::lock_guard<std::mutex> guard(g_lock);
    g_order.calls.push_back(std::string(which) + call + timer);
}

} // namespace

extern "C" {

int __real_sem_init(sem_t *semaphore, int is_shared, unsigned value);
int __wrap_sem_init(sem_t *semaphore, int is_shared, unsigned value)
{
    g_order.made = semaphore;
    g_order.calls.push_back("init " + std::to_string(is_shared) + ", " + std::to_string(value));
    const int result = __real_sem_init(semaphore, is_shared, value); // in any case: who waits for it is not to be stuck
    return g_order.init_error == 0 ? result : end_of_call(g_order.init_error);
}

int __real_sem_wait(sem_t *semaphore);
int __wrap_sem_wait(sem_t *semaphore)
{
    if (g_order.interruptions > 0) {
        g_order.interruptions--;
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

int __real_timer_create(clockid_t clock, sigevent *notification, timer_t *id);
int __wrap_timer_create(clockid_t clock, sigevent *notification, timer_t *id)
{
    if (g_timers.is_real) {
        return __real_timer_create(clock, notification, id);
    }
    g_timers.calls.emplace_back("create");
    g_timers.clock = clock;
    g_timers.notification = *notification;
    if (g_timers.create_error == 0) {
        *id = timer_of(g_timers.next++);
    }
    return end_of_call(g_timers.create_error);
}

int __real_timer_settime(timer_t id, int flags, const itimerspec *period, itimerspec *old);
int __wrap_timer_settime(timer_t id, int flags, const itimerspec *period, itimerspec *old)
{
    g_order.calls.emplace_back("set");
    if (g_timers.is_real) {
        return __real_timer_settime(id, flags, period, old);
    }
    note_timer("set ", id);
    g_timers.set_flags = flags;
    g_timers.period = *period;
    return end_of_call(g_timers.set_error);
}

int __real_timer_delete(timer_t id);
int __wrap_timer_delete(timer_t id)
{
    note_timer("delete ", id);
    if (g_timers.on_delete) {
        g_timers.on_delete();
    }
    return g_timers.is_real ? __real_timer_delete(id) : 0;
}
}

timer_t timer_of(intptr_t number)
{
    return reinterpret_cast<timer_t>(number);
}

void make_timer(amt_timer *timer)
{
    sigevent nothing = {};
    nothing.sigev_notify = SIGEV_NONE;
    timer_t id = {};
    ASSERT_EQ(timer_create(CLOCK_REALTIME, &nothing, &id), 0);
    *timer = id;
}

int value_of_semaphore()
{
    int value = -1;
    EXPECT_EQ(sem_getvalue(g_order.made, &value), 0);
    return value;
}

void take_semaphore()
{
    ASSERT_EQ(__real_sem_wait(g_order.made), 0);
}
