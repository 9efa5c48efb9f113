// The emulated battery driver, see battery.h.

#include "emulator/preload/battery.h"

#include "emulator/preload/controls.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

constexpr unsigned k_default_number = 1234;

// The last line, with the end of the line before it.
constexpr char k_question[] = "\namt_get_vbatt\n";
constexpr long k_question_length = sizeof(k_question) - 1;

static bool asked_last(const char *file)
{
    const int saved_errno = errno;
    char tail[k_question_length];
    long count = -1;
    const long fd = syscall(SYS_openat, AT_FDCWD, file, O_RDONLY | O_CLOEXEC, 0);
    if (fd >= 0) {
        // Fails where there is less, which is then read from its beginning.
        (void)syscall(SYS_lseek, fd, -k_question_length, SEEK_END);
        count = syscall(SYS_read, fd, tail, sizeof(tail));
        (void)syscall(SYS_close, fd);
    }
    errno = saved_errno;
    const long missing = k_question_length - count; // the first line has no line before it
    return missing <= 1 && memcmp(tail, k_question + missing, static_cast<size_t>(count)) == 0;
}

// A file of the caller's own, in memory; for reading only, as it asked.
static int open_answer(const char *text, long length, int flags)
{
    const long memory = syscall(SYS_memfd_create, "vexio_battery", MFD_CLOEXEC);
    if (memory < 0) {
        return -1;
    }
    long fd = -1;
    if (syscall(SYS_write, memory, text, length) == length) {
        char link[48];
        (void)snprintf(link, sizeof(link), "/proc/thread-self/fd/%ld", memory);
        fd = syscall(SYS_openat, AT_FDCWD, link, O_RDONLY | (flags & O_CLOEXEC), 0);
    }
    const int open_errno = errno;
    (void)syscall(SYS_close, memory);
    errno = open_errno;
    return static_cast<int>(fd);
}

static int open_for_reading(const char *file, int flags)
{
    const control_st reading = control_read("battery.read");
    if (reading.has_result && reading.result < 0) {
        return control_answer(reading, -1);
    }
    char text[16];
    int length = 0;
    if (!reading.has_result && asked_last(file)) {
        const control_st adc = control_read("battery.adc");
        const unsigned number = adc.has_value ? static_cast<unsigned>(adc.value) : k_default_number;
        length = snprintf(text, sizeof(text), "%u\n", number);
    }
    return open_answer(text, length, flags);
}

int battery_open(const char *file, int flags)
{
    if ((flags & O_ACCMODE) == O_RDONLY) {
        return open_for_reading(file, flags);
    }
    const int appending = (flags & ~O_TRUNC) | O_APPEND | O_CREAT;
    return static_cast<int>(syscall(SYS_openat, AT_FDCWD, file, appending, 0644));
}
