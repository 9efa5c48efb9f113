// The test of the memory card.
#pragma once

#include <stdint.h>

#include "amt/core/context.h"

// Tells the capacity of the external memory card, in KiB; 0 when there is none. To the application alone: it goes out
// bare. ERR_INVALID_PARAM unanswered, otherwise the result of the answer. A handler, of the reader's thread.
int32_t amt_device_tf_card(uint8_t channel, const amt_buffer *request, amt_buffer *response);
