// The request that moves the modem's data channel, and its entry in the table of the application's requests.
#pragma once

#include <stdint.h>

#include "amt/core/context.h"

// Asks the modem for the channel of int atom 159 (0 when absent) and answers with command id 0xE9. ERR_NOT_READY
// without a modem, the code of the AT channel when that fails, ERR_UNKNOWN when the modem refuses, or the result of the
// send; only the send answers. A request handler: of the reader's thread.
int32_t amt_channel_switch(uint8_t channel, const amt_buffer *request, amt_buffer *response);

// The handler of command 232: hands it to amt_channel_switch. A request under any other id is nobody's: 0, unanswered.
// ERR_INVALID_PARAM for channel 255, a null buffer and an empty request.
int32_t amt_at_to_modem(uint8_t channel, const amt_buffer *request, amt_buffer *response);
