#include "tests/unit/amt/port_fakes.h"

#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <string.h>
#include <sys/select.h>
#include <unistd.h>

#include <algorithm>

#include "amt/amt-cfg.h"
#include "amt/core/context.h"

port_fakes g_fake;

namespace {

template <typename type>
type take(std::deque<type> &queue, const type &otherwise)
{
    if (queue.empty()) {
        return otherwise;
    }
    type next = queue.front();
    queue.pop_front();
    return next;
}

bool is_port(int fd)
{
    g_fake.is_standard_input_used |= fd == STDIN_FILENO;
    return g_fake.descriptors.count(fd) != 0;
}

ssize_t fail(int error)
{
    errno = error;
    return -1;
}

void pass(const timespec &time)
{
    g_fake.clock.tv_sec += time.tv_sec;
    g_fake.clock.tv_nsec += time.tv_nsec;
}

int count_in(const fd_set &set)
{
    int count = 0;
    for (int fd = 0; fd < FD_SETSIZE; fd++) {
        count += FD_ISSET(fd, &set) ? 1 : 0;
    }
    return count;
}

// Of the set that is waited for; there is one at a time.
int wait_for(int fd, fd_set *waited, timeval *left, const waiting &result)
{
    g_fake.time_outs.push_back(*left);
    EXPECT_TRUE(FD_ISSET(fd, waited) && count_in(*waited) == 1) << "the port alone is waited for";
    if (result.ready < 0) {
        return static_cast<int>(fail(result.error));
    }
    pass(result.passes);
    if (result.ready == 0) {
        *left = result.leaves.value_or(timeval{0, 0});
    }
    if (result.ready == 0 || !result.is_in_set) {
        FD_ZERO(waited);
    }
    return result.ready;
}

waiting usual_wait(bool is_ready, const timeval &left)
{
    waiting result;
    result.ready = is_ready ? 1 : 0;
    result.passes = {is_ready ? 0 : left.tv_sec, is_ready ? 0 : left.tv_usec * 1000};
    return result;
}

} // namespace

extern "C" {

ssize_t __real_read(int fd, void *bytes, size_t room);
ssize_t __wrap_read(int fd, void *bytes, size_t room)
{
    if (!is_port(fd)) {
        return __real_read(fd, bytes, room);
    }
    g_fake.rooms.push_back(room);
    const reading next = take(g_fake.readings, {"", EAGAIN});
    if (next.error != 0) {
        return fail(next.error);
    }
    const size_t count = std::min(room, next.bytes.size());
    memcpy(bytes, next.bytes.data(), count);
    if (count < next.bytes.size()) {
        g_fake.readings.push_front({next.bytes.substr(count), 0}); // what there was no room for comes next
    }
    return static_cast<ssize_t>(count);
}

ssize_t __real_write(int fd, const void *bytes, size_t count);
ssize_t __wrap_write(int fd, const void *bytes, size_t count)
{
    if (g_fake.files.count(fd) != 0) {
        const writing next = take(g_fake.file_writings, {});
        return next.error != 0 ? fail(next.error) : __real_write(fd, bytes, std::min(count, next.at_most));
    }
    if (!is_port(fd)) {
        return __real_write(fd, bytes, count);
    }
    g_fake.written.emplace_back(static_cast<const char *>(bytes), count);
    const writing next = take(g_fake.writings, {});
    return next.error != 0 ? fail(next.error) : static_cast<ssize_t>(std::min(count, next.at_most));
}

int __real_poll(pollfd *ports, nfds_t count, int time_out_ms);
int __wrap_poll(pollfd *ports, nfds_t count, int time_out_ms)
{
    if (count != 1 || !is_port(ports->fd)) {
        return __real_poll(ports, count, time_out_ms);
    }
    EXPECT_EQ(time_out_ms, 0) << "a look, no wait";
    ports->revents = g_fake.has_hung_up ? POLLIN | POLLHUP : 0;
    return g_fake.has_hung_up ? 1 : 0;
}

int __wrap_select(int count, fd_set *readable, fd_set *writable, fd_set *, timeval *left)
{
    EXPECT_TRUE(is_port(count - 1)) << "not the port: " << count - 1;
    const bool is_reading = readable != nullptr;
    EXPECT_NE(is_reading, writable != nullptr) << "one direction at a time";
    const waiting usual = usual_wait(!is_reading || !g_fake.readings.empty(), *left);
    return wait_for(count - 1, is_reading ? readable : writable, left,
                    take(is_reading ? g_fake.read_waits : g_fake.write_waits, usual));
}

int __real_open(const char *path, int flags, mode_t mode);
int __wrap_open(const char *path, int flags, mode_t mode)
{
    if (strcmp(path, k_port_path) != 0) {
        const std::string real = real_path(path);
        const int fd = __real_open(real.c_str(), flags, mode);
        if (fd >= 0 && real != path) {
            g_fake.files.insert(fd);
        }
        return fd;
    }
    g_fake.opening_flags.push_back(flags);
    const int error = take(g_fake.openings, 0);
    if (error != 0) {
        return static_cast<int>(fail(error));
    }
    const int fd = __real_open("/dev/null", flags, mode);
    g_fake.descriptors.insert(fd);
    return fd;
}

int __real_close(int fd);
int __wrap_close(int fd)
{
    g_fake.descriptors.erase(fd);
    g_fake.files.erase(fd);
    return __real_close(fd);
}

int __real_clock_gettime(clockid_t clock, timespec *now);
int __wrap_clock_gettime(clockid_t clock, timespec *now)
{
    if (clock != CLOCK_REALTIME) {
        return __real_clock_gettime(clock, now);
    }
    *now = g_fake.clock;
    return 0;
}

int __wrap__Z18pub_util_run_shellPKc(const char *command)
{
    g_fake.shell_commands.emplace_back(command);
    if (g_fake.on_command) {
        g_fake.on_command(command);
    }
    return 0;
}

void __wrap__Z17pub_util_sleep_msj(uint32_t milliseconds)
{
    g_fake.pauses.push_back(milliseconds);
    if (g_fake.on_pause) {
        g_fake.on_pause();
    }
}
}

std::string real_path(const std::string &path)
{
    const std::string folder = "/amt";
    const bool is_inside = path == folder || path.compare(0, folder.size() + 1, folder + "/") == 0;
    return is_inside ? g_fake.amt_folder + path.substr(folder.size()) : path;
}

int open_port()
{
    g_at_dev_not_opened = 0;
    memcpy(amt_cfg_st.m_tty_at_mux_a, k_port_path, sizeof(k_port_path));
    const int fd = open(k_port_path, O_RDWR);
    g_fake.opening_flags.clear();
    handle_context_st.m_fd_at = fd;
    return fd;
}

void modem_says(const std::vector<std::string> &texts)
{
    for (const std::string &text : texts) {
        g_fake.readings.push_back({text, 0});
    }
}

void fail_read(int error)
{
    g_fake.readings.push_back({"", error});
}

void fail_write(int error)
{
    g_fake.writings.push_back({0, error});
}

std::string output_of(const std::function<void()> &call)
{
    testing::internal::CaptureStdout();
    call();
    return testing::internal::GetCapturedStdout();
}

full_console::full_console()
    : m_before(dup(STDOUT_FILENO))
{
    const int full = open("/dev/full", O_WRONLY);
    (void)dup2(full, STDOUT_FILENO);
    (void)close(full);
}

full_console::~full_console()
{
    (void)dup2(m_before, STDOUT_FILENO);
    (void)close(m_before);
}
