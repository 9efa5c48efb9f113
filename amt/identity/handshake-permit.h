// The flag that permits (1) or forbids (0) the handshake on the insertion of a cable, kept in a file over restarts.
#pragma once

#include <stdint.h>

#include "amt/core/context.h"

// One operation on the flag: 0 and 1 store themselves as the flag, 2 reads it into *flag, which is left alone
// otherwise. A flag that cannot be read is told as 1. ERR_INVALID_PARAM for any other operation, ERR_UNKNOWN when
// the flag cannot be stored. Of the reader's thread.
[[nodiscard]] int32_t handle_amt_damt1_operation(int32_t operation, int32_t *flag);

// What the flag says to a start on the insertion of a cable: only 0 forbids it. Any thread.
[[nodiscard]] bool amt_is_handshake_permitted();

// The station's handler that forbids it. ERR_INVALID_PARAM or ERR_UNKNOWN, unanswered, when the request or the writing
// fails; otherwise the result of the answer.
int32_t amt_handle_not_permit_handshake(uint8_t channel, const amt_buffer *request, amt_buffer *response);
