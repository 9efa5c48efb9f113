// Intercepted: paths and descriptors.

#include "tests/faults/shim/intercept.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <termios.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdlib>

// The C library's headers spell its parameters in reserved names.
// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name)

// --- paths

VISIBLE int access(const char *path, int mode) noexcept
{
    return call_on(ID(access), CALLER, access, path, path, mode);
}

VISIBLE int chmod(const char *path, mode_t mode) noexcept
{
    return call_on(ID(chmod), CALLER, chmod, path, path, mode);
}

VISIBLE int chown(const char *path, uid_t user, gid_t group) noexcept
{
    return call_on(ID(chown), CALLER, chown, path, path, user, group);
}

VISIBLE int lstat(const char *path, struct stat *information) noexcept
{
    return call_on(ID(lstat), CALLER, lstat, path, path, information);
}

VISIBLE int mkdir(const char *path, mode_t mode) noexcept
{
    return call_on(ID(mkdir), CALLER, mkdir, path, path, mode);
}

VISIBLE int stat(const char *path, struct stat *information) noexcept
{
    const fault_call call = fault_consult(ID(stat), path, CALLER);
    return call.fails ? failed<int>(call) : next<int(const char *, struct stat *)>(ID(stat))(path, information);
}

VISIBLE int statfs(const char *path, struct statfs *information) noexcept
{
    const fault_call call = fault_consult(ID(statfs), path, CALLER);
    return call.fails ? failed<int>(call) : next<int(const char *, struct statfs *)>(ID(statfs))(path, information);
}

VISIBLE int symlink(const char *to, const char *path) noexcept
{
    return call_on(ID(symlink), CALLER, symlink, path, to, path);
}

VISIBLE int unlink(const char *path) noexcept
{
    return call_on(ID(unlink), CALLER, unlink, path, path);
}

// A disk that is full or read-only is still read.
static bool fails_to_open(const fault_call &call, int flags)
{
    const bool is_reading = (flags & (O_ACCMODE | O_CREAT)) == O_RDONLY;
    return call.fails && !(is_reading && (call.error == ENOSPC || call.error == EROFS));
}

VISIBLE int open(const char *path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    const fault_call call = fault_consult(ID(open), path, CALLER);
    const int fd =
        fails_to_open(call, flags) ? failed<int>(call) : next<int(const char *, int, ...)>(ID(open))(path, flags, mode);
    if (fd >= 0) {
        fault_note_open(fd, path);
    }
    return fd;
}

// What the C library's headers turn it into in a program that is built with their checks.
VISIBLE int __open_2(const char *path, int flags)
{
    const fault_call call = fault_consult(ID(open), path, CALLER);
    const int fd =
        fails_to_open(call, flags) ? failed<int>(call) : next<int(const char *, int, ...)>(ID(open))(path, flags);
    if (fd >= 0) {
        fault_note_open(fd, path);
    }
    return fd;
}

// --- descriptors

VISIBLE int bind(int fd, const sockaddr *address, socklen_t length) noexcept
{
    return call_on(ID(bind), CALLER, bind, fd, fd, address, length);
}

// Closed all the same, as by a driver that fails to flush.
VISIBLE int close(int fd)
{
    const fault_call call = fault_consult(ID(close), fd, CALLER);
    fault_note_close(fd);
    const int result = next<int(int)>(ID(close))(fd);
    return call.fails ? failed<int>(call) : result;
}

VISIBLE int dup2(int from, int to) noexcept
{
    return call_on(ID(dup2), CALLER, dup2, from, from, to);
}

VISIBLE int fchmod(int fd, mode_t mode) noexcept
{
    return call_on(ID(fchmod), CALLER, fchmod, fd, fd, mode);
}

VISIBLE int fcntl(int fd, int command, ...)
{
    va_list arguments;
    va_start(arguments, command);
    void *argument = va_arg(arguments, void *);
    va_end(arguments);
    const fault_call call = fault_consult(ID(fcntl), fd, CALLER);
    return call.fails ? failed<int>(call) : next<int(int, int, ...)>(ID(fcntl))(fd, command, argument);
}

VISIBLE int fstat(int fd, struct stat *information) noexcept
{
    return call_on(ID(fstat), CALLER, fstat, fd, fd, information);
}

VISIBLE int ftruncate(int fd, off_t length) noexcept
{
    return call_on(ID(ftruncate), CALLER, ftruncate, fd, fd, length);
}

VISIBLE int ioctl(int fd, unsigned long request, ...) noexcept
{
    va_list arguments;
    va_start(arguments, request);
    void *argument = va_arg(arguments, void *);
    va_end(arguments);
    const fault_call call = fault_consult(ID(ioctl), fd, CALLER);
    return call.fails ? failed<int>(call) : next<int(int, unsigned long, ...)>(ID(ioctl))(fd, request, argument);
}

