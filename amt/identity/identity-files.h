// The files and folders in which the handset keeps what the station gives it. Any thread.
#pragma once

#include <stdint.h>

#include "pub/log/caller.h"

// Makes a folder for the service and the radio group, unless something of that name exists. ERR_C_FUNCTION when it
// cannot be made; that the group or the mode could not be set is no failure.
[[nodiscard]] int32_t amt_make_folder(const char *path);

// Leaves a folder and its files to be read, and no more, by everybody: who is not the superuser writes them once.
void amt_protect_folder(const char *path);

// --- reading

constexpr uint32_t AMT_FILE_TEXT_SIZE = 100;

// The first line of a file, of which up to 98 characters are read, with its line end if that is among them; or its
// first word, of up to 99. Terminated, and empty when nothing could be read. The last two set errno; for a file that
// holds nothing it is 0.
enum class file_reading { done, not_opened, nothing_read };
[[nodiscard]] file_reading amt_read_line(const char *path, char (&line)[AMT_FILE_TEXT_SIZE]);
[[nodiscard]] file_reading amt_read_word(const char *path, char (&word)[AMT_FILE_TEXT_SIZE]);

// The first line, as above. ERR_C_FUNCTION, told in the log as the caller's own, when the file cannot be opened or
// holds nothing. The second tells what it read, too.
[[nodiscard]] int32_t amt_read_line_or_tell(const char *path, char (&line)[AMT_FILE_TEXT_SIZE], log_caller caller);
[[nodiscard]] int32_t amt_read_data_from_file(char (&text)[AMT_FILE_TEXT_SIZE], const char *path);

// --- writing

// No lock orders those who write one file: a station waits for its answer before it asks again.

// Opens a file to be written anew: made if need be, emptied if not. The descriptor, or -1 with errno.
[[nodiscard]] int amt_open_anew(const char *path);

// Tells in the log, as the caller's own, why a file could not be opened, by errno. Returns the code.
int32_t amt_tell_open_failure(int32_t code, const char *path, log_caller caller);

// Writes all of a text to a file, in one write, and closes it; a line, of up to 98 characters, with a line feed. False
// with errno, which is 0 when the file took only a part.
[[nodiscard]] bool amt_write_and_close(int fd, const char *text);
[[nodiscard]] bool amt_write_line_and_close(int fd, const char *line);

// The line alone; what the closing tells is not known then.
[[nodiscard]] bool amt_write_line(int fd, const char *line);

// Has the disk take what was written and closed: the station may cut the power as soon as it is answered. Two rounds
// with pauses, in which the calling thread can be ended.
void amt_sync_files();

// Makes the text all that stands in a file; returns when the disk has it. Told in the log as the caller's own, success
// as "`what`: text". ERR_C_FUNCTION when the file cannot be opened or written.
[[nodiscard]] int32_t amt_write_and_tell(const char *path, const char *text, const char *what, log_caller caller);
