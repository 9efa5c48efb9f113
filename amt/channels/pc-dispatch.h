// What becomes of a request of the station: a handler's, the chain's of AT lines, or the modem's. Of the PC reader's
// thread; the request is the context's.
#pragma once

#include <stdint.h>

// What the station speaks, as far as its requests have shown.
enum amt_mode : uint32_t {
    AMT_MODE_UNKNOWN = 0,
    AMT_MODE_AMT1 = 1, // messages
    AMT_MODE_AMT4 = 4, // AT lines
};
extern uint32_t g_amt_mode;

// Puts the line that locks the modem's unsolicited reports in the place of a request that only probes the link.
void amt_replace_probe();

// Handles the request. 0 also when it failed and the station has been told so; a negative code when that answer did not
// get out.
[[nodiscard]] int32_t handle_amt_pc_req();
