// The one process-wide record of the AMT core, and the states that its threads share.
//
// Each thread owns its descriptor for reading; answers are written by whichever thread has them, each in one write and
// without a lock. Descriptors and states are atomics of the plain integer's layout, so that any thread may look at
// them; the buffers belong to the one reader that runs, and so does the pseudo-terminal, until the release has ended
// that reader; the tables are written before any reader exists.
#pragma once

#include <stdint.h>

#include <atomic>

#include "amt/core/channel.h"
#include "amt/wire/amt-message.h"
#include "pub/pty/pty.h"
#include "pub/util/util.h"

constexpr uint8_t AMT_CHANNEL_PC = 1;  // the station, on its serial tty
constexpr uint8_t AMT_CHANNEL_APP = 2; // the application, on its pseudo-terminal

// A handler of one command: answers on the channel by itself and returns 0; ERR_NOT_FOUND when the request is not its
// own and is to be passed on, or another negative code. The response buffer is for building the answer in.
using amt_handle_func = int32_t (*)(uint8_t channel, const amt_buffer *request, amt_buffer *response);

constexpr uint32_t AMT_HANDLER_COUNT = 255; // id 255 cannot be registered

struct handle_context {
    pub_util_thread m_thread_app;
    pub_util_thread m_thread_pc;
    pub_util_thread m_thread_modem;
    pub_util_thread m_thread_usb;
    pub_util_thread m_thread_image; // shows the picture and ends by itself
    pub_pty m_pty;                  // its master is the application's channel
    amt_channel_fd m_fd_pc;
    amt_channel_fd m_fd_at;
    amt_channel_fd m_fd_modem;
    amt_buffer m_request; // of the PC reader or the APP reader, which never run together
    amt_buffer m_response;
    amt_buffer m_dispatch;    // the request without its envelope, as the PC handlers get it
    amt_buffer m_modem_relay; // from the modem, not yet with the station
    amt_handle_func m_handle_pc_func_a[AMT_HANDLER_COUNT];
    amt_handle_func m_handle_app_func_a[AMT_HANDLER_COUNT];
};

extern handle_context handle_context_st;

// 1 when the modem's AT port could not be opened or did not answer at the start: what needs the modem then refuses.
extern std::atomic<uint32_t> g_at_dev_not_opened;

// How far the start has come.
enum amt_init_state : int32_t {
    AMT_INIT_RUNNING = 1,
    AMT_INIT_APP_READY = 3, // the application's arrangement has been tried, with or without success
};
extern std::atomic<int32_t> g_init_state;

// 1 once the USB enumeration is known to be complete.
extern std::atomic<int32_t> g_is_usb_configured;

// The last state of the cable that the USB monitor has seen.
enum amt_usb_state : uint8_t {
    AMT_USB_DISCONNECTED = 0,
    AMT_USB_CONFIGURED = 1,
    AMT_USB_OTHER = 2,
    AMT_USB_UNKNOWN = 255,
};
extern std::atomic<uint8_t> g_usb_state;

// No worker has a handle any more: before there are any, and in a copy of the process, which has none of them.
void amt_context_forget_threads();

// Puts the whole record back to "nothing is open, nothing is registered". Before any worker exists.
void amt_context_clear();

// Empties a buffer and clears its bytes.
void amt_buffer_clear(amt_buffer *buffer);

// The platform flag with which the start succeeded: 0 or 1.
uint32_t amt_get_platform_mode();
void amt_set_platform_mode(uint32_t platform_flag);
