#include "amt/results/result-requests.h"

#include <string.h>

#include "amt/core/request.h"
#include "amt/core/response.h"
#include "amt/modem/at-exchange.h"
#include "amt/results/amt-test-result.h"
#include "amt/run-mode.h"
#include "pub/base/console.h"

#define LOG_MODULE "amt/amt-handle"
#include "pub/log/log.h"

namespace {

constexpr uint8_t k_modem_write_rsp_id = 0x5C;
constexpr uint8_t k_modem_read_rsp_id = 0x5A;
constexpr uint8_t k_item_write_rsp_id = 0xE7;
constexpr uint8_t k_item_read_rsp_id = 0xE5;

constexpr uint8_t k_verdict_atom = 36;
constexpr uint8_t k_text_atom = 37;
constexpr uint8_t k_station_atom = 39;

constexpr uint32_t k_text_max = 127;

constexpr char k_line_prefix[] = "\r\n^DATOMR: ";
constexpr char k_line_end[] = "\r\n";

struct station_verdict {
    uint32_t m_station;
    uint32_t m_verdict;
    char m_text_a[k_text_max + 1];
};

// Of a request, without its text: only one of the requests has a use for that.
station_verdict numbers_in(const amt_buffer *request)
{
    return {amt_message_get_int(request->m_data_a, k_station_atom),
            amt_message_get_int(request->m_data_a, k_verdict_atom), ""};
}

// Messages carry the numbers without a sign; commands and records show them with one.
int as_int(uint32_t value)
{
    return static_cast<int32_t>(value);
}

// The handset's copy of what the modem keeps; a station that has none is still served.
void keep_copy(const station_verdict &verdict)
{
    const int32_t result = write_amt_item(as_int(verdict.m_station), verdict.m_verdict);
    if (result != 0) {
        (void)log_error(result, "[%s:L%d] write fail amt station_num: %d, station_result: %d\n", AMT_PROCESS_NAME,
                        __LINE__, as_int(verdict.m_station), as_int(verdict.m_verdict));
    } else {
        log_info("write amt_result success amt station_num: %d, station_result: %d.\n", as_int(verdict.m_station),
                 as_int(verdict.m_verdict));
    }
}

void prepare_write(const station_verdict &verdict)
{
    const long station = as_int(verdict.m_station);
    const long result = as_int(verdict.m_verdict);
    if (verdict.m_text_a[0] != '\0') {
        amt_at_prepare("AT^DATOMW=%ld,%ld,%s\r", station, result, verdict.m_text_a);
    } else {
        amt_at_prepare("AT^DATOMW=%ld,%ld\r", station, result);
    }
}

// Tells of every reading, also of one that fails.
int32_t write_to_modem()
{
    const int32_t sent = amt_at_send();
    if (sent != ERR_NONE) {
        return sent;
    }
    for (;;) {
        const int32_t result = amt_at_receive();
        log_info("amt_modem_write_test_result  ret_val[%d] m_buf_a[%s]", result, g_at_rsp_buf.m_text_a);
        if (result != ERR_NONE) {
            return result;
        }
        if (amt_at_is_ok()) { // first: it counts even beside a refusal
            return ERR_NONE;
        }
        if (amt_at_is_refused()) {
            return ERR_UNKNOWN;
        }
    }
}

bool is_digit(char character)
{
    return character >= '0' && character <= '9';
}

// "<station of up to two digits>,<verdict of one digit>,<text>", of which anything may be missing and then stays as it
// is. None of what is looked for is a line end, so nothing behind `end` is read.
void parse_line(const char *text, const char *end, station_verdict *verdict)
{
    if (is_digit(*text)) {
        verdict->m_station = static_cast<uint32_t>(*text++ - '0');
        if (is_digit(*text)) {
            verdict->m_station = verdict->m_station * 10 + static_cast<uint32_t>(*text++ - '0');
        }
    }
    if (*text == ',') {
        text++;
    }
    if (is_digit(*text)) {
        verdict->m_verdict = static_cast<uint32_t>(*text++ - '0');
    }
    if (*text == ',') {
        text++;
        const size_t length = static_cast<size_t>(end - text);
        memcpy(verdict->m_text_a, text, length < k_text_max ? length : k_text_max);
    }
}

// What the modem's whole answer says of the station that was asked for; an answer without a line says it is not tested.
station_verdict verdict_in_answer(uint32_t station)
{
    station_verdict verdict = {station, 0, ""};
    const char *line = strstr(g_at_rsp_buf.m_text_a, k_line_prefix);
    if (line == nullptr) {
        return verdict;
    }
    line += sizeof(k_line_prefix) - 1;
    const char *end = strstr(line, k_line_end);
    if (end != nullptr) {
        parse_line(line, end, &verdict);
    }
    return verdict;
}

void begin_verdict(amt_buffer *response, uint8_t response_id, uint32_t station, uint32_t verdict)
{
    amt_handle_begin_rsp(response, response_id);
    (void)amt_message_append_int(response->m_data_a, k_station_atom, station); // an answer has room for all of these
    (void)amt_message_append_int(response->m_data_a, k_verdict_atom, verdict);
}

} // namespace

