// The request is an int, or unsigned where the headers know the kernel's macros; never as long as those.
#pragma once

#include <asm/ioctls.h>
#include <linux/ioctl.h>

extern "C" {
int ioctl(int fd, int request, ...);
}
int ioctl(int fd, unsigned request, ...) __attribute__((enable_if(1, ""))) __asm__("ioctl");
