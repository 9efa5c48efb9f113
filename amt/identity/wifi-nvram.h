// The parameters of the WiFi driver, made anew at each start: those of the chip's maker with the address that this
// handset was given on the line.
#pragma once

#include <stdint.h>

// Copies the driver's parameters and puts the handset's address in, in place of the maker's or at the end; without an
// address they are copied as they are. Returns when the disk has them. ERR_UNKNOWN when there is no address, when there
// are no parameters or too many, and when they cannot be read or written; the file's mode is no failure. Main thread,
// before any other exists.
[[nodiscard]] int32_t amt_write_wifi_to_nvram_file();
