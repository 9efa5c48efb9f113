// Reading and writing, see property.h.

#include "station/property.h"

#include "station/request.h"
#include "station/text.h"

#include <algorithm>
#include <sstream>
#include <stdexcept>
#include <vector>

namespace station {

static bool is_line(std::string_view request)
{
    return request.substr(0, 2) == "AT";
}

// "COMMAND ITEM=VALUE...", filled in when the words are parted, so that blanks of the value are its own.
static message parse_request(const std::string &text, const std::string &value)
{
    std::istringstream stream(text);
    std::string word;
    stream >> word;
    const command *what = find_command(word);
    if (what == nullptr) {
        throw std::logic_error("the catalogue has no command " + word);
    }
    std::vector<std::string> settings;
    for (std::string setting; stream >> setting;) {
        settings.push_back(filled(setting, value));
    }
    return make_request(*what, settings);
}

static std::string value_in(const identity &what, const std::string &text)
{
    std::optional<std::string> value = value_in_line(what, text);
    if (!value) {
        throw malformed("the answer holds no " + std::string(what.name) + ", which is behind " + quoted(what.value) +
                        ": " + quoted(text));
    }
    return *std::move(value);
}

static std::string value_in(const identity &what, const message &answer)
{
    for (const told_item &each : items_of(answer, true)) {
        if (each.name == what.value) {
            return each.value;
        }
    }
    throw malformed("the answer holds no " + std::string(what.value) + ": " + told(answer, true));
}

std::string read_value(dialogue &handset, const identity &what)
{
    const std::string request = what.read;
    if (request.empty()) {
        throw std::invalid_argument(std::string(what.name) + " cannot be read");
    }
    return is_line(request) ? value_in(what, handset.ask_line_for_success(request))
                            : value_in(what, handset.ask_for_success(parse_request(request, "")));
}

void write_value(dialogue &handset, const identity &what, const std::string &value)
{
    const std::string request = what.write;
    if (request.empty()) {
        throw std::invalid_argument(std::string(what.name) + " cannot be written");
    }
    const auto is_control = [](unsigned char c) { return c < ' ' || c == 0x7F; };
    if (is_line(request) && std::any_of(value.begin(), value.end(), is_control)) {
        throw std::invalid_argument(std::string(what.name) + " cannot hold line ends and other control characters");
    }
    if (is_line(request)) {
        (void)handset.ask_line_for_success(filled(request, value));
    } else {
        (void)handset.ask_for_success(parse_request(request, value));
    }
}

} // namespace station
