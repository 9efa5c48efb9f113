#include "amt/core/response.h"

#include <errno.h>
#include <string.h>
#include <sys/types.h>

#include "amt/wire/amt-convert.h"
#include "pub/base/wait.h"

#define LOG_MODULE "amt/amt-handle"
#include "pub/log/log.h"

namespace {

constexpr uint8_t k_result_atom = 1;

constexpr uint8_t k_pre_response_a[] = {0xAA, 0xBB, 0xCC, 0xDD, 0x08, 0x00, 0x00, 0x00,
                                        0x02, 0x02, 0x00, 0x00, 0x76, 0x4A, 0xEE, 0x1D};

bool is_valid_channel(uint8_t channel)
{
    return channel > 0 && channel < 255;
}

int32_t check_arguments(uint8_t channel, const amt_buffer *response)
{
    if (!is_valid_channel(channel) || response == nullptr) {
        return log_error(ERR_INVALID_PARAM, "%d, %d", !is_valid_channel(channel), response == nullptr);
    }
    return ERR_NONE;
}

// As long as the buffer says, or its message.
uint32_t length_of(const amt_buffer &response)
{
    return response.m_length != 0 ? response.m_length : amt_message_get_total_length(response.m_data_a);
}

int32_t write_response(int fd, const amt_buffer *response, const char *heading)
{
    const ssize_t written = pub_util_write(fd, response->m_data_a, response->m_length);
    if (written < 0) {
        return log_sys_error("write");
    }
    if (static_cast<size_t>(written) != response->m_length) {
        log_warning("write not completed: to write(%d) != written(%d)", static_cast<int>(response->m_length),
                    static_cast<int>(written));
        return ERR_WRITE_NOT_COMPLETED;
    }
    log_data(heading, response->m_data_a, response->m_length);
    return ERR_NONE;
}

int32_t send_result(uint8_t channel, amt_buffer *response, uint8_t response_id, uint32_t code)
{
    const int32_t result = check_arguments(channel, response);
    if (result != ERR_NONE) {
        return result;
    }
    amt_handle_begin_rsp(response, response_id);
    amt_handle_append_result(response, code);
    return amt_handle_wrap_and_send_rsp(channel, response);
}

} // namespace

int32_t amt_handle_send_rsp(uint8_t channel, amt_buffer *response)
{
    log_func();
    int32_t result = check_arguments(channel, response);
    if (result != ERR_NONE) {
        return result;
    }
    const uint32_t length = length_of(*response);
    const bool cannot_be_sent = length == 0 || length > AMT_MESSAGE_SIZE;
    if (cannot_be_sent) {
        return log_error(ERR_INVALID_PARAM, "%d", cannot_be_sent);
    }
    response->m_length = length;
    const bool is_pc = channel == AMT_CHANNEL_PC;
    const int fd = is_pc ? handle_context_st.m_fd_pc.load() : handle_context_st.m_pty.m_ptm_fd;
    if (fd <= 0) {
        return log_error(ERR_UNKNOWN, "invalid fd");
    }
    result = write_response(fd, response, is_pc ? "send PC rsp data: " : "send APP rsp data: ");
    if (result != ERR_NONE) {
        return log_error(result);
    }
    amt_buffer_clear(response);
    return ERR_NONE;
}

void amt_handle_begin_rsp(amt_buffer *response, uint8_t response_id)
{
    amt_buffer_clear(response);
    amt_message_init(response->m_data_a, response_id);
}

void amt_handle_append_result(amt_buffer *response, uint32_t code)
{
    (void)amt_message_append_int(response->m_data_a, k_result_atom, code); // an answer that is full tells it in the log
}

int32_t amt_handle_wrap_and_send_rsp(uint8_t channel, amt_buffer *response)
{
    if (channel == AMT_CHANNEL_PC) {
        const int32_t result = amt_convert_app_2_pc(response);
        if (result != ERR_NONE) {
            return result;
        }
    }
    return amt_handle_send_rsp(channel, response);
}

int32_t amt_handle_send_rsp_ok(uint8_t channel, amt_buffer *response, uint8_t response_id)
{
    log_func();
    return send_result(channel, response, response_id, 0);
}

int32_t amt_handle_send_rsp_err(uint8_t channel, amt_buffer *response, uint8_t response_id, uint32_t code)
{
    log_func();
    return send_result(channel, response, response_id, code);
}

int32_t amt_handle_send_pre_rsp_for_pc(uint8_t channel, amt_buffer *response)
{
    log_func();
    if (channel != AMT_CHANNEL_PC || response == nullptr) {
        return log_error(ERR_INVALID_PARAM, "%d, %d", channel != AMT_CHANNEL_PC, response == nullptr);
    }
    amt_buffer_clear(response);
    memcpy(response->m_data_a, k_pre_response_a, sizeof(k_pre_response_a));
    response->m_length = sizeof(k_pre_response_a);
    return amt_handle_send_rsp(channel, response);
}
