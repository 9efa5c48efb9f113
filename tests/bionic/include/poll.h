// Waiting for one of several descriptors.
#pragma once

#include <linux/poll.h>

using nfds_t = unsigned;

extern "C" {
int poll(pollfd *fds, nfds_t count, int milliseconds);
}
