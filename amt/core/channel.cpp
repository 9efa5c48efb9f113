#include "amt/core/channel.h"

#include <errno.h>
#include <fcntl.h>
#include <unistd.h>

#include "pub/base/wait.h"
#include "pub/util/util.h"

namespace {

constexpr uint32_t k_open_interval_ms = 1000;

// Where a closed channel's descriptor would name somebody else's file, nothing is read or written.
ssize_t fail_as_closed()
{
    errno = EBADF;
    return -1;
}

} // namespace

int32_t amt_channel_open(amt_channel_fd *channel, const char *path, uint32_t attempts)
{
    int fd = channel->exchange(AMT_CHANNEL_OPENING);
    const int32_t result = pub_util_try_to_open_device(&fd, path, O_RDWR, attempts, k_open_interval_ms);
    channel->store(fd);
    return result;
}

void amt_channel_close(amt_channel_fd *channel)
{
    const int fd = channel->exchange(0);
    if (fd > 0) {
        (void)close(fd); // nothing to be done about it here
    }
}

ssize_t amt_channel_read(int fd, amt_buffer *buffer)
{
    if (fd <= 0) {
        return fail_as_closed();
    }
    const ssize_t count = pub_util_read(fd, buffer->m_data_a + buffer->m_length, AMT_REQUEST_MAX - buffer->m_length);
    if (count > 0) {
        buffer->m_length += static_cast<uint32_t>(count);
    }
    return count;
}

ssize_t amt_channel_write(int fd, const void *bytes, size_t count)
{
    return fd <= 0 ? fail_as_closed() : pub_util_write(fd, bytes, count);
}
