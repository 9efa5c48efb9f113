#include "amt/device/handset-state.h"

#include <errno.h>
#include <power.h>
#include <stdio.h>

#include "amt/core/request.h"
#include "amt/core/response.h"
#include "amt/platform-library.h"
#include "pub/base/scoped.h"
#include "pub/base/wait.h"
#include "pub/cfg/cfg.h"

#define LOG_MODULE "amt/amt-handle"
#include "pub/log/log.h"

namespace {

constexpr char k_temperature_file[] = "sys/class/power_supply/battery/temp"; // from the root folder, where we run: keep
constexpr uint8_t k_temperature_response_id = 0x38;
constexpr uint8_t k_temperature_atom = 22;

constexpr uint8_t k_flag_response_id = 0xF5;
constexpr uint8_t k_flag_atom = 204;
constexpr uint32_t k_flag_unread = 2; // for a reader that leaves it alone, which ours does not

constexpr uint8_t k_power_off_response_id = 0xED;
constexpr uint32_t k_answer_leaves_seconds = 2;

bool read_temperature(uint32_t *temperature)
{
    const scoped_file file(pub_cfg_open(k_temperature_file));
    if (!file.is_open()) {
        (void)log_error(ERR_C_FUNCTION, "fopen error: errno=%d", errno);
        return false;
    }
    errno = 0;
    if (fscanf(file.get(), "%u", temperature) != 1) { // NOLINT(cert-err34-c): one below zero is to wrap around
        (void)log_error(ERR_C_FUNCTION, "fscanf error: errno=%d", errno);
        return false;
    }
    log_info("Battery temperature: %u", *temperature);
    return true;
}

} // namespace

int32_t amt_modem_handle_temperature(uint8_t channel, const amt_buffer *request, amt_buffer *response)
{
    log_func();
    const int32_t result = amt_handle_check_request(channel, request, response, LOG_HERE);
    if (result != ERR_NONE) {
        return result;
    }
    uint32_t temperature = 0;
    if (!read_temperature(&temperature)) {
        return amt_handle_send_rsp_err(channel, response, k_temperature_response_id, AMT_HANDLER_FAILURE);
    }
    amt_handle_begin_rsp(response, k_temperature_response_id);
    (void)amt_message_append_int(response->m_data_a, k_temperature_atom, temperature);
    amt_handle_append_result(response, 0);
    return amt_handle_send_rsp(channel, response);
}

int32_t amt_read_boot_dl_flag(uint32_t *flag, log_caller caller)
{
    *flag = k_flag_unread;
    const int32_t result = amt_boot_dl_fin_read(flag);
    log_info_of(caller, "amt_modem_boot_dl_fin_read finished. flag:%d; ret_val:%d.", static_cast<int>(*flag), result);
    return result;
}

int32_t amt_modem_boot_dl_fin_read(uint8_t channel, const amt_buffer *request, amt_buffer *response)
{
    log_func();
    int32_t result = amt_handle_check_request(channel, request, response, LOG_HERE);
    if (result != ERR_NONE) {
        return result;
    }
    log_info("amt_modem_boot_dl_fin_read.");
    uint32_t flag = 0;
    result = amt_read_boot_dl_flag(&flag, LOG_HERE);
    if (result != ERR_NONE) {
        return log_error(ERR_UNKNOWN, "read error");
    }
    amt_handle_begin_rsp(response, k_flag_response_id);
    (void)amt_message_append_int(response->m_data_a, k_flag_atom, flag);
    amt_handle_append_result(response, static_cast<uint32_t>(result));
    return amt_handle_wrap_and_send_rsp(channel, response);
}

void amt_power_off_behind_answer()
{
    pub_util_sleep_seconds(k_answer_leaves_seconds);
    if (platform_power_off() != 0) {
        (void)log_sys_error("reboot");
    }
}

int32_t amt_handle_power_off(uint8_t channel, const amt_buffer *request, amt_buffer *response)
{
    log_func();
    int32_t result = amt_handle_check_request(channel, request, response, LOG_HERE);
    if (result != ERR_NONE) {
        return result;
    }
    result = amt_handle_send_rsp_ok(channel, response, k_power_off_response_id);
    amt_power_off_behind_answer();
    return result;
}
