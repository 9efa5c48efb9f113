// Tests of the two cameras: handlers, of the reader's thread. ERR_INVALID_PARAM for bad arguments, and ERR_UNKNOWN for
// everything that the driver refuses, are returned unanswered; otherwise the result of the answer.
#pragma once

#include <stdint.h>

#include "amt/core/context.h"

// Selects the camera whose preview the application is about to show: which one, the request's own id tells.
int32_t amt_device_camera(uint8_t channel, const amt_buffer *request, amt_buffer *response);

// Updates the camera of control id 1 or 2 and answers with what the driver returned, or 3 when the handset has none.
int32_t amt_device_camera_control(uint8_t channel, const amt_buffer *request, amt_buffer *response);
