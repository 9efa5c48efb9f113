// The two tables of request handlers, indexed by command id. Written by the start only, before any reader exists; read
// by the readers without a lock.
#pragma once

#include <stdint.h>

#include "amt/core/context.h"

// Stores the handler of a command in the table of a channel: AMT_CHANNEL_PC, or the application's for any other value.
// A null handler empties the entry. ERR_INVALID_PARAM for an id above 254. Main thread.
int32_t amt_handle_reg_handle_func(uint8_t channel, uint32_t command_id, amt_handle_func handler);
