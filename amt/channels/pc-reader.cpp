#include "amt/channels/pc-reader.h"

#include "amt/channels/handshake.h"
#include "amt/channels/pc-dispatch.h"
#include "amt/channels/release.h"
#include "amt/core/context.h"
#include "amt/run-mode.h"
#include "pub/base/wait.h"

#define LOG_MODULE "amt/amt-handle"
#include "pub/log/log.h"

namespace {

constexpr uint32_t k_empty_pause_ms = 100;

// Reads once and handles what came. False when the service is to end.
bool read_and_handle(amt_buffer &request)
{
    log_info("read_pc_loop, read ready, m_fd_pc=%d", handle_context_st.m_fd_pc.load());
    const ssize_t count = amt_channel_read(handle_context_st.m_fd_pc, &request);
    if (count < 0) {
        (void)log_sys_error("read");
        return false;
    }
    if (count == 0) {
        log_warning("pc read empty data");
        pub_util_sleep_ms(k_empty_pause_ms);
        return true;
    }
    log_data("handle PC req data: ", request.m_data_a, request.m_length);
    if (g_usb_activate != 0) {
        amt_take_station_data();
    }
    amt_replace_probe();
    const bool is_told = handle_amt_pc_req() == ERR_NONE;
    amt_buffer_clear(&request);
    return is_told;
}

} // namespace

void amt_handle_read_pc_loop()
{
    log_func();
    amt_buffer &request = handle_context_st.m_request;
    amt_buffer_clear(&request);
    amt_buffer_clear(&handle_context_st.m_response);
    while (amt_channel_is_open(handle_context_st.m_fd_pc) && amt_channel_is_open(handle_context_st.m_fd_modem) &&
           read_and_handle(request)) {
    }
    amt_channel_close(&handle_context_st.m_fd_pc);
    amt_handle_end_service(&handle_context_st.m_thread_pc);
}
