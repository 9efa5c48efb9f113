// Where the log files lie and what they are called: the log directory, its older generations, and the internal log that
// takes the facility's own failures. Used by the log client; the directory is chosen and rotated on the main thread
// before the first log starts.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include "pub/log/log_record.h"

// The last path component of this process's first command-line word, cut to size - 1 characters. ERR_INVALID_PARAM for
// no buffer, ERR_UNKNOWN when there is no such name (told in the internal log). Any thread.
int32_t get_process_name(char *name, size_t size);

// Chooses the directory below which "<process name>-log" is made: 1 to 253 characters, else ERR_INVALID_PARAM and no
// change. Every trailing "/" becomes a "0": directories that stations already collect logs from are named so, keep.
int32_t sfw_log_set_directory(const char *path);

// Moves the log directory to "<directory>-1" and its older generations up by one, the last of `generations` being
// deleted. Does nothing when the directory is not the log's own (no process name to name it by, or no room for it):
// that could be the folder of the executable.
void sfw_log_rotate(uint32_t generations);

// Opens the log file "<name>.log" (null: the process name; neither: the process id) for writing, emptied, and makes the
// missing directories on the way. Returns the descriptor or -1 with errno.
int log_directory_open_file(const char *name);

// One line of the internal log: module, function and line, then the text. Dropped before log_directory_open_internal
// has succeeded, and after 100 KiB: the first failures tell most. Keeps errno. Any thread.
__attribute__((format(printf, 2, 3))) void log_internal(const sfw_log_site &site, const char *format, ...);

// Opens the internal log, once; it stays open to the end of the process, behind every other log.
void log_directory_open_internal();
