// Tests of satellite positioning: handlers, of the reader's thread. ERR_INVALID_PARAM for bad arguments, and
// ERR_UNKNOWN for what the library refuses, are returned unanswered.
#pragma once

#include <stdint.h>

#include "amt/core/context.h"

// Stops (0), checks (2) or, with any other switch, starts the search. The result of the answer.
int32_t amt_gps_control(uint8_t channel, const amt_buffer *request, amt_buffer *response);

// Acknowledges; the search runs by itself. The result of the answer.
int32_t amt_gps_test(uint8_t channel, const amt_buffer *request, amt_buffer *response);

// Reads one satellite of the search, by its index: its number and its signal's strength. ERR_NONE also when the answer
// could not be sent.
int32_t amt_gps_read_result(uint8_t channel, const amt_buffer *request, amt_buffer *response);
