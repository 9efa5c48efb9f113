#include "tests/unit/amt/channel_fakes.h"

#include <errno.h>
#include <gtest/gtest.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>

#include "amt/wire/amt-convert.h"
#include "pub/log/errors.h"

channel_fakes g_fake;
noting_handler g_handler;

namespace {

template <typename type>
bool take(std::deque<type> &queue, type &next)
{
    if (queue.empty()) {
        return false;
    }
    next = queue.front();
    queue.pop_front();
    return true;
}

void prepare(const char *what)
{
    g_fake.prepared.emplace_back(what);
    if (g_fake.on_prepare) {
        g_fake.on_prepare();
    }
}

} // namespace

extern "C" {

ssize_t __wrap__Z13pub_util_readiPvm(int, void *bytes, size_t room)
{
    if (g_fake.on_read) {
        g_fake.on_read();
    }
    g_fake.rooms.push_back(room);
    io_result next = failed(EBADF);
    (void)take(g_fake.reads, next);
    memcpy(bytes, next.bytes.data(), std::min(room, next.bytes.size()));
    errno = next.error;
    return next.count;
}

ssize_t __wrap__Z14pub_util_writeiPKvm(int fd, const void *bytes, size_t count)
{
    g_fake.sent.push_back({fd, std::string(static_cast<const char *>(bytes), count)});
    io_result next = {static_cast<ssize_t>(count), 0, ""};
    (void)take(g_fake.writes, next);
    errno = next.error;
    return next.count;
}

int32_t __wrap__Z27pub_util_try_to_open_devicePiPKcijj(int *fd, const char *path, int flags, uint32_t attempts,
                                                       uint32_t interval_ms)
{
    g_fake.open_calls.push_back(std::string(path) + ", " + std::to_string(flags) + ", " + std::to_string(attempts) +
                                ", " + std::to_string(interval_ms));
    if (g_fake.on_open) {
        g_fake.on_open();
    }
    *fd = 0;
    (void)take(g_fake.opened, *fd);
    return *fd > 0 ? ERR_NONE : ERR_C_FUNCTION;
}

int32_t __wrap__Z12pub_pty_openP7pub_pty(pub_pty *pty)
{
    int32_t result = ERR_NONE;
    (void)take(g_fake.pty_opened, result);
    pty->m_ptm_fd = result == ERR_NONE ? k_fd_app : -1;
    return result;
}

int32_t __wrap__Z13pub_pty_closeP7pub_pty(pub_pty *pty)
{
    g_fake.pty_closings++;
    pty->m_ptm_fd = -1;
    return ERR_NONE;
}

void __wrap__Z17pub_util_sleep_msj(uint32_t milliseconds)
{
    g_fake.slept_ms.push_back(milliseconds);
    if (g_fake.on_sleep) {
        g_fake.on_sleep();
    }
}

void __wrap__Z22pub_util_sleep_secondsj(uint32_t seconds)
{
    g_fake.slept_seconds.push_back(seconds);
}

int __wrap__Z21pub_util_start_threadPSt6atomicImEPFvvE(pub_util_thread *handle, void (*body)())
{
    if (g_fake.on_thread) {
        g_fake.on_thread();
    }
    if (g_fake.thread_fails_at > 0 && --g_fake.thread_fails_at == 0) {
        return EAGAIN;
    }
    g_fake.started.push_back(body);
    handle->store(pthread_self()); // there, and never to be signalled
    return 0;
}

void __wrap__Z28pub_util_set_serial_dev_attrij(int fd, uint32_t baud_rate)
{
    g_fake.lines.push_back(std::to_string(fd) + ", " + std::to_string(baud_rate));
}

int32_t __wrap__Z24disable_unsolicited_codei(int)
{
    g_fake.disable_calls++;
    return g_fake.disable_result;
}

int32_t __wrap__Z15amt_make_folderPKc(const char *path)
{
    prepare(path);
    return g_fake.folder_result;
}

int32_t __wrap__Z28amt_write_wifi_to_nvram_filev()
{
    prepare("WiFi parameters");
    return g_fake.wifi_result;
}

int32_t __wrap__Z26handle_amt_imei_and_sn_rspPK10amt_buffer(const amt_buffer *answer)
{
    g_fake.confirming.emplace_back(reinterpret_cast<const char *>(answer->m_data_a), answer->m_length);
    if (g_fake.on_confirming) {
        g_fake.on_confirming();
    }
    return g_fake.confirming_result;
}

int __wrap__Z18platform_power_offv()
{
    g_fake.power_offs++;
    return 0;
}

void __wrap__Z22amt_handle_end_servicePSt6atomicImE(pub_util_thread *own_handle)
{
    g_fake.ended_by = own_handle;
    std::longjmp(g_fake.end, 1);
}
}

int32_t handler(uint8_t channel, const amt_buffer *request, amt_buffer *response)
{
    EXPECT_EQ(channel, g_handler.channel);
    EXPECT_EQ(response, &handle_context_st.m_response);
    g_handler.handled.emplace_back(reinterpret_cast<const char *>(request->m_data_a), request->m_length);
    return g_handler.result;
}

void open_channels()
{
    g_fake = {};
    amt_context_clear();
    handle_context_st.m_fd_pc = k_fd_pc;
    handle_context_st.m_fd_modem = k_fd_modem;
    handle_context_st.m_pty.m_ptm_fd = k_fd_app;
}

bool runs_until_end(void (*body)())
{
    if (setjmp(g_fake.end) == 0) {
        body();
        return false;
    }
    return true;
}

std::string bare(uint8_t id, const std::function<void(uint8_t *)> &append)
{
    amt_buffer buffer = {};
    amt_message_init(buffer.m_data_a, id);
    if (append) {
        append(buffer.m_data_a);
    }
    return {reinterpret_cast<const char *>(buffer.m_data_a), amt_message_get_total_length(buffer.m_data_a)};
}

std::string enveloped(uint8_t id, const std::function<void(uint8_t *)> &append)
{
    amt_buffer buffer = {};
    const std::string message = bare(id, append);
    memcpy(buffer.m_data_a, message.data(), message.size());
    (void)amt_convert_app_2_pc(&buffer);
    return {reinterpret_cast<const char *>(buffer.m_data_a), buffer.m_length};
}

std::string enveloped_result(uint8_t id, uint32_t code)
{
    return enveloped(id, [code](uint8_t *message) { (void)amt_message_append_int(message, 1, code); });
}

std::string bare_result(uint8_t id, uint32_t code)
{
    return bare(id, [code](uint8_t *message) { (void)amt_message_append_int(message, 1, code); });
}
