// What the commands of the catalogue carry: the items of their requests and of their answers, in the order in which
// they are sent. Included by catalogue_rows.cpp alone.
#pragma once

#include "station/catalogue.h"

namespace station::items {

constexpr bool k_required = true;
constexpr bool k_optional = false;

constexpr item number(const char *name, std::uint8_t atom, bool required, const char *unit, const char *meaning,
                      rows<named_value> values = {})
{
    return {name, atom, AMT_VALUE_INT, item_form::number, AMT_INT_LENGTH, required, unit, meaning, values};
}

constexpr item signed_number(const char *name, std::uint8_t atom, bool required, const char *unit, const char *meaning)
{
    return {name, atom, AMT_VALUE_INT, item_form::signed_number, AMT_INT_LENGTH, required, unit, meaning, {}};
}

// A number in so many bytes.
constexpr item short_number(const char *name, std::uint8_t atom, std::uint16_t size, bool required, const char *meaning,
                            rows<named_value> values = {})
{
    return {name, atom, AMT_VALUE_BYTES, item_form::number, size, required, "", meaning, values};
}

constexpr item flag(const char *name, std::uint8_t atom, bool required, const char *meaning,
                    rows<named_value> values = {})
{
    return {name, atom, AMT_VALUE_BOOL, item_form::flag, AMT_BOOL_LENGTH, required, "", meaning, values};
}

constexpr item text(const char *name, std::uint8_t atom, std::uint16_t size, bool required, const char *meaning)
{
    return {name, atom, AMT_VALUE_STRING, item_form::text, size, required, "", meaning, {}};
}

// Characters in an atom of bytes.
constexpr item plain_text(const char *name, std::uint8_t atom, std::uint16_t size, bool required, const char *meaning)
{
    return {name, atom, AMT_VALUE_BYTES, item_form::text, size, required, "", meaning, {}};
}

constexpr item data(const char *name, std::uint8_t atom, const char *meaning)
{
    return {name, atom, AMT_VALUE_BYTES, item_form::bytes, 0, k_optional, "", meaning, {}};
}

// clang-format off

// --- devices

constexpr named_value k_off_on[] = {
    {0, "off", "stop"},
    {1, "on",  "start; so is a request without the switch"},
};
constexpr item k_switch[] = {
    number("switch", 15, k_optional, "", "whether it is to run", k_off_on),
};
constexpr item k_audio_loop[] = {
    number("switch", 15, k_optional, "", "whether the microphone is to be heard", k_off_on),
    number("type", 30, k_optional, "", "which microphone and output, by the maker's library; 0 when it is missing"),
};

constexpr item k_voltage[] = {
    signed_number("voltage", 5, k_required, "uV", "of the battery, as the kernel measures it"),
};
constexpr item k_temperature[] = {
    signed_number("temperature", 22, k_required, "0.1 C", "of the battery, as the kernel measures it"),
};
constexpr named_value k_brightness_values[] = {
    {0,   "dark",    "no light"},
    {255, "bright",  "all of it"},
    {256, "restore", "the brightness from before the first request; so is anything above"},
};
constexpr item k_brightness[] = {
    number("level", 26, k_required, "", "0 to 255; the handset takes 0 when it is missing", k_brightness_values),
};
constexpr item k_sim[] = {
    flag("present", 41, k_required, "whether there is a SIM"),
};
constexpr item k_capacity[] = {
    number("capacity", 55, k_required, "KiB", "of the memory card; 0 when there is none"),
};
constexpr item k_camera[] = {
    number("camera", 112, k_required, "", "1 or 2"),
};
constexpr named_value k_camera_outcomes[] = {
    {0, "done",      "updated"},
    {3, "no-camera", "the handset has no such camera"},
};
constexpr item k_camera_outcome[] = {
    number("outcome", 113, k_required, "", "what the driver returned", k_camera_outcomes),
};

constexpr named_value k_bluetooth_actions[] = {
    {1,  "read",  "read the address"},
    {2,  "write", "write the address"},
    {3,  "check", "check that the chip answers"},
    {10, "off",   "switch Bluetooth off"},
    {11, "on",    "switch Bluetooth on"},
};
constexpr item k_bluetooth[] = {
    number("action", 110, k_required, "", "what is to be done", k_bluetooth_actions),
    text("address", 111, 59, k_optional, "of a write: 11:22:33:44:55:66"),
};
constexpr item k_bluetooth_address[] = {
    text("address", 111, 59, k_optional, "of a read"),
};

constexpr named_value k_wifi_actions[] = {
    {0, "read",  "read the address; so is a request without an action"},
    {1, "write", "write the address"},
    {2, "check", "check that the chip answers"},
};
constexpr item k_wifi[] = {
    number("action", 152, k_optional, "", "what is to be done", k_wifi_actions),
    text("address", 153, 59, k_optional, "of a write: 11:22:33:44:55:66"),
};
constexpr item k_wifi_address[] = {
    text("address", 153, 59, k_optional, "of a read"),
};

constexpr named_value k_wifi_rtx_actions[] = {
    {1, "on",             "switch WiFi on; everything else needs that"},
    {2, "off",            "switch WiFi off"},
    {3, "send",           "send test frames; with channel, rate and power"},
    {4, "stop-sending",   "until then"},
    {5, "receive",        "count the test frames that are heard; with channel and rate"},
    {6, "stop-receiving", "until then; answers with the count"},
};
constexpr item k_wifi_rtx[] = {
    short_number("action", 154, 1, k_required, "what is to be done", k_wifi_rtx_actions),
    short_number("channel", 155, 1, k_optional, "of the radio"),
    short_number("rate", 156, 2, k_optional, "in the unit of the maker's library"),
    {"power", 157, AMT_VALUE_BYTES, item_form::signed_number, 2, k_optional, "", "in the unit of the maker's library",
     {}},
};
constexpr item k_wifi_rtx_answer[] = {
    short_number("action", 154, 1, k_required, "what was done", k_wifi_rtx_actions),
    number("count", 158, k_optional, "", "of stop-receiving: test frames heard"),
};

constexpr named_value k_gps_actions[] = {
    {0, "stop",  "end the search; so is a request without an action"},
    {1, "start", "begin the search; so is any number that is none of these"},
    {2, "check", "check that the receiver answers"},
};
constexpr item k_gps[] = {
    number("action", 140, k_optional, "", "what is to be done", k_gps_actions),
};
constexpr item k_gps_index[] = {
    number("index", 141, k_optional, "", "which satellite of the search; 0 when it is missing"),
};
constexpr item k_gps_signal[] = {
    number("strength", 144, k_required, "dB-Hz", "of its signal: carrier to noise"),
    number("satellite", 141, k_required, "", "its number"),
};

constexpr item k_converter[] = {
    number("value", 151, k_required, "", "of the converter; 0: the driver has taken no question"),
};
constexpr item k_calibration[] = {
    signed_number("first", 146, k_required, "", 
                  "the first of the four numbers of the battery driver; 0 when it is missing"),
    signed_number("second", 147, k_required, "", "the second of them; 0 when it is missing"),
    signed_number("third", 148, k_required, "", "the third of them; 0 when it is missing"),
    signed_number("fourth", 149, k_required, "", "the fourth of them; 0 when it is missing"),
};

constexpr item k_device_info[] = {
    text("text", 200, 4055, k_required, "describes the parts of the handset"),
};
constexpr item k_download_flag[] = {
    number("flag", 204, k_required, "", "how the last download of software ended, by the maker's library"),
};

// --- identities

constexpr item k_imei_to_write[] = {
    text("imei", 21, 21, k_required, "15 digits"),
};
constexpr item k_imei[] = {
    text("imei", 21, 38, k_required, "15 digits"),
};
constexpr item k_date[] = {
    text("date", 27, 14, k_required, "YYYYMMDDhhmmss"),
};
constexpr item k_board_to_write[] = {
    text("board", 38, 21, k_required, "the serial number"),
};
constexpr item k_board[] = {
    text("board", 38, 38, k_required, "the serial number"),
};
constexpr item k_serial_number[] = {
    plain_text("number", 163, 38, k_optional, "the serial number; missing when the modem has none"),
};

constexpr named_value k_adb_actions[] = {
    {0, "read",  "read the number; so is a request without an action"},
    {1, "write", "write the number"},
};
constexpr item k_adb[] = {
    number("action", 160, k_optional, "", "what is to be done", k_adb_actions),
    text("number", 161, 99, k_optional, "of a write"),
    number("length", 162, k_optional, "", "of a write: characters of the number, 1 to 99; refused without"),
};
constexpr item k_adb_number[] = {
    text("number", 161, 99, k_optional, "of a read"),
};

constexpr named_value k_pcba_actions[] = {
    {1, "read",  "read the number"},
    {2, "write", "write the number"},
};
constexpr item k_pcba[] = {
    short_number("action", 190, 1, k_required, "what is to be done", k_pcba_actions),
    text("number", 191, 30, k_optional, "of a write"),
};
constexpr item k_pcba_number[] = {
    text("number", 191, 29, k_optional, "of a read"),
};

// --- versions

constexpr named_value k_modules[] = {
    {1,  "product",  "a fixed text"},
    {16, "software", "of the handset; an application gets the fixed text"},
    {17, "l1",       "of the modem's physical layer, told by the modem"},
    {18, "hls",      "of the modem's upper layers, told by the modem"},
    {19, "platform", "a fixed text"},
    {20, "app",      "a fixed text"},
    {32, "hardware", "a fixed text"},
    {64, "whole",    "a fixed text"},
};
constexpr item k_module[] = {
    number("module", 19, k_required, "", "whose version", k_modules),
};
constexpr item k_version[] = {
    number("module", 19, k_required, "", "whose version", k_modules),
    plain_text("version", 18, 0, k_optional, "the version; missing when it is empty"),
};

// --- verdicts

constexpr named_value k_verdicts[] = {
    {0, "not-tested", "so is any number that is none of these, and a request without a verdict"},
    {1, "passed",     "the handset is good"},
    {2, "failed",     "the handset is not"},
};
constexpr item k_verdict_station[] = {
    number("station", 39, k_required, "", "the test station; 0 when it is missing"),
};
constexpr item k_verdict[] = {
    number("station", 39, k_required, "", "the test station; 0 when it is missing"),
    number("verdict", 36, k_optional, "", "what it found", k_verdicts),
};
constexpr item k_verdict_with_text[] = {
    number("station", 39, k_required, "", "the test station; 0 when it is missing"),
    number("verdict", 36, k_optional, "", "what it found", k_verdicts),
    text("text", 37, 127, k_optional, "what it has to say; a longer one is cut to 126 characters"),
};
constexpr item k_verdict_read[] = {
    number("station", 39, k_required, "", "the test station"),
    number("verdict", 36, k_required, "", "what it found", k_verdicts),
};
constexpr item k_verdict_and_text_read[] = {
    number("station", 39, k_required, "", "the test station"),
    number("verdict", 36, k_required, "", "what it found", k_verdicts),
    text("text", 37, 127, k_required, "what it had to say; may be empty"),
};

// --- modes

constexpr item k_mode[] = {
    number("mode", 201, k_required, "", "for the modem; 0 when it is missing"),
};
constexpr item k_technology[] = {
    signed_number("technology", 202, k_required, "", "the radio access of the first SIM, as the modem numbers it"),
};
constexpr named_value k_permit_actions[] = {
    {0, "forbid", "forbid the handshake; so is a request without an action, and any of a station"},
    {1, "permit", "permit the handshake"},
    {2, "read",   "tell whether it is permitted"},
};
constexpr item k_permit_action[] = {
    number("action", 192, k_optional, "", "an application's; a station's is not looked at", k_permit_actions),
};
constexpr item k_permit_flag[] = {
    number("flag", 192, k_optional, "", "of an application's read: 1 permitted, 0 forbidden; otherwise 0 or missing"),
};
constexpr item k_channel[] = {
    number("channel", 159, k_required, "", "0 to 9; 0 when it is missing"),
};

// --- what the modem alone answers

constexpr item k_received[] = {
    number("number", 12, k_optional, "", "the modem's own"),
    data("data", 4, "what was received"),
};
constexpr item k_iq_power[] = {
    number("power", 13, k_optional, "", "the modem's own"),
};
constexpr item k_table[] = {
    data("data", 4, "of the table"),
};
constexpr item k_rf_converter[] = {
    number("value", 24, k_optional, "", "of the converter"),
};
constexpr item k_iq_serial[] = {
    data("data", 34, "the modem's own"),
};
constexpr item k_gsm_data[] = {
    data("data", 43, "the modem's own"),
};
constexpr item k_table_flag[] = {
    flag("flag", 44, k_optional, "of the table"),
};
constexpr item k_dsp_data[] = {
    data("data", 62, "the modem's own"),
};

// clang-format on

} // namespace station::items
