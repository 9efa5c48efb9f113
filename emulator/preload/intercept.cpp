// The functions that the preloaded library stands in for. What concerns an emulated device is answered here; everything
// else goes on to the next definition (the C library's, or a sanitizer's in front of it), with the caller's arguments.
// A power-off and a raise of the scheduling priority are recorded and never performed. Safe in signal handlers and in
// any thread, like the functions themselves.

#include "emulator/preload/controls.h"
#include "emulator/preload/devices.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <linux/reboot.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/types.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>

// The C library's headers spell its parameters in reserved names.
// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name)

#define VISIBLE extern "C" __attribute__((visibility("default")))

// The next definition of a function, looked up at its first use: a program may call before any constructor has run.
template <typename function>
class next_definition {
  public:
    constexpr explicit next_definition(const char *name)
        : m_name(name)
    {
    }

    function get()
    {
        function found = m_found.load(std::memory_order_relaxed);
        if (found == nullptr) {
            found = reinterpret_cast<function>(dlsym(RTLD_NEXT, m_name));
            m_found.store(found, std::memory_order_relaxed);
        }
        return found;
    }

  private:
    const char *m_name;
    std::atomic<function> m_found{nullptr};
};

static next_definition<int (*)(const char *, int, ...)> g_open{"open"};
static next_definition<int (*)(const char *, int, ...)> g_open64{"open64"};
static next_definition<int (*)(int, const char *, int, ...)> g_openat{"openat"};
static next_definition<int (*)(int, const char *, int, ...)> g_openat64{"openat64"};
static next_definition<int (*)(const char *, int)> g_open_2{"__open_2"};
static next_definition<int (*)(const char *, int)> g_open64_2{"__open64_2"};
static next_definition<int (*)(int, const char *, int)> g_openat_2{"__openat_2"};
static next_definition<int (*)(int, const char *, int)> g_openat64_2{"__openat64_2"};
static next_definition<int (*)(int, unsigned long, ...)> g_ioctl{"ioctl"};
static next_definition<int (*)(int)> g_close{"close"};
static next_definition<void *(*)(void *, size_t, int, int, int, off_t)> g_mmap{"mmap"};
static next_definition<void *(*)(void *, size_t, int, int, int, off64_t)> g_mmap64{"mmap64"};
static next_definition<int (*)(int)> g_priority_max{"sched_get_priority_max"};

