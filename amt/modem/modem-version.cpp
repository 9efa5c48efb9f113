#include "amt/modem/modem-version.h"

#include <string.h>

#include "amt/core/response.h"
#include "amt/core/version-module.h"
#include "amt/modem/at-exchange.h"

#define LOG_MODULE "amt/amt-handle"
#include "pub/log/log.h"

namespace {

constexpr char k_prefix[] = "\r\n^DCMR:";
constexpr uint32_t k_value_max = 408;

constexpr int32_t k_l1_module = 17;
constexpr int32_t k_hls_module = 18;

struct version_text {
    uint32_t m_length;
    char m_text_a[k_value_max / 2 + 1]; // a byte for two digits, and a terminator for the log
};

// Where the hexadecimal text ends: at the first coded line feed of the whole value. Capital letters are only looked at
// where there are no small ones, keep.
const char *find_end(const char *value)
{
    const char *end = strstr(value, "0a");
    if (end == nullptr) {
        end = strstr(value, "0A");
    }
    return end != nullptr ? end : value + strlen(value);
}

// Where it begins: behind the module's number and a coded carriage return. Null when there is no number.
const char *find_begin(const char *value)
{
    const char *begin = strchr(value, ',');
    if (begin == nullptr) {
        return nullptr;
    }
    begin++;
    begin += strspn(begin, " ");
    const bool is_carriage_return = begin[0] == '0' && (begin[1] == 'D' || begin[1] == 'd');
    return is_carriage_return ? begin + 2 : begin;
}

// Whatever is no digit is passed over, and so is a last digit without its second. An end in front of the beginning
// leaves nothing.
void decode(const char *begin, const char *end, version_text *version)
{
    int high = -1;
    for (const char *at = begin; at < end; at++) {
        const int digit = amt_at_hex_digit(*at);
        if (digit < 0) {
            continue;
        }
        if (high < 0) {
            high = digit;
        } else {
            version->m_text_a[version->m_length++] = static_cast<char>(high << 4 | digit);
            high = -1;
        }
    }
}

int32_t get_l1_hls_version(version_text *version)
{
    log_func();
    char value[k_value_max + 1] = "";
    if (!amt_at_copy_value(k_prefix, k_value_max, value) || value[0] == '\0') {
        return ERR_UNKNOWN;
    }
    const char *begin = find_begin(value);
    if (begin == nullptr) {
        return log_error(ERR_UNKNOWN, "DCMR-query's result[%s] is invalid", value);
    }
    decode(begin, find_end(value), version);
    return ERR_NONE;
}

int32_t amt_modem_handle_l1_hls_version(int32_t module, version_text *version)
{
    log_func();
    amt_at_prepare("AT^DCMR=%d\r", module);
    log_info("will send at command:%s", g_at_cmd_buf.m_text_a);
    const int32_t result = amt_at_exchange(nullptr);
    return result != ERR_NONE ? result : get_l1_hls_version(version);
}

void begin_answer(int32_t module, amt_buffer *response)
{
    amt_handle_begin_rsp(response, AMT_VERSION_RESPONSE_ID);
    (void)amt_message_append_int(response->m_data_a, AMT_VERSION_TYPE_ATOM, static_cast<uint32_t>(module));
}

int32_t end_answer(uint8_t channel, amt_buffer *response)
{
    amt_handle_append_result(response, 0);
    return amt_handle_send_rsp(channel, response);
}

// A version without a character is left out.
int32_t answer_version(uint8_t channel, int32_t module, const version_text &version, amt_buffer *response)
{
    begin_answer(module, response);
    (void)amt_message_append_bytes(response->m_data_a, AMT_VERSION_TEXT_ATOM, version.m_text_a, version.m_length);
    return end_answer(channel, response);
}

} // namespace

int32_t handle_amt_req_version(uint8_t channel, const amt_buffer *request, amt_buffer *response)
{
    log_func();
    int32_t result = amt_at_check_request(channel, request, response, LOG_HERE);
    if (result != ERR_NONE) {
        return result;
    }
    const version_module *module = nullptr;
    result = amt_read_version_module(request, &module);
    if (result != ERR_NONE) {
        return result;
    }
    if (module->m_source == version_source::modem) {
        return handle_amt_req_l1_hls_version(channel, module->m_type, request, response);
    }
    begin_answer(module->m_type, response);
    (void)amt_append_fixed_version(response->m_data_a);
    return end_answer(channel, response);
}

int32_t handle_amt_req_l1_hls_version(uint8_t channel, int32_t module, const amt_buffer *request, amt_buffer *response)
{
    log_func();
    const bool is_modems = module == k_l1_module || module == k_hls_module;
    const bool is_empty = request != nullptr && request->m_length == 0;
    if (channel == 255 || !is_modems || request == nullptr || response == nullptr || is_empty) {
        return log_error(ERR_INVALID_PARAM, "%d, module_en:%d, %d, %d, %d", channel == 255, module, request == nullptr,
                         response == nullptr, is_empty);
    }
    int32_t result = amt_at_check_modem();
    if (result != ERR_NONE) {
        return result;
    }
    version_text version = {};
    result = amt_modem_handle_l1_hls_version(module, &version);
    if (result == ERR_NONE) {
        log_info("get version success.type:%d, version:[len:%d content:%s]", module, static_cast<int>(version.m_length),
                 version.m_text_a);
        result = answer_version(channel, module, version, response);
    }
    if (result != ERR_NONE) {
        return log_error(ERR_UNKNOWN, "get version failure for type: 0x%02x", static_cast<uint32_t>(module));
    }
    return ERR_NONE;
}
