// What makes a handset this one and no other, and what else a station reads of it. Most of it is told in text: by the
// handset itself, or by the modem, to which everything goes that is not the handset's.

#include "station/catalogue.h"

#include <algorithm>
#include <iterator>

namespace station {

namespace {

constexpr bool k_introduced = true;
constexpr bool k_on_request = false;

// The addresses are written by message: the lines for it ask for one that is there already.
// clang-format off
constexpr identity k_identities[] = {
    {"imei", "IMEI, 15 digits; the modem's, of which the handset keeps a copy", k_introduced,
     "AT^DGSN?", "AT^DCGSNW={}", "^DGSN:", value_form::imei},
    {"sn", "serial number; the modem's, of which the handset keeps a copy", k_introduced,
     "AT^DMSN", "AT^DMSN={}", "^DMSN:"},
    {"board-sn", "serial number of the board, up to 29 characters; kept where the copy of the serial number of the "
                     "modem's channel 1 is", k_introduced,
     "AT^DPCBACTRL=1", "AT^DPCBACTRL=2,{}", "^DPCBACTRL:"},
    {"adb-sn", "serial number that adb shows, up to 99 characters", k_introduced,
     "adb-serial-number action=read", "adb-serial-number action=write number={} length={#}", "number"},
    {"bt-address", "address of Bluetooth, 11:22:33:44:55:66", k_introduced,
     "AT^DBTADDR?", "bluetooth-address action=write address={}", "^DBTADDR:", value_form::address},
    {"wifi-address", "address of WiFi, 11:22:33:44:55:66", k_introduced,
     "AT^DWIFIADDR?", "wifi-test action=write address={}", "^DWIFIADDR:", value_form::address},

    {"software-version", "version of the handset's software", k_introduced,
     "AT^DSVER", "", "^DSVER:"},
    {"platform-version", "version of the platform; a fixed text, like those of product, app, hardware and whole",
     k_on_request,
     "version module=platform", "", "version"},
    {"l1-version", "version of the modem's physical layer: 17, a comma and hexadecimal digits of characters",
     k_on_request,
     "AT^DCMR=17", "", "^DCMR:"},
    {"hls-version", "version of the modem's upper layers: 18, a comma and hexadecimal digits of characters",
     k_on_request,
     "AT^DCMR=18", "", "^DCMR:"},
    {"modem", "what the modem calls itself", k_introduced,
     "ATI", "", ""},

    {"date", "the date at which the handset left the factory, YYYYMMDDhhmmss; the modem's", k_introduced,
     "AT^DMFD??", "", "^DMFD:"},
    {"sim", "kind of the SIM, by the modem: 1 and 2 are SIMs, everything else is none", k_on_request,
     "AT^DTOC", "", "^DTOC:"},
    {"signal", "strength of the signal and error rate, by the modem", k_on_request,
     "AT+CSQ", "", "+CSQ:"},
    {"capabilities", "SIMs, how many of them stand by, radio sets, and the access of the first SIM, by the modem",
     k_on_request,
     "AT^DMCC?", "", "^DMCC:"},
    {"modem-channel", "the modem's channel; an identity that is written belongs to it", k_on_request,
     "AT^DMPCHN?", "AT^DMPCHN={}", "^DMPCHN:"},
    {"modem-mode", "the modem's mode", k_on_request,
     "AT^DSWAMT?", "AT^DSWAMT={}", "^DSWAMT:"},

    {"handshake", "whether the insertion of a cable may start the factory test: 1 it may, 0 it may not", k_on_request,
     "AT^DAMT1=2", "AT^DAMT1={}", "^DAMT1:"},
    {"download-flag", "how the last download of software ended, by the maker's library", k_on_request,
     "AT^DBOOTDLFIN", "", "^DBOOTDLFIN:"},
};
// clang-format on

} // namespace

rows<identity> identities()
{
    return k_identities;
}

const identity *find_identity(std::string_view name)
{
    const identity *found = std::find_if(std::begin(k_identities), std::end(k_identities),
                                         [name](const identity &row) { return row.name == name; });
    return found == std::end(k_identities) ? nullptr : found;
}

std::string filled(std::string_view pattern, std::string_view value)
{
    constexpr std::string_view place = "{}";
    constexpr std::string_view place_of_count = "{#}";
    std::string text;
    while (!pattern.empty()) {
        if (pattern.substr(0, place.size()) == place) {
            text += value;
            pattern.remove_prefix(place.size());
        } else if (pattern.substr(0, place_of_count.size()) == place_of_count) {
            text += std::to_string(value.size());
            pattern.remove_prefix(place_of_count.size());
        } else {
            text += pattern.front();
            pattern.remove_prefix(1);
        }
    }
    return text;
}

// Without what stands around it.
static std::string_view trimmed(std::string_view text, std::string_view what)
{
    const std::size_t begin = text.find_first_not_of(what);
    return begin == std::string_view::npos ? std::string_view()
                                           : text.substr(begin, text.find_last_not_of(what) - begin + 1);
}

std::optional<std::string> value_in_line(const identity &what, std::string_view answer)
{
    constexpr std::string_view line_end = "\r\n";
    const std::string_view prefix = what.value;
    while (!answer.empty()) {
        const std::string_view line = answer.substr(0, answer.find_first_of(line_end));
        answer.remove_prefix(std::min(line.size() + 1, answer.size()));
        if (!line.empty() && line.substr(0, prefix.size()) == prefix) {
            return std::string(trimmed(line.substr(prefix.size()), " \""));
        }
    }
    return std::nullopt;
}

} // namespace station
