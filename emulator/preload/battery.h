// The emulated battery driver, a file of the kernel that takes commands and answers them: `file` holds everything that
// it was told, a line each, oldest first, and is never cut; what is read is the answer to the last line. Commands and
// answers are read and written by the kernel alone, so the functions for that are not intercepted.
// Called by the device table on whatever thread makes the call.

#pragma once

// open(2) for writing: a descriptor of `file`, for appending. For reading: one of a regular file with the answer, a
// number and a line feed after amt_get_vbatt, else nothing. -1 with errno set when neither can be had.
int battery_open(const char *file, int flags);
