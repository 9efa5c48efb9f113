// What every handler of a command does first.
#pragma once

#include <stdint.h>

#include "amt/core/context.h"
#include "pub/log/caller.h"

// Whether a handler has been called with what it needs: a channel other than 255, both buffers, and bytes in the
// request. ERR_NONE or, told in the log as the handler's own, ERR_INVALID_PARAM. Any thread.
[[nodiscard]] int32_t amt_handle_check_request(uint8_t channel, const amt_buffer *request, const amt_buffer *response,
                                               log_caller caller);