int32_t amt_modem_write_test_result(uint8_t channel, const amt_buffer *request, amt_buffer *response)
{
    log_func();
    const int32_t result = amt_at_check_request(channel, request, response, LOG_HERE);
    if (result != ERR_NONE) {
        return result;
    }
    station_verdict verdict = numbers_in(request);
    (void)amt_message_get_string(request->m_data_a, k_text_atom, verdict.m_text_a, k_text_max);
    keep_copy(verdict);
    prepare_write(verdict);
    log_info("amt_modem_write_test_result m_buf_a[%s] m_buf_len[%d]", g_at_cmd_buf.m_text_a,
             static_cast<int>(g_at_cmd_buf.m_length));
    if (write_to_modem() != ERR_NONE) {
        return amt_handle_send_rsp_err(channel, response, k_modem_write_rsp_id, AMT_HANDLER_FAILURE);
    }
    return amt_handle_send_rsp_ok(channel, response, k_modem_write_rsp_id);
}

int32_t amt_modem_read_test_result(uint8_t channel, const amt_buffer *request, amt_buffer *response)
{
    log_func();
    const int32_t result = amt_at_check_request(channel, request, response, LOG_HERE);
    if (result != ERR_NONE) {
        return result;
    }
    const uint32_t station = amt_message_get_int(request->m_data_a, k_station_atom);
    amt_at_prepare("AT^DATOMR=1,%ld\r", static_cast<long>(as_int(station)));
    if (amt_at_exchange(nullptr, amt_at_first::refusal) != ERR_NONE) { // unlike in every other exchange: keep
        return amt_handle_send_rsp_err(channel, response, k_modem_read_rsp_id, AMT_HANDLER_FAILURE);
    }
    const station_verdict verdict = verdict_in_answer(station);
    const int32_t copied = write_amt_item(as_int(verdict.m_station), verdict.m_verdict);
    if (copied != 0) {
        (void)log_error(copied, "[%s:L%d] write fail amt station_num: %d, station_result: %d. rtn:%d.\n",
                        AMT_PROCESS_NAME, __LINE__, as_int(verdict.m_station), as_int(verdict.m_verdict), copied);
    }
    begin_verdict(response, k_modem_read_rsp_id, verdict.m_station, verdict.m_verdict);
    (void)amt_message_append_string(response->m_data_a, k_text_atom, verdict.m_text_a);
    amt_handle_append_result(response, 0);
    return amt_handle_send_rsp(channel, response);
}

int32_t amt_item_write_test_result(uint8_t channel, const amt_buffer *request, amt_buffer *response)
{
    log_func();
    const int32_t result = amt_handle_check_request(channel, request, response, LOG_HERE);
    if (result != ERR_NONE) {
        return result;
    }
    const station_verdict verdict = numbers_in(request);
    log_info("amt_item_write_test_result station_num[%d] station_result[%d]", as_int(verdict.m_station),
             as_int(verdict.m_verdict));
    if (write_item(as_int(verdict.m_station - 1U), verdict.m_verdict) != 0) {
        pub_util_print("[%s:L%d] write fail station_num: %d, station_result: %d\n", AMT_PROCESS_NAME, __LINE__,
                       as_int(verdict.m_station), as_int(verdict.m_verdict));
        (void)log_error(ERR_WRITE_NOT_COMPLETED, "amt_item_write_test_result write_item ret_val[%d]",
                        ERR_WRITE_NOT_COMPLETED);
        return amt_handle_send_rsp_err(channel, response, k_item_write_rsp_id, AMT_HANDLER_FAILURE);
    }
    return amt_handle_send_rsp_ok(channel, response, k_item_write_rsp_id);
}

int32_t amt_item_read_test_result(uint8_t channel, const amt_buffer *request, amt_buffer *response)
{
    log_func();
    const int32_t result = amt_handle_check_request(channel, request, response, LOG_HERE);
    if (result != ERR_NONE) {
        return result;
    }
    const uint32_t station = amt_message_get_int(request->m_data_a, k_station_atom);
    const int32_t verdict = read_item(as_int(station)); // one behind the item of the same station's write: keep
    if (verdict < 0 || verdict > static_cast<int32_t>(AMT_TEST_FAILED)) {
        (void)log_error(ERR_NOT_FOUND, "amt_item_read_test_result read_item ret_val[%d]", ERR_NOT_FOUND);
        return amt_handle_send_rsp_err(channel, response, k_item_read_rsp_id, AMT_HANDLER_FAILURE);
    }
    begin_verdict(response, k_item_read_rsp_id, station, static_cast<uint32_t>(verdict));
    amt_handle_append_result(response, 0);
    return amt_handle_send_rsp(channel, response);
}

int32_t amt_modem_write_pc_test_result(uint8_t channel, const amt_buffer *request, amt_buffer *response)
{
    log_func();
    const int32_t result = amt_handle_check_request(channel, request, response, LOG_HERE);
    if (result != ERR_NONE) {
        return result;
    }
    const station_verdict verdict = numbers_in(request);
    log_info("amt_modem_write_pc_test_result station_num=%d,station_result=%d", as_int(verdict.m_station),
             as_int(verdict.m_verdict));
    keep_copy(verdict);
    return ERR_NOT_FOUND;
}
