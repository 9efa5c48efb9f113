// From normal mode into the factory test mode: what the application asks before it, the switch itself, and the flag
// that decides what a cable does afterwards. Handlers, of the reader's thread; each answers with its command id + 1.
// ERR_INVALID_PARAM and ERR_NOT_READY (no modem) are returned unanswered, otherwise the result of the answer, which
// carries AMT_HANDLER_FAILURE for a failure.
#pragma once

#include <stdint.h>

#include "amt/core/context.h"

// Whether the handset can be switched: int atom 202 is the access technology in which its first SIM stands by.
int32_t amt_query_amt_support(uint8_t channel, const amt_buffer *request, amt_buffer *response);

// Switches the modem into the mode of int atom 201 and the USB port to serial, and ends the service, once it has
// answered: the platform starts it anew for the station. Nothing is switched when the modem refuses.
int32_t amt_handle_normal_to_amt(uint8_t channel, const amt_buffer *request, amt_buffer *response);

// Sets or reads the flag that permits the handshake of a cable's insertion, by the operation of int atom 192. Without a
// modem it is refused like the others, although it needs none.
int32_t amt_handle_damt1_cmd(uint8_t channel, const amt_buffer *request, amt_buffer *response);
