// The modem's data tty as the station's requests reach it.
#pragma once

#include <stdint.h>

#include "amt/core/context.h"

constexpr uint32_t AMT_MODEM_OPEN_ATTEMPTS = 60;

// Opens the modem's port, or opens it again, and sets its line for messages. 0 or the negative code of the open. The
// thread that starts the channels, then the PC reader's.
[[nodiscard]] int32_t amt_open_modem_port();

// Sets the modem's line to a speed in baud, if the modem is on a serial port of the processor; others have none.
void amt_set_modem_line(int32_t baud_rate);

// Writes the request to the modem as it is. A port that is gone is opened again, without the request; its result counts
// then. ERR_UNKNOWN when the modem did not take all of the request. The PC reader's thread.
[[nodiscard]] int32_t amt_forward_to_modem(const amt_buffer &request);
