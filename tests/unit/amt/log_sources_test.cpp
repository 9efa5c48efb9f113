// Where the records of the device tests and of the identities say that they come from. Only a log that is closed tells:
// it leaves the source of each record that comes too late beside it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "amt/at-local/address-at.h"
#include "amt/at-local/at-fields.h"
#include "amt/at-local/device-at.h"
#include "amt/at-local/handset-at.h"
#include "amt/channels/failure-exit.h"
#include "amt/channels/handshake.h"
#include "amt/channels/timers.h"
#include "amt/device/audio.h"
#include "amt/device/battery.h"
#include "amt/device/bluetooth.h"
#include "amt/device/camera.h"
#include "amt/device/command.h"
#include "amt/device/device-info.h"
#include "amt/device/gps.h"
#include "amt/device/handset-state.h"
#include "amt/device/kernel-file.h"
#include "amt/device/radio.h"
#include "amt/device/simple.h"
#include "amt/device/storage.h"
#include "amt/device/wifi.h"
#include "amt/identity/bt-address.h"
#include "amt/identity/handshake-permit.h"
#include "amt/identity/identity-files.h"
#include "amt/identity/identity-requests.h"
#include "amt/identity/identity-writes.h"
#include "amt/identity/serial-number.h"
#include "amt/identity/wifi-address.h"
#include "amt/identity/wifi-nvram.h"
#include "amt/platform-library.h"
#include "tests/support/in_child.h"
#include "tests/support/test_log.h"
#include "tests/unit/amt/device_fakes.h"

extern "C" int __wrap_property_set(const char *, const char *)
{
    return 0; // no property of this machine is set
}

