// Ending threads. A worker is detached and never joined, so a handle may outlive its thread: whoever takes the handle
// out of its atomic, by exchange, decides what becomes of the thread.
#include <errno.h>
#include <sched.h>
#include <semaphore.h>
#include <signal.h>
#include <unistd.h>

#include "pub/base/thread_value.h"
#include "pub/base/wait.h"
#include "pub/util/util.h"

#define LOG_MODULE "kv-zep-pub"
#include "pub/log/log.h"

namespace {

constexpr int k_below_highest_priority = 4;
constexpr uint32_t k_grace_period_us = 10'000;
constexpr int k_grace_periods = 50;

// Counts the workers that have been ended: behind the count they touch nothing that is shared any more.
std::atomic<uint32_t> g_ended_workers{0};

thread_value<pub_util_thread *> g_own_handle; // of a worker

// What a worker is given; it lies with its creator, who waits until the worker has taken it.
struct thread_start {
    void (*m_body)();
    pub_util_thread *m_handle;
    sem_t m_is_taken;
};

void *run_thread(void *argument)
{
    auto *start = static_cast<thread_start *>(argument);
    void (*const body)() = start->m_body;
    pub_util_admit_kill(start->m_handle);
    (void)sem_post(&start->m_is_taken);
    body();
    return nullptr;
}

void wait_taken(thread_start *start)
{
    while (sem_wait(&start->m_is_taken) != 0) { // interrupted
    }
}

// Only pthread_kill of this process means a worker. One that ended by another signal would be missed, and its handle
// would name nobody.
void take_thread_signal(int signal_number, siginfo_t *information, void *)
{
    if (information->si_code == SI_TKILL && information->si_pid == getpid()) {
        pub_util_handle_thread_signal(signal_number);
    }
}

// A worker ends in its next wait, mostly the one it is in. One that is busy for longer than this is left to itself: it
// may be in a library that never comes back. Whoever ends it is releasing the process and is not to be ended himself.
void wait_ended(uint32_t ended_before)
{
    pub_util_pause_us(k_grace_period_us);
    for (int i = 1; i < k_grace_periods && g_ended_workers == ended_before; i++) {
        pub_util_pause_us(k_grace_period_us);
    }
}

} // namespace

int pub_util_start_thread(pub_util_thread *handle, void (*body)())
{
    thread_start start = {body, handle, {}};
    (void)sem_init(&start.m_is_taken, 0, 0); // fails on a count that is too high only
    pthread_attr_t attributes;
    (void)pthread_attr_init(&attributes);
    (void)pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    pthread_t thread = 0;
    const int result = pthread_create(&thread, &attributes, run_thread, &start);
    (void)pthread_attr_destroy(&attributes);
    if (result == 0) {
        wait_taken(&start);
    }
    return result; // the semaphore needs no destroying: the worker may be just leaving it
}

int32_t pub_util_kill_thread(pub_util_thread *handle)
{
    log_func();
    const pthread_t thread = handle == nullptr ? 0 : handle->exchange(0);
    if (thread == 0 || pthread_equal(thread, pthread_self()) != 0 || pthread_kill(thread, 0) == ESRCH) {
        return ERR_NONE;
    }
    const uint32_t ended_before = g_ended_workers;
    const int result = pthread_kill(thread, SIGUSR1);
    if (result != 0) {
        handle->store(thread);
        return log_error(result, "pthread_kill(): %d - %s", result, error_text(result).c_str());
    }
    wait_ended(ended_before);
    return ERR_NONE;
}

void pub_util_clear_own_thread(pub_util_thread *handle)
{
    while (handle->exchange(0) == 0) {
        pub_util_sleep_seconds(1); // ended here, or given the handle back because the signal was refused
    }
}

void pub_util_keep_own_thread()
{
    pub_util_thread *own_handle = g_own_handle.get();
    if (own_handle != nullptr) {
        own_handle->store(pthread_self());
    }
}

void pub_util_admit_kill(pub_util_thread *own_handle)
{
    g_own_handle.set(own_handle);
    own_handle->store(pthread_self());
    struct sigaction action = {};
    action.sa_sigaction = take_thread_signal;
    action.sa_flags = SA_RESTART | SA_SIGINFO;
    sigemptyset(&action.sa_mask);
    if (sigaction(SIGUSR1, &action, nullptr) != 0) {
        (void)log_sys_error("sigaction");
        return; // without its handler the signal would end the process: it stays blocked
    }
    pub_util_admit_ending_signals(ending_signals::worker);
}

void pub_util_handle_thread_signal(int signal_number)
{
    log_func();
    if (signal_number != SIGUSR1) {
        (void)log_error(ERR_INVALID_PARAM, "unknown signal: %d", signal_number);
        return;
    }
    log_info("thread %d will be end", static_cast<int>(gettid()));
    g_ended_workers++;
    pthread_exit(nullptr);
}

int32_t pub_util_raise_process_priority()
{
    log_func();
    const int highest = sched_get_priority_max(SCHED_FIFO);
    if (highest < 0) {
        return log_sys_error("sched_get_priority_max");
    }
    sched_param parameter = {};
    parameter.sched_priority = highest - k_below_highest_priority;
    if (sched_setscheduler(getpid(), SCHED_FIFO, &parameter) != 0) {
        return log_sys_error("sched_setscheduler");
    }
    return ERR_NONE;
}
