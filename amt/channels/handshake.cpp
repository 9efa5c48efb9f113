#include "amt/channels/handshake.h"

#include <fcntl.h>
#include <string.h>
#include <unistd.h>

#include <atomic>

#include "amt/channels/failure-exit.h"
#include "amt/channels/pc-dispatch.h"
#include "amt/channels/timers.h"
#include "amt/core/context.h"
#include "amt/identity/handshake-permit.h"
#include "amt/platform-library.h"
#include "amt/screen/screen.h"
#include "pub/base/file.h"
#include "pub/base/scoped.h"
#include "pub/base/wait.h"

#define LOG_MODULE "amt/amt-handle"
#include "pub/log/log.h"

namespace {

constexpr int32_t k_enumeration_seconds = 20;
constexpr int32_t k_handshake_seconds = 5;

constexpr uint32_t k_ac_charger = 1;
constexpr uint32_t k_usb_host = 2;
constexpr int k_charge_mode_attempts = 20;
constexpr uint32_t k_charge_mode_interval_seconds = 1;

constexpr char k_usb_state_file[] = "/sys/class/android_usb/android0/state";

// How long the PC reader gives the modem reader: some 20 ms.
constexpr int k_busy_looks = 1001;
constexpr uint32_t k_busy_look_interval_us = 20;

constexpr uint32_t k_picture_delay_seconds = 3;

// Who takes it out of HANDSHAKE_OPEN decides: a station that answers and a timer that ends may come at the same moment.
enum handshake_state : int32_t { HANDSHAKE_OPEN, HANDSHAKE_DONE, HANDSHAKE_FAILED };
std::atomic<int32_t> g_handshake{HANDSHAKE_OPEN};

std::atomic<int32_t> g_is_modem_busy{0};

bool take_handshake(handshake_state outcome)
{
    int32_t open = HANDSHAKE_OPEN;
    return g_handshake.compare_exchange_strong(open, outcome);
}

// --- the start

// The platform may take a moment to find out what is at the cable.
bool is_ac_power_supply()
{
    log_func();
    int32_t result = ERR_NONE;
    uint32_t mode = 0;
    for (int i = 0; i < k_charge_mode_attempts; i++) {
        result = amt_get_charge_mode(&mode);
        log_info("after amt_get_charge_mode. return:%d, mode:%d.", result, static_cast<int>(mode));
        if (result == ERR_NONE && (mode == k_ac_charger || mode == k_usb_host)) {
            return mode == k_ac_charger;
        }
        log_info("return mode is not valid or return error. will recall get function. return:%d, mode:%d.", result,
                 static_cast<int>(mode));
        pub_util_sleep_seconds(k_charge_mode_interval_seconds);
    }
    log_info("through (%d) time's try. do not get valid mode, will exit as ac charge. return:%d, mode:%d.",
             k_charge_mode_attempts, result, static_cast<int>(mode));
    return true;
}

// Ends the process; comes back only when the signal has not ended it.
bool refuse()
{
    amt_handle_failure_exit();
    pub_util_take_ending_signal();
    return false;
}

// --- the USB enumeration

// The kernel's own word, for whoever has missed its event.
bool is_usb_enum_success()
{
    log_func();
    char state[100] = "";
    const scoped_fd file(pub_util_open_file(k_usb_state_file, O_RDONLY));
    if (!file.is_open()) {
        (void)log_sys_error("open");
        return false;
    }
    if (read(file.get(), state, sizeof(state) - 1) < 0) {
        (void)log_sys_error("read");
        return false;
    }
    log_info("readed success from file(%s). value: %s.", k_usb_state_file, state);
    return strstr(state, "CONFIGURED") != nullptr;
}

// --- the handshake

void open_handshake_period()
{
    log_info("will create timer.");
    createTimer(&g_handShakeTimer, HandShakeTimeout);
    setTimer(&g_handShakeTimer, k_handshake_seconds * 1000);
}

// What the modem reader has just written may be what the station answers: it must be done with it first.
void wait_for_modem_reader()
{
    for (int i = 0; i < k_busy_looks; i++) {
        if (g_is_modem_busy == 0) {
            return;
        }
        pub_util_pause_us(k_busy_look_interval_us);
    }
    log_info("index is over 1000. ");
    g_is_modem_busy = 0;
}

void start_image_loader()
{
    const int error = pub_util_start_thread(&handle_context_st.m_thread_image, amt_handle_load_image_for_handshake);
    if (error != 0) {
        (void)log_error(ERR_C_FUNCTION, "pthread_create() amt_handle_load_image_for_handshake: %d - %s", error,
                        error_text(error).c_str());
        return;
    }
    log_info("pthread_create() amt_handle_load_image_for_handshake success.");
}

void complete_handshake()
{
    deleteTimer(&g_handShakeTimer);
    log_info("handshake success.");
    start_image_loader();
    const int32_t usb_charge_mode = g_amt_mode == AMT_MODE_AMT4 ? 1 : 0;
    const int32_t result = amt_usb_charge_ctrl(usb_charge_mode);
    log_info("call amt_usb_charge_ctrl. return:%d, current amt mode:%d, usb_charge_mode:%d.", result,
             static_cast<int>(g_amt_mode), usb_charge_mode);
}

// True for a callback whose timer is still there while nobody has answered: it ends the service.
bool claim_failure(const amt_timer &timer)
{
    return amt_timer_exists(timer) && take_handshake(HANDSHAKE_FAILED);
}

} // namespace

