// The ttys of the service as channels: a descriptor that threads share. Each channel is read by one thread and written
// by whichever has something to say; what they write is not ordered.
#pragma once

#include <stddef.h>
#include <stdint.h>
#include <sys/types.h>

#include <atomic>

#include "amt/wire/amt-message.h"

// A channel's descriptor; closed when it is 0 or less.
using amt_channel_fd = std::atomic<int>;

// What a channel holds while it is being opened: it is closed, but not lost.
constexpr int AMT_CHANNEL_OPENING = -1;

inline bool amt_channel_is_open(const amt_channel_fd &channel)
{
    return channel > 0;
}

// Opens a tty read-write, closing first what the channel holds; tries `attempts` times, one second apart, waits in
// which the calling thread can be ended. 0 or the negative code of the open, with the channel closed. One thread at a
// time. A thread that reads the channel meanwhile may be late by one read: of what it took for the channel, or, as the
// new descriptor is the lowest that is free, of the new one.
[[nodiscard]] int32_t amt_channel_open(amt_channel_fd *channel, const char *path, uint32_t attempts);

// Closes a channel, if it is open. Any thread: of several that close it, one does.
void amt_channel_close(amt_channel_fd *channel);

// The last byte of a buffer is left alone: no request is longer than this.
constexpr uint32_t AMT_REQUEST_MAX = AMT_MESSAGE_SIZE - 1;

// Reads once, behind the bytes that the buffer holds (less than AMT_REQUEST_MAX), up to AMT_REQUEST_MAX in all, and
// adds the count to its length. The count, or -1 with errno (EBADF for a closed channel); a wait in which the calling
// thread can be ended.
[[nodiscard]] ssize_t amt_channel_read(int fd, amt_buffer *buffer);

// Writes once. The count, or -1 with errno (EBADF for a closed channel); a wait in which the calling thread can be
// ended.
[[nodiscard]] ssize_t amt_channel_write(int fd, const void *bytes, size_t count);
