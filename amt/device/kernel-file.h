// The small files through which the kernel shows its devices: one decimal number each. Any thread.
#pragma once

#include <stdint.h>

// Reads the number; *number stays as it is when there is none. ERR_C_FUNCTION, told in the log.
[[nodiscard]] int32_t amt_device_read_number(const char *path, int32_t *number);

// Writes the number. ERR_C_FUNCTION, told in the log, when the file cannot be opened or takes nothing. What the driver
// thinks of the number is not asked.
[[nodiscard]] int32_t amt_device_write_number(const char *path, int32_t number);
