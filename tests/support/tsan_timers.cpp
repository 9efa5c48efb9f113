// timer_create(2) and what goes with it as the thread sanitizer needs them, in every program that is built with it.
//
// The C library starts the thread of a SIGEV_THREAD timer by itself, behind the sanitizer's back, and the first
// instrumented function on it crashes. So such a timer is made of a thread that the sanitizer knows, which waits on a
// timerfd from the beginning. Otherwise it is as without: every signal is let into the callback. Other timers are the C
// library's own. What a timer consists of is never freed: there are two in the life of the service, and few in a test.
#include <dlfcn.h>
#include <errno.h>
#include <pthread.h>
#include <signal.h>
#include <stdint.h>
#include <sys/timerfd.h>
#include <time.h>
#include <unistd.h>

#include <atomic>

namespace {

constexpr int k_timers_max = 64;

struct thread_timer {
    int m_fd;
    std::atomic<bool> m_is_deleted;
    sigevent m_notification;
};

std::atomic<thread_timer *> g_timers_a[k_timers_max];

thread_timer *find(timer_t id)
{
    for (const std::atomic<thread_timer *> &timer : g_timers_a) {
        if (timer.load() == id && id != nullptr) {
            return timer;
        }
    }
    return nullptr;
}

void *run(void *argument)
{
    auto *timer = static_cast<thread_timer *>(argument);
    uint64_t ends = 0;
    while (read(timer->m_fd, &ends, sizeof(ends)) == sizeof(ends) && !timer->m_is_deleted) {
        sigset_t all;
        sigfillset(&all);
        (void)pthread_sigmask(SIG_UNBLOCK, &all, nullptr);
        timer->m_notification.sigev_notify_function(timer->m_notification.sigev_value);
    }
    return nullptr;
}

// Its thread waits with every signal blocked, so that none is taken by it before it has something to do.
int start(thread_timer *timer)
{
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    (void)pthread_sigmask(SIG_BLOCK, &all, &before);
    pthread_t thread = 0;
    const int error = pthread_create(&thread, nullptr, run, timer);
    (void)pthread_sigmask(SIG_SETMASK, &before, nullptr);
    if (error == 0) {
        (void)pthread_detach(thread);
    }
    return error;
}

template <typename function>
function next_definition(const char *name)
{
    return reinterpret_cast<function>(dlsym(RTLD_NEXT, name));
}

} // namespace

extern "C" {

int timer_create(clockid_t clock, sigevent *notification, timer_t *id)
{
    if (notification == nullptr || notification->sigev_notify != SIGEV_THREAD) {
        return next_definition<int (*)(clockid_t, sigevent *, timer_t *)>("timer_create")(clock, notification, id);
    }
    auto *timer = new thread_timer{timerfd_create(clock, TFD_CLOEXEC), {false}, *notification};
    for (std::atomic<thread_timer *> &place : g_timers_a) {
        thread_timer *nobody = nullptr;
        if (place.compare_exchange_strong(nobody, timer)) {
            *id = timer;
            errno = timer->m_fd < 0 ? errno : start(timer);
            return timer->m_fd < 0 || errno != 0 ? -1 : 0;
        }
    }
    errno = EAGAIN;
    return -1;
}

int timer_settime(timer_t id, int flags, const itimerspec *value, itimerspec *old)
{
    thread_timer *timer = find(id);
    if (timer == nullptr) {
        return next_definition<int (*)(timer_t, int, const itimerspec *, itimerspec *)>("timer_settime")(id, flags,
                                                                                                         value, old);
    }
    return timerfd_settime(timer->m_fd, flags, value, old);
}

int timer_delete(timer_t id)
{
    thread_timer *timer = find(id);
    if (timer == nullptr) {
        return next_definition<int (*)(timer_t)>("timer_delete")(id);
    }
    timer->m_is_deleted = true;
    const itimerspec now = {{0, 0}, {0, 1}};
    return timerfd_settime(timer->m_fd, 0, &now, nullptr); // its thread ends
}
}
