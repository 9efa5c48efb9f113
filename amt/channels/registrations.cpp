#include "amt/channels/registrations.h"

#include <stddef.h>

#include "amt/at-local/version.h"
#include "amt/core/registry.h"
#include "amt/device/audio.h"
#include "amt/device/battery.h"
#include "amt/device/bluetooth.h"
#include "amt/device/camera.h"
#include "amt/device/device-info.h"
#include "amt/device/gps.h"
#include "amt/device/handset-state.h"
#include "amt/device/simple.h"
#include "amt/device/storage.h"
#include "amt/device/wifi.h"
#include "amt/identity/handshake-permit.h"
#include "amt/identity/identity-requests.h"
#include "amt/modem/channel-switch.h"
#include "amt/modem/modem-requests.h"
#include "amt/modem/modem-tunnel.h"
#include "amt/modem/modem-version.h"
#include "amt/modem/normal-to-amt.h"
#include "amt/results/result-requests.h"

#define LOG_MODULE "amt/amt-handle"
#include "pub/log/log.h"

namespace {

// A handler of one id, or of every second one from the first to the last: in between stand the answers.
struct registration {
    uint32_t m_first;
    uint32_t m_last;
    amt_handle_func m_handler;
};

constexpr uint32_t k_step = 2;

// In the order of registration, which the log shows; of two rows of one id the later one is in force.
// clang-format off

// Requests of the station. What stands in neither this table nor the chain of AT lines goes to the modem.
constexpr registration k_pc_registrations_a[] = {
    {0x2D, 0x2D, handle_amt_pc_req_version},
    {0xAA, 0xAA, amt_device_bt},
    {0xAC, 0xAC, amt_device_bt_address},
    {0xB9, 0xB9, amt_device_wifi_address},
    {0xBB, 0xBB, amt_device_wifi_rtx_test},
    {0xAE, 0xAE, amt_gps_control},
    {0xB0, 0xB0, amt_gps_test},
    {0xB2, 0xB2, amt_gps_read_result},
    {0xBF, 0xBF, amt_handle_adb_serial_no},
    {0xE0, 0xE2, amt_device_battery_voltage_check},
    {0xEC, 0xEC, amt_handle_power_off},
    {0xC1, 0xC1, amt_handle_board_pcba_ctrl},
    {0xDB, 0xDB, amt_handle_not_permit_handshake},
    {0xF0, 0xF0, amt_enter_idle},
    {0x5B, 0x5B, amt_modem_write_pc_test_result},
    {0xF4, 0xF4, amt_modem_boot_dl_fin_read},
};

// Requests of the application. What does not stand here is refused.
constexpr registration k_app_registrations_a[] = {
    {0x01, 0x05, amt_modem_handle_req},
    {0x07, 0x07, amt_modem_handle_read_imei},
    {0x09, 0x09, amt_device_battery_voltage},
    {0x0B, 0x1B, amt_modem_handle_req},
    {0x1D, 0x1D, amt_device_lcd_color},
    {0x1F, 0x1F, amt_device_audio_loop},
    {0x21, 0x21, amt_device_audio},
    {0x23, 0x23, amt_device_vibrator},
    {0x25, 0x25, amt_device_button_backlight},
    {0x27, 0x29, amt_modem_handle_req},
    {0x2A, 0x2A, amt_modem_handle_req},
    {0x2B, 0x2B, amt_modem_handle_req},
    {0x2D, 0x2D, handle_amt_req_version},
    {0x2F, 0x35, amt_modem_handle_req},
    {0x37, 0x37, amt_modem_handle_temperature},
    {0x39, 0x39, amt_device_lcd_brightness},
    {0x3B, 0x3F, amt_modem_handle_req},
    {0x41, 0x41, amt_modem_handle_read_outdate},
    {0x43, 0x53, amt_modem_handle_req},
    {0x55, 0x55, amt_modem_handle_read_board},
    {0x57, 0x57, amt_modem_handle_req},
    {0x59, 0x59, amt_modem_read_test_result},
    {0x5B, 0x5B, amt_modem_write_test_result},
    {0x5D, 0x61, amt_modem_handle_req},
    {0x65, 0x69, amt_modem_handle_req},
    {0x6B, 0x87, amt_modem_handle_req},
    {0x89, 0x89, amt_device_tf_card},
    {0x8B, 0x8B, amt_device_camera},
    {0x93, 0x93, amt_device_camera},
    {0x95, 0x9B, amt_modem_handle_req},
    {0xAA, 0xAA, amt_device_bt},
    {0xAC, 0xAC, amt_device_bt_address},
    {0xB9, 0xB9, amt_device_wifi_address},
    {0xAE, 0xAE, amt_gps_control},
    {0xB0, 0xB0, amt_gps_test},
    {0xB2, 0xB2, amt_gps_read_result},
    {0xB4, 0xB4, amt_device_camera_control},
    {0xC9, 0xC9, amt_modem_handle_req},
    {0xCC, 0xCC, amt_modem_handle_req},
    {0xCD, 0xD5, amt_modem_handle_req},
    {0xDB, 0xDD, amt_modem_handle_req}, // the first of them has a handler of its own in the end: see the last row
    {0xE4, 0xE4, amt_item_read_test_result},
    {0xE6, 0xE6, amt_item_write_test_result},
    {0xBB, 0xBB, amt_device_wifi_rtx_test},
    {0xE8, 0xE8, amt_at_to_modem},
    {0x63, 0x63, amt_dtoc_checkSIM},
    {0xEA, 0xEA, amt_read_serial_number},
    {0xEE, 0xEE, amt_read_dev_info},
    {0xF0, 0xF0, amt_enter_idle},
    {0xC3, 0xC3, amt_handle_normal_to_amt},
    {0xC5, 0xC5, amt_query_amt_support},
    {0xDB, 0xDB, amt_handle_damt1_cmd},
};
// clang-format on

template <size_t count>
constexpr bool can_be_registered(const registration (&rows)[count])
{
    for (const registration &row : rows) {
        if (row.m_first > row.m_last || row.m_last >= AMT_HANDLER_COUNT || (row.m_last - row.m_first) % k_step != 0) {
            return false;
        }
    }
    return true;
}

static_assert(can_be_registered(k_pc_registrations_a), "an id is 0 to 254, and a run ends with its last id");
static_assert(can_be_registered(k_app_registrations_a), "an id is 0 to 254, and a run ends with its last id");

template <size_t count>
void register_all(uint8_t channel, const registration (&rows)[count])
{
    for (const registration &row : rows) {
        for (uint32_t id = row.m_first; id <= row.m_last; id += k_step) {
            (void)amt_handle_reg_handle_func(channel, id, row.m_handler); // every id of the tables can be registered
        }
    }
}

} // namespace

void amt_register_handlers()
{
    register_all(AMT_CHANNEL_PC, k_pc_registrations_a);
    register_all(AMT_CHANNEL_APP, k_app_registrations_a);
}
