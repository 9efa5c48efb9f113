// See pty.h. Whether the path is there is asked of the link itself: one that leads nowhere must be removed as well.
#include "pub/pty/pty.h"

#include <fcntl.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "pub/util/util.h"

#define LOG_MODULE "kv-zep-pub"
#include "pub/log/log.h"

namespace {

constexpr mode_t k_mode = 0660;
constexpr uid_t k_system_user = 1000;
constexpr gid_t k_radio_group = 1001;

bool exists(const char *path)
{
    struct stat ignored = {};
    return lstat(path, &ignored) == 0;
}

int32_t get_pts_name(pub_pty *pty)
{
    // NOLINTNEXTLINE(concurrency-mt-unsafe): no other thread asks for the name of a slave
    const char *name = ptsname(pty->m_ptm_fd);
    log_info("create_pts_mapping pts_name_ptr[%s]", name != nullptr ? name : "(null)");
    if (name == nullptr) {
        return log_sys_error("ptsname");
    }
    constexpr size_t longest = sizeof(pty->m_pts_name_a) - 1;
    size_t length = strlen(name);
    if (length > longest) {
        log_warning("[PTY]%d > %d", static_cast<int>(length), static_cast<int>(longest));
        length = longest;
    }
    memset(pty->m_pts_name_a, 0, sizeof(pty->m_pts_name_a));
    memcpy(pty->m_pts_name_a, name, length);
    log_info("create_pts_mapping m_pts_name_a[%s] ret_val[%d]", pty->m_pts_name_a, ERR_NONE);
    return ERR_NONE;
}

int32_t replace_link(const pub_pty *pty)
{
    const char *path = pty->m_pts_mapping_name_a;
    int result = unlink(path);
    log_info("create_pts_mapping unlink(%s) ret_val[%d]", path, result);
    if (result == 0) {
        log_info("create_pts_mapping \"%s\" %s", path, exists(path) ? "exists" : "not exists");
    }
    result = symlink(pty->m_pts_name_a, path);
    log_info("create_pts_mapping symlink(%s, %s) ret_val[%d]", pty->m_pts_name_a, path, result);
    if (result != 0) {
        (void)log_sys_error("symlink");
        return log_error(ERR_C_FUNCTION, "[PTY]map %s -> %s failed", path, pty->m_pts_name_a);
    }
    return ERR_NONE;
}

// Mode and owner of the slave, through the link. The owner is set also when the mode could not be.
int32_t give_slave_away(const pub_pty *pty)
{
    const char *path = pty->m_pts_mapping_name_a;
    int32_t code = ERR_NONE;
    int result = chmod(path, k_mode);
    log_info("create_pts_mapping chmod(%s, %d) ret_val[%d]", path, static_cast<int>(k_mode), result);
    if (result != 0) {
        code = log_sys_error("chmod");
    }
    result = chown(path, k_system_user, k_radio_group);
    log_info("create_pts_mapping chown(%s, %d, %d) ret_val[%d]", path, static_cast<int>(k_system_user),
             static_cast<int>(k_radio_group), result);
    if (result != 0) {
        code = log_sys_error("chown");
    }
    return code;
}

int32_t create_pts_mapping(pub_pty *pty)
{
    log_func();
    const bool has_no_path = pty->m_pts_mapping_name_a[0] == '\0';
    if (has_no_path) { // the record and its master are there: this is called behind their opening only
        return log_error(ERR_INVALID_PARAM, "[PTY]%d, %d, %d", 0, 0, has_no_path);
    }
    int32_t code = get_pts_name(pty);
    if (code == ERR_NONE) {
        code = replace_link(pty);
    }
    if (code == ERR_NONE) {
        code = give_slave_away(pty);
    }
    log_info("create_pts_mapping m_pts_mapping_name_a[%s] ret_val[%d]", pty->m_pts_mapping_name_a, code);
    if (code != ERR_NONE) {
        (void)pub_pty_delete_mapping(pty);
    }
    return code;
}

// Bytes pass as they are, both ways.
void make_raw(termios &attributes)
{
    attributes.c_iflag = 0;
    attributes.c_oflag &= ~static_cast<tcflag_t>(OPOST | OLCUC | OCRNL | ONOCR | ONLRET);
    attributes.c_lflag &= ~static_cast<tcflag_t>(ISIG | ICANON | ECHO | ECHOE);
}

int32_t set_ptm_attr(int fd, termios &attributes)
{
    log_func();
    log_info("set_ptm_attr fd[%d]", fd);
    int result = tcgetattr(fd, &attributes);
    log_info("set_ptm_attr tcgetattr(%d) ret_val[%d]", fd, result);
    if (result != 0) {
        return log_sys_error("tcgetattr");
    }
    make_raw(attributes);
    result = tcsetattr(fd, TCSANOW, &attributes);
    log_info("set_ptm_attr tcsetattr(%d) ret_val[%d]", fd, result);
    if (result != 0) {
        return log_sys_error("tcsetattr");
    }
    result = grantpt(fd);
    log_info("set_ptm_attr grantpt(%d) ret_val[%d]", fd, result);
    if (result != 0) {
        return log_sys_error("grantpt");
    }
    result = unlockpt(fd);
    log_info("set_ptm_attr unlockpt(%d) ret_val[%d]", fd, result);
    if (result != 0) {
        return log_sys_error("unlockpt");
    }
    log_info("set_ptm_attr fd[%d] ret_val[%d]", fd, ERR_NONE);
    return ERR_NONE;
}

int32_t open_master(pub_pty *pty)
{
    pty->m_ptm_fd = open("/dev/ptmx", O_RDWR | O_NOCTTY | O_CLOEXEC);
    log_info("pub_pty_open m_ptm_fd[%d]", pty->m_ptm_fd);
    return pty->m_ptm_fd < 0 ? log_sys_error("open") : ERR_NONE;
}

// What makes an open master a port.
int32_t set_up(pub_pty *pty)
{
    int32_t code = create_pts_mapping(pty);
    if (code == ERR_NONE) {
        code = set_ptm_attr(pty->m_ptm_fd, pty->m_attributes);
    }
    if (code == ERR_NONE && pty->m_is_nonblock_mode != 0) {
        code = pub_util_set_fd_mode(pty->m_ptm_fd, pty->m_is_nonblock_mode);
    }
    return code;
}

} // namespace

