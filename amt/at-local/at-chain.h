// The AT lines that the handset answers itself.
#pragma once

#include <stdint.h>

// Has the station's request answered by the first handler of the chain whose text stands in it and that does not
// decline. Returns that handler's result; ERR_NOT_FOUND when the line is none of theirs and belongs to the modem. Of
// the PC reader's thread.
[[nodiscard]] int32_t amt_handle_local_at();
