#include "amt/channels/modem-port.h"

#include <errno.h>
#include <string.h>

#include "amt/amt-cfg.h"
#include "pub/base/wait.h"

#define LOG_MODULE "amt/amt-handle"
#include "pub/log/log.h"

namespace {

constexpr char k_serial_prefix[] = "/dev/ttyS";
constexpr uint32_t k_failed_write_pause_ms = 20;

int32_t handle_failed_write(int error)
{
    if (error == EIO || error == EBADF) {
        (void)log_error(ERR_C_FUNCTION, "write error 1, errno[%d]", error);
        return amt_open_modem_port();
    }
    return log_error(ERR_UNKNOWN, "write error 2, errno[%d]", error);
}

} // namespace

int32_t amt_open_modem_port()
{
    const int32_t result =
        amt_channel_open(&handle_context_st.m_fd_modem, amt_cfg_st.m_tty_modem_a, AMT_MODEM_OPEN_ATTEMPTS);
    log_info("pub_util_try_to_open_device, handle_context_st.m_fd_modem  = %d, amt_cfg_st.m_tty_modem_a = %s\n",
             handle_context_st.m_fd_modem.load(), amt_cfg_st.m_tty_modem_a);
    if (amt_channel_is_open(handle_context_st.m_fd_modem)) {
        amt_set_modem_line(amt_cfg_st.m_modem_uart_amt_baudrate);
    }
    return result;
}

void amt_set_modem_line(int32_t baud_rate)
{
    const int fd = handle_context_st.m_fd_modem; // the modem reader may be closing it
    if (fd > 0 && strncmp(amt_cfg_st.m_tty_modem_a, k_serial_prefix, sizeof(k_serial_prefix) - 1) == 0) {
        pub_util_set_serial_dev_attr(fd, static_cast<uint32_t>(baud_rate));
    }
}

int32_t amt_forward_to_modem(const amt_buffer &request)
{
    const ssize_t written = amt_channel_write(handle_context_st.m_fd_modem, request.m_data_a, request.m_length);
    const int error = errno;
    if (written == static_cast<ssize_t>(request.m_length)) {
        log_data("write to modem: ", request.m_data_a, request.m_length);
        return ERR_NONE;
    }
    const int32_t result = written < 0 ? handle_failed_write(error) : ERR_UNKNOWN;
    pub_util_sleep_ms(k_failed_write_pause_ms);
    return result;
}
