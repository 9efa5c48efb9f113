// What the handlers of AT lines share: their answers are plain text, without an envelope, to the station alone.
#pragma once

#include <stdint.h>

// Formats up to 4095 characters into the response buffer and sends them. Returns the result of amt_handle_send_rsp. Of
// the PC reader's thread.
__attribute__((format(printf, 1, 2))) int32_t amt_reply_to_line(const char *format, ...);
