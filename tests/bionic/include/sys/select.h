// A descriptor that is none, or too high for a set, ends the process: the functions behind these macros look.
#pragma once

#include <sys/time.h>
#include <sys/types.h>

#define FD_SETSIZE 1024

struct fd_set {
    unsigned long fds_bits[FD_SETSIZE / 64];
};

extern "C" {
int __FD_ISSET_chk(int fd, fd_set *set, size_t size); // no const yet
void __FD_SET_chk(int fd, fd_set *set, size_t size);
int select(int count, fd_set *readable, fd_set *writable, fd_set *exceptional, timeval *left);
}

#define FD_ISSET(fd, set) __FD_ISSET_chk(fd, set, sizeof(fd_set))
#define FD_SET(fd, set) __FD_SET_chk(fd, set, sizeof(fd_set))
#define FD_ZERO(set) __builtin_memset(set, 0, sizeof(*(set)))
