#include "amt/channels/timers.h"

#include <semaphore.h>
#include <stdint.h>

#define LOG_MODULE "amt/amt-handle"
#include "pub/log/log.h"

namespace {

// A timer id is a number or a pointer, as the C library likes; in the log it is a number.
template <typename id_type>
int number_of(id_type id)
{
    return static_cast<int>(
        (intptr_t)id); // NOLINT(google-readability-casting): reinterprets a pointer, converts a number
}

const timer_t k_no_timer = (timer_t)-1; // NOLINT(google-readability-casting): likewise

// Never destroyed: the release still deletes timers when everything else has gone.
sem_t g_timer_semaphore;
bool g_is_prepared = false;

// A start that fails before there is a semaphore deletes timers as well; it does so alone.
void wait_semaphore()
{
    while (g_is_prepared && sem_wait(&g_timer_semaphore) != 0) { // interrupted
    }
}

void post_semaphore()
{
    if (g_is_prepared) {
        (void)sem_post(&g_timer_semaphore); // fails on a count that is too high only
    }
}

} // namespace

timer_t g_usbEnumTimer = k_no_timer;
timer_t g_handShakeTimer = k_no_timer;

void amt_prepare_timers()
{
    g_is_prepared = sem_init(&g_timer_semaphore, 0, 1) == 0; // fails on a count that is too high only
}

void amt_forget_timers()
{
    g_usbEnumTimer = k_no_timer;
    g_handShakeTimer = k_no_timer;
    if (g_is_prepared) {
        amt_prepare_timers();
    }
}

void deleteTimer(timer_t *timer)
{
    log_func();
    wait_semaphore();
    if (*timer != k_no_timer) {
        log_info("delete timer.timerId:%d.", number_of(*timer));
        (void)timer_delete(*timer); // nothing to be done about it here
        *timer = k_no_timer;
    }
    log_info("deleteTimer success, timerId[%d]", number_of(*timer));
    post_semaphore();
}
