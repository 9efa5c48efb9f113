#include "amt/channels/app-reader.h"

#include <errno.h>
#include <unistd.h>

#include "amt/channels/copies.h"
#include "amt/core/command-names.h"
#include "amt/core/context.h"
#include "amt/core/response.h"
#include "pub/base/wait.h"

#define LOG_MODULE "amt/amt-handle"
#include "pub/log/log.h"

namespace {

constexpr uint32_t k_empty_pause_ms = 200;
constexpr uint32_t k_error_code = 1; // what an application is told, whatever failed

int32_t call_handler(uint8_t command_id)
{
    if (command_id >= AMT_HANDLER_COUNT) {
        return log_error(ERR_UNKNOWN, "unknown AMT request id: %d", command_id);
    }
    const amt_handle_func handler = handle_context_st.m_handle_app_func_a[command_id];
    if (handler == nullptr) {
        return log_error(ERR_UNKNOWN, "unregistered AMT request id: %d", command_id);
    }
    return handler(AMT_CHANNEL_APP, &handle_context_st.m_request, &handle_context_st.m_response);
}

// False when there is no pseudo-terminal any more.
bool reopen_after_hang_up()
{
    pub_pty &pty = handle_context_st.m_pty;
    log_info("pty disconnect: pts name(%s), pts mapping name(%s)", pty.m_pts_name_a, pty.m_pts_mapping_name_a);
    const shared_turn turn;    // a copy is told of the same hang-up at the same moment
    (void)pub_pty_close(&pty); // opening it again closes what is left
    if (pub_pty_open(&pty) == ERR_NONE) {
        return true;
    }
    (void)pub_pty_close(&pty);
    return false;
}

void give_up()
{
    pub_pty &pty = handle_context_st.m_pty;
    (void)log_sys_error("read");
    log_info("pty disconnect: pts name(%s), pts mapping name(%s), thread id(%d), PTM fd(%d)", pty.m_pts_name_a,
             pty.m_pts_mapping_name_a, static_cast<int>(gettid()), pty.m_ptm_fd);
    (void)pub_pty_close(&pty);
}

// Reads once behind what is held. False when the thread is to end.
bool read_and_handle(amt_buffer &request)
{
    if (request.m_length >= AMT_REQUEST_MAX) {
        amt_buffer_clear(&request); // nobody takes answers, and there is no room to wait for it
    }
    const ssize_t count = amt_channel_read(handle_context_st.m_pty.m_ptm_fd, &request);
    if (count < 0 && errno == EIO) {
        return reopen_after_hang_up();
    }
    if (count < 0) {
        give_up();
        return false;
    }
    if (count == 0) {
        log_warning("app read empty data");
        pub_util_sleep_ms(k_empty_pause_ms);
        return true;
    }
    log_data("handle APP req data: ", request.m_data_a, request.m_length);
    if (handle_amt_app_req()) {
        amt_buffer_clear(&request);
    }
    return true;
}

} // namespace

bool handle_amt_app_req()
{
    log_func();
    const amt_buffer &request = handle_context_st.m_request;
    if (request.m_length == 0) {
        (void)log_error(ERR_INVALID_PARAM, "%d, %d, %d, %d", 0, 0, 0, request.m_length == 0);
        return false;
    }
    const uint8_t command_id = amt_message_get_command_id(request.m_data_a);
    log_info("receive command id: %d(0x%02X) - %s", command_id, command_id, amt_get_command_name(command_id));
    if (call_handler(command_id) == ERR_NONE) {
        return true;
    }
    return amt_handle_send_rsp_err(AMT_CHANNEL_APP, &handle_context_st.m_response, static_cast<uint8_t>(command_id + 1),
                                   k_error_code) == ERR_NONE;
}

void amt_handle_read_app_loop()
{
    log_func();
    amt_buffer &request = handle_context_st.m_request;
    amt_buffer_clear(&request);
    amt_buffer_clear(&handle_context_st.m_response);
    while (read_and_handle(request)) {
    }
    pub_util_clear_own_thread(&handle_context_st.m_thread_app);
}
