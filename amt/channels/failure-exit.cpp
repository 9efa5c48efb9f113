#include "amt/channels/failure-exit.h"

#include <cutils/properties.h>
#include <signal.h>
#include <stdint.h>
#include <unistd.h>

#include <atomic>

#include "amt/channels/timers.h"
#include "amt/identity/handshake-permit.h"
#include "pub/base/wait.h"

#define LOG_MODULE "amt/amt-handle"
#include "pub/log/log.h"

namespace {

constexpr char k_failure_property[] = "sys.kv.amt.failure.handshake";
constexpr char k_not_permitted[] = "1";
constexpr char k_failed[] = "2";

// The store of the properties answers within milliseconds; one that does not must not keep the process from its end.
constexpr uint32_t k_look_interval_us = 1000;
constexpr int k_looks = 1000;

enum record_state : int32_t { NOT_RECORDED, BEING_RECORDED, RECORDED };

std::atomic<int32_t> g_record_state{NOT_RECORDED};
std::atomic<int32_t> g_is_ac_power{0};

} // namespace

void amt_forget_failure()
{
    g_record_state = NOT_RECORDED;
    g_is_ac_power = 0;
}

void amt_leave_failure_to_original()
{
    g_record_state = RECORDED;
}

void amt_note_ac_power()
{
    g_is_ac_power = 1;
}

void amt_set_failure_exit_property()
{
    log_func();
    const bool is_permitted = g_is_ac_power == 0 && amt_is_handshake_permitted();
    if (is_permitted) {
        log_info("permit to enter amt by handshake. ");
    } else {
        log_info("do not permit to enter amt by handshake. ");
    }
    const char *value = is_permitted ? k_failed : k_not_permitted;
    (void)property_set(k_failure_property, value); // there is no other way to tell
    log_info("set property(%s) to %s.", k_failure_property, value);
}

void amt_record_failure_exit()
{
    int32_t state = NOT_RECORDED;
    if (g_record_state.compare_exchange_strong(state, BEING_RECORDED)) {
        amt_set_failure_exit_property();
        g_record_state = RECORDED;
        return;
    }
    for (int i = 0; i < k_looks && g_record_state == BEING_RECORDED; i++) {
        pub_util_pause_us(k_look_interval_us);
    }
}

void amt_handle_failure_exit()
{
    log_func();
    amt_record_failure_exit();
    deleteTimer(&g_usbEnumTimer);
    deleteTimer(&g_handShakeTimer);
    (void)kill(getpid(), SIGTERM); // to oneself it cannot fail
}
