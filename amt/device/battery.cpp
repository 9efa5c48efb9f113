#include "amt/device/battery.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>

#include "amt/core/request.h"
#include "amt/core/response.h"
#include "amt/device/command.h"
#include "amt/device/kernel-file.h"
#include "amt/identity/identity-files.h"
#include "pub/base/file.h"
#include "pub/base/scoped.h"
#include "pub/base/shell.h"
#include "pub/base/wait.h"
#include "pub/cfg/cfg.h"

#define LOG_MODULE "amt/amt-device"
#include "pub/log/log.h"

namespace {

constexpr char k_voltage_file[] = "/sys/class/power_supply/battery/voltage_now";
constexpr uint8_t k_voltage_response_id = 10;
constexpr uint8_t k_voltage_atom = 5;

#define DRIVER "/proc/driver/vexio_battery"
constexpr char k_calibration_file[] = "/amt/vbatt";
constexpr uint32_t k_conversion_ms = 20;

constexpr uint8_t k_read_id = 224;
constexpr uint8_t k_calibrate_id = 226;
constexpr uint8_t k_first_number_atom = 146;
constexpr uint8_t k_value_atom = 151;

using calibration_text = char[80];

// As the driver takes it, and as it is kept.
void format_calibration(const amt_adc_calibration &calibration, calibration_text &text)
{
    const int32_t *numbers = calibration.m_numbers_a;
    (void)snprintf(text, sizeof(text), "amt_set_vbatt[%d] [%d] [%d] [%d]", numbers[0], numbers[1], numbers[2],
                   numbers[3]);
}

amt_adc_calibration calibration_in(const amt_buffer *request)
{
    amt_adc_calibration calibration = {};
    uint8_t atom = k_first_number_atom;
    for (int32_t &number : calibration.m_numbers_a) {
        number = static_cast<int32_t>(amt_message_get_int(request->m_data_a, atom++));
    }
    return calibration;
}

void calibrate_driver(const amt_adc_calibration &calibration)
{
    calibration_text text;
    format_calibration(calibration, text);
    device_command command;
    amt_device_format_command(command, "echo \"%s\" > " DRIVER, text); // numbers may be long enough for a cut: keep
    log_info("%s", command);
    (void)pub_util_run_shell(command); // the file has it for the next start
}

int32_t read_converter(amt_buffer *response)
{
    uint32_t value = 0;
    const int32_t result = amt_read_adc(&value);
    if (result == ERR_NONE) {
        (void)amt_message_append_int(response->m_data_a, k_value_atom, value); // it has room
        amt_handle_append_result(response, 0);
    }
    return result;
}

int32_t calibrate(const amt_buffer *request, amt_buffer *response)
{
    const amt_adc_calibration calibration = calibration_in(request);
    const int32_t result = amt_write_adc_diff_value(calibration);
    if (result == ERR_NONE) {
        amt_handle_append_result(response, 0);
        calibrate_driver(calibration);
    }
    return result;
}

int32_t carry_out_battery_check(const amt_buffer *request, amt_buffer *response)
{
    const uint8_t id = amt_message_get_command_id(request->m_data_a);
    amt_handle_begin_rsp(response, static_cast<uint8_t>(id + 1));
    switch (id) {
    case k_read_id:
        return read_converter(response);
    case k_calibrate_id:
        return calibrate(request, response);
    default:
        return log_error(ERR_UNKNOWN, "Invalid command id[%d]", id);
    }
}

} // namespace

int32_t amt_device_battery_voltage(uint8_t channel, const amt_buffer *request, amt_buffer *response)
{
    log_func();
    int32_t result = amt_handle_check_request(channel, request, response, LOG_HERE);
    if (result != ERR_NONE) {
        return result;
    }
    int32_t voltage = 0;
    result = amt_device_read_number(k_voltage_file, &voltage, LOG_HERE);
    if (result != ERR_NONE) {
        return result;
    }
    log_info("battery_voltage: %d", voltage);
    amt_handle_begin_rsp(response, k_voltage_response_id);
    (void)amt_message_append_int(response->m_data_a, k_voltage_atom, static_cast<uint32_t>(voltage)); // it has room
    amt_handle_append_result(response, 0);
    return amt_handle_send_rsp(channel, response);
}

int32_t amt_device_battery_voltage_check(uint8_t channel, const amt_buffer *request, amt_buffer *response)
{
    log_func();
    int32_t result = amt_handle_check_request(channel, request, response, LOG_HERE);
    if (result != ERR_NONE) {
        return result;
    }
    result = carry_out_battery_check(request, response);
    return result != ERR_NONE ? result : amt_handle_wrap_and_send_rsp(channel, response);
}

int32_t amt_read_adc(uint32_t *value)
{
    log_func();
    *value = 0;
    if (amt_device_do_command("echo \"amt_get_vbatt\" > " DRIVER) != ERR_NONE) {
        return ERR_NONE; // 0, which no battery has: keep
    }
    pub_util_sleep_ms(k_conversion_ms);
    const scoped_file file(pub_cfg_open(DRIVER));
    if (!file.is_open()) {
        (void)log_sys_error("open");
        return ERR_UNKNOWN;
    }
    errno = 0;                                  // the end of the file sets none
    if (fscanf(file.get(), "%u", value) != 1) { // NOLINT(cert-err34-c): the driver's numbers are in range
        (void)log_sys_error("fscanf");
        return ERR_UNKNOWN;
    }
    log_info("ADC value: %u", *value);
    return ERR_NONE;
}

int32_t amt_write_adc_diff_value(const amt_adc_calibration &calibration)
{
    log_func();
    const int fd = pub_util_open_file(k_calibration_file, O_WRONLY | O_CREAT | O_TRUNC);
    if (fd < 0) {
        (void)log_sys_error("open");
        return ERR_UNKNOWN;
    }
    calibration_text text;
    format_calibration(calibration, text);
    const bool is_written = amt_write_and_close(fd, text);
    if (is_written) {
        const int32_t *numbers = calibration.m_numbers_a;
        log_info("SAVA ADC value: %d %d %d %d", numbers[0], numbers[1], numbers[2], numbers[3]);
    } else {
        (void)log_sys_error("write");
    }
    amt_sync_files();
    return is_written ? ERR_NONE : ERR_UNKNOWN;
}
