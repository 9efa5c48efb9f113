// Every command that has a name of the service's or a handler, and every indication, see catalogue.h. Who answers is
// what amt/channels/registrations.cpp says; a test holds the two together. Of what the modem alone understands only the
// answers are known, where amt/wire/amt-at-data.cpp turns them into messages.

#include "station/catalogue_rows.h"

#include "station/catalogue_items.h"

#include <iterator>

namespace station {

namespace {

constexpr command answered(std::uint8_t id, const char *word, family of, answered_on on, const char *meaning,
                           rows<item> request, rows<item> answer)
{
    // Every handler of the station's is announced; what only passes through is not.
    const bool pre_response = on == answered_on::both || on == answered_on::station;
    return {id, static_cast<std::uint8_t>(id + 1), word, of, on, pre_response, meaning, request, answer};
}

constexpr command of_both(std::uint8_t id, const char *word, family of, const char *meaning, rows<item> request = {},
                          rows<item> answer = {})
{
    return answered(id, word, of, answered_on::both, meaning, request, answer);
}

constexpr command of_station(std::uint8_t id, const char *word, family of, const char *meaning, rows<item> request = {},
                             rows<item> answer = {})
{
    return answered(id, word, of, answered_on::station, meaning, request, answer);
}

constexpr command of_application(std::uint8_t id, const char *word, family of, const char *meaning,
                                 rows<item> request = {}, rows<item> answer = {})
{
    return answered(id, word, of, answered_on::application, meaning, request, answer);
}

constexpr command of_modem(std::uint8_t id, const char *word, family of, const char *meaning, rows<item> request = {},
                           rows<item> answer = {})
{
    return answered(id, word, of, answered_on::modem, meaning, request, answer);
}

constexpr command refused_to_application(command row)
{
    row.answered_on = answered_on::modem_of_station;
    return row;
}

constexpr command answered_with(std::uint8_t response_id, command row)
{
    row.response_id = response_id;
    return row;
}

constexpr command acknowledged_twice(command row)
{
    row.acknowledgements = 2;
    return row;
}

constexpr command unanswered(command row)
{
    return answered_with(0, row);
}

// clang-format off
constexpr command k_commands[] = {
    refused_to_application(unanswered(of_modem(0x00, "none", family::modem, "no request"))),
    of_modem(0x01, "readflash", family::modem, "the modem's own: read the flash"),
    of_modem(0x03, "writeflash", family::modem, "the modem's own: write the flash"),
    of_modem(0x05, "writeimei", family::identity,
             "write the IMEI; of a station the handset keeps it, too, once the modem has accepted "
             "it", items::k_imei_to_write),
    of_application(0x07, "readimei", family::identity, "read the IMEI from the modem", {}, items::k_imei),
    of_application(0x09, "read-battery", family::device_test, "measure the battery's voltage", {}, items::k_voltage),
    of_modem(0x0B, "starttx", family::modem, "the modem's own: start to send"),
    of_modem(0x0D, "stoptx", family::modem, "the modem's own: stop to send"),
    of_modem(0x0F, "changetxpower", family::modem, "the modem's own: change the power of sending"),
    of_modem(0x11, "changetxfreq", family::modem, "the modem's own: change the frequency of sending"),
    of_modem(0x13, "startrx", family::modem, "the modem's own: start to receive"),
    of_modem(0x15, "stoprx", family::modem, "the modem's own: stop to receive"),
    of_modem(0x17, "rxdata", family::modem, "the modem's own: read what was received", {}, items::k_received),
    of_modem(0x19, "iqpower", family::modem, "the modem's own: measure the power of I and Q", {}, items::k_iq_power),
    of_modem(0x1B, "changerxfreq", family::modem, "the modem's own: change the frequency of receiving"),
    of_application(0x1D, "showlcd", family::device_test, "show a colour; only acknowledged, the application draws it"),
    of_application(0x1F, "audioloop", family::device_test, "lead the microphone to an output", items::k_audio_loop),
    of_application(0x21, "bell", family::device_test, "play the ring tone", items::k_switch),
    of_application(0x23, "vibration", family::device_test, "run the vibrator for three seconds", items::k_switch),
    of_application(0x25, "backlight", family::device_test, "light the keys", items::k_switch),
    of_modem(0x27, "changemode", family::mode, "change the mode of the modem"),
    of_modem(0x29, "keyboard", family::modem, "the modem's own: test the keyboard"),
    unanswered(of_modem(0x2A, "keyboard-rsp", family::modem,
                        "an answer that an application sends; handed on like a request")),
    answered_with(0x2B, of_modem(0x2B, "keyvalue", family::modem, "a key that was pressed; the modem's own")),
    of_both(0x2D, "version", family::version,
            "read a version; a station's request for one of the modem's goes to the modem, without a "
            "pre-response", items::k_module, items::k_version),
    of_modem(0x2F, "readtable-memory", family::modem, "the modem's own: read a table from memory", {}, items::k_table),
    of_modem(0x31, "writetable-memory", family::modem, "the modem's own: write a table into memory"),
    of_modem(0x33, "read-batteryadc", family::modem, "the modem's own: read the converter behind the battery"),
    of_modem(0x35, "write-batteryadc", family::modem, "the modem's own: write the converter behind the battery"),
    of_application(0x37, "temperature", family::device_test,
                   "measure the battery's temperature", {}, items::k_temperature),
    of_application(0x39, "lcdlight", family::device_test,
                   "set the display's brightness; not answered at all when that fails", items::k_brightness),
    of_modem(0x3B, "read-rfadc", family::modem,
             "the modem's own: read the converter of the radio", {}, items::k_rf_converter),
    of_modem(0x3D, "readtable-flash", family::modem,
             "the modem's own: read a table from the flash", {}, items::k_table),
    of_modem(0x3F, "writetable-flash", family::modem, "the modem's own: write a table into the flash"),
    of_application(0x41, "read-outdate", family::identity,
                   "read from the modem the date at which the handset left the factory", {}, items::k_date),
    of_modem(0x43, "write-outdate", family::identity, "write the date at which the handset left the factory"),
    of_modem(0x45, "read-flushdate", family::modem, "the modem's own: read the flush date"),
    of_modem(0x47, "exit", family::mode, "leave the test mode"),
    of_modem(0x49, "write-control", family::modem, "the modem's own: write the control"),
    of_modem(0x4B, "read-control", family::modem, "the modem's own: read the control"),
    of_modem(0x4D, "iqserial", family::modem, "the modem's own: read samples of I and Q", {}, items::k_iq_serial),
    of_modem(0x4F, "iqcheck", family::modem, "the modem's own: check I and Q"),
    of_modem(0x51, "write-gainin", family::modem, "the modem's own: write the gain of the input"),
    of_modem(0x53, "read-gainin", family::modem, "the modem's own: read the gain of the input"),
    of_application(0x55, "read-board", family::identity, "read the serial number from the modem", {}, items::k_board),
    of_modem(0x57, "write-board", family::identity,
             "write the serial number; of a station the handset keeps it, too, once the modem has accepted "
             "it", items::k_board_to_write),
    of_application(0x59, "read-test-result", family::result,
                   "read the verdict of a test station from the modem; the handset keeps a copy for stations 0 to "
                   "19", items::k_verdict_station, items::k_verdict_and_text_read),
    of_application(0x5B, "write-test-result", family::result,
                   "have the modem keep a test station's verdict; the handset keeps a copy for stations 0 to 19, of "
                   "a station's request, too", items::k_verdict_with_text),
    of_modem(0x5D, "write-version", family::version, "write a version"),
    of_modem(0x5F, "write-mic-preamp", family::modem, "the modem's own: write the preamplifier of the microphone"),
    of_modem(0x61, "read-mic-preamp", family::modem, "the modem's own: read the preamplifier of the microphone"),
    of_application(0x63, "usimcheck", family::device_test,
                   "check whether there is a SIM; the answer to an application has no result unless it "
                   "failed", {}, items::k_sim),
    of_modem(0x65, "refreshtable-flash", family::modem, "the modem's own: refresh a table of the flash"),
    of_modem(0x67, "gpio", family::modem, "the modem's own: set or read a pin"),
    of_modem(0x69, "gsm-transparent-control", family::modem,
             "the modem's own: pass data through to the GSM side", {}, items::k_gsm_data),
    of_modem(0x6B, "gsm-readtable-flash-to-memory", family::modem,
             "the modem's own: GSM: read a table of the flash into memory"),
    of_modem(0x6D, "gsm-readtable-flag-flash", family::modem,
             "the modem's own: GSM: read the flag of a table of the flash", {}, items::k_table_flag),
    of_modem(0x6F, "gsm-refreshtable-memory-to-flash", family::modem,
             "the modem's own: GSM: write a table in memory back to the flash"),
    of_modem(0x71, "gsm-readtable-memory", family::modem,
             "the modem's own: GSM: read a table from memory", {}, items::k_table),
    of_modem(0x73, "gsm-writetable-memory", family::modem, "the modem's own: GSM: write a table into memory"),
    of_modem(0x75, "dial", family::modem, "the modem's own: dial"),
    of_modem(0x77, "hungup", family::modem, "the modem's own: hang up"),
    of_modem(0x79, "switch-mode", family::mode, "switch the mode of the modem"),
    of_modem(0x7B, "write-gainout", family::modem, "the modem's own: write the gain of the output"),
    of_modem(0x7D, "read-gainout", family::modem, "the modem's own: read the gain of the output"),
    of_modem(0x7F, "write-mic-gainin", family::modem, "the modem's own: write the gain of the microphone"),
    of_modem(0x81, "read-mic-gainin", family::modem, "the modem's own: read the gain of the microphone"),
    of_modem(0x83, "set-default-access-tech", family::modem, "the modem's own: set the radio access to begin with"),
    of_modem(0x85, "writecard", family::modem, "the modem's own: write the card"),
    of_modem(0x87, "readcard", family::modem, "the modem's own: read the card"),
    of_application(0x89, "readcapability-card", family::device_test, "measure the memory card", {}, items::k_capacity),
    of_application(0x8B, "camera-preview", family::device_test,
                   "select the camera for the preview that the application shows"),
    refused_to_application(of_modem(0x8D, "camera-snapshot", family::modem, "the modem's own: take a picture")),
    refused_to_application(of_modem(0x8F, "camera-save", family::modem, "the modem's own: save a picture")),
    refused_to_application(of_modem(0x91, "camera-del", family::modem, "the modem's own: delete a picture")),
    of_application(0x93, "second-camera-preview", family::device_test,
                   "select the second camera for the preview that the application shows"),
    of_modem(0x95, "nvresume", family::modem, "the modem's own: resume the NV memory"),
    of_modem(0x97, "dsp-transparent-control", family::modem,
             "the modem's own: pass data through to the signal processor; tunnelled, each value goes behind its "
             "length", {}, items::k_dsp_data),
    of_modem(0x99, "edge-readtable-flash-to-memory", family::modem,
             "the modem's own: EDGE: read a table of the flash into memory"),
    of_modem(0x9B, "edge-refreshtable-memory-to-flash", family::modem,
             "the modem's own: EDGE: write a table in memory back to the flash"),
    acknowledged_twice(of_both(0xAA, "bluetooth", family::device_test,
            "start Bluetooth; acknowledged at once, and a second time when it runs, or refused when it does not")),
    of_both(0xAC, "bluetooth-address", family::device_test,
            "the address of Bluetooth, and its tests", items::k_bluetooth, items::k_bluetooth_address),
    of_both(0xAE, "gps-control", family::device_test, "search for satellites; takes seconds", items::k_gps),
    answered_with(0xAF, of_both(0xB0, "gps-test", family::device_test, "only acknowledged; refused with 0xB1")),
    of_both(0xB2, "gps-read-result", family::device_test,
            "read one satellite of the search", items::k_gps_index, items::k_gps_signal),
    of_application(0xB4, "camera-control", family::device_test,
                   "update a camera", items::k_camera, items::k_camera_outcome),
    of_both(0xB9, "wifi-test", family::device_test,
            "the address of WiFi, and its check", items::k_wifi, items::k_wifi_address),
    of_both(0xBB, "wifi-rtx-test", family::device_test,
            "send and receive with WiFi; takes seconds", items::k_wifi_rtx, items::k_wifi_rtx_answer),
    of_station(0xBF, "adb-serial-number", family::identity,
               "the serial number that adb shows", items::k_adb, items::k_adb_number),
    of_station(0xC1, "board-pcba-ctrl", family::identity,
               "the serial number of the board", items::k_pcba, items::k_pcba_number),
    of_application(0xC3, "normal-to-amt", family::mode,
                   "switch the handset into the factory test mode; the service ends behind the answer", items::k_mode),
    of_application(0xC5, "normal-to-amt-support", family::mode,
                   "ask whether the handset can be switched into the factory test mode", {}, items::k_technology),
    of_modem(0xC9, "cell-switch-mode", family::mode, "switch the mode of the modem's cell"),
    answered_with(0xCC, of_modem(0xCC, "cell-recieve-rspdata", family::modem,
                                 "data that were received; the modem's own")),
    of_modem(0xCD, "cell-read-version", family::version, "read the version of the modem's cell"),
    of_modem(0xCF, "cell-read-iden", family::identity, "read the identity of the modem's cell"),
    of_modem(0xD1, "cell-set-exceptional-reset", family::modem,
             "the modem's own: set what follows an exceptional reset"),
    of_modem(0xD3, "cell-query-exceptional-reset", family::modem,
             "the modem's own: ask what follows an exceptional reset"),
    of_modem(0xD5, "cell-camp-on-cell-control", family::modem, "the modem's own: camp on a cell"),
    of_both(0xDB, "damt1", family::mode,
            "whether the insertion of a cable may start the factory test; a station forbids "
            "it", items::k_permit_action, items::k_permit_flag),
    answered_with(0xDD, of_modem(0xDD, "dsp-transparent-control-ind", family::modem,
                                 "the modem's own: what the signal processor says by itself", {}, items::k_dsp_data)),
    of_station(0xE0, "battery-converter", family::device_test,
               "read the converter behind the battery", {}, items::k_converter),
    of_station(0xE2, "battery-calibration", family::device_test,
               "calibrate the converter behind the battery; kept over restarts", items::k_calibration),
    of_application(0xE4, "item-read-test-result", family::result,
                   "read a verdict from the handset, stations 0 to 35; one written for station n stands at n - "
                   "1", items::k_verdict_station, items::k_verdict_read),
    of_application(0xE6, "item-write-test-result", family::result,
                   "have the handset keep a verdict, stations 1 to 36", items::k_verdict),
    of_application(0xE8, "modem-channel", family::mode,
                   "switch the modem's channel; the handset has files of their own for the identities of channel "
                   "1", items::k_channel),
    of_application(0xEA, "serial-number", family::identity,
                   "read the serial number from the modem, as bytes", {}, items::k_serial_number),
    of_station(0xEC, "power-off", family::mode, "switch the handset off, two seconds behind the answer"),
    of_application(0xEE, "read-dev-info", family::device_test,
                   "describe the handset's parts", {}, items::k_device_info),
    of_both(0xF0, "enter-idle", family::device_test,
            "let the handset sink into its idle state, for its current to be measured"),
    of_station(0xF4, "download-flag", family::version,
               "read how the last download of software ended", {}, items::k_download_flag),
};
// clang-format on

constexpr bool ids_ascend()
{
    for (std::size_t i = 1; i < std::size(k_commands); i++) {
        if (k_commands[i - 1].id >= k_commands[i].id) {
            return false;
        }
    }
    return true;
}
static_assert(ids_ascend(), "a command has one row, and its place in the table");

constexpr bool is_same(const char *a, const char *b)
{
    while (*a != '\0' && *a == *b) { // up to the first difference: a compiler counts its steps
        a++;
        b++;
    }
    return *a == *b;
}

constexpr bool words_differ()
{
    for (const command &one : k_commands) {
        for (const command &other : k_commands) {
            if (one.id != other.id && is_same(one.word, other.word)) {
                return false;
            }
        }
    }
    return true;
}
static_assert(words_differ(), "a word means one command");

// The answer has the id behind the request's. The search's test is acknowledged as its control is, 0xB0 with 0xAF; an
// indication is an answer itself.
constexpr bool is_answered_as_usual(const command &row)
{
    constexpr std::uint8_t k_gps_test = 0xB0;
    return row.response_id == row.id + 1 || row.response_id == 0 || row.response_id == row.id || row.id == k_gps_test;
}

constexpr bool are_answered_as_usual()
{
    for (const command &row : k_commands) {
        if (!is_answered_as_usual(row)) {
            return false;
        }
    }
    return true;
}
static_assert(are_answered_as_usual(), "a response id is the request's and one");

// Within one request or answer an item has a name and an atom of its own, and none has the atom of the result.
constexpr bool is_whole(rows<item> items)
{
    constexpr std::uint8_t k_result_atom = 1;
    for (const item *one = items.begin(); one != items.end(); ++one) {
        for (const item *other = items.begin(); other != one; ++other) {
            if (one->atom == other->atom || is_same(one->name, other->name)) {
                return false;
            }
        }
        if (one->atom == k_result_atom) {
            return false;
        }
    }
    return true;
}

constexpr bool are_whole()
{
    for (const command &row : k_commands) {
        if (!is_whole(row.request) || !is_whole(row.answer)) {
            return false;
        }
    }
    return true;
}
static_assert(are_whole(), "an item is found by its name and by its atom");

} // namespace

rows<command> command_rows()
{
    return k_commands;
}

} // namespace station
