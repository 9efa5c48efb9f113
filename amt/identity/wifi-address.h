// The address of the handset's WiFi, in a file of its own. Of the reader's thread.
#pragma once

#include <stdint.h>

constexpr char AMT_WIFI_ADDRESS_FILE[] = "/amt/WIFI/WIFI_nvram.txt";

// The first line of the file without its last character, the line end, cut to `size` - 1 characters (`size` is at least
// 1); terminated. ERR_UNKNOWN when there is none.
[[nodiscard]] int32_t amt_read_wifi_address(char *address, uint32_t size);

// Writes the address, of up to 98 characters, as the file's only line; returns when the disk has it. ERR_INVALID_PARAM
// for an empty address or none, ERR_UNKNOWN when the file cannot be opened, ERR_C_FUNCTION when it cannot be written.
[[nodiscard]] int32_t amt_write_wifi_address(const char *address);
