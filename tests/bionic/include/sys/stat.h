// What is known of a file.
#pragma once

#include <linux/stat.h>
#include <sys/types.h>
#include <time.h>

struct stat {
    unsigned long st_dev;
    unsigned long st_ino;
    mode_t st_mode;
    unsigned st_nlink;
    uid_t st_uid;
    gid_t st_gid;
    unsigned long st_rdev;
    unsigned long reserved;
    long st_size;
    int st_blksize;
    int reserved_2;
    long st_blocks;
    timespec st_atim;
    timespec st_mtim;
    timespec st_ctim;
    unsigned reserved_3[2];
};

extern "C" {
int chmod(const char *path, mode_t mode);
int fchmod(int fd, mode_t mode);
int fstat(int fd, struct stat *information);
int lstat(const char *path, struct stat *information);
int mkdir(const char *path, mode_t mode);
int stat(const char *path, struct stat *information);
}
