// The fields of a line, split at commas. The line itself is left alone: it may still go to the modem.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include "amt/wire/amt-message.h"
#include "pub/log/caller.h"

class at_fields {
  public:
    // Of the first `length` characters of the text behind a line's prefix, copied; cut to AMT_MESSAGE_SIZE.
    at_fields(const char *text, size_t length);
    at_fields(const at_fields &) = delete;
    at_fields &operator=(const at_fields &) = delete;

    // The next field, valid as long as this is; null when there is none. It is never empty: commas in a row are one.
    const char *next();

  private:
    char m_text_a[AMT_MESSAGE_SIZE + 1];
    char *m_start; // null once the first field has been taken
    char *m_rest;
};

// The decimal number at the beginning of a field of a device test, of which the lower 32 bits count; 0 when there is
// none. Not for lines about identities: there a number out of range must not pass for another (pub_util_get_number).
[[nodiscard]] int32_t amt_get_field_number(const char *field);

// Tells in the log, as the caller's own, that a mandatory field is missing. ERR_INVALID_PARAM.
int32_t amt_tell_missing_field(const char *name, log_caller caller);
