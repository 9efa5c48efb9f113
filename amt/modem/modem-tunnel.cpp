#include "amt/modem/modem-tunnel.h"

#include <string.h>

#include "amt/core/response.h"
#include "amt/modem/at-exchange.h"
#include "amt/wire/amt-at-data.h"

#define LOG_MODULE "amt/amt-handle"
#include "pub/log/log.h"

namespace {

constexpr char k_command[] = "AT^DTTEST=";
constexpr uint32_t k_command_length = sizeof(k_command) - 1;
constexpr char k_answer[] = "\r\n^DTTEST: ";
constexpr uint32_t k_answer_length = sizeof(k_answer) - 1;
constexpr char k_line_end[] = "\r\n";
constexpr uint32_t k_line_end_length = sizeof(k_line_end) - 1;

// A line of the answer, as offsets in its text.
struct line {
    uint32_t m_begin; // of its leading line end
    uint32_t m_hex;
    uint32_t m_hex_end;
    uint32_t m_end; // behind its closing line end
};

bool find_line(line *found)
{
    const char *text = g_at_rsp_buf.m_text_a;
    const char *begin = strstr(text, k_answer);
    const char *end = begin == nullptr ? nullptr : strstr(begin + k_answer_length, k_line_end);
    if (end == nullptr) {
        return false;
    }
    found->m_begin = static_cast<uint32_t>(begin - text);
    found->m_hex = found->m_begin + k_answer_length;
    found->m_hex_end = static_cast<uint32_t>(end - text);
    found->m_end = found->m_hex_end + k_line_end_length;
    return true;
}

// What is no digit, or stands behind the answer's end, counts as 0.
uint8_t digit_at(uint32_t offset)
{
    const int digit = offset < AMT_AT_TEXT_SIZE ? amt_at_hex_digit(g_at_rsp_buf.m_text_a[offset]) : -1;
    return digit < 0 ? 0 : static_cast<uint8_t>(digit);
}

// Takes as many bytes as the line has digits, which is twice what it says: the second half comes from whatever follows
// the line. The fields of short answers are filled from there, keep.
void decode(const line &from, amt_buffer *raw)
{
    raw->m_length = from.m_hex_end - from.m_hex;
    for (uint32_t i = 0; i < raw->m_length; i++) {
        const uint32_t offset = from.m_hex + i * 2;
        raw->m_data_a[i] = static_cast<uint8_t>(digit_at(offset) << 4 | digit_at(offset + 1));
    }
}

// What follows the line moves forward; nothing of it stays behind the new end.
void cut(const line &out)
{
    amt_at_record &answer = g_at_rsp_buf;
    const uint32_t rest = answer.m_length - out.m_end;
    memmove(answer.m_text_a + out.m_begin, answer.m_text_a + out.m_end, rest);
    answer.m_length = out.m_begin + rest;
    memset(answer.m_text_a + answer.m_length, 0, out.m_end - out.m_begin);
}

int32_t pass_on(const line &from, uint8_t channel, amt_buffer *response)
{
    amt_buffer raw = {};
    decode(from, &raw);
    cut(from);
    amt_buffer_clear(response);
    const int32_t result =
        amt_convert_rsp_at_data_2_amt_data(raw.m_data_a, raw.m_length, response->m_data_a, AMT_MESSAGE_SIZE);
    return result != ERR_NONE ? result : amt_handle_send_rsp(channel, response);
}

int32_t prepare(const amt_buffer &request)
{
    static constexpr char k_digits_a[] = "0123456789ABCDEF";
    amt_buffer raw = {};
    const int32_t result =
        amt_convert_req_amt_data_2_at_data(request.m_data_a, raw.m_data_a, AMT_MESSAGE_SIZE, &raw.m_length);
    if (result != ERR_NONE) {
        return result;
    }
    if (k_command_length + raw.m_length * 2 + 2 >= AMT_AT_TEXT_SIZE) {
        return log_error(ERR_UNKNOWN, "(%ld + %ld * 2 + 2) < %d", static_cast<long>(k_command_length),
                         static_cast<long>(raw.m_length), static_cast<int>(AMT_AT_TEXT_SIZE));
    }
    amt_at_prepare("%s", k_command);
    char *text = g_at_cmd_buf.m_text_a + k_command_length;
    for (uint32_t i = 0; i < raw.m_length; i++) {
        *text++ = k_digits_a[raw.m_data_a[i] >> 4];
        *text++ = k_digits_a[raw.m_data_a[i] & 0x0F];
    }
    *text++ = '\r';
    g_at_cmd_buf.m_length = static_cast<uint32_t>(text - g_at_cmd_buf.m_text_a);
    return ERR_NONE;
}

// Passes on what the modem answers, a line a reading; of several that come in one, the later ones wait for the next.
int32_t relay_answers(uint8_t channel, amt_buffer *response)
{
    int32_t last_result = ERR_NONE;
    for (;;) {
        const int32_t result = amt_at_receive();
        if (result != ERR_NONE) {
            return result;
        }
        line found = {};
        if (find_line(&found)) {
            last_result = pass_on(found, channel, response);
        }
        if (strstr(g_at_rsp_buf.m_text_a, "OK") != nullptr) { // the two letters alone, wherever they stand: keep
            return last_result;
        }
        if (amt_at_is_refused()) {
            return ERR_UNKNOWN;
        }
    }
}

} // namespace

int32_t amt_modem_handle_req(uint8_t channel, const amt_buffer *request, amt_buffer *response)
{
    log_func();
    const bool is_invalid = channel == 0 || channel == 255;
    const bool is_empty = request != nullptr && request->m_length == 0;
    if (is_invalid || request == nullptr || response == nullptr || is_empty) {
        return log_error(ERR_INVALID_PARAM, "%d, %d, %d, %d", is_invalid, request == nullptr, response == nullptr,
                         is_empty);
    }
    int32_t result = amt_at_check_modem();
    if (result != ERR_NONE) {
        return result;
    }
    result = prepare(*request);
    if (result != ERR_NONE) {
        return result;
    }
    result = amt_at_send();
    return result != ERR_NONE ? result : relay_answers(channel, response);
}
