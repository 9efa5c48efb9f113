// What there is: ports, items, tests, commands, and one command in full.

#include "station/catalogue.h"
#include "station/message.h"
#include "station/text.h"
#include "station/tool/verbs.h"

#include <stdexcept>

namespace station_tool {

using rows = std::vector<std::vector<std::string>>;

static void list_ports(report &to)
{
    rows lines;
    for (const place &each : places_found()) {
        const bool is_bare = each.framing == station::framing::bare;
        to.result["ports"].push_back(
            {{"port", each.name}, {"path", each.path.string()}, {"for", is_bare ? "application" : "station"}});
        lines.push_back({each.name, is_bare ? "for an application" : "for a station", each.path});
    }
    to.text = in_columns(lines);
}

static const char *rights_of(const station::identity &what)
{
    return *what.write == '\0' ? "read" : *what.read == '\0' ? "write" : "read, write";
}

static void list_items(report &to)
{
    rows lines;
    for (const station::identity &each : station::identities()) {
        to.result["items"].push_back({{"item", each.name},
                                      {"meaning", each.meaning},
                                      {"readable", *each.read != '\0'},
                                      {"writable", *each.write != '\0'}});
        lines.push_back({each.name, rights_of(each), each.meaning});
    }
    to.text = in_columns(lines);
}

static json to_json(station::rows<station::item> items)
{
    json all = json::array();
    for (const station::item &each : items) {
        json one = {{"item", each.name},         {"atom", each.atom},       {"form", station::to_word(each.form)},
                    {"required", each.required}, {"meaning", each.meaning}, {"unit", each.unit}};
        for (const station::named_value &value : each.values) {
            one["values"][value.name] = value.value;
        }
        all.push_back(one);
    }
    return all;
}

static json to_json(const station::command &what)
{
    return {{"command", what.word},
            {"id", what.id},
            {"response_id", what.response_id},
            {"family", station::to_word(what.family)},
            {"answered_on", station::to_word(what.answered_on)},
            {"meaning", what.meaning},
            {"request", to_json(what.request)},
            {"answer", to_json(what.answer)}};
}

static std::string values_of(const station::item &what)
{
    std::string values;
    for (const station::named_value &each : what.values) {
        values += (values.empty() ? ": " : ", ") + std::to_string(each.value) + " " + each.name;
    }
    return values;
}

static void tell_items(report &to, const std::string &heading, station::rows<station::item> items)
{
    rows lines;
    for (const station::item &each : items) {
        const std::string unit = *each.unit == '\0' ? "" : std::string(" in ") + each.unit;
        lines.push_back({std::string(each.name) + (each.required ? "" : " (optional)"),
                         "atom " + std::to_string(each.atom), station::to_word(each.form) + unit,
                         each.meaning + values_of(each)});
    }
    say(to, heading + (lines.empty() ? ": no items" : ":"));
    to.text += in_columns(lines);
}

static void tell_command(report &to, const station::command &what)
{
    to.result = to_json(what);
    say(to, std::string(what.word) + ", " + station::name_of(what.id) + ": " + what.meaning);
    say(to, std::string("answered by the ") + station::to_word(what.answered_on) +
                (what.response_id == 0 ? "" : ", with " + station::name_of(what.response_id)));
    tell_items(to, "request", what.request);
    tell_items(to, "answer, besides the result", what.answer);
}

static void list_tests(report &to)
{
    rows lines;
    for (const station::device_test &each : station::device_tests()) {
        const station::command &what = *station::command_of_request(each.command);
        to.result["tests"].push_back({{"test", each.name},
                                      {"meaning", each.meaning},
                                      {"command", what.word},
                                      {"settings", each.settings},
                                      {"answered_on", station::to_word(what.answered_on)}});
        lines.push_back({each.name, station::to_word(what.answered_on), each.meaning});
    }
    to.text = in_columns(lines);
}

static void list_commands(report &to)
{
    rows lines;
    for (const station::command &each : station::commands()) {
        to.result["commands"].push_back(to_json(each));
        lines.push_back({each.word, station::hex_byte(each.id), station::to_word(each.answered_on), each.meaning});
    }
    to.text = in_columns(lines);
}

static void tell_test(report &to, const station::device_test &test)
{
    const std::string settings = *test.settings == '\0' ? "nothing" : test.settings;
    say(to, std::string(test.name) + ": " + test.meaning);
    say(to, "sends, with " + settings + " set:");
    say(to, "");
    tell_command(to, *station::command_of_request(test.command));
    to.result = {{"test", test.name}, {"meaning", test.meaning}, {"settings", test.settings}, {"command", to.result}};
}

static void tell_identity(report &to, const station::identity &what)
{
    const auto way = [](const char *request) { return *request == '\0' ? "cannot be" : request; };
    to.result = {{"item", what.name}, {"meaning", what.meaning}, {"read", what.read}, {"write", what.write}};
    say(to, std::string(what.name) + ": " + what.meaning);
    to.text += in_columns({{"read", way(what.read)}, {"write", way(what.write)}});
}

static void tell_named(report &to, const std::string &list, const std::string &name)
{
    const station::device_test *test = list == "tests" ? station::find_device_test(name) : nullptr;
    const station::command *what = list == "commands" ? station::find_command(name) : nullptr;
    const station::identity *identity = list == "items" ? station::find_identity(name) : nullptr;
    if (identity != nullptr) {
        tell_identity(to, *identity);
    } else if (test != nullptr) {
        tell_test(to, *test);
    } else if (what != nullptr) {
        tell_command(to, *what);
    } else {
        throw std::invalid_argument("there is no \"" + name + "\" among the " + list + ": \"amt-station list " + list +
                                    "\" shows them");
    }
}

report list(const settings &given)
{
    constexpr struct {
        const char *name;
        void (*tell)(report &);
    } k_lists[] = {{"ports", list_ports}, {"items", list_items}, {"tests", list_tests}, {"commands", list_commands}};
    const std::string &name = given.words[0];
    report told;
    for (const auto &each : k_lists) {
        if (name != each.name) {
            continue;
        }
        if (given.words.size() > 1) {
            tell_named(told, name, given.words[1]);
            return told;
        }
        told.result[name] = json::array();
        each.tell(told);
        return told;
    }
    throw std::invalid_argument("there is no list \"" + name + "\": there are ports, items, tests, commands");
}

} // namespace station_tool
