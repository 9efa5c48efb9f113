// Intercepted: processes, threads, memory, time, libraries and properties.

#include "tests/faults/shim/intercept.h"

#include <cutils/properties.h>
#include <pthread.h>
#include <sched.h>
#include <semaphore.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdarg>
#include <cstdlib>
#include <ctime>

// The C library's headers spell its parameters in reserved names.
// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name)

VISIBLE pid_t fork() noexcept
{
    return call_on(ID(fork), CALLER, fork, "process");
}

// The one form in which the service uses it.
VISIBLE int execl(const char *path, const char *first, ...) noexcept
{
    char *list[8] = {const_cast<char *>(first)};
    va_list arguments;
    va_start(arguments, first);
    for (size_t i = 1; i < 7 && list[i - 1] != nullptr; i++) {
        list[i] = va_arg(arguments, char *);
    }
    va_end(arguments);
    const fault_call call = fault_consult(ID(execl), path, CALLER);
    return call.fails ? failed<int>(call) : execv(path, list);
}

VISIBLE pid_t waitpid(pid_t process, int *status, int options)
{
    return call_on(ID(waitpid), CALLER, waitpid, "process", process, status, options);
}

// Its failure is its result.
VISIBLE int pthread_create(pthread_t *thread, const pthread_attr_t *attributes, void *(*body)(void *),
                           void *argument) noexcept
{
    const fault_call call = fault_consult(ID(pthread_create), "thread", CALLER);
    return call.fails ? call.error
                      : next<int(pthread_t *, const pthread_attr_t *, void *(*)(void *), void *)>(ID(pthread_create))(
                            thread, attributes, body, argument);
}

VISIBLE int sched_setscheduler(pid_t process, int policy, const sched_param *parameters) noexcept
{
    return call_on(ID(sched_setscheduler), CALLER, sched_setscheduler, "priority", process, policy, parameters);
}

VISIBLE int sem_wait(sem_t *semaphore)
{
    return call_on(ID(sem_wait), CALLER, sem_wait, "semaphore", semaphore);
}

VISIBLE int sem_timedwait(sem_t *semaphore, const timespec *until)
{
    return call_on(ID(sem_timedwait), CALLER, sem_timedwait, "semaphore", semaphore, until);
}

VISIBLE int timer_create(clockid_t clock, sigevent *event, timer_t *timer) noexcept
{
    return call_on(ID(timer_create), CALLER, timer_create, "timer", clock, event, timer);
}

VISIBLE int timer_settime(timer_t timer, int flags, const itimerspec *value, itimerspec *before) noexcept
{
    return call_on(ID(timer_settime), CALLER, timer_settime, "timer", timer, flags, value, before);
}

// Where somebody is only kept waiting, less of it will do; the short pauses in which others do their work stay.
VISIBLE int nanosleep(const timespec *time, timespec *left)
{
    const fault_call call = fault_consult(ID(nanosleep), "sleep", CALLER);
    if (call.fails) {
        if (left != nullptr) {
            *left = *time;
        }
        return failed<int>(call);
    }
    timespec scaled = *time;
    const unsigned divisor = fault_sleep_divisor(CALLER);
    constexpr long shortest = 20'000'000; // ns
    if (divisor > 1 && (time->tv_sec > 0 || time->tv_nsec >= shortest)) {
        const long long whole = (time->tv_sec * 1'000'000'000LL + time->tv_nsec) / divisor;
        scaled = {static_cast<time_t>(whole / 1'000'000'000), static_cast<long>(whole % 1'000'000'000)};
    }
    return next<int(const timespec *, timespec *)>(ID(nanosleep))(&scaled, left);
}

// One that fails leaves its reason, for whoever asks dlerror().
VISIBLE void *dlopen(const char *path, int mode) noexcept
{
    const fault_call call = fault_consult(ID(dlopen), path, CALLER);
    return next<void *(const char *, int)>(ID(dlopen))(call.fails ? "/nothing/there" : path, mode);
}

#if !defined(FAULT_SHIM_SANITIZED)
extern "C" void *__libc_malloc(size_t size);
extern "C" void *__libc_calloc(size_t count, size_t size);

VISIBLE void *malloc(size_t size) noexcept
{
    const fault_call call = fault_consult(ID(malloc), "memory", CALLER);
    if (call.fails) {
        errno = call.error;
        return nullptr;
    }
    return __libc_malloc(size);
}

VISIBLE void *calloc(size_t count, size_t size) noexcept
{
    const fault_call call = fault_consult(ID(calloc), "memory", CALLER);
    if (call.fails) {
        errno = call.error;
        return nullptr;
    }
    return __libc_calloc(count, size);
}
#endif

// --- properties

VISIBLE int property_set(const char *key, const char *value)
{
    return call_on(ID(property_set), CALLER, property_set, key, key, value);
}

// NOLINTEND(readability-inconsistent-declaration-parameter-name)
