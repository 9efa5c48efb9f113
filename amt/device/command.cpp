#include "amt/device/command.h"

#include <errno.h>
#include <stdarg.h>
#include <stdio.h>

#include "pub/base/shell.h"

#define LOG_MODULE "amt/amt-device"
#include "pub/log/log.h"

namespace {

constexpr int k_attempts = 5;

} // namespace

void amt_device_format_command(device_command &command, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    (void)vsnprintf(command, sizeof(command), format, arguments);
    va_end(arguments);
}

int32_t amt_device_do_command(const char *command)
{
    log_func();
    for (int count = 1; count <= k_attempts; count++) {
        errno = 0; // a command that fails sets none
        if (pub_util_run_shell(command) == 0) {
            log_info("system(%s) OK", command);
            return ERR_NONE;
        }
        const int error = errno;
        (void)log_error(ERR_C_FUNCTION, "system(%s) FAIL[count = %d]: %d - %s", command, count, error,
                        error_text(error).c_str());
    }
    return ERR_UNKNOWN;
}
