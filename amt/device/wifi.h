// Tests of WiFi: handlers, of the reader's thread. A failure is returned unanswered: ERR_INVALID_PARAM for bad
// arguments and unknown operations, ERR_UNKNOWN for everything else; otherwise the result of the answer.
#pragma once

#include <stdint.h>

#include "amt/core/context.h"

// Reads (0) or writes (1) the address, or checks that the chip answers (2).
int32_t amt_device_wifi_address(uint8_t channel, const amt_buffer *request, amt_buffer *response);

// Switches WiFi on (1) and off (2), and while it is on by this request has it send test frames (3, until 4) or count
// those that it hears (5, until 6, which tells how many).
int32_t amt_device_wifi_rtx_test(uint8_t channel, const amt_buffer *request, amt_buffer *response);
