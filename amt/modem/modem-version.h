// Which software the handset and its modem run, told to the application.
#pragma once

#include <stdint.h>

#include "amt/core/context.h"

// The handler of the application's version request (module: int atom 19). ERR_INVALID_PARAM, ERR_NOT_READY without a
// modem, whatever the module, and ERR_UNKNOWN for one that nobody knows and for a version that the modem does not tell:
// all unanswered. Otherwise the result of the send. Of the reader's thread.
int32_t handle_amt_req_version(uint8_t channel, const amt_buffer *request, amt_buffer *response);

// The same for the modem's own modules, 17 and 18; any other is ERR_INVALID_PARAM.
int32_t handle_amt_req_l1_hls_version(uint8_t channel, int32_t module, const amt_buffer *request, amt_buffer *response);