namespace {

using ::testing::StartsWith;

struct source_row {
    const char *first; // of the records: its source and its function
    void (*tell)();
};

void treat_a_line()
{
    handle_context_st.m_request = buffer_with(hex_of("AT^DBTCTRL=9\r"));
    (void)handle_amt_device_at();
}

void write_nowhere()
{
    (void)amt_device_write_number("/sys/none", 1, LOG_HERE);
}

void blame_a_radio()
{
    (void)amt_radio_check("", "", 1, LOG_HERE);
}

template <amt_handle_func handler>
void refuse()
{
    (void)handler(255, nullptr, nullptr);
}

void say(const std::string &line)
{
    handle_context_st.m_request = buffer_with(hex_of(line));
}

void read_an_address()
{
    say("AT^DBTADDR?\r");
    (void)handle_amt_pc_req_at();
}

void ask_for_a_type()
{
    say("AT^DAMT1=\r");
    (void)handle_amt_not_permit_handshake_at();
}

void miss_a_field()
{
    (void)amt_tell_missing_field("", LOG_HERE);
}

int32_t tell_of_charger()
{
    return 1;
}

void start_at_a_charger()
{
    g_fake.entry = reinterpret_cast<void *>(&tell_of_charger);
    (void)amt_admit();
}

// clang-format off
const source_row k_sources_a[] = {
    {"amt/amt-device -> amt_device_audio -> ",                 refuse<amt_device_audio>},
    {"amt/amt-device -> amt_device_audio_loop -> ",            refuse<amt_device_audio_loop>},
    {"amt/amt-device -> amt_device_battery_voltage -> ",       refuse<amt_device_battery_voltage>},
    {"amt/amt-device -> amt_device_battery_voltage_check -> ", refuse<amt_device_battery_voltage_check>},
    {"amt/amt-device -> amt_device_bt -> ",                    refuse<amt_device_bt>},
    {"amt/amt-device -> amt_device_bt_address -> ",            refuse<amt_device_bt_address>},
    {"amt/amt-device -> amt_device_camera -> ",                refuse<amt_device_camera>},
    {"amt/amt-device -> amt_device_camera_control -> ",        refuse<amt_device_camera_control>},
    {"amt/amt-device -> amt_read_dev_info -> ",                refuse<amt_read_dev_info>},
    {"amt/amt-device -> amt_enter_idle -> ",                   refuse<amt_enter_idle>},
    {"amt/amt-gps -> amt_gps_control -> ",                     refuse<amt_gps_control>},
    {"amt/amt-gps -> amt_gps_test -> ",                        refuse<amt_gps_test>},
    {"amt/amt-gps -> amt_gps_read_result -> ",                 refuse<amt_gps_read_result>},
    {"amt/amt-device -> amt_device_lcd_color -> ",             refuse<amt_device_lcd_color>},
    {"amt/amt-device -> amt_device_lcd_brightness -> ",        refuse<amt_device_lcd_brightness>},
    {"amt/amt-device -> amt_device_vibrator -> ",              refuse<amt_device_vibrator>},
    {"amt/amt-device -> amt_device_button_backlight -> ",      refuse<amt_device_button_backlight>},
    {"amt/amt-device -> amt_device_tf_card -> ",               refuse<amt_device_tf_card>},
    {"amt/amt-device -> amt_device_wifi_address -> ",          refuse<amt_device_wifi_address>},
    {"amt/amt-device -> amt_device_wifi_rtx_test -> ",         refuse<amt_device_wifi_rtx_test>},
    {"amt/amt-device -> amt_device_do_command -> ",            [] { (void)amt_device_do_command("true"); }},
    {"amt/amt-device -> write_nowhere -> ",                    write_nowhere},
    {"amt/amt-device -> blame_a_radio -> ",                    blame_a_radio},
    {"amt/amt-device -> decide_platform_lib_name -> ",         decide_platform_lib_name},
    {"amt/amt-handle -> handle_amt_device_at -> ",             treat_a_line},
    {"amt/amt-handle -> amt_make_folder -> ",                  [] { (void)amt_make_folder("/sys"); }},
    {"amt/amt-handle -> amt_write_wifi_address -> ",           [] { (void)amt_write_wifi_address(""); }},
    {"amt/amt-handle -> handle_amt_damt1_operation -> ",       [] { (void)handle_amt_damt1_operation(9, nullptr); }},
    {"amt/amt-handle -> handle_amt_pc_req_at -> ",             read_an_address},
    {"amt/amt-handle -> handle_amt_not_permit_handshake_at -> ", ask_for_a_type},
    {"amt/amt-handle -> miss_a_field -> ",                     miss_a_field},
    {"amt/amt-handle -> get_bt_addr_file -> ",                 [] { (void)get_bt_addr_file(); }},
    {"amt/amt-handle -> amt_write_pcba_sn -> ",                [] { (void)amt_write_pcba_sn("", ""); }},
    {"amt/amt-handle -> amt_handle_board_pcba_ctrl -> ",       refuse<amt_handle_board_pcba_ctrl>},
    {"amt/amt-handle -> amt_handle_adb_serial_no -> ",         refuse<amt_handle_adb_serial_no>},
    {"amt/amt-handle -> handle_amt_imei_and_sn_save_file -> ", [] { (void)handle_amt_imei_and_sn_save_file(9); }},
    {"amt/amt-handle -> amt_write_wifi_to_nvram_file -> ",     [] { (void)amt_write_wifi_to_nvram_file(); }},
    {"amt/amt-handle -> amt_handle_not_permit_handshake -> ",  refuse<amt_handle_not_permit_handshake>},
    {"amt/amt-handle -> amt_handle_power_off -> ",             refuse<amt_handle_power_off>},
    {"amt/amt-handle -> amt_admit -> ",                        start_at_a_charger},
    {"amt/amt-handle -> amt_set_failure_exit_property -> ",    amt_set_failure_exit_property},
    {"amt/amt-handle -> amt_handle_failure_exit -> ",          amt_handle_failure_exit},
    {"amt/amt-handle -> deleteTimer -> ",                      [] { deleteTimer(&g_usbEnumTimer); }},
    {"amt/amt-handle -> setTimer -> ",                         [] { setTimer(&g_handShakeTimer, 1); }},
};
// clang-format on

TEST(LogSources, AreThoseOfTheirFunctions)
{
    for (const source_row &row : k_sources_a) {
        in_child([&row] {
            const test_log log;
            sfw_log_stop(nullptr);
            row.tell();
            EXPECT_THAT(read_whole_file(log.folder() + "/log_internal.log"), StartsWith(row.first));
        });
    }
}

} // namespace
