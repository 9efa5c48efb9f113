// The one place where what the AMT core holds is released. Several threads may want to end the process at the same
// moment; exactly one of them does.
#pragma once

#include <stdint.h>

#include "pub/util/util.h"

// Sets the de-initialised flag. True for the one caller who set it: that thread releases and ends the process, every
// other one leaves the ending to it. Any thread.
[[nodiscard]] bool amt_handle_claim_deinit();

// For a copy of the process: whoever was about to end the other one does not live there.
void amt_handle_forget_deinit();

// Releases everything: ends the threads, closes the channels, deletes the timers; with -u, records that the service has
// ended unless a failure has been recorded. Returns the result of closing the pseudo-terminal. Only for the thread that
// has claimed it, whose own handle is cleared.
int32_t amt_handle_deinit();

// The end of a worker that ends the service: clears its own handle, releases, stops the log and exits with status 0,
// unless another thread is doing all this already.
[[noreturn]] void amt_handle_end_service(pub_util_thread *own_handle);
