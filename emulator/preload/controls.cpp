// Controls and the record of calls, see controls.h.

#include "emulator/preload/controls.h"

#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

constexpr char k_calls[] = "/handset/calls";
constexpr char k_controls[] = "/handset/control/";
constexpr size_t k_line_size = 256;
constexpr size_t k_file_size = 1024;

long control_read_file(const char *path, char *text, size_t size)
{
    const int saved_errno = errno;
    const long fd = syscall(SYS_openat, AT_FDCWD, path, O_RDONLY | O_CLOEXEC, 0);
    long count = -1;
    if (fd >= 0) {
        count = syscall(SYS_read, fd, text, size - 1);
        (void)syscall(SYS_close, fd);
    }
    text[count > 0 ? count : 0] = '\0';
    errno = saved_errno;
    return count;
}

bool control_find_number(const char *text, const char *key, long &number)
{
    const size_t length = strlen(key);
    for (const char *line = text; line != nullptr; line = strchr(line, '\n')) {
        line += *line == '\n' ? 1 : 0;
        if (strncmp(line, key, length) != 0 || line[length] != '=') {
            continue;
        }
        const int saved_errno = errno;
        char *end = nullptr;
        const long found = strtol(line + length + 1, &end, 0);
        errno = saved_errno;
        if (end == line + length + 1 || (*end != '\0' && *end != '\n' && *end != '\r')) {
            return false;
        }
        number = found;
        return true;
    }
    return false;
}

long control_read_number(const char *path, const char *key, long missing)
{
    char text[k_file_size];
    long number = missing;
    return control_read_file(path, text, sizeof(text)) > 0 && control_find_number(text, key, number) ? number : missing;
}

control_st control_read(const char *entry)
{
    char path[k_line_size];
    char text[k_file_size];
    control_st control = {};
    (void)snprintf(path, sizeof(path), "%s%s", k_controls, entry);
    if (control_read_file(path, text, sizeof(text)) <= 0) {
        return control;
    }
    long number = 0;
    if (control_find_number(text, "errno", number)) {
        control.error = static_cast<int>(number);
        control.result = -1;
        control.has_result = true;
    }
    if (control_find_number(text, "result", number)) {
        control.result = static_cast<int>(number);
        control.has_result = true;
    }
    if (control_find_number(text, "value", number)) {
        control.value = static_cast<int>(number);
        control.has_value = true;
    }
    return control;
}

int control_answer(const control_st &control, int result)
{
    if (!control.has_result) {
        return result;
    }
    if (control.result < 0) {
        errno = control.error != 0 ? control.error : EIO;
    }
    return control.result;
}

void control_record(const char *format, ...)
{
    const int saved_errno = errno;
    char line[k_line_size];
    va_list arguments;
    va_start(arguments, format);
    int length = vsnprintf(line, sizeof(line) - 1, format, arguments);
    va_end(arguments);
    const long fd = syscall(SYS_openat, AT_FDCWD, k_calls, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644);
    if (fd >= 0 && length > 0) {
        length = length < static_cast<int>(sizeof(line)) - 1 ? length : static_cast<int>(sizeof(line)) - 2;
        line[length] = '\n';
        (void)syscall(SYS_write, fd, line, length + 1);
    }
    if (fd >= 0) {
        (void)syscall(SYS_close, fd);
    }
    errno = saved_errno;
}
