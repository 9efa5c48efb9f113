// The requests of the application that only the modem understands: the whole message goes to it in an AT line, as AT
// data in hexadecimal, and its answer comes back the same way.
#pragma once

#include <stdint.h>

#include "amt/core/context.h"

// The handler of all of them; the modem decides what answers, if anything. ERR_INVALID_PARAM for a channel of 0 or 255,
// a null buffer and an empty request; ERR_NOT_READY without a modem; the codes of the conversions and of the AT
// channel; ERR_UNKNOWN for a request that is too long and for one that the modem refuses. Of the reader's thread.
int32_t amt_modem_handle_req(uint8_t channel, const amt_buffer *request, amt_buffer *response);
