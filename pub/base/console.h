// Console lines: they never keep a thread from being ended.
//
// printf would block inside stdio when nobody reads the console, and neither the thread nor, at its exit, the process
// could be ended any more.
#pragma once

// Formats up to 4,607 characters and writes them to standard output, at once: a wait in which the calling thread can be
// ended. What cannot be written is lost. Any thread.
__attribute__((format(printf, 1, 2))) void pub_util_print(const char *format, ...);