VISIBLE off_t lseek(int fd, off_t offset, int whence) noexcept
{
    return call_on(ID(lseek), CALLER, lseek, fd, fd, offset, whence);
}

VISIBLE int poll(pollfd *ends, nfds_t count, int milliseconds)
{
    const fault_call call = fault_consult(ID(poll), "line", CALLER);
    return call.fails ? failed<int>(call) : next<int(pollfd *, nfds_t, int)>(ID(poll))(ends, count, milliseconds);
}

// How many bytes a call that is cut short is left with.
static size_t cut(const fault_call &call, size_t count)
{
    switch (call.effect) {
    case fault_effect::one_byte:
        return count > 0 ? 1 : 0;
    case fault_effect::half:
        return count / 2;
    case fault_effect::nothing:
    case fault_effect::error:
        break;
    }
    return 0;
}

VISIBLE ssize_t read(int fd, void *bytes, size_t count)
{
    const fault_call call = fault_consult(ID(read), fd, CALLER);
    if (call.fails && call.effect == fault_effect::error) {
        return failed<ssize_t>(call);
    }
    const size_t left = call.fails ? cut(call, count) : count;
    return left == 0 ? 0 : next<ssize_t(int, void *, size_t)>(ID(read))(fd, bytes, left);
}

VISIBLE ssize_t write(int fd, const void *bytes, size_t count)
{
    const fault_call call = fault_consult(ID(write), fd, CALLER);
    if (call.fails && call.effect == fault_effect::error) {
        return failed<ssize_t>(call);
    }
    const size_t left = call.fails ? cut(call, count) : count;
    return left == 0 ? 0 : next<ssize_t(int, const void *, size_t)>(ID(write))(fd, bytes, left);
}

VISIBLE ssize_t pwrite(int fd, const void *bytes, size_t count, off_t offset)
{
    const fault_call call = fault_consult(ID(pwrite), fd, CALLER);
    if (call.fails && call.effect == fault_effect::error) {
        return failed<ssize_t>(call);
    }
    const size_t left = call.fails ? cut(call, count) : count;
    return left == 0 ? 0 : next<ssize_t(int, const void *, size_t, off_t)>(ID(pwrite))(fd, bytes, left, offset);
}

VISIBLE int select(int count, fd_set *readable, fd_set *writable, fd_set *exceptional, timeval *left)
{
    return call_on(ID(select), CALLER, select, count - 1, count, readable, writable, exceptional, left);
}

VISIBLE int setsockopt(int fd, int level, int name, const void *value, socklen_t length) noexcept
{
    return call_on(ID(setsockopt), CALLER, setsockopt, fd, fd, level, name, value, length);
}

VISIBLE int socket(int domain, int type, int protocol) noexcept
{
    return call_on(ID(socket), CALLER, socket, "socket", domain, type, protocol);
}

VISIBLE int cfsetispeed(termios *attributes, speed_t speed) noexcept
{
    return call_on(ID(cfsetispeed), CALLER, cfsetispeed, "speed", attributes, speed);
}

VISIBLE int cfsetospeed(termios *attributes, speed_t speed) noexcept
{
    return call_on(ID(cfsetospeed), CALLER, cfsetospeed, "speed", attributes, speed);
}

VISIBLE int tcgetattr(int fd, termios *attributes) noexcept
{
    return call_on(ID(tcgetattr), CALLER, tcgetattr, fd, fd, attributes);
}

VISIBLE int tcsetattr(int fd, int actions, const termios *attributes) noexcept
{
    return call_on(ID(tcsetattr), CALLER, tcsetattr, fd, fd, actions, attributes);
}

VISIBLE int grantpt(int fd) noexcept
{
    return call_on(ID(grantpt), CALLER, grantpt, fd, fd);
}

VISIBLE int unlockpt(int fd) noexcept
{
    return call_on(ID(unlockpt), CALLER, unlockpt, fd, fd);
}

VISIBLE char *ptsname(int fd) noexcept
{
    const fault_call call = fault_consult(ID(ptsname), fd, CALLER);
    if (call.fails) {
        errno = call.error;
        return nullptr;
    }
    return next<char *(int)>(ID(ptsname))(fd);
}

VISIBLE void *mmap(void *address, size_t length, int protection, int flags, int fd, off_t offset) noexcept
{
    return call_on(ID(mmap), CALLER, mmap, fd, address, length, protection, flags, fd, offset);
}

// NOLINTEND(readability-inconsistent-declaration-parameter-name)
