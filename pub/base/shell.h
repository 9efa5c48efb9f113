// Programs run through the shell. Not system(3): what it starts inherits the caller's blocked signals, and a player or
// a radio loader that nobody can end with SIGTERM would outlive the test. Nothing here logs.
#pragma once

#include <stddef.h>

// Runs the command with the platform's shell and waits for it. The program gets default signals, none blocked, an
// empty standard input, and of the other descriptors only the standard ones (all others are opened close-on-exec).
// Returns the wait status, as system() does, or -1 with errno when no process could be had. The wait is one in which
// the calling thread can be ended.
int pub_util_run_shell(const char *command);

// Writes `text` as one word of the shell's language, whatever characters it holds. Needs at most 4 bytes a character
// and 3 more; returns false, with an empty text, when `size` does not hold it.
[[nodiscard]] bool pub_util_quote_for_shell(const char *text, char *quoted, size_t size);
