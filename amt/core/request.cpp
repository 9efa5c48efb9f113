#include "amt/core/request.h"

#define LOG_MODULE "amt/amt-handle"
#include "pub/log/log.h"

int32_t amt_handle_check_request(uint8_t channel, const amt_buffer *request, const amt_buffer *response,
                                 log_caller caller)
{
    const bool is_empty = request != nullptr && request->m_length == 0;
    if (channel == 255 || request == nullptr || response == nullptr || is_empty) {
        return log_error_of(caller, ERR_INVALID_PARAM, "%d, %d, %d, %d", channel == 255, request == nullptr,
                            response == nullptr, is_empty);
    }
    return ERR_NONE;
}
