// Turns the configured service into a running one.
#pragma once

#include <stdint.h>

// Starts the AMT core. `platform_flag` is 1 in normal mode only. Returns 0 or a negative code. Main thread, once.
[[nodiscard]] int32_t amt_handle_init(uint32_t platform_flag);
