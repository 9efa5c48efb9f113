#include "amt/modem/modem-requests.h"

#include <string.h>

#include "amt/core/response.h"
#include "amt/modem/at-exchange.h"
#include "pub/base/number.h"

#define LOG_MODULE "amt/amt-handle"
#include "pub/log/log.h"

namespace {

// A request for a value: what is asked for, where the value stands in the answer, and as what it is passed on.
struct value_row {
    const char *m_command;
    const char *m_prefix;
    uint32_t m_max;        // characters; a longer value is refused
    bool m_refuses_erased; // so is one whose place in the flash was never written
    uint8_t m_response_id;
    uint8_t m_atom_id;
    const char *m_name; // under which the log tells the modem's answer; null: it does not
};

// The two question marks are the modem's, keep.
// clang-format off
constexpr value_row k_imei   = {"AT^DGSN?\r",  "\r\n^DGSN: ", 38, false, 0x08, 21,  nullptr};
constexpr value_row k_board  = {"AT^DMSN\r",   "\r\n^DMSN:",  38, false, 0x56, 38,  nullptr};
constexpr value_row k_serial = {"AT^DMSN\r",   "\r\n^DMSN:",  38, false, 0xEB, 163, "amt_read_serial_number"};
constexpr value_row k_date   = {"AT^DMFD??\r", "\r\n^DMFD:",  14, true,  0x42, 27,  nullptr};
constexpr value_row k_sim    = {"AT^DTOC\r",   "\r\n^DTOC:",  38, false, 0x64, 41,  nullptr};
// clang-format on

constexpr uint32_t k_longest = 38;
static_assert(k_imei.m_max <= k_longest && k_board.m_max <= k_longest && k_serial.m_max <= k_longest &&
                  k_date.m_max <= k_longest && k_sim.m_max <= k_longest,
              "a value fits its text");
using value_text = char[k_longest + 1];

// A place in the flash that nobody has written is full of this.
bool is_erased(const char *value)
{
    return static_cast<uint8_t>(value[0]) == 0xFF;
}

// False when the modem failed, refused, or told something else.
bool ask(const value_row &row, value_text &value)
{
    amt_at_prepare("%s", row.m_command);
    return amt_at_exchange(row.m_name) == ERR_NONE && amt_at_copy_value(row.m_prefix, row.m_max, value) &&
           !(row.m_refuses_erased && is_erased(value));
}

int32_t answer_failure(const value_row &row, uint8_t channel, amt_buffer *response)
{
    return amt_handle_send_rsp_err(channel, response, row.m_response_id, AMT_HANDLER_FAILURE);
}

int32_t read_text(const value_row &row, uint8_t channel, const amt_buffer *request, amt_buffer *response,
                  log_caller caller)
{
    const int32_t result = amt_at_check_request(channel, request, response, caller);
    if (result != ERR_NONE) {
        return result;
    }
    value_text value = "";
    if (!ask(row, value)) {
        return answer_failure(row, channel, response);
    }
    amt_handle_begin_rsp(response, row.m_response_id);
    (void)amt_message_append_string(response->m_data_a, row.m_atom_id, value); // it has room
    amt_handle_append_result(response, 0);
    return amt_handle_send_rsp(channel, response);
}

} // namespace

int32_t amt_modem_handle_read_imei(uint8_t channel, const amt_buffer *request, amt_buffer *response)
{
    log_func();
    return read_text(k_imei, channel, request, response, LOG_HERE);
}

int32_t amt_modem_handle_read_board(uint8_t channel, const amt_buffer *request, amt_buffer *response)
{
    log_func();
    return read_text(k_board, channel, request, response, LOG_HERE);
}

int32_t amt_modem_handle_read_outdate(uint8_t channel, const amt_buffer *request, amt_buffer *response)
{
    log_func();
    return read_text(k_date, channel, request, response, LOG_HERE);
}

int32_t amt_read_serial_number(uint8_t channel, const amt_buffer *request, amt_buffer *response)
{
    log_func();
    const int32_t result = amt_at_check_request(channel, request, response, LOG_HERE);
    if (result != ERR_NONE) {
        return result;
    }
    value_text value = "";
    if (!ask(k_serial, value)) {
        return answer_failure(k_serial, channel, response);
    }
    const auto length = static_cast<uint32_t>(strlen(value));
    log_info("get serial-number success. serial-number:[len:%d content:%s]", static_cast<int>(length), value);
    amt_handle_begin_rsp(response, k_serial.m_response_id);
    (void)amt_message_append_bytes(response->m_data_a, k_serial.m_atom_id, value, length); // an empty one is left out
    amt_handle_append_result(response, 0);
    return amt_handle_send_rsp(channel, response);
}

int32_t amt_dtoc_checkSIM(uint8_t channel, const amt_buffer *request, amt_buffer *response)
{
    log_func();
    const int32_t result = amt_at_check_request(channel, request, response, LOG_HERE);
    if (result != ERR_NONE) {
        return result;
    }
    value_text value = "";
    if (!ask(k_sim, value)) {
        return answer_failure(k_sim, channel, response);
    }
    const int32_t sim_type = pub_util_get_number(value);
    log_info("amt_dtoc_checkSIM simtype=%d", sim_type);
    const bool is_present = sim_type == 1 || sim_type == 2;
    amt_handle_begin_rsp(response, k_sim.m_response_id);
    (void)amt_message_append_bool(response->m_data_a, k_sim.m_atom_id, is_present ? 1 : 0);
    return amt_handle_send_rsp(channel, response); // without a result: keep
}
