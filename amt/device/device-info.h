// What the maker's misc library tells of the handset and does with it as a whole: handlers, of the reader's thread.
// ERR_INVALID_PARAM for bad arguments, ERR_C_FUNCTION when the library or its entry is missing, and whatever the entry
// returns besides 0, are returned unanswered; otherwise the result of the answer.
#pragma once

#include <stdint.h>

#include "amt/core/context.h"

// Describes the handset's parts, in text. To the application alone: it goes out bare.
int32_t amt_read_dev_info(uint8_t channel, const amt_buffer *request, amt_buffer *response);

// Lets the handset sink into its idle state, in which its current is measured.
int32_t amt_enter_idle(uint8_t channel, const amt_buffer *request, amt_buffer *response);
