// Intercepted: streams.

#include "tests/faults/shim/intercept.h"

#include <stdio_ext.h>

#include <cstdarg>
#include <cstdio>

// The C library's headers spell its parameters in reserved names.
// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name)

// What a stream remembers of a call that failed, as ferror() tells it; the C library's own calls cannot be reached.
static void mark_error(FILE *file)
{
    constexpr int error_seen = 0x20; // _IO_ERR_SEEN
    file->_flags |= error_seen;
}

VISIBLE FILE *fdopen(int fd, const char *mode) noexcept
{
    const fault_call call = fault_consult(ID(fdopen), fd, CALLER);
    if (call.fails) {
        errno = call.error;
        return nullptr;
    }
    return next<FILE *(int, const char *)>(ID(fdopen))(fd, mode);
}

// Closed all the same; what the disk has no room for is lost.
VISIBLE int fclose(FILE *file)
{
    const int fd = fileno(file);
    const fault_call call = fault_consult(ID(fclose), fd, CALLER);
    if (call.fails && call.error == ENOSPC) {
        __fpurge(file);
    }
    fault_note_close(fd);
    const int result = next<int(FILE *)>(ID(fclose))(file);
    return call.fails ? failed<int>(call) : result;
}

VISIBLE int fflush(FILE *file)
{
    const fault_call call = fault_consult(ID(fflush), file != nullptr ? fileno(file) : -1, CALLER);
    if (call.fails && file != nullptr) {
        mark_error(file);
    }
    return call.fails ? failed<int>(call) : next<int(FILE *)>(ID(fflush))(file);
}

VISIBLE char *fgets(char *text, int size, FILE *file)
{
    const fault_call call = fault_consult(ID(fgets), fileno(file), CALLER);
    if (call.fails) {
        mark_error(file);
        errno = call.error;
        return nullptr;
    }
    return next<char *(char *, int, FILE *)>(ID(fgets))(text, size, file);
}

VISIBLE int fputs(const char *text, FILE *file)
{
    const fault_call call = fault_consult(ID(fputs), fileno(file), CALLER);
    if (call.fails) {
        mark_error(file);
        return failed<int>(call);
    }
    return next<int(const char *, FILE *)>(ID(fputs))(text, file);
}

VISIBLE size_t fwrite(const void *bytes, size_t size, size_t count, FILE *file)
{
    const fault_call call = fault_consult(ID(fwrite), fileno(file), CALLER);
    if (call.fails) {
        mark_error(file);
        errno = call.error;
        return 0;
    }
    return next<size_t(const void *, size_t, size_t, FILE *)>(ID(fwrite))(bytes, size, count, file);
}

static int print(FILE *file, const void *caller, const char *format, va_list arguments)
{
    const fault_call call = fault_consult(ID(fprintf), fileno(file), caller);
    if (call.fails) {
        mark_error(file);
        return failed<int>(call);
    }
    return vfprintf(file, format, arguments);
}

VISIBLE int fprintf(FILE *file, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const int result = print(file, CALLER, format, arguments);
    va_end(arguments);
    return result;
}

VISIBLE int __fprintf_chk(FILE *file, int, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const int result = print(file, CALLER, format, arguments);
    va_end(arguments);
    return result;
}

VISIBLE int __isoc99_fscanf(FILE *file, const char *format, ...)
{
    const fault_call call = fault_consult(ID(fscanf), fileno(file), CALLER);
    if (call.fails) {
        mark_error(file);
        return failed<int>(call);
    }
    va_list arguments;
    va_start(arguments, format);
    const int result = vfscanf(file, format, arguments);
    va_end(arguments);
    return result;
}

// NOLINTEND(readability-inconsistent-declaration-parameter-name)
