// Descriptors, serial lines and file systems.
#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <sys/statfs.h>
#include <termios.h>
#include <unistd.h>

#include "pub/base/scoped.h"
#include "pub/base/wait.h"
#include "pub/cfg/cfg.h"
#include "pub/util/util.h"

#define LOG_MODULE "kv-zep-pub"
#include "pub/log/log.h"

namespace {

struct speed_row {
    uint32_t up_to; // baud
    speed_t speed;
    const char *name;
};

// clang-format off
constexpr speed_row k_speeds_a[] = {
    {115200,     B115200, "B115200"},
    {230400,     B230400, "B230400"},
    {460800,     B460800, "B460800"},
    {UINT32_MAX, B921600, "B921600"},
};
// clang-format on

speed_t convert_uart_speed(uint32_t baud_rate)
{
    const speed_row *row = k_speeds_a;
    while (baud_rate > row->up_to) {
        row++;
    }
    log_info("convert speed %ld -> %s", static_cast<long>(baud_rate), row->name);
    return row->speed;
}

// A serial line without a carrier keeps its opener waiting: a wait like others.
int open_in_window(const char *path, int flags)
{
    const signal_window window;
    return open(path, flags | O_NOCTTY | O_CLOEXEC);
}

// Opens once; a descriptor of 0 is none of a device's and counts as failure. Returns 0 or errno.
int open_device(const char *path, int flags, int &fd)
{
    const int opened = open_in_window(path, flags);
    if (opened > 0) {
        fd = opened;
        return 0;
    }
    if (opened < 0) {
        return errno;
    }
    (void)close(opened);
    return EBADF;
}

bool is_mounted(const char *path)
{
    const scoped_file mounts(pub_cfg_open("/proc/mounts"));
    if (!mounts.is_open()) {
        return false;
    }
    char line[200];
    uint32_t length = 0;
    int32_t end_of_file = 0;
    while (pub_cfg_get_line(mounts.get(), line, sizeof(line), &length, &end_of_file) == ERR_NONE && end_of_file == 0) {
        if (strstr(line, path) != nullptr) {
            return true;
        }
    }
    return false;
}

uint32_t blocks_to_kib(uint64_t blocks, uint64_t block_size)
{
    return static_cast<uint32_t>((blocks * block_size) >> 10);
}

} // namespace

int32_t pub_util_set_fd_mode(int fd, int32_t is_nonblock_mode)
{
    log_func();
    if (fd < 0) {
        return log_error(ERR_INVALID_PARAM, "%d", fd < 0);
    }
    log_info("pub_util_set_fd_mode fd[%d] is_nonblock_mode[%d]", fd, is_nonblock_mode);
    const int flags = fcntl(fd, F_GETFL);
    if (flags < 0) {
        return log_sys_error("fcntl");
    }
    if (fcntl(fd, F_SETFL, is_nonblock_mode != 0 ? flags | O_NONBLOCK : flags & ~O_NONBLOCK) < 0) {
        return log_sys_error("fcntl");
    }
    log_info("pub_util_set_fd_mode return ERR_NONE");
    return ERR_NONE;
}

void pub_util_set_serial_dev_attr(int fd, uint32_t baud_rate)
{
    log_func();
    if (fd < 0) {
        (void)log_error(ERR_INVALID_PARAM, "%d", fd < 0);
        return;
    }
    termios attributes = {};
    const bool is_read = tcgetattr(fd, &attributes) == 0;
    const speed_t speed = convert_uart_speed(baud_rate);
    if (!is_read) {
        return;
    }
    if (cfsetispeed(&attributes, speed) != 0) {
        (void)log_sys_error("cfsetispeed");
    }
    if (cfsetospeed(&attributes, speed) != 0) {
        (void)log_sys_error("cfsetospeed");
    }
    attributes.c_iflag &= ~static_cast<tcflag_t>(INLCR | ICRNL | IXON);
    attributes.c_oflag &= ~static_cast<tcflag_t>(ONLCR | OCRNL);
    attributes.c_cflag |= CRTSCTS;
    attributes.c_lflag = 0;
    if (tcsetattr(fd, TCSANOW, &attributes) != 0) {
        (void)log_sys_error("tcsetattr");
    }
}

int32_t pub_util_try_to_open_device(int *fd, const char *path, int flags, uint32_t attempts, uint32_t interval_ms)
{
    log_func();
    if (fd == nullptr || path == nullptr || path[0] == '\0') {
        return log_error(ERR_INVALID_PARAM, "%d, %d, %d", fd == nullptr, path == nullptr,
                         path != nullptr && path[0] == '\0');
    }
    if (*fd > 0) {
        (void)close(*fd);
    }
    *fd = 0;
    log_info("begin to check if can open device \"%s\"", path);
    int error = 0;
    for (uint32_t i = 0; i < attempts; i++) {
        log_info("(%ld/%ld)try to open device \"%s\"", static_cast<long>(i), static_cast<long>(attempts), path);
        error = open_device(path, flags, *fd);
        if (error == 0) {
            log_info("open device \"%s\" successfully", path);
            return ERR_NONE;
        }
        (void)log_error(ERR_C_FUNCTION, "open device \"%s\" fail: %d - %s", path, error, error_text(error).c_str());
        pub_util_sleep_ms(interval_ms);
    }
    return log_error(ERR_C_FUNCTION, "open device \"%s\" fail: %d - %s", path, error, error_text(error).c_str());
}

int32_t pub_util_get_mount_fs_info(const char *path, pub_util_fs_info *info)
{
    log_func();
    if (path == nullptr || path[0] == '\0' || info == nullptr) {
        return log_error(ERR_INVALID_PARAM, "%d, %d, %d", path == nullptr, path != nullptr && path[0] == '\0',
                         info == nullptr);
    }
    if (!is_mounted(path)) {
        return log_error(ERR_NOT_FOUND, "file system \"%s\" has not been mounted", path);
    }
    struct statfs system_info = {};
    if (statfs(path, &system_info) != 0) {
        return log_sys_error("statfs");
    }
    const auto block_size = static_cast<uint64_t>(system_info.f_bsize);
    info->m_total_kib = blocks_to_kib(system_info.f_blocks, block_size);
    info->m_used_kib = blocks_to_kib(system_info.f_blocks - system_info.f_bavail, block_size);
    info->m_available_kib = blocks_to_kib(system_info.f_bavail, block_size);
    return ERR_NONE;
}
