// The platform's log of a workstation: one line on standard error per record, in one write(2), so that the lines of
// several threads and processes do not mix.
#include <android/log.h>
#include <cerrno>
#include <unistd.h>

#include "platform/linux/handset.h"

constexpr size_t k_line_max = 4096; // bytes; as many as a pipe still takes whole

static char priority_letter(int priority)
{
    switch (priority) {
    case ANDROID_LOG_DEBUG:
        return 'D';
    case ANDROID_LOG_INFO:
        return 'I';
    case ANDROID_LOG_WARN:
        return 'W';
    case ANDROID_LOG_ERROR:
        return 'E';
    default:
        return '?';
    }
}

PLATFORM_ENTRY int __android_log_print(int prio, const char *tag, const char *fmt, ...)
{
    char line[k_line_max];
    const char *const name = tag == nullptr ? "" : tag;
    const size_t head = handset_append(line, sizeof(line), 0, "%c %s: ", priority_letter(prio), name);
    va_list arguments;
    va_start(arguments, fmt);
    size_t length = handset_append_list(line, sizeof(line), head, fmt, arguments);
    va_end(arguments);
    while (length > head && line[length - 1] == '\n') {
        --length;
    }
    line[length] = '\n'; // in place of the terminator
    const int written = handset_write(STDERR_FILENO, line, length + 1);
    return written < 0 ? -errno : written;
}
