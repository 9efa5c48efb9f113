// As released, the service's calls of some functions go to their checking twins. Here a test program that replaces the
// plain function gets those calls as well.
#include <fcntl.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>

extern "C" {
// NOLINTBEGIN(bugprone-reserved-identifier): the linker's names for the C library's
int __wrap___open_2(const char *path, int flags);
int __wrap___fprintf_chk(FILE *file, int level, const char *format, ...) __attribute__((format(printf, 3, 4)));
// NOLINTEND(bugprone-reserved-identifier)
}

int __wrap___open_2(const char *path, int flags)
{
    return open(path, flags);
}

int __wrap___fprintf_chk(FILE *file, int /*level*/, const char *format, ...)
{
    char *text = nullptr;
    va_list arguments;
    va_start(arguments, format);
    const int length = vasprintf(&text, format, arguments);
    va_end(arguments);
    if (length < 0) {
        return length;
    }
    const int result = fprintf(file, "%s", text);
    free(text); // NOLINT(cppcoreguidelines-no-malloc): vasprintf's
    return result;
}
