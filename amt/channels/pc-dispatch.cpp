#include "amt/channels/pc-dispatch.h"

#include <string.h>

#include "amt/amt-cfg.h"
#include "amt/at-local/at-chain.h"
#include "amt/at-local/version.h"
#include "amt/channels/modem-port.h"
#include "amt/core/command-names.h"
#include "amt/core/context.h"
#include "amt/core/response.h"
#include "amt/identity/identity-writes.h"
#include "amt/platform-library.h"
#include "amt/results/result-requests.h"
#include "amt/wire/amt-convert.h"

#define LOG_MODULE "amt/amt-handle"
#include "pub/log/log.h"

namespace {

constexpr uint8_t k_line_id = 255;   // a line has no command id; no message has a handler under this one
constexpr uint32_t k_error_code = 1; // what the station is told, whatever failed

constexpr char k_probe[] = "AT\r";
constexpr uint32_t k_probe_length = sizeof(k_probe) - 1;
constexpr uint32_t k_single_probe_max = 5;
constexpr uint32_t k_second_probe = 4; // where it begins, behind one more byte
constexpr char k_lock_line[] = "AT;^DLKS=1\r";

// These acknowledge by themselves or not at all.
constexpr amt_handle_func k_without_pre_response_a[] = {handle_amt_pc_req_version, amt_modem_write_pc_test_result};

// The commands that write an identity, and the lines that may.
constexpr uint8_t k_identity_ids_a[] = {0, 5, 87, 232, k_line_id};

bool is_probe_at(const amt_buffer &request, uint32_t offset)
{
    return strncasecmp(reinterpret_cast<const char *>(request.m_data_a) + offset, k_probe, k_probe_length) == 0;
}

bool is_single_probe(const amt_buffer &request)
{
    return request.m_length >= k_probe_length && request.m_length <= k_single_probe_max && is_probe_at(request, 0);
}

bool is_double_probe(const amt_buffer &request)
{
    return request.m_length > k_single_probe_max && is_probe_at(request, 0) && is_probe_at(request, k_second_probe);
}

void enter_amt4()
{
    if (g_amt_mode == AMT_MODE_AMT4) {
        return;
    }
    g_amt_mode = AMT_MODE_AMT4;
    log_info("mark to enter amt4");
    const int32_t result = amt_usb_charge_ctrl(1);
    log_info("call amt_usb_charge_ctrl for amt4. return:%d, current amt mode:%d.", result,
             static_cast<int>(g_amt_mode));
}

void log_handler(uint8_t command_id, amt_handle_func handler)
{
    log_info("handle_context_st.m_handle_pc_func_a[%d] =%p", command_id, reinterpret_cast<void *>(handler));
}

bool sends_pre_response(amt_handle_func handler)
{
    for (const amt_handle_func silent : k_without_pre_response_a) {
        if (handler == silent) {
            return false;
        }
    }
    return true;
}

int32_t call_handler(uint8_t command_id)
{
    const amt_handle_func handler =
        command_id < AMT_HANDLER_COUNT ? handle_context_st.m_handle_pc_func_a[command_id] : nullptr;
    if (handler == nullptr) {
        log_handler(command_id, handler);
        return ERR_NOT_FOUND;
    }
    if (sends_pre_response(handler)) {
        (void)amt_handle_send_pre_rsp_for_pc(AMT_CHANNEL_PC, &handle_context_st.m_response); // the answer will tell
    }
    return handler(AMT_CHANNEL_PC, &handle_context_st.m_dispatch, &handle_context_st.m_response);
}

// The command id of the request, unwrapped into the dispatch copy; k_line_id for a line.
uint8_t identify()
{
    amt_buffer &dispatch = handle_context_st.m_dispatch;
    dispatch = handle_context_st.m_request;
    if (amt_convert_pc_2_app(&dispatch) != ERR_NONE) {
        return k_line_id;
    }
    const uint8_t command_id = amt_message_get_command_id(dispatch.m_data_a);
    log_info("receive command id: %d(0x%02X) - %s", command_id, command_id, amt_get_command_name(command_id));
    if (g_amt_mode != AMT_MODE_AMT1) {
        g_amt_mode = AMT_MODE_AMT1;
        log_info("mark to enter amt1");
    }
    return command_id;
}

bool may_write_identity(uint8_t command_id)
{
    return memchr(k_identity_ids_a, command_id, sizeof(k_identity_ids_a)) != nullptr;
}

} // namespace

uint32_t g_amt_mode = AMT_MODE_UNKNOWN;

void amt_replace_probe()
{
    amt_buffer &request = handle_context_st.m_request;
    const bool is_single = is_single_probe(request);
    if (!is_single && !is_double_probe(request)) {
        return;
    }
    if (is_single) {
        amt_set_modem_line(amt_cfg_st.m_modem_uart_at_baudrate);
    }
    amt_buffer_clear(&request);
    request.m_length = sizeof(k_lock_line) - 1;
    memcpy(request.m_data_a, k_lock_line, request.m_length);
    enter_amt4();
}

int32_t handle_amt_pc_req()
{
    log_func();
    const uint8_t command_id = identify();
    int32_t result = call_handler(command_id);
    log_info("handle_amt_imei_and_sn--->req_id_en:%d.", command_id);
    if (may_write_identity(command_id)) {
        handle_amt_imei_and_sn(command_id);
    }
    if (result == ERR_NOT_FOUND) {
        result = amt_handle_local_at();
    }
    if (result == ERR_NOT_FOUND) {
        result = amt_forward_to_modem(handle_context_st.m_request);
    }
    if (result == ERR_NONE) {
        return ERR_NONE;
    }
    return amt_handle_send_rsp_err(AMT_CHANNEL_PC, &handle_context_st.m_response, static_cast<uint8_t>(command_id + 1),
                                   k_error_code);
}
