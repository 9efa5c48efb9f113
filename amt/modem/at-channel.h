// The road to the modem's AT port: one command line out, one read of what has come back. Everything that asks the modem
// goes through here, from one thread, one transaction at a time.
//
// A transaction clears both records, copies its command and calls write_at, then calls read_at behind what it holds
// until a final result code stands in the answer text. A modem that goes away (EIO) is reopened within the call.
#pragma once

#include <stdint.h>

#include "amt/core/context.h"

constexpr uint32_t AMT_AT_TEXT_SIZE = 4096;

struct amt_at_record {
    uint32_t m_length; // the command's, or as much of the answer as has come
    char m_text_a[AMT_AT_TEXT_SIZE];
    char m_end;         // always 0: a text search in a full record stops here
    uint32_t m_dropped; // zero bytes of the answer that were left out; they count for its room
};

extern amt_at_record g_at_cmd_buf;
extern amt_at_record g_at_rsp_buf;

// Writes the first `length` bytes of a terminated command text, in one call. ERR_INVALID_PARAM for a null text or a
// length of 0; ERR_UNKNOWN for a failed write; after an EIO the codes of the reopening (ERR_C_FUNCTION, ERR_TIMEOUT),
// or ERR_UNKNOWN when the second write is short or fails. A short first write passes for a whole one.
[[nodiscard]] int32_t write_at(const char *text, uint32_t length);

// Reads at most `room` bytes, once; *read_length is their count. Terminates nothing. ERR_INVALID_PARAM for a null
// pointer or no room, ERR_UNKNOWN for a failed read; after an EIO the codes of the reopening, or ERR_UNKNOWN when the
// second read brings nothing. No bytes at the first read is a success, unless the port has hung up: that is an EIO.
[[nodiscard]] int32_t read_at(char *text, uint32_t room, uint32_t *read_length);

// Switches the modem's unsolicited reports off, on a port that has just been opened. ERR_INVALID_PARAM for a closed
// one; ERR_TIMEOUT when it does not take the command within 5 s, or gives no verdict in five tries; ERR_UNKNOWN for a
// refusal; ERR_C_FUNCTION or ERR_WRITE_NOT_COMPLETED when the command does not get out.
[[nodiscard]] int32_t disable_unsolicited_code(int fd);
