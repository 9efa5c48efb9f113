#include "amt/modem/at-channel.h"

#include <errno.h>
#include <poll.h>
#include <string.h>

#include "amt/amt-cfg.h"
#include "amt/run-mode.h"
#include "pub/base/console.h"
#include "pub/base/wait.h"

#define LOG_MODULE "amt/amt-handle"
#include "pub/log/log.h"

namespace {

constexpr uint32_t k_reopen_attempts = 30;

// A hang-up that came before the reading gives nothing, one inside it EIO: for us both are the modem going away.
bool has_hung_up(int fd)
{
    pollfd port = {fd, 0, 0};
    return poll(&port, 1, 0) == 1 && (port.revents & POLLHUP) != 0;
}

ssize_t read_from_port(char *text, uint32_t room)
{
    const int fd = handle_context_st.m_fd_at;
    if (fd <= 0) { // after a failed reopening; it must not pass for standard input
        errno = EBADF;
        return -1;
    }
    const ssize_t count = pub_util_read(fd, text, room);
    if (count == 0 && has_hung_up(fd)) {
        errno = EIO;
        return -1;
    }
    return count;
}

// Of the reports' switching off, only a modem that says nothing counts: it would not answer anything else either.
int32_t reopen_port()
{
    const int32_t result = amt_channel_open(&handle_context_st.m_fd_at, amt_cfg_st.m_tty_at_mux_a, k_reopen_attempts);
    if (result != ERR_NONE) {
        return result;
    }
    return disable_unsolicited_code(handle_context_st.m_fd_at) == ERR_TIMEOUT ? ERR_TIMEOUT : ERR_NONE;
}

int32_t write_after_reopen(const char *text, uint32_t length)
{
    const int32_t result = reopen_port();
    if (result != ERR_NONE) {
        return result;
    }
    const ssize_t written = amt_channel_write(handle_context_st.m_fd_at, text, length);
    log_info("write_at write_len[%d]", static_cast<int>(written));
    return written < static_cast<ssize_t>(length) ? ERR_UNKNOWN : ERR_NONE;
}

int32_t read_after_reopen(char *text, uint32_t room, uint32_t *read_length)
{
    const int32_t result = reopen_port();
    if (result != ERR_NONE) {
        return result;
    }
    const ssize_t count = read_from_port(text, room);
    if (count <= 0) {
        return ERR_UNKNOWN;
    }
    *read_length = static_cast<uint32_t>(count);
    return ERR_NONE;
}

} // namespace

amt_at_record g_at_cmd_buf;
amt_at_record g_at_rsp_buf;

int32_t write_at(const char *text, uint32_t length)
{
    log_func();
    pub_util_print("[%s:L%d]write_at: %s\n", AMT_PROCESS_NAME, __LINE__, text == nullptr ? "(null)" : text);
    if (text == nullptr || length == 0) {
        return log_error(ERR_INVALID_PARAM, "%d, %d", text == nullptr, length == 0);
    }
    const ssize_t written = amt_channel_write(handle_context_st.m_fd_at, text, length);
    const int error = errno;
    pub_util_print("[%s]write_at return:%d\n", AMT_PROCESS_NAME, static_cast<int>(written));
    log_info("write_at write_len[%d]", static_cast<int>(written));
    if (written < 0 && (g_at_dev_not_opened == 1 || error != EIO)) {
        return log_error(ERR_UNKNOWN, "write_at ret_val[%d]", ERR_UNKNOWN);
    }
    if (written < 0) {
        (void)log_error(ERR_C_FUNCTION, "write_at ret_val[%d]", ERR_C_FUNCTION);
        const int32_t result = write_after_reopen(text, length);
        if (result != ERR_NONE) {
            return result;
        }
    }
    log_at(sfw_log_dump::at_send, text, length);
    return ERR_NONE;
}

int32_t read_at(char *text, uint32_t room, uint32_t *read_length)
{
    log_func();
    if (text == nullptr || room == 0 || read_length == nullptr) {
        return log_error(ERR_INVALID_PARAM, "%d, %d, %d", text == nullptr, room == 0, read_length == nullptr);
    }
    *read_length = 0;
    pub_util_print("[%s]read_at\n", AMT_PROCESS_NAME);
    const ssize_t count = read_from_port(text, room);
    const int error = errno;
    const int shown = count < 0 ? 0 : static_cast<int>(count);
    pub_util_print("[%s]read_at return:%.*s\n", AMT_PROCESS_NAME, shown, text);
    log_info("read_at read_len_ptr[%d] buf_ptr[%.*s]", static_cast<int>(count), shown, text);
    if (count >= 0) {
        *read_length = static_cast<uint32_t>(count);
    } else if (error != EIO) {
        return log_error(ERR_UNKNOWN, "read_at ret_val[%d]", ERR_UNKNOWN);
    } else {
        (void)log_error(ERR_C_FUNCTION, "read_at ret_val[%d]", ERR_C_FUNCTION);
        const int32_t result = read_after_reopen(text, room, read_length);
        if (result != ERR_NONE) {
            return result;
        }
    }
    log_at(sfw_log_dump::at_receive, text, *read_length);
    return ERR_NONE;
}
