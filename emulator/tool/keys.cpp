// The table of keys and its kinds, see keys.h. What is emulated by a file of the handset's is that file; what a driver
// or library answers is a field of its control file, absent while it answers as by default.

#include "emulator/tool/keys.h"

#include "emulator/tool/key_files.h"
#include "emulator/tool/nearest.h"

#include <climits>
#include <cstdlib>
#include <sstream>
#include <stdexcept>
#include <string_view>
#include <vector>

namespace handset_tool {

namespace {

enum class key_kind {
    number_file, // a number in a file of the kernel's
    text_file,   // one line of text in a file
    property,
    control, // a number, field `field` of the control file `where`
    text,    // the same, a text
    words,   // the same, by words: "word=number ...", a word without a number is the default
    special, // by functions of its own
};

struct key_row {
    const char *name;
    const char *unit;
    const char *meaning;
    key_kind kind;
    const char *where;
    const char *field = "";
    const char *missing = ""; // the value when nothing is kept
    const char *words = "";
    long lowest = INT_MIN;
    long highest = INT_MAX;
};

constexpr char k_fails[] = "ok no-device=-19 failing=-5"; // as -errno

// clang-format off
constexpr key_row k_keys[] = {
    {"battery.voltage",         "microvolts",   "what the voltage test reads",
     key_kind::number_file, "/sys/class/power_supply/battery/voltage_now", "", "", "", 0},
    {"battery.temperature",     "0.1 degrees C", "the battery's temperature, as the kernel tells it",
     key_kind::number_file, "/sys/class/power_supply/battery/temp"},
    {"battery.converter",       "",             "the number that the battery's converter reads",
     key_kind::control, "battery.adc", "value", "1234", "", 0},
    {"battery.driver",          "",             "whether the converter's driver answers: ok, empty (nothing), failing",
     key_kind::words, "battery.read", "result", "ok", "ok empty=0 failing=-1"},
    {"battery.calibration",     "",             "the calibration that the service keeps, amt_set_vbatt[A] [B] [C] [D]",
     key_kind::text_file, "/amt/vbatt"},
    {"charger",                 "",             "what is at the USB cable: host, ac (a charger), none",
     key_kind::words, "IsChargeState", "result", "host", "host ac=1 none=0"},
    {"charger.enable",          "result",       "of the call that lets the cable charge",
     key_kind::control, "amt_usb_charger_enable", "result", "0"},
    {"card",                    "KiB",          "the memory card: none, or its size", key_kind::special, "card"},
    {"card.storage",            "",             "1: the card is /storage/sdcard0; else /storage/sdcard1",
     key_kind::special, "card.storage"},
    {"camera.open",             "",             "opening /dev/video0: ok, no-device, failing",
     key_kind::words, "video.open", "result", "ok", "ok no-device=-19 failing=-5"},
    {"camera.input",            "",             "selecting the input: no-device means that there is no camera",
     key_kind::words, "video.VIDIOC_S_INPUT", "result", "ok", k_fails},
    {"camera.select",           "",             "starting a preview", key_kind::words, "video.CAMERA_SELECT", "result",
     "ok", k_fails},
    {"camera.update",           "result",       "what updating a camera tells",
     key_kind::control, "video.CAMERA_SWITCH", "result", "0"},
    {"bluetooth.start",         "result",       "of switching Bluetooth on or off",
     key_kind::control, "hwt_btCtrl", "result", "0"},
    {"bluetooth.check",         "result",       "of its check", key_kind::control, "hwt_btCheck", "result", "0"},
    {"wifi.start",              "result",       "of switching WiFi on or off",
     key_kind::control, "hwt_wifiCtrl", "result", "0"},
    {"wifi.check",              "result",       "of its check", key_kind::control, "hwt_wifiCheck", "result", "0"},
    {"wifi.transmit",           "result",       "of the test of its transmitter",
     key_kind::control, "hwt_TxTest", "result", "0"},
    {"wifi.receive",            "result",       "of the test of its receiver",
     key_kind::control, "hwt_RxTest", "result", "0"},
    {"wifi.received",           "frames",       "counted by that test", key_kind::control, "hwt_RxTest", "count", "0"},
    {"gps.start",               "result",       "of switching the satellites' receiver, and of reading it",
     key_kind::control, "hwt_gpsCtrl", "result", "0"},
    {"gps.check",               "result",       "of its check", key_kind::control, "hwt_gpsCheck", "result", "0"},
    {"gps.satellites",          "ID:dB-Hz,...", "what it receives, up to 16; empty: none",
     key_kind::special, "gps.satellites"},
    {"microphone.loop",         "result",
     "of the loop from microphone to ear; the service does not look at it, so no answer shows it",
     key_kind::control, "codec_loop_test", "result", "0"},
    {"player",                  "result",       "of the player of the ring tone; others than 0 play nothing",
     key_kind::control, "amt-audio", "result", "0"},
    {"parts",                   "",             "what the handset tells of its parts", key_kind::text, "create_devinfo",
     "text", "chip: kv7100, memory: 2048 MB, storage: 16 GB"},
    {"idle",                    "result",       "of going idle", key_kind::control, "enter_idle", "result", "0"},
    {"download",                "state",        "of the last download",
     key_kind::control, "amt_check_system_sanity", "result", "0"},
    {"version.software",        "",             "the version that is shown (ro.build.display.id)",
     key_kind::property, "ro.build.display.id"},
    {"version.incremental",     "",             "the maker's own firmware: its version (ro.build.version.incremental)",
     key_kind::property, "ro.build.version.incremental"},
    {"version.id",              "",             "and its name in brackets (ro.build.display.kv.id)",
     key_kind::property, "ro.build.display.kv.id"},
    {"version.customer",        "",             "KORVEN: it is the maker's own firmware (ro.build.customer)",
     key_kind::property, "ro.build.customer"},
    {"version.manufacturer",    "",             "Korven: the same (ro.product.manufacturer)",
     key_kind::property, "ro.product.manufacturer"},
    {"chip",                    "",             "chooses the misc library (ro.board.platform)",
     key_kind::property, "ro.board.platform"},
    {"usb.config",              "",             "the functions of the USB port (sys.usb.config)",
     key_kind::property, "sys.usb.config"},
    {"switched",                "",             "1: the next start is for a station (amt.normal.amt.switch_status)",
     key_kind::property, "amt.normal.amt.switch_status"},
    {"handshake.permitted",     "",             "0: no start on the insertion of a cable (/amt/power_usb_amt.txt)",
     key_kind::number_file, "/amt/power_usb_amt.txt", "", "1", "", 0, 1},
    {"brightness",              "0 to 255",     "of the display",
     key_kind::number_file, "/sys/class/leds/lcd-backlight/brightness", "", "", "", 0, 255},
    {"keylight",                "0 to 255",     "brightness of the keys",
     key_kind::number_file, "/sys/class/leds/button-backlight/brightness", "", "", "", 0, 255},
    {"vibrator",                "milliseconds", "left for it to run",
     key_kind::number_file, "/sys/class/timed_output/vibrator/enable", "", "", "", 0},
    {"screen",                  "",             "blank or on; read only", key_kind::special, "screen"},
};
// clang-format on

} // namespace

static const key_row *find_row(const std::string &name)
{
    for (const key_row &row : k_keys) {
        if (name == row.name) {
            return &row;
        }
    }
    return nullptr;
}

std::vector<std::string> entries_of_keys()
{
    std::vector<std::string> entries;
    for (const key_row &row : k_keys) {
        if (row.kind == key_kind::control || row.kind == key_kind::text || row.kind == key_kind::words) {
            entries.emplace_back(row.where);
        }
    }
    return entries;
}

[[noreturn]] static void fail_unknown(const std::string &name)
{
    std::vector<std::string> names = {"property.", "file.", "driver."};
    for (const key_row &row : k_keys) {
        names.emplace_back(row.name);
    }
    const std::string near = nearest(name, names);
    throw std::invalid_argument("no key " + name + (near.empty() ? "" : ": do you mean " + near + "?") +
                                "; handset keys lists them");
}

// --- words

struct word {
    std::string text;
    std::string number; // empty: the default
};

static std::vector<word> words_of(const key_row &row)
{
    std::vector<word> words;
    std::istringstream texts(row.words);
    for (std::string each; texts >> each;) {
        const std::size_t mark = each.find('=');
        words.push_back({each.substr(0, mark), mark == std::string::npos ? "" : each.substr(mark + 1)});
    }
    return words;
}

static std::string word_for(const key_row &row, const std::string &number)
{
    for (const word &each : words_of(row)) {
        if (each.number == number) {
            return each.text;
        }
    }
    return number; // set as driver.ENTRY
}

static std::string number_for(const key_row &row, const std::string &text)
{
    std::string all;
    for (const word &each : words_of(row)) {
        if (each.text == text) {
            return each.number;
        }
        all += (all.empty() ? "" : ", ") + each.text;
    }
    throw std::invalid_argument(std::string(row.name) + " takes one of " + all + ", not \"" + text + "\"");
}

// --- values that are checked

static void require_number(const key_row &row, const std::string &value)
{
    char *end = nullptr;
    errno = 0;
    const long number = std::strtol(value.c_str(), &end, 10);
    if (value.empty() || *end != '\0' || errno != 0 || number < row.lowest || number > row.highest) {
        throw std::invalid_argument(std::string(row.name) + " takes a number from " + std::to_string(row.lowest) +
                                    " to " + std::to_string(row.highest) + ", not \"" + value + "\"");
    }
}

static void require_line(const std::string &name, const std::string &value)
{
    if (value.find('\n') != std::string::npos || value.find('\0') != std::string::npos) {
        throw std::invalid_argument(name + " takes one line of text");
    }
}

static std::string one_line(std::string content)
{
    content.erase(std::min(content.find_first_of("\r\n"), content.size()));
    return content;
}

// --- special ones

static std::string get_special(bench &of, const key_row &row)
{
    const std::string_view what = row.where;
    if (what == "card") {
        return of.card() ? std::to_string(of.card()->size_kib) : "none";
    }
    if (what == "card.storage") {
        return of.card_folder() == "/storage/sdcard0" ? "1" : "0";
    }
    return what == "screen" ? screen_text(of) : satellites_text(of);
}

static void set_card(bench &of, const std::string &value, bool really)
{
    const key_row limits = {"card", "", "", key_kind::special, "", "", "", "", 1, INT_MAX};
    if (value != "none") {
        require_number(limits, value);
    }
    if (really && value == "none") {
        of.remove_card();
    } else if (really) {
        of.insert_card(std::strtoul(value.c_str(), nullptr, 10));
    }
}

// A card that is in is then found at its other place.
static void set_card_storage(bench &of, const std::string &value, bool really)
{
    if (value != "0" && value != "1") {
        throw std::invalid_argument("card.storage takes 0 or 1, not \"" + value + "\"");
    }
    if (really) {
        const std::optional<card_slot> card = of.card();
        of.handset.files.write("/data/etc/storage.config", value + "\n");
        if (card) {
            of.insert_card(card->size_kib);
        }
    }
}

static void set_special(bench &of, const key_row &row, const std::string &value, bool really)
{
    const std::string_view what = row.where;
    if (what == "card") {
        set_card(of, value, really);
    } else if (what == "card.storage") {
        set_card_storage(of, value, really);
    } else if (what == "gps.satellites") {
        set_satellites(of, value, really);
    } else {
        throw std::invalid_argument(std::string(row.name) + " can only be read");
    }
}

// --- by kind

static std::string get_row(bench &of, const key_row &row)
{
    switch (row.kind) {
    case key_kind::number_file:
    case key_kind::text_file:
        return one_line(of.handset.files.read_or(row.where, row.missing));
    case key_kind::property:
        return of.handset.property(row.where);
    case key_kind::control:
    case key_kind::text:
        return control_field(of, row.where, row.field).value_or(row.missing);
    case key_kind::words:
        return word_for(row, control_field(of, row.where, row.field).value_or(""));
    case key_kind::special:
        break;
    }
    return get_special(of, row);
}

static void check_row(const key_row &row, const std::string &value)
{
    require_line(row.name, value);
    if (row.kind == key_kind::number_file || row.kind == key_kind::control) {
        require_number(row, value);
    } else if (row.kind == key_kind::words) {
        (void)number_for(row, value);
    } else if (row.kind == key_kind::text && value.empty()) {
        throw std::invalid_argument(std::string(row.name) + " takes a text, it cannot be empty");
    }
}

static void set_row(bench &of, const key_row &row, const std::string &value)
{
    switch (row.kind) {
    case key_kind::number_file:
        of.handset.files.write(row.where, value + "\n");
        break;
    case key_kind::text_file:
        write_or_remove(of, row.where, value);
        break;
    case key_kind::property:
        of.handset.set_property(row.where, value);
        break;
    case key_kind::control:
    case key_kind::text:
        set_control_field(of, row.where, row.field, value == row.missing ? "" : value);
        break;
    case key_kind::words:
        set_control_field(of, row.where, row.field, number_for(row, value));
        break;
    case key_kind::special:
        break;
    }
}

json all_keys(bench &of)
{
    json keys = json::array();
    for (const key_row &row : k_keys) {
        const bool settable = std::string_view(row.where) != "screen";
        json values = json::array();
        for (const word &each : words_of(row)) {
            values.push_back(each.text);
        }
        keys.push_back({{"key", row.name},
                        {"value", get_row(of, row)},
                        {"values", values},
                        {"unit", row.unit},
                        {"meaning", row.meaning},
                        {"settable", settable}});
    }
    return keys;
}

std::string get_key(bench &of, const std::string &name)
{
    if (is_open_ended(name)) {
        return get_open_ended(of, name);
    }
    const key_row *row = find_row(name);
    if (row == nullptr) {
        fail_unknown(name);
    }
    return get_row(of, *row);
}

void set_key(bench &of, const std::string &name, const std::string &value, bool really)
{
    if (is_open_ended(name)) {
        set_open_ended(of, name, value, really);
        return;
    }
    const key_row *row = find_row(name);
    if (row == nullptr) {
        fail_unknown(name);
    }
    if (row->kind == key_kind::special) {
        set_special(of, *row, value, really);
        return;
    }
    check_row(*row, value);
    if (really) {
        set_row(of, *row, value);
    }
}

} // namespace handset_tool
