#include "amt/modem/normal-to-amt.h"

#include <cutils/properties.h>
#include <signal.h>
#include <string.h>
#include <unistd.h>

#include "amt/core/response.h"
#include "amt/identity/handshake-permit.h"
#include "amt/modem/at-exchange.h"
#include "pub/base/number.h"
#include "pub/base/wait.h"

#define LOG_MODULE "amt/amt-handle"
#include "pub/log/log.h"

namespace {

constexpr uint8_t k_switch_response_id = 196;
constexpr uint8_t k_mode_atom = 201;
constexpr int32_t k_band = 0; // the request names none, keep

constexpr uint8_t k_support_response_id = 198;
constexpr uint8_t k_technology_atom = 202;
constexpr uint32_t k_parameter_max = 38;

constexpr uint8_t k_flag_response_id = 220;
constexpr uint8_t k_flag_atom = 192; // the operation in the request, the flag in the answer

constexpr char k_status_property[] = "amt.normal.amt.switch_status";
constexpr char k_switched[] = "1";
constexpr char k_usb_property[] = "sys.usb.config";
constexpr char k_usb_serial[] = "serial";
constexpr char k_usb_config[] = "serial,adb";
constexpr char k_no_usb_config[] = "@#no_set_config#@";
constexpr char k_stop_property[] = "ctl.stop";
constexpr char k_sibling[] = "kv-zep-aux0";

constexpr uint32_t k_answer_pause_ms = 500; // for the answer to be read before everything changes

// --- support

// Splits the parameter at its commas; an empty field is none. The last field, or null when one is missing.
const char *find_technology(char *parameter)
{
    static constexpr const char *k_fields_a[] = {"sim_num", "standby_num", "rf_set_num", "standby0_rat"};
    char *rest = nullptr;
    const char *text = nullptr;
    for (const char *name : k_fields_a) {
        text = strtok_r(text == nullptr ? parameter : nullptr, ",", &rest);
        if (text == nullptr) {
            (void)log_error(ERR_UNKNOWN, "%s is null!!!", name);
            return nullptr;
        }
    }
    return text;
}

// Any line end, or none, may stand between the parameter and the OK.
bool find_parameter(char (&parameter)[k_parameter_max + 1])
{
    amt_at_value value = {};
    if (!amt_at_find_value("\r\n^DMCC:", &value) || value.m_length > k_parameter_max) {
        return false;
    }
    memcpy(parameter, value.m_text, value.m_length);
    log_info("amt_query_amt_support head_ptr=%s", value.m_text);
    log_info("amt_query_amt_support parameter=%s", parameter);
    return true;
}

bool read_technology(int32_t *technology)
{
    amt_at_prepare("AT^DMCC?\r");
    char parameter[k_parameter_max + 1] = "";
    if (amt_at_exchange("amt_query_amt_support") != ERR_NONE || !find_parameter(parameter)) {
        return false;
    }
    const char *text = find_technology(parameter);
    if (text == nullptr) {
        return false;
    }
    *technology = pub_util_get_number(text);
    log_info("getted nstandby0_rat:%d.", *technology);
    return true;
}

// --- the switch

int32_t amt_change_band(int32_t band)
{
    log_func();
    amt_at_prepare("AT^DMPCHN=%d\r", band);
    log_info("amt_change_band band:%d", band);
    return amt_at_exchange("amt_change_band");
}

int32_t change_mode(int32_t mode)
{
    amt_at_prepare("AT^DSWAMT=%d\r", mode);
    return amt_at_exchange("amt_handle_normal_to_amt");
}

void show_serial_port()
{
    char config[PROPERTY_VALUE_MAX] = "";
    (void)property_get(k_usb_property, config, k_no_usb_config);
    log_info("property-%s value: %s", k_usb_property, config);
    if (strstr(config, k_usb_serial) != nullptr) {
        log_info("already activate serial, do not reset. ");
        return;
    }
    log_info("will set property(%s) to %s.", k_usb_property, k_usb_config);
    (void)property_set(k_usb_property, k_usb_config); // the station will see that there is no port
}

// The service ends as everybody ends it: SIGTERM wakes the main thread, which ends this one in one of its waits.
int32_t normal_to_amt_ok_post_handle(uint8_t channel, amt_buffer *response)
{
    log_func();
    (void)property_set(k_status_property, k_switched); // if it fails, the next start is for an application
    log_info("set property(%s) to %s.", k_status_property, k_switched);
    const int32_t result = amt_handle_send_rsp_ok(channel, response, k_switch_response_id);
    show_serial_port();
    log_info("will exit program.");
    pub_util_sleep_ms(k_answer_pause_ms);
    const int stopped = property_set(k_stop_property, k_sibling);
    log_info("stop kv-zep-aux return: %d", stopped);
    (void)kill(getpid(), SIGTERM); // to oneself it cannot fail
    return result;
}

} // namespace

int32_t amt_query_amt_support(uint8_t channel, const amt_buffer *request, amt_buffer *response)
{
    log_func();
    const int32_t result = amt_at_check_request(channel, request, response, LOG_HERE);
    if (result != ERR_NONE) {
        return result;
    }
    int32_t technology = 0;
    if (!read_technology(&technology)) {
        return amt_handle_send_rsp_err(channel, response, k_support_response_id, AMT_HANDLER_FAILURE);
    }
    amt_handle_begin_rsp(response, k_support_response_id);
    (void)amt_message_append_int(response->m_data_a, k_technology_atom, static_cast<uint32_t>(technology));
    amt_handle_append_result(response, 0);
    return amt_handle_send_rsp(channel, response);
}

int32_t amt_handle_normal_to_amt(uint8_t channel, const amt_buffer *request, amt_buffer *response)
{
    log_func();
    const int32_t result = amt_at_check_request(channel, request, response, LOG_HERE);
    if (result != ERR_NONE) {
        return result;
    }
    const auto mode = static_cast<int32_t>(amt_message_get_int(request->m_data_a, k_mode_atom));
    log_info("amt_handle_normal_to_amt amt_mode:%d", mode);
    if (amt_change_band(k_band) != ERR_NONE || change_mode(mode) != ERR_NONE) {
        return amt_handle_send_rsp_err(channel, response, k_switch_response_id, AMT_HANDLER_FAILURE);
    }
    return normal_to_amt_ok_post_handle(channel, response);
}

int32_t amt_handle_damt1_cmd(uint8_t channel, const amt_buffer *request, amt_buffer *response)
{
    log_func();
    int32_t result = amt_at_check_request(channel, request, response, LOG_HERE);
    if (result != ERR_NONE) {
        return result;
    }
    const auto operation = static_cast<int32_t>(amt_message_get_int(request->m_data_a, k_flag_atom));
    log_info("amt_handle_damt1_cmd op_type:%d", operation);
    int32_t flag = 0;
    result = handle_amt_damt1_operation(operation, &flag);
    log_info("amt_handle_damt1_cmd op_type:%d; flag:%d; ret_val:%d.", operation, flag, result);
    if (result != ERR_NONE) {
        return amt_handle_send_rsp_err(channel, response, k_flag_response_id, AMT_HANDLER_FAILURE);
    }
    amt_handle_begin_rsp(response, k_flag_response_id);
    (void)amt_message_append_int(response->m_data_a, k_flag_atom, static_cast<uint32_t>(flag));
    amt_handle_append_result(response, 0);
    return amt_handle_send_rsp(channel, response);
}
