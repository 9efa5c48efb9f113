// Which software the handset runs, told to the station in both of its languages. Of the PC reader's thread.
#pragma once

#include <stdint.h>

#include "amt/core/context.h"

constexpr uint32_t AMT_VERSION_SIZE = 100;

// The version text into `output` (AMT_VERSION_SIZE bytes): up to 99 characters, without a terminator; *length is their
// count. ERR_INVALID_PARAM for a null argument, ERR_UNKNOWN when the handset does not know its version.
[[nodiscard]] int32_t get_ap_sw_version(char *output, uint32_t *length);

// The handler of the version request. ERR_NOT_FOUND for the versions that the modem knows, ERR_UNKNOWN for one that
// nobody knows. Sends the pre-response by itself, before the answers that are the handset's own.
int32_t handle_amt_pc_req_version(uint8_t channel, const amt_buffer *request, amt_buffer *response);

// Answers the line "AT^DSVER\r". Returns the result of the send.
int32_t handle_amt_sw_version_at();
