#include "amt/at-local/version.h"

#include <cutils/properties.h>
#include <stdio.h>
#include <string.h>
#include <strings.h>

#include "amt/at-local/at-line.h"
#include "amt/core/request.h"
#include "amt/core/response.h"
#include "amt/core/version-module.h"

#define LOG_MODULE "amt/amt-handle"
#include "pub/log/log.h"

namespace {

bool is_property(const char *key, const char *expected)
{
    char value[PROPERTY_VALUE_MAX] = "";
    (void)property_get(key, value, "null");
    return strcasecmp(value, expected) == 0;
}

bool is_makers_own_firmware()
{
    return is_property("ro.build.customer", "KORVEN") || is_property("ro.product.manufacturer", "Korven");
}

int32_t read_makers_version(char (&text)[AMT_VERSION_SIZE])
{
    char incremental[PROPERTY_VALUE_MAX] = "";
    char id[PROPERTY_VALUE_MAX] = "";
    if (property_get("ro.build.version.incremental", incremental, " ") <= 0) {
        return log_error(ERR_UNKNOWN, "read ro.build.version.incremental error");
    }
    (void)property_get("ro.build.display.kv.id", id, " ");
    const int length = snprintf(text, sizeof(text), "TELO %s(%s)", incremental, id); // a longer one is cut
    return length < 0 ? ERR_UNKNOWN : ERR_NONE;
}

int32_t read_display_version(char (&text)[AMT_VERSION_SIZE])
{
    if (property_get("ro.build.display.id", text, " ") <= 0) {
        return log_error(ERR_UNKNOWN, "read ro.build.display.id error");
    }
    return ERR_NONE;
}

int32_t append_version(const version_module &module, amt_buffer *response)
{
    if (module.m_source == version_source::fixed_text) {
        return amt_append_fixed_version(response->m_data_a);
    }
    char text[AMT_VERSION_SIZE];
    uint32_t length = 0;
    const int32_t result = get_ap_sw_version(text, &length);
    if (result != ERR_NONE) {
        return log_error(result, "failed to get ap's sw version");
    }
    return amt_message_append_bytes(response->m_data_a, AMT_VERSION_TEXT_ATOM, text, length);
}

} // namespace

int32_t get_ap_sw_version(char *output, uint32_t *length)
{
    log_func();
    if (output == nullptr || length == nullptr) {
        return log_error(ERR_INVALID_PARAM, "%d, %d", output == nullptr, length == nullptr);
    }
    static_assert(AMT_VERSION_SIZE >= PROPERTY_VALUE_MAX, "a property fits the text");
    char text[AMT_VERSION_SIZE] = "";
    const int32_t result = is_makers_own_firmware() ? read_makers_version(text) : read_display_version(text);
    if (result != ERR_NONE) {
        return result;
    }
    log_info("getted sw-module: %s", text);
    *length = static_cast<uint32_t>(strlen(text));
    if (*length > AMT_VERSION_SIZE) { // a guard: the text is shorter
        log_warning("buf's len(%d) is smaller than sw's len(%d). data will be discard", AMT_VERSION_SIZE,
                    static_cast<int>(*length));
        *length = AMT_VERSION_SIZE;
    }
    memcpy(output, text, *length);
    return ERR_NONE;
}

int32_t handle_amt_pc_req_version(uint8_t channel, const amt_buffer *request, amt_buffer *response)
{
    log_func();
    int32_t result = amt_handle_check_request(channel, request, response, LOG_HERE);
    if (result != ERR_NONE) {
        return result;
    }
    const version_module *module = nullptr;
    result = amt_read_version_module(request, &module);
    if (result != ERR_NONE) {
        return result;
    }
    if (module->m_source == version_source::modem) {
        return ERR_NOT_FOUND;
    }
    (void)amt_handle_send_pre_rsp_for_pc(AMT_CHANNEL_PC, response); // told in the log; the answer may still arrive
    amt_handle_begin_rsp(response, AMT_VERSION_RESPONSE_ID);
    (void)amt_message_append_int(response->m_data_a, AMT_VERSION_TYPE_ATOM, static_cast<uint32_t>(module->m_type));
    result = append_version(*module, response);
    if (result != ERR_NONE) {
        return result;
    }
    amt_handle_append_result(response, 0);
    return amt_handle_wrap_and_send_rsp(channel, response);
}

int32_t handle_amt_sw_version_at()
{
    log_func();
    char text[AMT_VERSION_SIZE];
    uint32_t length = 0;
    if (get_ap_sw_version(text, &length) != ERR_NONE) {
        return amt_reply_cme_error();
    }
    return amt_reply_to_line("\r\n^DSVER: %.*s\r\n\r\nOK\r\n", static_cast<int>(length), text);
}
