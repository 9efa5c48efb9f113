// Numbers in texts that others have written. Pure; any thread.
#pragma once

#include <stdint.h>

// The decimal number at the beginning of the text, behind blanks and with its sign: 0 when there is none, the nearest
// one when it is out of range.
[[nodiscard]] int32_t pub_util_get_number(const char *text);
