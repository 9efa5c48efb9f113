// The device tests by name. A test that is run with what it presets alone does something that can be seen, heard or
// read; what its meaning lists behind "with" is the caller's to add.

#include "station/catalogue.h"

#include <algorithm>
#include <iterator>

namespace station {

namespace {

// clang-format off
constexpr device_test k_tests[] = {
    {"battery-voltage",     "the battery's voltage, by the kernel", 0x09, ""},
    {"battery-temperature", "the battery's temperature, by the kernel", 0x37, ""},
    {"battery-converter",   "what the converter behind the battery reads", 0xE0, ""},
    {"battery-calibration", "calibrates that converter, with four numbers; kept over restarts", 0xE2, ""},

    {"lcd-color",      "only acknowledged: the application shows the colour, and a person looks", 0x1D, ""},
    {"lcd-brightness", "the display takes the brightness, with level", 0x39, ""},
    {"lcd-bright",     "the display is as bright as it gets", 0x39, "level=bright"},
    {"lcd-dark",       "the display goes dark", 0x39, "level=dark"},
    {"lcd-restore",    "the display is as bright as before the first of these tests", 0x39, "level=restore"},
    {"key-light",      "the keys light up", 0x25, "switch=on"},
    {"key-light-off",  "the keys go dark", 0x25, "switch=off"},
    {"vibrator",       "the handset vibrates for three seconds", 0x23, "switch=on"},
    {"vibrator-off",   "it stops", 0x23, "switch=off"},
    {"ring-tone",      "the ring tone is heard", 0x21, "switch=on"},
    {"ring-tone-off",  "it ends", 0x21, "switch=off"},
    {"audio-loop",     "what is said into the microphone is heard, with type for another output", 0x1F, "switch=on"},
    {"audio-loop-off", "it is heard no longer", 0x1F, "switch=off"},

    {"memory-card",   "the capacity of the memory card; 0 when there is none", 0x89, ""},
    {"sim",           "whether there is a SIM, by the modem", 0x63, ""},
    {"camera-main",   "selects the camera for the preview that the application shows, and a person looks", 0x8B, ""},
    {"camera-second", "selects the second camera, likewise", 0x93, ""},
    {"camera-update", "updates a camera, with camera", 0xB4, ""},

    {"bluetooth-start", "starts Bluetooth and goes on; a second acknowledgement tells that it runs", 0xAA, ""},
    {"bluetooth-check", "the chip of Bluetooth answers; it is to be on", 0xAC, "action=check"},
    {"bluetooth-on",    "Bluetooth is switched on", 0xAC, "action=on"},
    {"bluetooth-off",   "Bluetooth is switched off", 0xAC, "action=off"},

    {"wifi-check",          "the chip of WiFi answers", 0xB9, "action=check"},
    {"wifi-on",             "WiFi is switched on; the tests below need that", 0xBB, "action=on"},
    {"wifi-off",            "WiFi is switched off", 0xBB, "action=off"},
    {"wifi-send",           "test frames are sent, with channel, rate and power", 0xBB, "action=send"},
    {"wifi-stop-sending",   "no more are sent", 0xBB, "action=stop-sending"},
    {"wifi-receive",        "test frames are counted, with channel and rate", 0xBB, "action=receive"},
    {"wifi-stop-receiving", "no more are counted, and the count is told", 0xBB, "action=stop-receiving"},

    {"gps-check",     "the receiver of the satellites answers", 0xAE, "action=check"},
    {"gps-start",     "the search for satellites begins", 0xAE, "action=start"},
    {"gps-stop",      "the search ends", 0xAE, "action=stop"},
    {"gps-test",      "only acknowledged: the search runs by itself", 0xB0, ""},
    {"gps-satellite", "one satellite of the search and the strength of its signal, with index", 0xB2, ""},

    {"idle",          "the handset sinks into its idle state, and its current is measured", 0xF0, ""},
    {"device-info",   "the text that describes the handset's parts", 0xEE, ""},
    {"download-flag", "how the last download of software ended", 0xF4, ""},
};
// clang-format on

} // namespace

rows<device_test> device_tests()
{
    return k_tests;
}

const device_test *find_device_test(std::string_view name)
{
    const device_test *found = std::find_if(std::begin(k_tests), std::end(k_tests),
                                            [name](const device_test &row) { return row.name == name; });
    return found == std::end(k_tests) ? nullptr : found;
}

} // namespace station
