// The application's requests for one value that the modem knows: handlers, of the reader's thread. Each answers with
// its command id + 1. Returns ERR_INVALID_PARAM and ERR_NOT_READY (no modem) unanswered; otherwise the result of its
// answer, which carries AMT_HANDLER_FAILURE when the modem failed, refused or told something else.
#pragma once

#include <stdint.h>

#include "amt/core/context.h"

// The IMEI, as text.
int32_t amt_modem_handle_read_imei(uint8_t channel, const amt_buffer *request, amt_buffer *response);

// The number of the board, as text, and the same as bytes: the serial number.
int32_t amt_modem_handle_read_board(uint8_t channel, const amt_buffer *request, amt_buffer *response);
int32_t amt_read_serial_number(uint8_t channel, const amt_buffer *request, amt_buffer *response);

// The date at which the handset left the factory, as text.
int32_t amt_modem_handle_read_outdate(uint8_t channel, const amt_buffer *request, amt_buffer *response);

// Whether a SIM is there: one flag, and no result beside it.
int32_t amt_dtoc_checkSIM(uint8_t channel, const amt_buffer *request, amt_buffer *response);
