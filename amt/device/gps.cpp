#include "amt/device/gps.h"

#include <hwt.h>

#include "amt/core/request.h"
#include "amt/core/response.h"
#include "amt/device/radio.h"
#include "amt/wire/amt-convert.h"
#include "pub/base/shell.h"

#define LOG_MODULE "amt/amt-gps"
#include "pub/log/log.h"

namespace {

constexpr uint8_t k_control_response_id = 175; // the test's, too: stations look for it, keep
constexpr uint8_t k_result_response_id = 179;

constexpr uint8_t k_switch_atom = 140;
constexpr uint8_t k_index_atom = 141; // of the satellite; in the answer its number
constexpr uint8_t k_strength_atom = 144;

constexpr int32_t k_stop = 0;
constexpr int32_t k_check = 2;

int32_t read_satellite(int index, int *number, int *strength)
{
    log_info("GPS-READ-SIGNAL start. index:%d", index);
    const int result = hwt_gpsCtrl(AMT_GPS_READ, index, number, strength);
    log_info("GPS-READ-SIGNAL end. return:%d; svid:%d; cnr:%d.", result, *number, *strength);
    return amt_radio_check("GPS-READ-SIGNAL", "hwt_gpsCtrl", result, LOG_HERE);
}

const radio_step &step_of(int32_t position)
{
    switch (position) {
    case k_stop:
        return AMT_GPS_STOP;
    case k_check:
        return AMT_GPS_CHECK;
    default:
        return AMT_GPS_START;
    }
}

} // namespace

int32_t amt_gps_control(uint8_t channel, const amt_buffer *request, amt_buffer *response)
{
    log_func();
    int32_t result = amt_handle_check_request(channel, request, response, LOG_HERE);
    if (result != ERR_NONE) {
        return result;
    }
    const auto position = static_cast<int32_t>(amt_message_get_int(request->m_data_a, k_switch_atom));
    log_info("amt_gps_control is_start:%d", position);
    result = amt_radio_run(step_of(position), LOG_HERE);
    return result != ERR_NONE ? result : amt_handle_send_rsp_ok(channel, response, k_control_response_id);
}

int32_t amt_gps_test(uint8_t channel, const amt_buffer *request, amt_buffer *response)
{
    log_func();
    const int32_t result = amt_handle_check_request(channel, request, response, LOG_HERE);
    if (result != ERR_NONE) {
        return result;
    }
    return amt_handle_send_rsp_ok(channel, response, k_control_response_id);
}

int32_t amt_gps_read_result(uint8_t channel, const amt_buffer *request, amt_buffer *response)
{
    log_func();
    int32_t result = amt_handle_check_request(channel, request, response, LOG_HERE);
    if (result != ERR_NONE) {
        (void)pub_util_run_shell("echo gps read result:invalid param > /data/local/wifi/gps_get_result.txt");
        return result;
    }
    const auto index = static_cast<int32_t>(amt_message_get_int(request->m_data_a, k_index_atom));
    int number = 0;
    int strength = 0;
    result = read_satellite(index, &number, &strength);
    if (result != ERR_NONE) {
        return result;
    }
    amt_handle_begin_rsp(response, k_result_response_id);
    (void)amt_message_append_int(response->m_data_a, k_strength_atom, static_cast<uint32_t>(strength)); // there is room
    (void)amt_message_append_int(response->m_data_a, k_index_atom, static_cast<uint32_t>(number));
    amt_handle_append_result(response, 0);
    if (channel == AMT_CHANNEL_PC) {
        result = amt_convert_app_2_pc(response);
    }
    if (result == ERR_NONE) {
        (void)amt_handle_send_rsp(channel, response); // the satellite was read, whoever learns of it: keep
    }
    return result;
}
