// The small files through which the kernel shows its devices: one decimal number each. Any thread.
#pragma once

#include <stdint.h>

#include "pub/log/caller.h"

// Reads the number; *number stays as it is when there is none. ERR_C_FUNCTION, told in the log as the
// caller's own.
[[nodiscard]] int32_t amt_device_read_number(const char *path, int32_t *number, log_caller caller);

// Writes the number. ERR_C_FUNCTION, told likewise, when the file cannot be opened or takes nothing. What the driver
// thinks of the number is not asked.
[[nodiscard]] int32_t amt_device_write_number(const char *path, int32_t number, log_caller caller);
