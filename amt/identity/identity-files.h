// The files and folders in which the handset keeps what the station gives it.
#pragma once

#include <stdint.h>

// Makes a folder for the service and the radio group, unless something of that name exists. ERR_C_FUNCTION when it
// cannot be made; that the group or the mode could not be set is no failure. Any thread.
[[nodiscard]] int32_t amt_make_folder(const char *path);

constexpr uint32_t AMT_FILE_TEXT_SIZE = 100;

// The first line of a file, of which up to 98 characters are read, with its line end if that is among them; terminated.
// ERR_C_FUNCTION when the file cannot be opened or holds nothing. Any thread.
[[nodiscard]] int32_t amt_read_data_from_file(char (&text)[AMT_FILE_TEXT_SIZE], const char *path);

// Writes all of a text to a file, in one write; the line with a line feed. False with errno, which is 0 when the file
// took only a part. A line has up to 98 characters.
[[nodiscard]] bool amt_write_text(int fd, const char *text);
[[nodiscard]] bool amt_write_line(int fd, const char *line);

// Leaves a folder and its files to be read, and no more, by everybody: who is not the superuser writes them once.
void amt_protect_folder(const char *path);

// Has the disk take what was written: the station may cut the power as soon as it is answered. Two rounds with pauses,
// in which the calling thread can be ended.
void amt_sync_files();