int32_t pub_pty_open(pub_pty *pty)
{
    log_func();
    if (pty == nullptr) {
        return log_error(ERR_INVALID_PARAM, "[PTY]%d", pty == nullptr);
    }
    log_info("pub_pty_open m_ptm_fd[%d]", pty->m_ptm_fd);
    int32_t code = pty->m_ptm_fd > 0 ? pub_pty_close(pty) : ERR_NONE;
    if (code != ERR_NONE) {
        return code; // still open: another master in its place would leak it
    }
    code = open_master(pty);
    if (code != ERR_NONE) {
        return code;
    }
    code = set_up(pty);
    if (code != ERR_NONE) {
        (void)pub_pty_close(pty);
        return code;
    }
    log_info("pub_pty_open \"%s\" %s", pty->m_pts_mapping_name_a,
             exists(pty->m_pts_mapping_name_a) ? "exists" : "not exists");
    log_info("pub_pty_open m_ptm_fd[%d]; m_pts_name_a[%s] m_pts_mapping_name_a[%s]", pty->m_ptm_fd, pty->m_pts_name_a,
             pty->m_pts_mapping_name_a);
    return ERR_NONE;
}

int32_t pub_pty_close(pub_pty *pty)
{
    log_func();
    if (pty == nullptr || pty->m_ptm_fd < 0) {
        (void)log_error(ERR_INVALID_PARAM, "%d, %d", pty == nullptr, pty != nullptr && pty->m_ptm_fd < 0);
        return -1;
    }
    const int32_t code = pub_pty_delete_mapping(pty);
    log_info("pub_pty_close pub_pty_delete_mapping ret_val[%d]", code);
    if (code != ERR_NONE) {
        return code;
    }
    memset(pty->m_pts_name_a, 0, sizeof(pty->m_pts_name_a));
    if (pty->m_ptm_fd > 0) { // 0 is no pseudo-terminal, but a record that was never opened
        (void)close(pty->m_ptm_fd);
    }
    pty->m_ptm_fd = -1;
    return ERR_NONE;
}

int32_t pub_pty_delete_mapping(pub_pty *pty)
{
    log_func();
    if (pty == nullptr) {
        return log_error(ERR_INVALID_PARAM, "[PTY]%d", pty == nullptr);
    }
    const char *path = pty->m_pts_mapping_name_a;
    if (!exists(path)) {
        log_warning("pub_pty_delete_mapping \"%s\" does not exist", path);
        return ERR_NONE;
    }
    const int result = unlink(path);
    log_info("pub_pty_delete_mapping unlink(%s) ret_val[%d]", path, result);
    return result != 0 ? log_sys_error("unlink") : ERR_NONE;
}
