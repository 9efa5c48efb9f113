// The calls that reach out of the service, replaced at link time. The fuzzer and the sanitizers make some of them as
// well, before and between the runs, which is why nothing here is instrumented.
#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <stdarg.h>
#include <stdio.h>
#include <string.h>
#include <sys/select.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/time.h>
#include <termios.h>
#include <time.h>
#include <unistd.h>

#include "fuzz/world.h"
#include "fuzz/world_choices.h"
#include "fuzz/world_files.h"
#include "fuzz/world_laws.h"
#include "pub/log/errors.h"
#include "pub/pty/pty.h"
#include "pub/util/util.h"

namespace {

bool is_ours(int fd)
{
    return g_world_runs && files_owns(fd);
}

const uint8_t *as_bytes(const void *bytes)
{
    return static_cast<const uint8_t *>(bytes);
}

// What becomes of a write that has been looked at: the count, or -1 with errno.
ssize_t chosen_count(uint8_t behaviour, size_t count)
{
    constexpr uint8_t a_byte_short = 5;
    constexpr uint8_t nothing = 6;
    if (is_failure(behaviour)) {
        return -1;
    }
    if (behaviour == nothing) {
        return 0;
    }
    return static_cast<ssize_t>(behaviour == a_byte_short && count > 0 ? count - 1 : count);
}

ssize_t write_file(int fd, const void *bytes, size_t count)
{
    const ssize_t chosen = chosen_count(choose(point::file_write), count);
    return chosen <= 0 ? chosen : files_write(fd, bytes, static_cast<size_t>(chosen));
}

ssize_t write_to_modem(const void *bytes, size_t count)
{
    const ssize_t chosen = chosen_count(choose(point::modem_write), count);
    const int error = errno;
    law_modem_write(as_bytes(bytes), count, chosen == static_cast<ssize_t>(count));
    errno = error;
    return chosen;
}

ssize_t write_to(int fd, const void *bytes, size_t count)
{
    switch (files_kind(fd)) {
    case node_kind::station:
        law_station_write(as_bytes(bytes), count);
        return chosen_count(choose(point::station_write), count);
    case node_kind::application:
        law_application_write(as_bytes(bytes), count);
        return chosen_count(choose(point::application_write), count);
    case node_kind::at_port:
        law_at_write(as_bytes(bytes), count);
        return chosen_count(choose(point::at_write), count);
    case node_kind::modem:
        return write_to_modem(bytes, count);
    case node_kind::log:
        return files_write(fd, bytes, count);
    default:
        return write_file(fd, bytes, count);
    }
}

ssize_t read_from(int fd, void *bytes, size_t room)
{
    switch (files_kind(fd)) {
    case node_kind::station:
    case node_kind::application:
        return world_read_request(bytes, room);
    case node_kind::at_port:
        return world_read_answer(bytes, room);
    case node_kind::modem:
        return world_read_chunk(bytes, room);
    default:
        return choose_failure(point::file_read) ? -1 : files_read(fd, bytes, room);
    }
}

// Of a stream of the C library, whose own calls are not replaced.
ssize_t read_stream(void *fd, char *bytes, size_t room)
{
    return read_from(static_cast<int>(reinterpret_cast<intptr_t>(fd)), bytes, room);
}

ssize_t write_stream(void *fd, const char *bytes, size_t count)
{
    const ssize_t written = write_to(static_cast<int>(reinterpret_cast<intptr_t>(fd)), bytes, count);
    return written < 0 ? 0 : written; // 0 is what a stream takes for a failure
}

int close_stream(void *fd)
{
    files_close(static_cast<int>(reinterpret_cast<intptr_t>(fd)));
    return 0;
}

// How one select ends.
int wait_for(fd_set *waited, bool is_for_reading)
{
    constexpr uint8_t times_out = 5;
    constexpr uint8_t is_not_in_set = 6;
    const uint8_t behaviour = choose(point::at_wait);
    if (is_failure(behaviour)) {
        return -1;
    }
    if ((behaviour == times_out || (is_for_reading && !world_has_answer())) && world_times_out()) {
        FD_ZERO(waited);
        return 0;
    }
    if (behaviour == is_not_in_set) {
        FD_ZERO(waited);
    }
    return 1;
}

} // namespace

