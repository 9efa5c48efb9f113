// Texts in the station's request. A request is searched as text up to its first zero byte, so an enveloped one, whose
// header holds zeros, is never taken for a line by what its atoms carry. Of the PC reader's thread.
#pragma once

#include <stdint.h>

#include "amt/core/context.h"

constexpr uint32_t AMT_AT_PARAMETER_MAX = 20;

// Where the text begins in the request; null when it does not stand in it.
[[nodiscard]] const char *amt_find_in_request(const amt_buffer *request, const char *text);

// The parameter behind `prefix` in the station's request: blanks are skipped, and it ends at the carriage return or
// with the request. Copies up to 20 bytes without a terminator and stores their count. ERR_INVALID_PARAM for a null
// argument and an empty request, ERR_UNKNOWN when the prefix does not stand in the request.
[[nodiscard]] int32_t handle_amt_get_at_para(const char *prefix, char *output, uint32_t *length);

// The same, told in the log with its outcome; `output` is a cleared text of more than AMT_AT_PARAMETER_MAX characters.
int32_t amt_fetch_at_para(const char *prefix, char *output);
