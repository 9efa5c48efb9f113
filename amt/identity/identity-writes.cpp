#include "amt/identity/identity-writes.h"

#include <stdlib.h>
#include <string.h>

#include "amt/core/at-parameter.h"
#include "amt/core/context.h"

#define LOG_MODULE "amt/amt-handle"
#include "pub/log/log.h"

namespace {

constexpr uint8_t k_write_imei_id = 5;
constexpr uint8_t k_write_board_id = 87;
constexpr uint8_t k_switch_channel_id = 232;

constexpr uint8_t k_imei_atom = 21;
constexpr uint8_t k_board_atom = 38;
constexpr uint8_t k_channel_atom = 159;

void clear(char (&store)[AMT_PENDING_SIZE + 1])
{
    memset(store, 0, sizeof(store));
}

void fetch(const char *prefix, char (&store)[AMT_PENDING_SIZE + 1])
{
    clear(store);
    log_info("received at command in amt4:%s", reinterpret_cast<const char *>(handle_context_st.m_request.m_data_a));
    (void)amt_fetch_at_para(prefix, store); // the prefix was found
}

// True when the request is a line that writes something.
bool note_line(const amt_buffer *request)
{
    if (amt_find_in_request(request, "AT^DCGSNW=") != nullptr) {
        fetch("AT^DCGSNW=", pending_imei);
        pending_kind = AMT_PENDING_IMEI;
        return true;
    }
    if (amt_find_in_request(request, "AT^DMSN=") != nullptr) {
        fetch("AT^DMSN=", pending_sn);
        pending_kind = AMT_PENDING_SN;
        return true;
    }
    if (amt_find_in_request(request, "AT^DMPCHN=") != nullptr) {
        char channel[AMT_PENDING_SIZE + 1] = "";
        uint32_t length = 0;
        (void)handle_amt_get_at_para("AT^DMPCHN=", channel, &length);
        pending_channel = static_cast<uint8_t>(strtol(channel, nullptr, 10));
        return true;
    }
    return false;
}

void note_text_atom(const uint8_t *message, uint8_t atom_id, char (&store)[AMT_PENDING_SIZE + 1])
{
    clear(store);
    (void)amt_message_get_string(message, atom_id, store, AMT_PENDING_SIZE);
}

void note_message(uint8_t command_id, const uint8_t *message)
{
    switch (command_id) {
    case k_write_board_id:
        note_text_atom(message, k_board_atom, pending_sn);
        log_info("getted write-board command in amt1: board:%s;", pending_sn);
        pending_kind = AMT_PENDING_SN;
        break;
    case k_switch_channel_id:
        pending_channel = static_cast<uint8_t>(amt_message_get_int(message, k_channel_atom));
        log_info("getted switch-channel command in amt1: channel:%d;", pending_channel.load());
        break;
    case k_write_imei_id:
        note_text_atom(message, k_imei_atom, pending_imei);
        log_info("getted write-imei command in amt1: imei:%s;", pending_imei);
        pending_kind = AMT_PENDING_IMEI;
        break;
    default: // nothing is written
        break;
    }
}

} // namespace

char pending_imei[AMT_PENDING_SIZE + 1];
char pending_sn[AMT_PENDING_SIZE + 1];
std::atomic<uint8_t> pending_kind{AMT_PENDING_NONE};
std::atomic<uint8_t> pending_channel{0};

void amt_clear_pending_identity()
{
    clear(pending_imei);
    clear(pending_sn);
    pending_kind = AMT_PENDING_NONE;
    pending_channel = 0;
}

void handle_amt_imei_and_sn(uint8_t command_id)
{
    log_func();
    if (!note_line(&handle_context_st.m_request)) {
        note_message(command_id, handle_context_st.m_dispatch.m_data_a);
    }
}
