// Commands of the shell, as the device tests run them.
#pragma once

#include <stdint.h>

// A command; what would be longer is cut.
using device_command = char[99];

// Formats the command. Any thread.
__attribute__((format(printf, 2, 3))) void amt_device_format_command(device_command &command, const char *format, ...);

// Runs a command of the shell until it succeeds, up to five times. ERR_UNKNOWN when it never does. A reader's thread;
// it can be ended in the wait for the command.
[[nodiscard]] int32_t amt_device_do_command(const char *command);
