#include "amt/channels/registrations.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdint.h>

#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "amt/at-local/version.h"
#include "amt/core/command-names.h"
#include "amt/core/context.h"
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
#include "tests/support/in_child.h"
#include "tests/support/test_log.h"

namespace {

using ::testing::ElementsAreArray;

using handlers = std::map<uint32_t, amt_handle_func>;

const handlers k_pc_handlers = {
    {0x2D, handle_amt_pc_req_version},
    {0xAA, amt_device_bt},
    {0xAC, amt_device_bt_address},
    {0xAE, amt_gps_control},
    {0xB0, amt_gps_test},
    {0xB2, amt_gps_read_result},
    {0xB9, amt_device_wifi_address},
    {0xBB, amt_device_wifi_rtx_test},
    {0xBF, amt_handle_adb_serial_no},
    {0xC1, amt_handle_board_pcba_ctrl},
    {0xDB, amt_handle_not_permit_handshake},
    {0xE0, amt_device_battery_voltage_check},
    {0xE2, amt_device_battery_voltage_check},
    {0xEC, amt_handle_power_off},
    {0xF0, amt_enter_idle},
    {0x5B, amt_modem_write_pc_test_result},
    {0xF4, amt_modem_boot_dl_fin_read},
};

// Of the application, without those that the modem understands alone.
const handlers k_app_handlers = {
    {0x07, amt_modem_handle_read_imei},
    {0x09, amt_device_battery_voltage},
    {0x1D, amt_device_lcd_color},
    {0x1F, amt_device_audio_loop},
    {0x21, amt_device_audio},
    {0x23, amt_device_vibrator},
    {0x25, amt_device_button_backlight},
    {0x2D, handle_amt_req_version},
    {0x37, amt_modem_handle_temperature},
    {0x39, amt_device_lcd_brightness},
    {0x41, amt_modem_handle_read_outdate},
    {0x55, amt_modem_handle_read_board},
    {0x59, amt_modem_read_test_result},
    {0x5B, amt_modem_write_test_result},
    {0x63, amt_dtoc_checkSIM},
    {0x89, amt_device_tf_card},
    {0x8B, amt_device_camera},
    {0x93, amt_device_camera},
    {0xAA, amt_device_bt},
    {0xAC, amt_device_bt_address},
    {0xAE, amt_gps_control},
    {0xB0, amt_gps_test},
    {0xB2, amt_gps_read_result},
    {0xB4, amt_device_camera_control},
    {0xB9, amt_device_wifi_address},
    {0xBB, amt_device_wifi_rtx_test},
    {0xC3, amt_handle_normal_to_amt},
    {0xC5, amt_query_amt_support},
    {0xDB, amt_handle_damt1_cmd},
    {0xE4, amt_item_read_test_result},
    {0xE6, amt_item_write_test_result},
    {0xE8, amt_at_to_modem},
    {0xEA, amt_read_serial_number},
    {0xEE, amt_read_dev_info},
    {0xF0, amt_enter_idle},
};

// Those, one by one.
constexpr uint8_t k_tunnelled_a[] = {
    0x01, 0x03, 0x05, 0x0B, 0x0D, 0x0F, 0x11, 0x13, 0x15, 0x17, 0x19, 0x1B, 0x27, 0x29, 0x2A, 0x2B, 0x2F,
    0x31, 0x33, 0x35, 0x3B, 0x3D, 0x3F, 0x43, 0x45, 0x47, 0x49, 0x4B, 0x4D, 0x4F, 0x51, 0x53, 0x57, 0x5D,
    0x5F, 0x61, 0x65, 0x67, 0x69, 0x6B, 0x6D, 0x6F, 0x71, 0x73, 0x75, 0x77, 0x79, 0x7B, 0x7D, 0x7F, 0x81,
    0x83, 0x85, 0x87, 0x95, 0x97, 0x99, 0x9B, 0xC9, 0xCC, 0xCD, 0xCF, 0xD1, 0xD3, 0xD5, 0xDD,
};

// The ids in the order in which they are registered; 0xDB of the application twice.
constexpr uint8_t k_pc_order_a[] = {
    0x2D, 0xAA, 0xAC, 0xB9, 0xBB, 0xAE, 0xB0, 0xB2, 0xBF, 0xE0, 0xE2, 0xEC, 0xC1, 0xDB, 0xF0, 0x5B, 0xF4,
};
constexpr uint8_t k_app_order_a[] = {
    0x01, 0x03, 0x05, 0x07, 0x09, 0x0B, 0x0D, 0x0F, 0x11, 0x13, 0x15, 0x17, 0x19, 0x1B, 0x1D, 0x1F, 0x21,
    0x23, 0x25, 0x27, 0x29, 0x2A, 0x2B, 0x2D, 0x2F, 0x31, 0x33, 0x35, 0x37, 0x39, 0x3B, 0x3D, 0x3F, 0x41,
    0x43, 0x45, 0x47, 0x49, 0x4B, 0x4D, 0x4F, 0x51, 0x53, 0x55, 0x57, 0x59, 0x5B, 0x5D, 0x5F, 0x61, 0x65,
    0x67, 0x69, 0x6B, 0x6D, 0x6F, 0x71, 0x73, 0x75, 0x77, 0x79, 0x7B, 0x7D, 0x7F, 0x81, 0x83, 0x85, 0x87,
    0x89, 0x8B, 0x93, 0x95, 0x97, 0x99, 0x9B, 0xAA, 0xAC, 0xB9, 0xAE, 0xB0, 0xB2, 0xB4, 0xC9, 0xCC, 0xCD,
    0xCF, 0xD1, 0xD3, 0xD5, 0xDB, 0xDD, 0xE4, 0xE6, 0xBB, 0xE8, 0x63, 0xEA, 0xEE, 0xF0, 0xC3, 0xC5, 0xDB,
};

handlers app_handlers()
{
    handlers all = k_app_handlers;
    for (const uint8_t id : k_tunnelled_a) {
        all[id] = amt_modem_handle_req;
    }
    return all;
}

handlers registered(const amt_handle_func (&table)[AMT_HANDLER_COUNT])
{
    handlers found;
    for (uint32_t id = 0; id < AMT_HANDLER_COUNT; id++) {
        if (table[id] != nullptr) {
            found[id] = table[id];
        }
    }
    return found;
}

std::string told(const char *channel, uint8_t id)
{
    char text[120];
    (void)snprintf(text, sizeof(text), "info | %s register command id: %d(0x%02x) - %s", channel, id, id,
                   amt_get_command_name(id));
    return text;
}

TEST(Registrations, GiveEveryRequestItsHandler)
{
    in_child([] {
        amt_context_clear();
        amt_register_handlers();
        EXPECT_EQ(registered(handle_context_st.m_handle_pc_func_a), k_pc_handlers);
        EXPECT_EQ(registered(handle_context_st.m_handle_app_func_a), app_handlers());
    });
}

TEST(Registrations, AreToldInTheirOrderWithOneReplacement)
{
    in_child([] {
        amt_context_clear();
        const test_log log;
        amt_register_handlers();
        std::vector<std::string> expected;
        for (const uint8_t id : k_pc_order_a) {
            expected.insert(expected.end(), {"func | ", told("PC", id)});
        }
        bool is_first_flag = true;
        for (const uint8_t id : k_app_order_a) {
            expected.emplace_back("func | ");
            if (id == 0xDB && !is_first_flag) {
                expected.emplace_back("warning | re-register the handle function of request id: 219");
            }
            is_first_flag = is_first_flag && id != 0xDB;
            expected.push_back(told("APP", id));
        }
        EXPECT_THAT(log.records(), ElementsAreArray(expected));
    });
}

} // namespace
