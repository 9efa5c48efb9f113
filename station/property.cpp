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
    std::string lines;
    for (const std::string &line : lines_before_final_result(text)) {
        lines += line + '\n';
    }
    std::optional<std::string> value = value_in_line(what, lines);
    if (!value) {
        throw malformed("the answer holds no " + std::string(what.name) + ", which is behind " + quoted(what.value) +
                        ": " + quoted(text) + "; it may be the late answer to an earlier request");
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

static bool is_all(const std::string &text, const char *allowed)
{
    return text.find_first_not_of(allowed) == std::string::npos;
}

static bool is_address(const std::string &text)
{
    constexpr std::size_t k_length = 17;
    for (std::size_t i = 0; i < text.size(); i++) {
        const bool is_colon = i % 3 == 2;
        if (is_colon != (text[i] == ':')) {
            return false;
        }
    }
    return text.size() == k_length && is_all(text, "0123456789abcdefABCDEF:");
}

static bool has_form(value_form form, const std::string &value)
{
    constexpr std::size_t k_imei_length = 15;
    switch (form) {
    case value_form::imei:
        return value.size() == k_imei_length && is_all(value, "0123456789");
    case value_form::address:
        return is_address(value);
    case value_form::any:
        break;
    }
    const auto is_control = [](unsigned char c) { return c < ' ' || c == 0x7F; };
    return std::none_of(value.begin(), value.end(), is_control);
}

void check_value(const identity &what, const std::string &value)
{
    const std::string name = what.name;
    if (*what.write == '\0') {
        throw std::invalid_argument(name + " can only be read");
    }
    if (has_form(what.form, value)) {
        return;
    }
    const char *form = what.form == value_form::imei      ? "15 digits"
                       : what.form == value_form::address ? "an address such as 11:22:33:44:55:66"
                                                          : "a text without line ends and control characters";
    throw std::invalid_argument(name + " takes " + form + ", not " + quoted(value));
}

void write_value(dialogue &handset, const identity &what, const std::string &value)
{
    check_value(what, value);
    const std::string request = what.write;
    if (is_line(request)) {
        (void)handset.ask_line_for_success(filled(request, value));
    } else {
        (void)handset.ask_for_success(parse_request(request, value));
    }
}

} // namespace station
