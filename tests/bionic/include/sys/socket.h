// Sockets.
#pragma once

#include <asm/socket.h>
#include <sys/types.h>

#define AF_NETLINK 16
#define SOCK_RAW 3
#define SOCK_CLOEXEC 02000000

using sa_family_t = unsigned short;

struct sockaddr {
    sa_family_t sa_family;
    char sa_data[14];
};

extern "C" {
int bind(int fd, const sockaddr *address, socklen_t size);
int setsockopt(int fd, int level, int option, const void *value, socklen_t size);
int socket(int family, int type, int protocol);
}