// The mode that open's callers pass only where the flags make a file.
static mode_t mode_argument(int flags, va_list arguments)
{
    return (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE ? va_arg(arguments, mode_t) : 0;
}

VISIBLE int open(const char *path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = mode_argument(flags, arguments);
    va_end(arguments);
    const device_st *device = device_by_path(path);
    return device != nullptr ? device_open(*device, flags) : g_open.get()(path, flags, mode);
}

VISIBLE int open64(const char *path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = mode_argument(flags, arguments);
    va_end(arguments);
    const device_st *device = device_by_path(path);
    return device != nullptr ? device_open(*device, flags) : g_open64.get()(path, flags, mode);
}

VISIBLE int openat(int folder, const char *path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = mode_argument(flags, arguments);
    va_end(arguments);
    const device_st *device = device_by_path(path);
    return device != nullptr ? device_open(*device, flags) : g_openat.get()(folder, path, flags, mode);
}

VISIBLE int openat64(int folder, const char *path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = mode_argument(flags, arguments);
    va_end(arguments);
    const device_st *device = device_by_path(path);
    return device != nullptr ? device_open(*device, flags) : g_openat64.get()(folder, path, flags, mode);
}

// What the C library's headers turn the above into when a program is built with its buffer checks.
VISIBLE int __open_2(const char *path, int flags)
{
    const device_st *device = device_by_path(path);
    return device != nullptr ? device_open(*device, flags) : g_open_2.get()(path, flags);
}

VISIBLE int __open64_2(const char *path, int flags)
{
    const device_st *device = device_by_path(path);
    return device != nullptr ? device_open(*device, flags) : g_open64_2.get()(path, flags);
}

VISIBLE int __openat_2(int folder, const char *path, int flags)
{
    const device_st *device = device_by_path(path);
    return device != nullptr ? device_open(*device, flags) : g_openat_2.get()(folder, path, flags);
}

VISIBLE int __openat64_2(int folder, const char *path, int flags)
{
    const device_st *device = device_by_path(path);
    return device != nullptr ? device_open(*device, flags) : g_openat64_2.get()(folder, path, flags);
}

VISIBLE int ioctl(int fd, unsigned long request, ...) noexcept
{
    va_list arguments;
    va_start(arguments, request);
    void *argument = va_arg(arguments, void *);
    va_end(arguments);
    const device_st *device = device_by_fd(fd);
    return device != nullptr ? device_ioctl(*device, request, argument) : g_ioctl.get()(fd, request, argument);
}

VISIBLE int close(int fd)
{
    const device_st *device = device_by_fd(fd);
    if (device != nullptr && !device_admit(*device, "close", -1)) {
        const int told_errno = errno;
        (void)g_close.get()(fd); // closed all the same, as by a driver that fails to flush
        errno = told_errno;
        return -1;
    }
    return g_close.get()(fd);
}

static bool mapping_admitted(int fd, int flags, size_t length)
{
    const device_st *device = (flags & MAP_ANONYMOUS) == 0 ? device_by_fd(fd) : nullptr;
    return device == nullptr || device_admit(*device, "mmap", static_cast<long>(length));
}

VISIBLE void *mmap(void *address, size_t length, int protection, int flags, int fd, off_t offset) noexcept
{
    if (!mapping_admitted(fd, flags, length)) {
        return MAP_FAILED;
    }
    return g_mmap.get()(address, length, protection, flags, fd, offset);
}

VISIBLE void *mmap64(void *address, size_t length, int protection, int flags, int fd, off64_t offset) noexcept
{
    if (!mapping_admitted(fd, flags, length)) {
        return MAP_FAILED;
    }
    return g_mmap64.get()(address, length, protection, flags, fd, offset);
}

VISIBLE int reboot(int command) noexcept
{
    switch (static_cast<unsigned>(command)) {
    case LINUX_REBOOT_CMD_POWER_OFF:
        control_record("reboot(POWER_OFF)");
        break;
    case LINUX_REBOOT_CMD_RESTART:
        control_record("reboot(RESTART)");
        break;
    case LINUX_REBOOT_CMD_HALT:
        control_record("reboot(HALT)");
        break;
    default:
        control_record("reboot(0x%x)", static_cast<unsigned>(command));
        break;
    }
    return control_answer(control_read("reboot"), 0);
}

static const char *policy_name(int policy, char (&number)[16])
{
    switch (policy) {
    case SCHED_OTHER:
        return "SCHED_OTHER";
    case SCHED_FIFO:
        return "SCHED_FIFO";
    case SCHED_RR:
        return "SCHED_RR";
    default:
        (void)snprintf(number, sizeof(number), "%d", policy);
        return number;
    }
}

VISIBLE int sched_setscheduler(pid_t, int policy, const sched_param *parameters) noexcept
{
    char number[16];
    const int priority = parameters != nullptr ? parameters->sched_priority : -1;
    control_record("sched_setscheduler(%s, %d)", policy_name(policy, number), priority);
    return control_answer(control_read("sched_setscheduler"), 0);
}

VISIBLE int sched_get_priority_max(int policy) noexcept
{
    char number[16];
    control_record("sched_get_priority_max(%s)", policy_name(policy, number));
    const control_st control = control_read("sched_get_priority_max");
    return control.has_result ? control_answer(control, 0) : g_priority_max.get()(policy);
}

// NOLINTEND(readability-inconsistent-declaration-parameter-name)
