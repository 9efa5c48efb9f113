// The relay from the modem to the station. It is transparent: bytes go on as they came, in the chunks in which they
// came.
#include "amt/channels/modem-reader.h"

#include <errno.h>

#include "amt/channels/handshake.h"
#include "amt/channels/release.h"
#include "amt/core/context.h"
#include "amt/identity/identity-writes.h"
#include "amt/run-mode.h"
#include "pub/base/wait.h"

#define LOG_MODULE "amt/amt-handle"
#include "pub/log/log.h"

namespace {

constexpr uint32_t k_empty_pause_ms = 100;

// A modem that is being reopened is not lost.
bool are_channels_left()
{
    const int fd_modem = handle_context_st.m_fd_modem;
    return amt_channel_is_open(handle_context_st.m_fd_pc) && (fd_modem > 0 || fd_modem == AMT_CHANNEL_OPENING);
}

// False when the station did not take all of it.
bool write_to_pc(const amt_buffer &relay)
{
    const ssize_t written = amt_channel_write(handle_context_st.m_fd_pc, relay.m_data_a, relay.m_length);
    const int error = errno;
    log_info("write to pc, m_buf_len=%d, write_len=%d", static_cast<int>(relay.m_length), static_cast<int>(written));
    if (written < 0) {
        (void)log_error(ERR_C_FUNCTION, "write error, errno[%d]", error);
    }
    return written == static_cast<ssize_t>(relay.m_length);
}

// False when the station is lost.
bool relay_once(amt_buffer &relay)
{
    log_info("read_modem_loop, read ready, m_fd_modem=%d", handle_context_st.m_fd_modem.load());
    if (amt_channel_read(handle_context_st.m_fd_modem, &relay) <= 0) {
        log_warning("modem read empty data");
        pub_util_sleep_ms(k_empty_pause_ms);
        return true;
    }
    log_data("receive Modem data: ", relay.m_data_a, relay.m_length);
    (void)handle_amt_imei_and_sn_rsp(&relay); // told in the log; the station gets the answer in any case
    if (g_usb_activate != 0) {
        amt_begin_relay();
    }
    if (!write_to_pc(relay)) {
        return false;
    }
    amt_buffer_clear(&relay);
    if (g_usb_activate != 0) {
        amt_end_relay();
    }
    return true;
}

} // namespace

void amt_handle_read_modem_loop()
{
    log_func();
    amt_buffer &relay = handle_context_st.m_modem_relay;
    amt_buffer_clear(&relay);
    while (are_channels_left()) {
        if (handle_context_st.m_fd_modem == AMT_CHANNEL_OPENING) {
            pub_util_sleep_ms(k_empty_pause_ms);
        } else if (!relay_once(relay)) {
            break;
        }
    }
    amt_channel_close(&handle_context_st.m_fd_modem);
    amt_handle_end_service(&handle_context_st.m_thread_modem);
}
