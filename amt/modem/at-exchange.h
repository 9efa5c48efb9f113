// One exchange with the modem, as every request that needs it has one: a command out, then readings until a final
// result code stands in the answer. There is no limit of time; a modem that never answers keeps its caller waiting, in
// a wait in which the thread can be ended. One exchange at a time, all from the reader's thread: the records are
// shared.
#pragma once

#include <stdint.h>

#include "amt/core/context.h"
#include "amt/modem/at-channel.h"
#include "pub/log/caller.h"

// What every handler that needs the modem does first, and each tells it in the log: ERR_INVALID_PARAM for what
// amt_handle_check_request refuses, ERR_NOT_READY without a modem.
[[nodiscard]] int32_t amt_at_check_request(uint8_t channel, const amt_buffer *request, const amt_buffer *response,
                                           log_caller caller);
[[nodiscard]] int32_t amt_at_check_modem();

// Clears both records and makes the command: up to 4095 characters, its carriage return included. A longer one is cut,
// and goes out without it.
__attribute__((format(printf, 1, 2))) void amt_at_prepare(const char *format, ...);

// Writes the command. The codes of write_at.
[[nodiscard]] int32_t amt_at_send();

// Reads once, behind what the answer holds already; zero bytes are left out, but count. The codes of read_at:
// ERR_INVALID_PARAM when 4096 bytes have come.
[[nodiscard]] int32_t amt_at_receive();

// Whether the answer holds a final result code. One that holds both is whatever its caller asks for first.
[[nodiscard]] bool amt_at_is_ok();
[[nodiscard]] bool amt_at_is_refused();

// Which verdict counts in an answer that holds both.
enum class amt_at_first : uint8_t { ok, refusal };

// The whole of it, once the command is prepared: sends it and receives until there is a verdict. Tells the answer in
// the log as "<name> :<answer>" after each reading; a null name tells nothing. The codes of the sending and of the
// receiving, ERR_UNKNOWN for a refusal.
[[nodiscard]] int32_t amt_at_exchange(const char *name, amt_at_first first = amt_at_first::ok);

// A value in the answer of a successful exchange: from behind its prefix and the blanks there to the first final OK,
// less the line ends in front of that. It may span lines, and may be empty. It points into the answer.
struct amt_at_value {
    const char *m_text;
    uint32_t m_length;
    bool m_ends_its_line; // a line end stands in front of the OK
};

// The value behind the first such prefix. False when there is none in front of the OK.
[[nodiscard]] bool amt_at_find_value(const char *prefix, amt_at_value *value);

// The same for a value that ends its line and is no longer than `max`: copied into `text` (max + 1 bytes), terminated.
[[nodiscard]] bool amt_at_copy_value(const char *prefix, uint32_t max, char *text);

// The value of a hexadecimal digit of either case; -1 for any other character. Pure; any thread.
[[nodiscard]] int amt_at_hex_digit(char character);
