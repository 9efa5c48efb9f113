// The files and folders in which the handset keeps what the station gives it.
#pragma once

#include <stdint.h>

// Makes a folder for the service and the radio group, unless something of that name exists. ERR_C_FUNCTION when it
// cannot be made; that the group or the mode could not be set is no failure. Any thread.
[[nodiscard]] int32_t amt_make_folder(const char *path);
