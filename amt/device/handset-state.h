// What the handset tells of itself when it is asked: handlers, of the reader's thread. ERR_INVALID_PARAM is returned
// unanswered, otherwise the result of the answer unless said otherwise.
#pragma once

#include <stdint.h>

#include "amt/core/context.h"
#include "pub/log/caller.h"

// The temperature of the battery as the kernel tells it, in tenths of a degree Celsius; AMT_HANDLER_FAILURE in the
// answer when it does not. To the application alone: it goes out bare.
int32_t amt_modem_handle_temperature(uint8_t channel, const amt_buffer *request, amt_buffer *response);

// Reads the flag of the last download, see amt_boot_dl_fin_read, for whoever answers with it: told in the log as the
// caller's own. The codes of amt_boot_dl_fin_read.
[[nodiscard]] int32_t amt_read_boot_dl_flag(uint32_t *flag, log_caller caller);

// Answers with that flag. ERR_UNKNOWN, unanswered, when it cannot be read.
int32_t amt_modem_boot_dl_fin_read(uint8_t channel, const amt_buffer *request, amt_buffer *response);

// Gives an answer time to leave and switches the handset off. Returns, told in the log, only when that is refused.
void amt_power_off_behind_answer();

// Acknowledges and switches the handset off.
int32_t amt_handle_power_off(uint8_t channel, const amt_buffer *request, amt_buffer *response);
