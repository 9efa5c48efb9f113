// read(2), write(2) and select(2) as the thread sanitizer needs them, in every program that is built with it.
//
// The sanitizer holds back a signal that arrives inside a call which it does not know to block, and these it does not
// know: a worker that is ended there would never end. So what would block waits in poll(2), which it does know. A
// hang-up that ends a wait in read is an error, one that came before is the end of the file: as without sanitizer.
// Where another process reads the same tty, what poll saw may be gone, and the read blocks after all: a signal then has
// to interrupt it, so no handler is set to have calls begun again.
// A write is made in pieces that are taken at once, so a reader may see the begin of a long one earlier than the rest.
//
// The sanitizer takes a descriptor for memory: one that is closed or opened while another thread reads or writes it is
// a race to it. On a tty that is how a channel is taken from whoever still waits on it (amt/core/channel.h), so ttys
// are read and written behind its back, and it is told of the bytes alone.
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <poll.h>
#include <signal.h>
#include <sys/select.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <termios.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <array>

// The sanitizer's own, as its compiler knows them.
extern "C" void __tsan_read_range(void *begin, long size);  // NOLINT(bugprone-reserved-identifier)
extern "C" void __tsan_write_range(void *begin, long size); // NOLINT(bugprone-reserved-identifier)

namespace {

using read_function = ssize_t (*)(int, void *, size_t);
using write_function = ssize_t (*)(int, const void *, size_t);
using sigaction_function = int (*)(int, const struct sigaction *, struct sigaction *);

constexpr size_t k_tty_room = 256; // a pseudo-terminal finds room in steps of this size

bool may_block(int fd)
{
    const int flags = fcntl(fd, F_GETFL);
    return flags >= 0 && (flags & O_NONBLOCK) == 0;
}

// Waits for ever, but looks again now and then: when a tty is closed under a poll, and another opened, which is given
// the same number, then poll goes on with a file whose wake-ups it does not get. A read stays with the file it began
// with.
int wait_on(pollfd *look)
{
    constexpr int k_look_ms = 50;
    int ready = 0;
    while (ready == 0) {
        ready = poll(look, 1, k_look_ms);
    }
    return ready;
}

// What kind of file it is; 0 for a closed descriptor.
mode_t kind_of(int fd)
{
    struct stat file = {};
    return syscall(SYS_fstat, fd, &file) == 0 ? file.st_mode & S_IFMT : 0;
}

ssize_t read_from(int fd, void *bytes, size_t count)
{
    static const auto next = reinterpret_cast<read_function>(dlsym(RTLD_NEXT, "read"));
    if (kind_of(fd) != S_IFCHR) { // a tty that has hung up is none to isatty
        return next(fd, bytes, count);
    }
    const ssize_t result = syscall(SYS_read, fd, bytes, count);
    if (result > 0) {
        __tsan_write_range(bytes, result);
    }
    return result;
}

ssize_t write_to(int fd, const void *bytes, size_t count)
{
    static const auto next = reinterpret_cast<write_function>(dlsym(RTLD_NEXT, "write"));
    if (kind_of(fd) != S_IFCHR) {
        return next(fd, bytes, count);
    }
    __tsan_read_range(const_cast<void *>(bytes), static_cast<long>(count));
    return syscall(SYS_write, fd, bytes, count);
}

// How many bytes a write takes without blocking once poll finds room: on a pipe as many as stay together anyway, on a
// tty one when it makes two of a line's end, for then the room may be too small for any more. 0 for everything else,
// which is written as it is. Two writers to one pipe may still block in write, when both have seen the same room.
size_t size_of_piece(int fd)
{
    const mode_t kind = kind_of(fd);
    if (kind == S_IFIFO) {
        return PIPE_BUF;
    }
    termios attributes = {};
    if (kind != S_IFCHR || tcgetattr(fd, &attributes) != 0) {
        return 0;
    }
    constexpr tcflag_t line_end_grows = OPOST | ONLCR;
    return (attributes.c_oflag & line_end_grows) == line_end_grows ? 1 : k_tty_room;
}

long long now_ms()
{
    timespec now = {};
    (void)clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * 1000LL + now.tv_nsec / 1000000;
}

int timeout_ms(const timeval *left)
{
    return left == nullptr ? -1 : static_cast<int>(left->tv_sec * 1000 + (left->tv_usec + 999) / 1000);
}

// The descriptors of the sets, as poll wants them. Returns their count.
nfds_t to_poll(int count, const fd_set *readable, const fd_set *writable, std::array<pollfd, FD_SETSIZE> &looks)
{
    nfds_t used = 0;
    for (int fd = 0; fd < count; fd++) {
        const bool is_read = readable != nullptr && FD_ISSET(fd, readable);
        const bool is_write = writable != nullptr && FD_ISSET(fd, writable);
        if (is_read || is_write) {
            const int events = (is_read ? POLLIN : 0) | (is_write ? POLLOUT : 0);
            looks[used++] = {fd, static_cast<short>(events), 0};
        }
    }
    return used;
}

int from_poll(const pollfd &look, fd_set *readable, fd_set *writable)
{
    int ready = 0;
    if ((look.events & POLLIN) != 0 && (look.revents & (POLLIN | POLLHUP | POLLERR)) != 0) {
        FD_SET(look.fd, readable);
        ready++;
    }
    if ((look.events & POLLOUT) != 0 && (look.revents & (POLLOUT | POLLERR)) != 0) {
        FD_SET(look.fd, writable);
        ready++;
    }
    return ready;
}

} // namespace

