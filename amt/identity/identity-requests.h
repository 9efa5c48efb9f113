// Requests for the identities that are the handset's own. Handlers, of the reader's thread; each answers with the
// result of the operation. ERR_INVALID_PARAM for bad arguments and unknown operations, ERR_UNKNOWN for a failed one,
// all unanswered; otherwise the result of the answer.
#pragma once

#include <stdint.h>

#include "amt/core/context.h"

// Reads (1) or writes (2) the serial number of the board, of up to 29 characters read and 30 written.
int32_t amt_handle_board_pcba_ctrl(uint8_t channel, const amt_buffer *request, amt_buffer *response);

// Reads (0) or writes (1) the serial number that adb shows, of up to 99 characters.
int32_t amt_handle_adb_serial_no(uint8_t channel, const amt_buffer *request, amt_buffer *response);
