// The table of verbs, see verbs.h.

#include "station/tool/verbs.h"

#include <algorithm>
#include <limits>
#include <stdexcept>

namespace station_tool {

constexpr std::size_t k_any = std::numeric_limits<std::size_t>::max();

// In the order of the help.
// clang-format off
const std::vector<verb> k_verbs = {
    {"info", "", "tell who the handset is: identities, versions, addresses", 0, 0,
     word_kind::none, nullptr, nullptr, ask_information, nullptr},
    {"get", "ITEM...", "read identity items and other properties by name", 1, k_any,
     word_kind::property, nullptr, check_properties, ask_properties, nullptr},
    {"set", "ITEM=VALUE...", "write identity items, one after the other, and read each back", 1, k_any,
     word_kind::setting_of_property, nullptr, check_settings_of_properties, set_properties, nullptr},
    {"test", "NAME [ITEM=VALUE]...", "test one device", 1, k_any,
     word_kind::test, nullptr, check_test, run_test, nullptr},
    {"results", "[STATION]...", "read the verdicts of the line's test stations, 0 to 19", 0, k_any,
     word_kind::none, nullptr, check_results, ask_results, nullptr},
    {"at", "LINE", "send an AT line and show its answer", 1, k_any,
     word_kind::none, nullptr, check_line, send_line, nullptr},
    {"send", "COMMAND [ITEM=VALUE]...", "send a message by its command's name or number", 1, k_any,
     word_kind::command, nullptr, check_command, send_command, nullptr},
    {"raw", "HEX", "send bytes as they are and show what answers them", 1, k_any,
     word_kind::none, nullptr, check_bytes, send_bytes, nullptr},
    {"power-off", "", "switch the handset off, after asking", 0, 0,
     word_kind::none, "Switch off", nullptr, power_off, nullptr},
    {"decode", "HEX|FILE|-", "tell what bytes mean, without any handset", 1, k_any,
     word_kind::file, nullptr, nullptr, nullptr, decode},
    {"list", "ports|items|tests|commands [NAME]", "tell what there is, or one of it in full", 1, 2,
     word_kind::list, nullptr, nullptr, nullptr, list},
    {"shell", "", "read verbs line by line, with history and completion", 0, 0,
     word_kind::none, nullptr, nullptr, nullptr, nullptr},
};
// clang-format on

const verb *find_verb(const std::string &name)
{
    const auto found =
        std::find_if(k_verbs.begin(), k_verbs.end(), [&](const verb &each) { return each.name == name; });
    return found == k_verbs.end() ? nullptr : &*found;
}

void check_words(const verb &what, const settings &given)
{
    if (given.words.size() >= what.least && given.words.size() <= what.most) {
        if (what.check != nullptr) {
            what.check(given);
        }
        return;
    }
    const std::string wrong = given.words.size() < what.least
                                  ? std::string(what.name) + " says too little"
                                  : "\"" + given.words[what.most] + "\" is too much for " + what.name;
    throw std::invalid_argument(wrong + ": amt-station " + what.name + (*what.words == '\0' ? "" : " ") + what.words);
}

} // namespace station_tool
