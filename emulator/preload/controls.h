// How an emulated driver call is told to answer, and where it is recorded: small text files of KEY=VALUE lines under
// /handset/control, read at each call, and one line per call appended to /handset/calls. The same two places and
// formats as the stand-ins for the platform's libraries use.
//
// Runs inside other programs' open, ioctl and close, perhaps in a signal handler: no heap, no stdio, no lock, system
// calls made directly so that no interception sees them; errno is the caller's and is left as it was.

#pragma once

#include <cstddef>

// What the control file of an entry says; `value` is written to the caller's argument where the call has one to write.
struct control_st {
    int result;
    int error;
    int value;
    bool has_result;
    bool has_value;
};

// Reads /handset/control/<entry>. A missing file or key leaves its field at 0 and false; errno=N without a result means
// a result of -1.
control_st control_read(const char *entry);

// Reads one number out of a file of KEY=VALUE lines; `missing` when there is none.
long control_read_number(const char *path, const char *key, long missing);

// Reads a file whole into `text`, cut to size - 1 bytes and terminated; the count of bytes, -1 if it cannot be read.
long control_read_file(const char *path, char *text, size_t size);

// The number behind `key=` at the beginning of a line of `text`; false when there is none. 0x... is understood.
bool control_find_number(const char *text, const char *key, long &number);

// Appends one line to the record of calls in one write, printf-checked, at most 255 characters.
void control_record(const char *format, ...) __attribute__((format(printf, 1, 2)));

// Ends a call as its control says: sets errno and returns the told result, or returns `result` if nothing is told.
int control_answer(const control_st &control, int result);
