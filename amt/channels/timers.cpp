#include "amt/channels/timers.h"

#include <errno.h>
#include <semaphore.h>

#define LOG_MODULE "amt/amt-handle"
#include "pub/log/log.h"

namespace {

constexpr int k_callback_value = 111;

// A timer id is a number or a pointer, as the C library likes; in the log it is a number.
template <typename id_type>
int number_of(id_type id)
{
    return static_cast<int>(
        (intptr_t)id); // NOLINT(google-readability-casting): reinterprets a pointer, converts a number
}

const timer_t k_no_timer = (timer_t)-1; // NOLINT(google-readability-casting): likewise

// Never destroyed: who holds it at the release gives it back.
sem_t g_timer_semaphore;
std::atomic<bool> g_is_ordered{false}; // from the preparation to the release

// Holds the semaphore. Before the preparation there is one thread, behind the release nobody waits.
class timer_turn {
  public:
    timer_turn()
        : m_is_mine(g_is_ordered)
    {
        while (m_is_mine && sem_wait(&g_timer_semaphore) != 0) { // interrupted
        }
    }
    ~timer_turn()
    {
        if (m_is_mine) {
            (void)sem_post(&g_timer_semaphore); // fails on a count that is too high only
        }
    }
    timer_turn(const timer_turn &) = delete;
    timer_turn &operator=(const timer_turn &) = delete;

  private:
    bool m_is_mine;
};

} // namespace

amt_timer g_usbEnumTimer{k_no_timer};
amt_timer g_handShakeTimer{k_no_timer};

bool amt_timer_exists(const amt_timer &timer)
{
    return timer != k_no_timer;
}

void amt_prepare_timers()
{
    g_is_ordered = sem_init(&g_timer_semaphore, 0, 1) == 0; // fails on a count that is too high only
}

void amt_release_timer_order()
{
    g_is_ordered = false;
}

void amt_forget_timers()
{
    g_usbEnumTimer = k_no_timer;
    g_handShakeTimer = k_no_timer;
    if (g_is_ordered) {
        amt_prepare_timers();
    }
}

void createTimer(amt_timer *timer, void (*callback)(sigval))
{
    log_func();
    sigevent notification = {};
    notification.sigev_notify = SIGEV_THREAD;
    notification.sigev_notify_function = callback;
    notification.sigev_value.sival_int = k_callback_value;
    notification.sigev_signo = SIGRTMIN;
    if (amt_timer_exists(*timer)) {
        deleteTimer(timer);
    }
    timer_t id = k_no_timer;
    if (timer_create(CLOCK_REALTIME, &notification, &id) != 0) {
        const int error = errno;
        (void)log_error(ERR_C_FUNCTION, "timer_create, error: %d - %s", error, error_text(error).c_str());
        return;
    }
    timer->store(id);
    if (id == k_no_timer) {
        (void)log_error(ERR_C_FUNCTION, "timer_create, error, id is -1.");
    }
    log_info("createTimer success, timerId[%d]", number_of(id));
}

void setTimer(amt_timer *timer, int32_t milliseconds)
{
    log_func();
    const timer_turn turn; // or it might be deleted just when it is set
    const timer_t id = *timer;
    if (id == k_no_timer) {
        (void)log_error(ERR_INVALID_PARAM, "invalid parameter.timerId:%d; timeMSec:%d.", number_of(id), milliseconds);
        return;
    }
    itimerspec once = {};
    once.it_value.tv_sec = milliseconds / 1000;
    once.it_value.tv_nsec = milliseconds % 1000 * 1'000'000L;
    if (timer_settime(id, 0, &once, nullptr) != 0) {
        const int error = errno;
        (void)log_error(ERR_C_FUNCTION, "timer_settime errorr: %d - %s", error, error_text(error).c_str());
    }
    log_info("setTimer success, timerId[%d], timeMSec:%d. ", number_of(id), milliseconds);
}

void deleteTimer(amt_timer *timer)
{
    log_func();
    const timer_turn turn;
    const timer_t id = timer->exchange(k_no_timer);
    if (id != k_no_timer) {
        log_info("delete timer.timerId:%d.", number_of(id));
        (void)timer_delete(id); // nothing to be done about it here
    }
    log_info("deleteTimer success, timerId[%d]", number_of(k_no_timer));
}
