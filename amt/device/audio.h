// Tests of what is heard: handlers, of the reader's thread. ERR_INVALID_PARAM for bad arguments, and ERR_C_FUNCTION
// when something is missing or fails, are returned unanswered; otherwise the result of the answer.
#pragma once

#include <stdint.h>

#include "amt/core/context.h"

// Has the player play the sound of the configuration, or ends it when the switch is 0.
int32_t amt_device_audio(uint8_t channel, const amt_buffer *request, amt_buffer *response);

// Leads the microphone to an output of the given type, or no longer when the switch is not 1.
int32_t amt_device_audio_loop(uint8_t channel, const amt_buffer *request, amt_buffer *response);
