// Two arrangements, by the names of the test modes that they serve. amt1/4: the station talks to the handset on its
// serial tty, and the modem is behind it; three threads. amt2/3: an application talks to it on a pseudo-terminal, and
// the modem is asked on its AT port; one thread.
#include "amt/channels/start-up.h"

#include <cutils/properties.h>
#include <stdio.h>
#include <string.h>
#include <termios.h>

#include "amt/amt-cfg.h"
#include "amt/channels/app-reader.h"
#include "amt/channels/copies.h"
#include "amt/channels/failure-exit.h"
#include "amt/channels/handshake.h"
#include "amt/channels/modem-port.h"
#include "amt/channels/modem-reader.h"
#include "amt/channels/pc-reader.h"
#include "amt/channels/registrations.h"
#include "amt/channels/timers.h"
#include "amt/channels/usb-monitor.h"
#include "amt/core/context.h"
#include "amt/identity/identity-files.h"
#include "amt/identity/pending-identity.h"
#include "amt/identity/wifi-nvram.h"
#include "amt/modem/at-channel.h"
#include "amt/platform-library.h"
#include "amt/run-mode.h"
#include "pub/base/wait.h"

#define LOG_MODULE "amt/amt-handle"
#include "pub/log/log.h"

namespace {

constexpr char k_switch_property[] = "amt.normal.amt.switch_status";

constexpr uint32_t k_pc_attempts = 60;
constexpr uint32_t k_pc_settle_seconds = 1;
constexpr uint32_t k_at_attempts = 30;

// The station's line: 115200 baud, every byte as it comes. 0, or -1 from the call that failed.
int32_t set_serial_dev_attr(int fd)
{
    log_func();
    termios attributes = {};
    int result = tcgetattr(fd, &attributes);
    if (result != 0) {
        (void)log_sys_error("tcgetattr");
        return result;
    }
    result = cfsetispeed(&attributes, B115200);
    if (result != 0) {
        (void)log_sys_error("cfsetispeed");
        return result;
    }
    result = cfsetospeed(&attributes, B115200);
    if (result != 0) {
        (void)log_sys_error("cfsetospeed");
        return result;
    }
    attributes.c_iflag &= ~static_cast<tcflag_t>(INLCR | ICRNL | IXON);
    attributes.c_oflag &= ~static_cast<tcflag_t>(OPOST);
    attributes.c_lflag = 0;
    result = tcsetattr(fd, TCSANOW, &attributes);
    if (result != 0) {
        (void)log_sys_error("tcsetattr");
    }
    return result;
}

int32_t open_pc_port()
{
    const int32_t result = amt_channel_open(&handle_context_st.m_fd_pc, amt_cfg_st.m_tty_pc_a, k_pc_attempts);
    pub_util_sleep_seconds(k_pc_settle_seconds); // a USB port that has just come takes its time
    return result == ERR_NONE ? set_serial_dev_attr(handle_context_st.m_fd_pc) : result;
}

int32_t start_worker(pub_util_thread *handle, void (*body)())
{
    const int error = pub_util_start_thread(handle, body);
    if (error != 0) {
        return log_error(ERR_C_FUNCTION, "pthread_create(): %d - %s", error, error_text(error).c_str());
    }
    return ERR_NONE;
}

int32_t start_amt_1_4_workers()
{
    handle_context &context = handle_context_st;
    int32_t result = start_worker(&context.m_thread_pc, amt_handle_read_pc_loop);
    if (result == ERR_NONE) {
        result = start_worker(&context.m_thread_modem, amt_handle_read_modem_loop);
    }
    if (result == ERR_NONE) {
        g_usb_state = AMT_USB_UNKNOWN;
        result = start_worker(&context.m_thread_usb, amt_handle_monitor_usb_loop);
    }
    return result;
}

void kill_if_running(pub_util_thread *handle)
{
    if (handle->load() != 0) {
        (void)pub_util_kill_thread(handle); // told in the log; the start has failed already
    }
}

void undo_amt_1_4()
{
    handle_context &context = handle_context_st;
    g_usb_state = AMT_USB_UNKNOWN;
    kill_if_running(&context.m_thread_modem);
    kill_if_running(&context.m_thread_pc);
    kill_if_running(&context.m_thread_usb);
    amt_channel_close(&context.m_fd_modem);
    amt_channel_close(&context.m_fd_pc);
}

int32_t init_for_amt_1_4()
{
    log_func();
    if (g_usb_activate != 0) {
        amt_await_usb_enumeration();
    }
    int32_t result = open_pc_port();
    if (result == ERR_NONE) {
        result = amt_open_modem_port();
    }
    if (result == ERR_NONE) {
        result = start_amt_1_4_workers();
    }
    if (result != ERR_NONE) {
        undo_amt_1_4();
    }
    return result;
}

// The application side works without a modem; what needs one refuses.
void open_at_port()
{
    int32_t result = amt_channel_open(&handle_context_st.m_fd_at, amt_cfg_st.m_tty_at_mux_a, k_at_attempts);
    const bool is_open = result == ERR_NONE;
    if (is_open) {
        result = disable_unsolicited_code(handle_context_st.m_fd_at);
    }
    if (!is_open || result == ERR_TIMEOUT) {
        g_at_dev_not_opened = 1;
        log_warning("The AT device is not opened with modem.");
    }
}

int32_t start_app_reader()
{
    const int error = pub_util_start_thread(&handle_context_st.m_thread_app, amt_handle_read_app_loop);
    return error == 0 ? ERR_NONE : log_error(ERR_C_FUNCTION, "pthread_create() fail: %d", error);
}

void undo_amt_2_3()
{
    kill_if_running(&handle_context_st.m_thread_app);
    amt_channel_close(&handle_context_st.m_fd_at);
    (void)pub_pty_close(&handle_context_st.m_pty);
}

int32_t init_for_amt_2_3()
{
    log_func();
    int32_t result = pub_pty_open(&handle_context_st.m_pty);
    if (result == ERR_NONE) {
        open_at_port();
        result = start_app_reader();
    }
    if (result != ERR_NONE) {
        undo_amt_2_3();
    }
    g_init_state = AMT_INIT_APP_READY;
    return result;
}

void make_identity_folders()
{
    if (amt_make_folder("/amt/BT") == ERR_NONE) {
        (void)amt_make_folder("/amt/WIFI"); // whoever writes to it will tell
    }
}

void prepare_identities()
{
    amt_clear_pending_identity();
    make_identity_folders();
    (void)amt_write_wifi_to_nvram_file(); // told in the log; the line works without WiFi
}

void prepare_context()
{
    amt_context_clear();
    pub_pty &pty = handle_context_st.m_pty;
    static_assert(sizeof(pty.m_pts_mapping_name_a) == sizeof(amt_cfg_st.m_tty_app_a), "the application's path fits");
    memcpy(pty.m_pts_mapping_name_a, amt_cfg_st.m_tty_app_a, sizeof(pty.m_pts_mapping_name_a));
}

// In normal mode the station's arrangement is asked for by a property.
bool is_switched_to_station()
{
    char value[PROPERTY_VALUE_MAX] = "";
    if (property_get(k_switch_property, value, "@##@") <= 0) {
        return false;
    }
    log_info("property-%s value: %s", k_switch_property, value);
    if (strcmp(value, "1") != 0) {
        return false;
    }
    log_info("will create amt1/4 thread. ");
    return true;
}

} // namespace

int32_t amt_handle_init(uint32_t platform_flag)
{
    log_func();
    g_init_state = AMT_INIT_RUNNING;
    amt_forget_failure();
    decide_platform_lib_name();
    amt_prepare_timers();
    amt_prepare_copies();
    if (g_usb_activate != 0 && !amt_admit()) {
        return ERR_UNKNOWN;
    }
    prepare_identities();
    prepare_context();
    amt_register_handlers();
    g_at_dev_not_opened = 0;
    const bool is_station = platform_flag == 0 || is_switched_to_station();
    const int32_t result = is_station ? init_for_amt_1_4() : init_for_amt_2_3();
    if (result == ERR_NONE) {
        amt_set_platform_mode(platform_flag);
    }
    return result;
}
