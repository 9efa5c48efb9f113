#include "pub/base/file.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

bool is_file_or_folder(int fd)
{
    struct stat info = {};
    return fstat(fd, &info) == 0 && (S_ISREG(info.st_mode) || S_ISDIR(info.st_mode));
}

// What is there stays as it is: it is emptied by whoever has made sure of all else.
int open_kept(const char *path, int flags)
{
    flags &= ~O_TRUNC;
    const int fd = open(path, flags | O_CLOEXEC | O_NOCTTY | O_NONBLOCK, 0666);
    if (fd >= 0 && !is_file_or_folder(fd)) {
        (void)close(fd); // nothing was written
        errno = EINVAL;
        return -1;
    }
    if (fd >= 0) {
        (void)fcntl(fd, F_SETFL, flags); // for the kernel's files: their drivers are to be waited for
    }
    return fd;
}

bool empty_if_asked(int fd, int flags)
{
    return (flags & O_TRUNC) == 0 || ftruncate(fd, 0) == 0;
}

} // namespace

int pub_util_open_file(const char *path, int flags)
{
    const int fd = open_kept(path, flags);
    if (fd >= 0 && !empty_if_asked(fd, flags)) {
        const int error = errno;
        (void)close(fd); // nothing was written
        errno = error;
        return -1;
    }
    return fd;
}

FILE *pub_util_open_stream(const char *path, int flags, const char *mode)
{
    const int fd = open_kept(path, flags);
    if (fd < 0) {
        return nullptr;
    }
    FILE *file = fdopen(fd, mode);
    if (file == nullptr || !empty_if_asked(fd, flags)) {
        const int error = errno;
        (void)(file != nullptr ? fclose(file) : close(fd)); // nothing was written
        errno = error;
        return nullptr;
    }
    return file;
}
