// Serial lines. At this level the C library has no functions for them: its headers hold them, and they ask the driver.
#pragma once

#include <asm/termios.h>
#include <sys/ioctl.h>

static inline int tcgetattr(int fd, termios *attributes)
{
    return ioctl(fd, TCGETS, attributes);
}

// At once (TCSANOW), or behind what is still to be written, which may be lost, too.
static inline int tcsetattr(int fd, int when, const termios *attributes)
{
    return ioctl(fd, TCSETS + when - TCSANOW, attributes);
}

static inline int cfsetispeed(termios *attributes, speed_t speed)
{
    attributes->c_cflag = (attributes->c_cflag & ~static_cast<tcflag_t>(CBAUD)) | (speed & CBAUD);
    return 0;
}

static inline int cfsetospeed(termios *attributes, speed_t speed)
{
    return cfsetispeed(attributes, speed);
}
