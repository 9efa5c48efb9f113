// The semaphore of the timers and the timers themselves, watched or replaced. Only inside in_child.
#pragma once

#include <semaphore.h>
#include <signal.h>
#include <stdint.h>
#include <time.h>

#include <functional>
#include <string>
#include <vector>

#include "amt/channels/timers.h"

// What happens to the semaphore. Reset by assignment: g_order = {};
struct semaphore_fakes {
    std::vector<std::string> calls; // of a wait and a post: whether the timer is there
    int interruptions = 0;          // so many waits from now on are interrupted
    int init_error = 0;
    timer_t timer = {};
    sem_t *made = nullptr;
};
extern semaphore_fakes g_order;

// Timers that are numbers. Reset by assignment: g_timers = {};
struct timer_fakes {
    bool is_real = true; // they are the machine's own
    intptr_t next = 71;  // the id of the next one
    int create_error = 0;
    int set_error = 0;
    clockid_t clock = -1;
    sigevent notification = {};
    int set_flags = -1;
    itimerspec period = {};
    std::vector<std::string> calls; // "create", "set ID", "delete ID"
    std::function<void()> on_delete;
};
extern timer_fakes g_timers;

timer_t timer_of(intptr_t number);

// A timer of the machine's that never tells.
void make_timer(amt_timer *timer);

int value_of_semaphore();

// Takes the semaphore without a word, for a thread that is deleting a timer just now.
void take_semaphore();
