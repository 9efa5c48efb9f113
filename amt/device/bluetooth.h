// Tests of Bluetooth: handlers, of the reader's thread. A failure is returned unanswered, with the code told here;
// otherwise the result of the answer.
#pragma once

#include <stdint.h>

#include "amt/core/context.h"

// Starts Bluetooth. The loader of its firmware may take its time, so the service doubles itself: it acknowledges and
// goes on at once, and its copy starts Bluetooth, acknowledges once more, and goes on as well, reading from the same
// channel. ERR_C_FUNCTION when there can be no copy, and in the copy when Bluetooth does not start.
int32_t amt_device_bt(uint8_t channel, const amt_buffer *request, amt_buffer *response);

// Reads (1) or writes (2) the address, checks that the chip answers (3), switches it off (10) or on (11).
// ERR_INVALID_PARAM for a missing file, an empty address and any other operation, ERR_UNKNOWN for what cannot be read
// and what the library refuses, ERR_C_FUNCTION for what cannot be written.
int32_t amt_device_bt_address(uint8_t channel, const amt_buffer *request, amt_buffer *response);
