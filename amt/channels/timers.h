// The two one-shot timers of a start on the insertion of a USB cable. Any thread may delete them: a semaphore orders
// that until the release, and taking the id out decides who does it.
#pragma once

#include <signal.h>
#include <stdint.h>
#include <time.h>

#include <atomic>

// -1 when there is no such timer. As wide as a pointer: for a number in the log only the lower half is shown.
using amt_timer = std::atomic<timer_t>;

extern amt_timer g_usbEnumTimer;   // the cable must be enumerated by then
extern amt_timer g_handShakeTimer; // the station must answer by then

bool amt_timer_exists(const amt_timer &timer);

// Makes the semaphore. Main thread, before any other exists.
void amt_prepare_timers();

// From now on nobody waits for the semaphore: the release must not hang on whoever holds it. By the release.
void amt_release_timer_order();

// No timers, none to be deleted: at the start, and in a copy of the process, which inherits none, and in which nobody
// holds the semaphore.
void amt_forget_timers();

// Makes a timer in place of the one that may be there. At its end the callback runs on a thread of its own, in which
// every signal may arrive. When it cannot be made there is none, which the log tells.
void createTimer(amt_timer *timer, void (*callback)(sigval));

// Has the timer end once, after so many milliseconds. Failures are told in the log.
void setTimer(amt_timer *timer, int32_t milliseconds);

// Deletes a timer, if it exists: harmless and repeatable.
void deleteTimer(amt_timer *timer);
