// The flag that permits (1) or forbids (0) the handshake on the insertion of a cable, kept in a file over restarts.
#pragma once

#include <stdint.h>

// One operation on the flag: 0 and 1 store themselves as the flag, 2 reads it into *flag, which is left alone
// otherwise. A flag that cannot be read is told as 1. ERR_INVALID_PARAM for any other operation, ERR_UNKNOWN when
// the flag cannot be stored. Of the reader's thread.
[[nodiscard]] int32_t handle_amt_damt1_operation(int32_t operation, int32_t *flag);
