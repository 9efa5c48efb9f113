// Descriptors: how they are opened and set.
#pragma once

#include <linux/fcntl.h>
#include <sys/types.h>

extern "C" {
int fcntl(int fd, int command, ...);
int open(const char *path, int flags, ...);
}
