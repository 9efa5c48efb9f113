#include "tests/unit/pub/pty_fixture.h"

#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <termios.h>
#include <unistd.h>

#include <fstream>

pty_fakes g_fake;

static bool fails(const char *call, int error)
{
    if (g_fake.failing != call) {
        return false;
    }
    errno = error;
    return true;
}

extern "C" {

int __real_open(const char *path, int flags, mode_t mode);
int __wrap_open(const char *path, int flags, mode_t mode)
{
    if (strcmp(path, "/dev/ptmx") == 0) {
        g_fake.open_flags = flags;
        if (fails("open", ENOSPC)) {
            return -1;
        }
    }
    return __real_open(path, flags, mode);
}

char *__real_ptsname(int fd);
char *__wrap_ptsname(int fd)
{
    if (fails("ptsname", ENOTTY)) {
        return nullptr;
    }
    return g_fake.pts_name.empty() ? __real_ptsname(fd) : g_fake.pts_name.data();
}

int __real_symlink(const char *target, const char *path);
int __wrap_symlink(const char *target, const char *path)
{
    return fails("symlink", EACCES) ? -1 : __real_symlink(target, path);
}

int __real_chmod(const char *path, mode_t mode);
int __wrap_chmod(const char *path, mode_t mode)
{
    return fails("chmod", EPERM) ? -1 : __real_chmod(path, mode);
}

int __real_chown(const char *path, uid_t user, gid_t group);
int __wrap_chown(const char *path, uid_t user, gid_t group)
{
    g_fake.chown_path = path;
    g_fake.chown_user = user;
    g_fake.chown_group = group;
    if (fails("chown", EPERM)) {
        return -1;
    }
    return g_fake.chown_is_faked ? 0 : __real_chown(path, user, group);
}

int __real_tcgetattr(int fd, termios *attributes);
int __wrap_tcgetattr(int fd, termios *attributes)
{
    return fails("tcgetattr", EIO) ? -1 : __real_tcgetattr(fd, attributes);
}

int __real_tcsetattr(int fd, int when, const termios *attributes);
int __wrap_tcsetattr(int fd, int when, const termios *attributes)
{
    EXPECT_EQ(when, TCSANOW);
    return fails("tcsetattr", EIO) ? -1 : __real_tcsetattr(fd, when, attributes);
}

int __real_grantpt(int fd);
int __wrap_grantpt(int fd)
{
    return fails("grantpt", EACCES) ? -1 : __real_grantpt(fd);
}

int __real_unlockpt(int fd);
int __wrap_unlockpt(int fd)
{
    return fails("unlockpt", EINVAL) ? -1 : __real_unlockpt(fd);
}

int __real_unlink(const char *path);
int __wrap_unlink(const char *path)
{
    return fails("unlink", EROFS) ? -1 : __real_unlink(path);
}

int __real_fcntl(int fd, int command, long argument);
int __wrap_fcntl(int fd, int command, long argument)
{
    return command == F_SETFL && fails("fcntl", EBADF) ? -1 : __real_fcntl(fd, command, argument);
}
}

bool can_give_away()
{
    const int master = __real_open("/dev/ptmx", O_RDWR | O_NOCTTY | O_CLOEXEC, 0);
    const char *slave = __real_ptsname(master);
    const bool can = slave != nullptr && __real_chown(slave, 1000, 1001) == 0;
    (void)close(master);
    return can;
}

int count_masters()
{
    int count = 0;
    for (const auto &entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code error;
        const std::string target = std::filesystem::read_symlink(entry.path(), error);
        count += target.size() >= 4 && target.compare(target.size() - 4, 4, "ptmx") == 0 ? 1 : 0;
    }
    return count;
}

void make_file(const std::string &path)
{
    std::ofstream(path) << "stale";
}

void make_link(const std::string &path)
{
    std::filesystem::create_symlink("/dev/null", path);
}

void make_dangling_link(const std::string &path)
{
    std::filesystem::create_symlink("/dev/pts/no-such-slave", path);
}
