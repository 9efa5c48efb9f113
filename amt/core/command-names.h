// What the command ids are called. Any thread.
#pragma once

#include <stdint.h>

// The name of a command id, for example "AMT_VERSION_CMD"; "(undefined)" for the 58 ids without one. Never null.
const char *amt_get_command_name(uint8_t id);
