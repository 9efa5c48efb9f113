// The system's calls.
#pragma once

#include <sys/types.h>

#define STDIN_FILENO 0
#define STDOUT_FILENO 1
#define STDERR_FILENO 2

#define F_OK 0
#define W_OK 2
#define R_OK 4

#define SEEK_SET 0
#define SEEK_END 2

extern "C" {
[[noreturn]] void _exit(int status);
int access(const char *path, int mode);
int chown(const char *path, uid_t user, gid_t group);
int close(int fd);
int dup2(int from, int to);
int execl(const char *path, const char *word, ...) __attribute__((sentinel));
pid_t fork();
int ftruncate(int fd, off_t length);
int getopt(int count, char *const words[], const char *options);
pid_t getpid();
pid_t gettid();
off_t lseek(int fd, off_t offset, int whence);
int pause();
ssize_t pwrite(int fd, const void *bytes, size_t count, off_t offset);
ssize_t read(int fd, void *bytes, size_t count);
int symlink(const char *target, const char *path);
int unlink(const char *path);
ssize_t write(int fd, const void *bytes, size_t count);
extern int optind;
}