bool amt_admit()
{
    log_info("will treat handshake.");
    g_handshake = HANDSHAKE_OPEN;
    g_is_modem_busy = 0;
    g_is_usb_configured = 0;
    amt_forget_timers();
    if (is_ac_power_supply()) {
        log_info("power-supply is ac, do not enter amt by handshake. will exit");
        amt_note_ac_power();
        return refuse();
    }
    if (!amt_is_handshake_permitted()) {
        log_info("do not permit to enter amt by handshake. will exit");
        return refuse();
    }
    log_info("permit to enter amt by handshake.");
    return true;
}

void amt_await_usb_enumeration()
{
    createTimer(&g_usbEnumTimer, HandUsbEnumTimeout);
    setTimer(&g_usbEnumTimer, k_enumeration_seconds * 1000);
}

void amt_end_usb_enumeration()
{
    g_is_usb_configured = 1;
    deleteTimer(&g_usbEnumTimer);
}

void amt_begin_relay()
{
    g_is_modem_busy = 1;
}

void amt_end_relay()
{
    if (g_is_usb_configured == 0 && is_usb_enum_success()) {
        amt_end_usb_enumeration();
    }
    // Whoever deletes the timer has decided the handshake before: looking in this order, no second period is opened.
    if (g_is_usb_configured != 0 && !amt_timer_exists(g_handShakeTimer) && g_handshake == HANDSHAKE_OPEN) {
        open_handshake_period();
    }
    g_is_modem_busy = 0;
}

void amt_take_station_data()
{
    if (g_handshake == HANDSHAKE_OPEN) {
        wait_for_modem_reader();
    }
    if (g_is_usb_configured == 0) {
        amt_end_usb_enumeration();
    }
    if (amt_timer_exists(g_handShakeTimer) && take_handshake(HANDSHAKE_DONE)) {
        complete_handshake();
    }
}

void HandUsbEnumTimeout(sigval)
{
    pub_util_block_ending_signals();
    if (g_is_usb_configured == 0 && claim_failure(g_usbEnumTimer)) {
        log_func();
        log_info("usb enum timeout. time:%d seconds.", k_enumeration_seconds);
        amt_handle_failure_exit();
    }
}

void HandShakeTimeout(sigval)
{
    pub_util_block_ending_signals();
    if (claim_failure(g_handShakeTimer)) {
        log_func();
        log_info("timeout. time:%d seconds.", k_handshake_seconds);
        amt_handle_failure_exit();
    }
}

void amt_handle_load_image_for_handshake()
{
    log_func();
    if (screen_init() == 0) {
        pub_util_sleep_seconds(k_picture_delay_seconds);
        (void)screen_update(); // told in the platform's log; the handset is in test mode either way
    } else {
        (void)log_error(ERR_UNKNOWN, "screen_init return error, not update screen.");
    }
    pub_util_clear_own_thread(&handle_context_st.m_thread_image);
}