// The system's headers call their parameters by reserved names.
// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name)
extern "C" {

int sigaction(int signal_number, const struct sigaction *action, struct sigaction *before)
{
    static const auto next = reinterpret_cast<sigaction_function>(dlsym(RTLD_NEXT, "sigaction"));
    if (action == nullptr) {
        return next(signal_number, action, before);
    }
    struct sigaction interrupting = *action;
    interrupting.sa_flags &= ~SA_RESTART;
    return next(signal_number, &interrupting, before);
}

ssize_t read(int fd, void *bytes, size_t count)
{
    pollfd look = {fd, POLLIN, 0};
    if (!may_block(fd)) {
        return read_from(fd, bytes, count);
    }
    ssize_t result = -1;
    const bool has_waited = poll(&look, 1, 0) == 0;
    do {
        if (wait_on(&look) < 0) {
            return -1;
        }
        result = read_from(fd, bytes, count);
    } while (result < 0 && errno == EINTR); // held back: poll lets it in
    if (has_waited && result == 0 && (look.revents & POLLHUP) != 0 && isatty(fd) == 0 && errno == EIO) {
        return -1;
    }
    return result;
}

ssize_t write(int fd, const void *bytes, size_t count)
{
    const size_t piece = size_of_piece(fd);
    if (piece == 0 || count == 0 || !may_block(fd)) {
        return write_to(fd, bytes, count);
    }
    size_t done = 0;
    while (done < count) {
        pollfd look = {fd, POLLOUT, 0};
        const ssize_t written =
            wait_on(&look) < 0 ? -1
                               : write_to(fd, static_cast<const char *>(bytes) + done, std::min(piece, count - done));
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written < 0) {
            return done == 0 ? -1 : static_cast<ssize_t>(done); // as an interrupted write that has begun
        }
        done += static_cast<size_t>(written);
    }
    return static_cast<ssize_t>(done);
}

int select(int count, fd_set *readable, fd_set *writable, fd_set * /*exceptional*/, timeval *left)
{
    std::array<pollfd, FD_SETSIZE> looks;
    const nfds_t used = to_poll(count, readable, writable, looks);
    const long long start = now_ms();
    const int timeout = timeout_ms(left);
    const int result = poll(looks.data(), used, timeout);
    if (result < 0) {
        return result;
    }
    if (left != nullptr) {
        const long long spent = now_ms() - start;
        const long long rest = result == 0 || spent >= timeout ? 0 : timeout - spent;
        *left = {static_cast<time_t>(rest / 1000), static_cast<suseconds_t>(rest % 1000 * 1000)};
    }
    for (fd_set *set : {readable, writable}) {
        if (set != nullptr) {
            FD_ZERO(set);
        }
    }
    int ready = 0;
    for (nfds_t i = 0; i < used; i++) {
        if ((looks[i].revents & POLLNVAL) != 0) {
            errno = EBADF;
            return -1;
        }
        ready += from_poll(looks[i], readable, writable);
    }
    return ready;
}
}
// NOLINTEND(readability-inconsistent-declaration-parameter-name)
