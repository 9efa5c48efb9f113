// The two one-shot timers of a start on the insertion of a USB cable. Deleting is ordered by a semaphore, so that no
// timer is deleted twice; any thread may do it.
#pragma once

#include <time.h>

// -1 when there is no such timer.
extern timer_t g_usbEnumTimer;   // the cable must be enumerated until then
extern timer_t g_handShakeTimer; // the station must answer until then

// Makes the semaphore. Main thread, before any other exists.
void amt_prepare_timers();

// For a copy of the process, which inherits no timer, and in which nobody holds the semaphore.
void amt_forget_timers();

// Deletes a timer, if it exists: harmless and repeatable.
void deleteTimer(timer_t *timer);
