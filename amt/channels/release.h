// The one place where what the AMT core holds is released. Several threads may want to end the process at the same
// moment; exactly one of them does.
#pragma once

#include <stdint.h>

// Sets the de-initialised flag. True for the one caller who set it: that thread releases and ends the process, every
// other one leaves the ending to it. Any thread.
[[nodiscard]] bool amt_handle_claim_deinit();

// Releases everything. Only for the thread that has claimed it.
int32_t amt_handle_deinit();
