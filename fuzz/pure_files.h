// Files in memory in place of all that the service opens by name, so that no execution touches this machine's own. For
// fuzzers that replace the calls of `pure_files_calls` (pure.cmake): open, access, mkdir, and the pauses and shell
// commands with which the service makes folders and hurries the disk, which do nothing here.
#pragma once

#include <string_view>

// Makes the file exist with these bytes. The path is a constant.
void fuzz_file_put(const char *path, std::string_view bytes);

// Makes the file missing.
void fuzz_file_remove(const char *path);

// Its bytes, 64 KiB at most, valid until the next call; none when it is missing.
std::string_view fuzz_file_content(const char *path);
bool fuzz_file_exists(const char *path);

// Which file is meant by a path that nobody has put or removed: a constant, or null, and then the service was not to
// open it. Without such a function none is.
extern const char *(*g_fuzz_file_of)(const char *path);

// Who is told a shell command in place of the shell; null: nobody.
extern void (*g_fuzz_shell)(const char *command);
