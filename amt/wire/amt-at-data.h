// AT data: the compact form in which a request is handed to the modem and in which its answer comes back. Without
// heads, ids and types, both sides know what belongs to a command. Both functions may be called on any thread.
#pragma once

#include <stdint.h>

#include "amt/wire/amt-message.h"

// The request as AT data: the command id, then the values of the atoms in their order; those of the transparent DSP
// command (151) each behind its length (u16, little-endian). `message` is the data bytes of a buffer. The output is
// cleared first; when the conversion fails, *output_length counts what was converted until then.
// ERR_INVALID_PARAM for a null argument or an output without bytes; ERR_UNKNOWN for a message that is none, an atom of
// a wrong length, of an unknown type or longer than its message, and an output that is too small.
[[nodiscard]] int32_t amt_convert_req_amt_data_2_at_data(const uint8_t *message, uint8_t *output, uint32_t output_size,
                                                         uint32_t *output_length);

// The message that an answer becomes: the result as atom 1, then the fields that belong to the response id. Bytes that
// are missing read as 0. `output` is the data bytes of a buffer and is cleared first.
// ERR_INVALID_PARAM for a null argument, no input, an output size other than AMT_MESSAGE_SIZE, and a field that has no
// bytes or does not fit; the message then ends before that field.
[[nodiscard]] int32_t amt_convert_rsp_at_data_2_amt_data(const uint8_t *at_data, uint32_t length, uint8_t *output,
                                                         uint32_t output_size);
