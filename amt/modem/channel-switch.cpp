#include "amt/modem/channel-switch.h"

#include <stdio.h>
#include <string.h>

#include "amt/core/request.h"
#include "amt/core/response.h"
#include "amt/modem/at-exchange.h"

#define LOG_MODULE "amt/amt-handle"
#include "pub/log/log.h"

namespace {

constexpr uint8_t k_request_id = 232;
constexpr uint8_t k_response_id = 0xE9;
constexpr uint8_t k_channel_atom = 159;

// As long as the command of a one-digit channel. The modem gets longer ones cut, without their carriage return: keep.
constexpr uint32_t k_command_length = 12;

constexpr uint32_t k_answer_size = 100;

} // namespace

int32_t amt_channel_switch(uint8_t channel, const amt_buffer *request, amt_buffer *response)
{
    log_func();
    int32_t result = amt_at_check_modem();
    if (result != ERR_NONE) {
        return result;
    }
    amt_handle_begin_rsp(response, k_response_id);
    char command[24];
    (void)snprintf(command, sizeof(command), "AT^DMPCHN=%d\r",
                   static_cast<int>(amt_message_get_int(request->m_data_a, k_channel_atom)));
    result = write_at(command, k_command_length);
    if (result != ERR_NONE) {
        return result;
    }
    char answer[k_answer_size + 1] = "";
    uint32_t length = 0;
    result = read_at(answer, k_answer_size, &length);
    if (result != ERR_NONE) {
        return result;
    }
    if (strstr(answer, "OK") == nullptr) {
        return log_error(ERR_UNKNOWN, "%s", answer);
    }
    amt_handle_append_result(response, 0);
    return amt_handle_wrap_and_send_rsp(channel, response);
}

int32_t amt_at_to_modem(uint8_t channel, const amt_buffer *request, amt_buffer *response)
{
    log_func();
    const int32_t result = amt_handle_check_request(channel, request, response, LOG_HERE);
    if (result != ERR_NONE) {
        return result;
    }
    if (amt_message_get_command_id(request->m_data_a) != k_request_id) {
        return ERR_NONE;
    }
    return amt_channel_switch(channel, request, response);
}
