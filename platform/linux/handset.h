// What the stand-ins share: the folders of the emulated handset, the record of calls, and the control files by which a
// test or a person decides how an entry behaves. Compiled into each library and visible in none of them.
// There is no state here: files are opened, used and closed within one call, so any number of threads and processes may
// call at once. Every path lies below HANDSET_ROOT where the environment has it, else below the root itself.
#pragma once

#include <climits>
#include <cstdarg>
#include <cstddef>

// Marks what a library offers under the platform's own name; all else is hidden.
#define PLATFORM_ENTRY extern "C" __attribute__((visibility("default")))

struct handset_path {
    char m_text[PATH_MAX]; // empty if it would not fit, which then opens as a missing file
};

constexpr size_t k_handset_control_max = 32768; // bytes of a control file that count

// One call of an entry, with its control file as it was when the call began.
struct handset_call {
    handset_path m_file;
    size_t m_length;
    char m_control[k_handset_control_max]; // m_length bytes of it, not terminated
};

// The path <root><folder><name>; the folder begins and ends with a slash.
handset_path handset_path_of(const char *folder, const char *name);

// Appends to the `used` bytes of `text`, an array of `size`; cuts to fit and terminates. Returns the new length.
size_t handset_append_list(char *text, size_t size, size_t used, const char *format, va_list arguments)
    __attribute__((format(printf, 4, 0)));
size_t handset_append(char *text, size_t size, size_t used, const char *format, ...)
    __attribute__((format(printf, 4, 5)));

// One write(2), begun again only if a signal came before it. Returns the bytes written, or -1 with errno.
int handset_write(int descriptor, const char *bytes, size_t count);

// Appends one line to the record of calls, in one write(2). Control characters and backslashes are written as C
// escapes, so that a call is one line whatever its arguments hold. Without the folder /handset nothing is recorded.
void handset_record(const char *format, ...) __attribute__((format(printf, 1, 2)));

// Begins a call: reads the control file of the entry and records the call. The text is the record's line; the entry's
// name is what stands before its bracket. The control comes first, so whoever sees the line may already prepare the
// next.
handset_call handset_begin(const char *format, ...) __attribute__((format(printf, 1, 2)));

// The number that the control file gives for `key`; the default if it gives none, or one that is no int or below
// `lowest`, which is also reported on standard error.
int handset_number(const handset_call &call, const char *key, int default_value, int lowest = INT_MIN);

// The text that the control file gives for `key`, its escapes (\n \r \t \\) resolved, cut to `size` bytes (at least
// one) with the terminator. The default if there is none or one with another escape, which is also reported.
void handset_text(const handset_call &call, const char *key, const char *default_text, char *text, size_t size);

// Ends a call: waits as long as the control's delay_ms says, and gives its result.
[[nodiscard]] int handset_end(const handset_call &call, int default_result = 0);
