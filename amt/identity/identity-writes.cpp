#include "amt/identity/identity-writes.h"

#include <stdlib.h>
#include <string.h>

#include "amt/core/at-parameter.h"
#include "amt/core/context.h"
#include "amt/identity/serial-number.h"
#include "amt/wire/amt-convert.h"

#define LOG_MODULE "amt/amt-handle"
#include "pub/log/log.h"

namespace {

constexpr uint8_t k_write_imei_id = 5;
constexpr uint8_t k_write_board_id = 87;
constexpr uint8_t k_switch_channel_id = 232;

constexpr uint8_t k_imei_response_id = 6;
constexpr uint8_t k_board_response_id = 88;
constexpr char k_confirming_text[] = "\r\nOK\r\n";

constexpr uint8_t k_result_atom = 1;
constexpr uint8_t k_imei_atom = 21;
constexpr uint8_t k_board_atom = 38;
constexpr uint8_t k_channel_atom = 159;

// While the text changes there is nothing to be confirmed.
void note(pending_text &store, const pending_copy &text, amt_pending_kind kind)
{
    pending_kind() = AMT_PENDING_NONE;
    store.set(text);
    pending_kind() = kind;
}

void note_parameter(const char *prefix, pending_text &store, amt_pending_kind kind)
{
    log_info("received at command in amt4:%s", reinterpret_cast<const char *>(handle_context_st.m_request.m_data_a));
    pending_copy text = "";
    (void)amt_fetch_at_para(prefix, text); // the prefix was found
    note(store, text, kind);
}

// True when the request is a line that writes something.
bool note_line(const amt_buffer *request)
{
    if (amt_find_in_request(request, "AT^DCGSNW=") != nullptr) {
        note_parameter("AT^DCGSNW=", pending_imei(), AMT_PENDING_IMEI);
        return true;
    }
    if (amt_find_in_request(request, "AT^DMSN=") != nullptr) {
        note_parameter("AT^DMSN=", pending_sn(), AMT_PENDING_SN);
        return true;
    }
    if (amt_find_in_request(request, "AT^DMPCHN=") != nullptr) {
        pending_copy channel = "";
        uint32_t length = 0;
        (void)handle_amt_get_at_para("AT^DMPCHN=", channel, &length);
        pending_channel() = static_cast<uint8_t>(strtol(channel, nullptr, 10));
        return true;
    }
    return false;
}

void note_message(uint8_t command_id, const uint8_t *message)
{
    pending_copy text = ""; // an atom of exactly AMT_PENDING_SIZE has no terminator
    switch (command_id) {
    case k_write_board_id:
        (void)amt_message_get_string(message, k_board_atom, text, AMT_PENDING_SIZE);
        log_info("getted write-board command in amt1: board:%s;", text);
        note(pending_sn(), text, AMT_PENDING_SN);
        break;
    case k_switch_channel_id:
        pending_channel() = static_cast<uint8_t>(amt_message_get_int(message, k_channel_atom));
        log_info("getted switch-channel command in amt1: channel:%d;", pending_channel().load());
        break;
    case k_write_imei_id:
        (void)amt_message_get_string(message, k_imei_atom, text, AMT_PENDING_SIZE);
        log_info("getted write-imei command in amt1: imei:%s;", text);
        note(pending_imei(), text, AMT_PENDING_IMEI);
        break;
    default: // nothing is written
        break;
    }
}

// --- the modem's answer

constexpr uint8_t k_channel_with_own_files = 1;

// Where what was noted of one kind is kept.
struct identity_file {
    const char *m_name; // in the log
    pending_text &(*m_text)();
    const char *m_own_path;
    const char *m_path; // of all other channels
};

constexpr identity_file k_imei_file = {"imei", pending_imei, "/amt/imei-2.txt", "/amt/imei.txt"};
constexpr identity_file k_sn_file = {"sn", pending_sn, AMT_PCBA_SN_FILE, "/amt/sn.txt"};

int32_t save(const identity_file &file)
{
    pending_copy text;
    file.m_text().get(text);
    if (text[0] == '\0') {
        return ERR_NONE;
    }
    const uint8_t channel = pending_channel();
    const int32_t result = amt_write_pcba_sn(text, channel == k_channel_with_own_files ? file.m_own_path : file.m_path);
    log_info("save %s to file. channel:%d; content:%s;", file.m_name, channel, text);
    if (result != ERR_NONE) {
        return log_error(ERR_UNKNOWN, "write %s error.", file.m_name);
    }
    log_info("Writed %s to file success.", file.m_name);
    return ERR_NONE;
}

bool is_write_answer(uint8_t command_id)
{
    return command_id == k_imei_response_id || command_id == k_board_response_id;
}

// A message that has not come whole confirms nothing: the result may be in what is missing.
bool is_confirming_message(const amt_buffer &answer)
{
    amt_buffer copy = answer;
    if (amt_convert_pc_2_app(&copy) != ERR_NONE || !is_write_answer(amt_message_get_command_id(copy.m_data_a)) ||
        !amt_message_is_whole(copy.m_data_a, copy.m_length)) {
        return false;
    }
    const uint32_t code = amt_message_get_int(copy.m_data_a, k_result_atom);
    log_info("getted error-code from modem: err-code:%d;", static_cast<int32_t>(code));
    return code == 0;
}

bool is_confirmation(const amt_buffer &answer)
{
    return strstr(reinterpret_cast<const char *>(answer.m_data_a), k_confirming_text) != nullptr ||
           is_confirming_message(answer);
}

} // namespace

void handle_amt_imei_and_sn(uint8_t command_id)
{
    log_func();
    if (!note_line(&handle_context_st.m_request)) {
        note_message(command_id, handle_context_st.m_dispatch.m_data_a);
    }
}

int32_t handle_amt_imei_and_sn_save_file(uint8_t kind)
{
    log_func();
    switch (kind) {
    case AMT_PENDING_IMEI:
        return save(k_imei_file);
    case AMT_PENDING_SN:
        return save(k_sn_file);
    default:
        return log_error(ERR_INVALID_PARAM, "%d", kind);
    }
}

int32_t handle_amt_imei_and_sn_rsp(const amt_buffer *answer)
{
    log_func();
    uint8_t kind = pending_kind();
    log_info("g_cur_treat_cmd_type:%d;", kind);
    if (kind != AMT_PENDING_IMEI && kind != AMT_PENDING_SN) {
        return ERR_NOT_FOUND;
    }
    if (!is_confirmation(*answer) || !pending_kind().compare_exchange_strong(kind, AMT_PENDING_NONE)) {
        return ERR_NONE;
    }
    return handle_amt_imei_and_sn_save_file(kind);
}
