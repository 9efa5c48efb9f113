#include "amt/modem/at-exchange.h"

#include <stdarg.h>
#include <stdio.h>
#include <string.h>

#include "amt/core/request.h"
#include "pub/base/wait.h"

#define LOG_MODULE "amt/amt-handle"
#include "pub/log/log.h"

namespace {

constexpr char k_line_end[] = "\r\n";
constexpr size_t k_line_end_length = sizeof(k_line_end) - 1;
constexpr char k_final_ok[] = "\r\nOK\r\n";

// Without colon and number: some modems send none.
constexpr const char *k_refusals_a[] = {"\r\n+CME ERROR", "\r\n+CMS ERROR", "\r\nERROR\r\n"};

constexpr uint32_t k_empty_pause_ms = 100; // a port that gives nothing, and gives it at once, must not keep us busy

// Noise on the line: a text search would stop there, and see nothing of what comes behind.
uint32_t without_zeros(char *bytes, uint32_t count)
{
    uint32_t kept = 0;
    for (uint32_t i = 0; i < count; i++) {
        if (bytes[i] != '\0') {
            bytes[kept++] = bytes[i];
        }
    }
    memset(bytes + kept, 0, count - kept);
    return kept;
}

bool holds(const char *text)
{
    return strstr(g_at_rsp_buf.m_text_a, text) != nullptr;
}

bool stands_before(const char *end, const char *begin)
{
    return end - begin >= static_cast<ptrdiff_t>(k_line_end_length) &&
           memcmp(end - k_line_end_length, k_line_end, k_line_end_length) == 0;
}

} // namespace

int32_t amt_at_check_modem()
{
    if (g_at_dev_not_opened == 1) {
        log_warning("no CP.");
        return ERR_NOT_READY;
    }
    return ERR_NONE;
}

int32_t amt_at_check_request(uint8_t channel, const amt_buffer *request, const amt_buffer *response, log_caller caller)
{
    const int32_t result = amt_handle_check_request(channel, request, response, caller);
    return result != ERR_NONE ? result : amt_at_check_modem();
}

void amt_at_prepare(const char *format, ...)
{
    g_at_cmd_buf = {};
    g_at_rsp_buf = {};
    va_list arguments;
    va_start(arguments, format);
    (void)vsnprintf(g_at_cmd_buf.m_text_a, sizeof(g_at_cmd_buf.m_text_a), format, arguments); // a longer one is cut
    va_end(arguments);
    g_at_cmd_buf.m_length = static_cast<uint32_t>(strlen(g_at_cmd_buf.m_text_a));
}

int32_t amt_at_send()
{
    return write_at(g_at_cmd_buf.m_text_a, g_at_cmd_buf.m_length);
}

int32_t amt_at_receive()
{
    amt_at_record &answer = g_at_rsp_buf;
    char *end = answer.m_text_a + answer.m_length;
    uint32_t count = 0;
    const int32_t result = read_at(end, AMT_AT_TEXT_SIZE - answer.m_length - answer.m_dropped, &count);
    if (result != ERR_NONE) {
        return result;
    }
    if (count == 0) {
        pub_util_sleep_ms(k_empty_pause_ms);
    }
    const uint32_t kept = without_zeros(end, count);
    answer.m_length += kept;
    answer.m_dropped += count - kept;
    return ERR_NONE;
}

bool amt_at_is_ok()
{
    return holds(k_final_ok);
}

bool amt_at_is_refused()
{
    for (const char *refusal : k_refusals_a) {
        if (holds(refusal)) {
            return true;
        }
    }
    return false;
}

int32_t amt_at_exchange(const char *name, amt_at_first first)
{
    int32_t result = amt_at_send();
    while (result == ERR_NONE) {
        result = amt_at_receive();
        if (result != ERR_NONE) {
            break;
        }
        if (name != nullptr) {
            log_info("%s :%s", name, g_at_rsp_buf.m_text_a);
        }
        const bool is_ok = amt_at_is_ok();
        const bool is_refused = amt_at_is_refused();
        if (is_ok && (!is_refused || first == amt_at_first::ok)) {
            return ERR_NONE;
        }
        result = is_refused ? ERR_UNKNOWN : ERR_NONE;
    }
    return result;
}

bool amt_at_find_value(const char *prefix, amt_at_value *value)
{
    const char *begin = strstr(g_at_rsp_buf.m_text_a, prefix);
    const char *end = strstr(g_at_rsp_buf.m_text_a, k_final_ok);
    if (begin == nullptr || end == nullptr) {
        return false;
    }
    begin += strlen(prefix);
    begin += strspn(begin, " ");
    if (end < begin) {
        return false;
    }
    value->m_ends_its_line = stands_before(end, begin);
    while (stands_before(end, begin)) {
        end -= k_line_end_length;
    }
    value->m_text = begin;
    value->m_length = static_cast<uint32_t>(end - begin);
    return true;
}

bool amt_at_copy_value(const char *prefix, uint32_t max, char *text)
{
    amt_at_value value = {};
    if (!amt_at_find_value(prefix, &value) || !value.m_ends_its_line || value.m_length > max) {
        return false;
    }
    memcpy(text, value.m_text, value.m_length);
    text[value.m_length] = '\0';
    return true;
}

int amt_at_hex_digit(char character)
{
    if (character >= '0' && character <= '9') {
        return character - '0';
    }
    if (character >= 'A' && character <= 'F') {
        return character - 'A' + 10;
    }
    if (character >= 'a' && character <= 'f') {
        return character - 'a' + 10;
    }
    return -1;
}