extern "C" {

// --- files and channels

int __real_open(const char *path, int flags, ...);
int __wrap_open(const char *path, int flags, ...)
{
    if (!g_world_runs) {
        va_list arguments;
        va_start(arguments, flags);
        const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
        va_end(arguments);
        return __real_open(path, flags, mode);
    }
    return choose_failure(point::open) ? -1 : files_open(path, flags);
}

int __real_close(int fd);
int __wrap_close(int fd)
{
    if (!is_ours(fd)) {
        return __real_close(fd);
    }
    files_close(fd);
    return 0;
}

ssize_t __real_read(int fd, void *bytes, size_t room);
ssize_t __wrap_read(int fd, void *bytes, size_t room)
{
    return is_ours(fd) ? read_from(fd, bytes, room) : __real_read(fd, bytes, room);
}

// The console takes everything.
ssize_t __real_write(int fd, const void *bytes, size_t count);
ssize_t __wrap_write(int fd, const void *bytes, size_t count)
{
    if (g_world_runs && fd == STDOUT_FILENO) {
        return static_cast<ssize_t>(count);
    }
    return is_ours(fd) ? write_to(fd, bytes, count) : __real_write(fd, bytes, count);
}

// Of the log alone.
ssize_t __wrap_pwrite(int fd, const void *bytes, size_t count, off_t)
{
    return write_to(fd, bytes, count);
}

int __wrap_fcntl(int, int, ...)
{
    return 0;
}

int __real_fstat(int fd, struct stat *info);
int __wrap_fstat(int fd, struct stat *info)
{
    if (!is_ours(fd)) {
        return __real_fstat(fd, info);
    }
    *info = {};
    info->st_mode = files_kind(fd) == node_kind::folder ? S_IFDIR : S_IFREG;
    return 0;
}

off_t __wrap_lseek(int fd, off_t offset, int whence)
{
    return choose_failure(point::system) ? -1 : files_seek(fd, offset, whence);
}

// To nothing, which is all that is asked for.
int __wrap_ftruncate(int fd, off_t)
{
    if (choose_failure(point::system)) {
        return -1;
    }
    files_empty(fd);
    return 0;
}

FILE *__real_fdopen(int fd, const char *mode);
FILE *__wrap_fdopen(int fd, const char *mode)
{
    if (!is_ours(fd)) {
        return __real_fdopen(fd, mode);
    }
    return fopencookie(reinterpret_cast<void *>(static_cast<intptr_t>(fd)), mode,
                       {read_stream, write_stream, nullptr, close_stream});
}

int __wrap_access(const char *path, int)
{
    if (!files_exist(path)) {
        errno = ENOENT;
        return -1;
    }
    if (choose(point::access) != 0) {
        errno = EACCES;
        return -1;
    }
    return 0;
}

int __real_mkdir(const char *path, mode_t mode);
int __wrap_mkdir(const char *path, mode_t mode)
{
    return g_world_runs ? 0 : __real_mkdir(path, mode);
}

int __real_unlink(const char *path);
int __wrap_unlink(const char *path)
{
    if (!g_world_runs) {
        return __real_unlink(path);
    }
    files_remove(path);
    return 0;
}

int __wrap_statfs(const char *path, struct statfs *info)
{
    if (strncmp(path, "/storage/sdcard", 15) != 0) {
        law_broken("a file system that is none of the handset's", path);
    }
    *info = {};
    info->f_bsize = 4096;
    info->f_blocks = static_cast<fsblkcnt_t>(choose_number(point::radio_count));
    return choose_failure(point::system) ? -1 : 0;
}

int __wrap_ioctl(int fd, unsigned long, ...)
{
    if (files_kind(fd) != node_kind::camera) {
        law_broken("a request to what is no camera", "");
    }
    return choose_failure(point::system) ? -1 : choose_number(point::radio_count);
}

int __wrap_tcgetattr(int fd, termios *attributes)
{
    *attributes = {};
    return files_kind(fd) == node_kind::modem && !choose_failure(point::system) ? 0 : -1;
}

int __wrap_tcsetattr(int fd, int, const termios *)
{
    return files_kind(fd) == node_kind::modem && !choose_failure(point::system) ? 0 : -1;
}

int32_t __wrap__Z12pub_pty_openP7pub_pty(pub_pty *pty)
{
    pty->m_ptm_fd = choose_failure(point::open) ? -1 : files_open(k_application_path, O_RDWR);
    return pty->m_ptm_fd < 0 ? ERR_C_FUNCTION : ERR_NONE;
}

int32_t __wrap__Z13pub_pty_closeP7pub_pty(pub_pty *pty)
{
    if (pty->m_ptm_fd < 0) {
        return -1;
    }
    files_close(pty->m_ptm_fd);
    pty->m_ptm_fd = -1;
    return ERR_NONE;
}

// --- waiting

int __real_poll(pollfd *ports, nfds_t count, int time_out_ms);
int __wrap_poll(pollfd *ports, nfds_t count, int time_out_ms)
{
    if (!g_world_runs) {
        return __real_poll(ports, count, time_out_ms);
    }
    const bool has_hung_up = choose(point::at_hang_up) != 0;
    ports->revents = has_hung_up ? POLLHUP : 0;
    return has_hung_up ? 1 : 0;
}

int __wrap_select(int, fd_set *readable, fd_set *writable, fd_set *, timeval *left)
{
    const int ready = wait_for(readable != nullptr ? readable : writable, readable != nullptr);
    if (ready == 0) {
        *left = {0, 0};
    }
    return ready;
}

int __real_clock_gettime(clockid_t clock, timespec *now);
int __wrap_clock_gettime(clockid_t clock, timespec *now)
{
    if (!g_world_runs) {
        return __real_clock_gettime(clock, now);
    }
    *now = {world_clock(), 0};
    return 0;
}

int __wrap_gettimeofday(timeval *now, void *)
{
    *now = {world_clock(), 0};
    return 0;
}

void __wrap__Z17pub_util_sleep_msj(uint32_t) {}
void __wrap__Z22pub_util_sleep_secondsj(uint32_t) {}

// --- processes

int __wrap__Z18pub_util_run_shellPKc(const char *command)
{
    law_shell_command(command);
    return choose_number(point::shell);
}

pid_t __wrap_fork()
{
    constexpr pid_t copy = 4000;
    const uint8_t behaviour = choose(point::fork);
    if (behaviour == 2) {
        errno = EAGAIN;
        return -1;
    }
    return behaviour == 1 ? 0 : copy;
}

int __wrap_kill(pid_t pid, int signal_number)
{
    law_signal(pid, signal_number);
    return 0;
}

int __wrap__Z18platform_power_offv()
{
    law_power_off();
    errno = EPERM;
    return choose(point::power) == 0 ? 0 : -1;
}

[[noreturn]] void __wrap__Z22amt_handle_end_servicePSt6atomicImE(pub_util_thread *)
{
    world_end_service();
}
}
