// Through stdio, so that a number reaches its driver with the closing, in one write whose outcome nobody learns: a
// handset whose driver takes it badly is judged by what the person in front of it sees.
#include "amt/device/kernel-file.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>

#include "pub/base/file.h"
#include "pub/base/scoped.h"

#define LOG_MODULE "amt/amt-device"
#include "pub/log/log.h"

namespace {

int32_t tell_open_failure(const char *path, log_caller caller)
{
    const int error = errno;
    return log_error_of(caller, ERR_C_FUNCTION, "Open file \"%s\" fail: %d - %s", path, error,
                        error_text(error).c_str());
}

} // namespace

int32_t amt_device_read_number(const char *path, int32_t *number, log_caller caller)
{
    const scoped_file file(pub_util_open_stream(path, O_RDONLY, "r"));
    if (!file.is_open()) {
        return tell_open_failure(path, caller);
    }
    int value = 0;
    errno = 0;
    const int count = fscanf(file.get(), "%d", &value); // NOLINT(cert-err34-c): the kernel's numbers are in range
    if (count != 1) {
        const int error = errno; // 0 at the end of the file
        return log_error_of(caller, ERR_C_FUNCTION, "fscanf() return: %d; %d - %s", count, error,
                            error_text(error).c_str());
    }
    *number = value;
    return ERR_NONE;
}

int32_t amt_device_write_number(const char *path, int32_t number, log_caller caller)
{
    const scoped_file file(pub_util_open_stream(path, O_WRONLY | O_CREAT | O_TRUNC, "w"));
    if (!file.is_open()) {
        return tell_open_failure(path, caller);
    }
    errno = 0;
    const int count = fprintf(file.get(), "%d", number);
    if (count <= 0) {
        const int error = errno;
        return log_error_of(caller, ERR_C_FUNCTION, "fprintf() return: %d; %d - %s", count, error,
                            error_text(error).c_str());
    }
    return ERR_NONE;
}
