// The serial number of the handset's board (PCBA), and the files that hold a bare number like it. Any thread.
#pragma once

#include <stdint.h>

// Shared with the serial number of the modem's channel 1.
constexpr char AMT_PCBA_SN_FILE[] = "/amt/sn-2.txt";

constexpr uint32_t AMT_PCBA_SN_SIZE = 30;

// Makes the text, without a line end, all that stands in the file; returns when the disk has it. ERR_INVALID_PARAM for
// an empty text or none, ERR_C_FUNCTION when the file cannot be opened or written.
[[nodiscard]] int32_t amt_write_pcba_sn(const char *text, const char *path);

// The first line of AMT_PCBA_SN_FILE, cut to 29 characters, with its line end if that is among them; terminated.
// ERR_C_FUNCTION when the file cannot be opened or holds nothing.
[[nodiscard]] int32_t amt_read_pcba_sn(char (&number)[AMT_PCBA_SN_SIZE]);
