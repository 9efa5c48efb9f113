#include "pub/base/wait.h"

#include <errno.h>
#include <signal.h>
#include <time.h>
#include <unistd.h>

#include "pub/base/thread_value.h"

namespace {

thread_value<ending_signals> g_admitted; // by the calling thread

sigset_t signals_of(ending_signals signals)
{
    sigset_t set;
    sigemptyset(&set);
    switch (signals) {
    case ending_signals::none:
        break;
    case ending_signals::main_thread:
        sigaddset(&set, SIGTERM);
        sigaddset(&set, SIGUSR2);
        break;
    case ending_signals::worker:
        sigaddset(&set, SIGUSR1);
        break;
    }
    return set;
}

void mask_admitted(int how)
{
    const ending_signals admitted = g_admitted.get();
    if (admitted != ending_signals::none) {
        const sigset_t set = signals_of(admitted);
        (void)pthread_sigmask(how, &set, nullptr); // fails on a bad `how` only
    }
}

void sleep_through(timespec left)
{
    while (nanosleep(&left, &left) != 0 && errno == EINTR) {
    }
}

void sleep_for(timespec left)
{
    const signal_window window;
    sleep_through(left);
}

} // namespace

void pub_util_block_ending_signals()
{
    sigset_t set = signals_of(ending_signals::main_thread);
    sigaddset(&set, SIGUSR1);
    (void)pthread_sigmask(SIG_BLOCK, &set, nullptr);
}

void pub_util_admit_ending_signals(ending_signals signals)
{
    g_admitted.set(signals);
}

bool pub_util_hand_to_main_thread(int signal_number)
{
    return gettid() != getpid() && tgkill(getpid(), getpid(), signal_number) == 0;
}

signal_window::signal_window()
{
    mask_admitted(SIG_UNBLOCK);
}

signal_window::~signal_window()
{
    mask_admitted(SIG_BLOCK);
}

void pub_util_sleep_ms(uint32_t milliseconds)
{
    sleep_for({static_cast<time_t>(milliseconds / 1000), static_cast<long>(milliseconds % 1000) * 1'000'000});
}

void pub_util_sleep_seconds(uint32_t seconds)
{
    sleep_for({static_cast<time_t>(seconds), 0});
}

void pub_util_take_ending_signal()
{
    const signal_window window;
}

void pub_util_pause_us(uint32_t microseconds)
{
    sleep_through({static_cast<time_t>(microseconds / 1'000'000), static_cast<long>(microseconds % 1'000'000) * 1000});
}

ssize_t pub_util_read(int fd, void *bytes, size_t count)
{
    const signal_window window;
    ssize_t result = 0;
    do {
        result = read(fd, bytes, count);
    } while (result < 0 && errno == EINTR);
    return result;
}

ssize_t pub_util_write(int fd, const void *bytes, size_t count)
{
    const signal_window window;
    ssize_t result = 0;
    do {
        result = write(fd, bytes, count);
    } while (result < 0 && errno == EINTR);
    return result;
}

int pub_util_select(int count, fd_set *readable, fd_set *writable, timeval *left)
{
    const signal_window window;
    int result = 0;
    do {
        result = select(count, readable, writable, nullptr, left); // an interrupted one leaves the sets alone
    } while (result < 0 && errno == EINTR);
    return result;
}

void pub_util_park()
{
    for (;;) {
        (void)pause(); // woken by signals that do not end anything
    }
}
