// Single requests: test, at, send, raw, power-off.

#include "station/catalogue.h"
#include "station/request.h"
#include "station/text.h"
#include "station/tool/verbs.h"

#include <algorithm>
#include <sstream>
#include <stdexcept>

namespace station_tool {

using tool::exit_code;

static double in_ms(std::chrono::microseconds time)
{
    return static_cast<double>(time.count()) / 1000;
}

// --- messages

static void tell_answer(report &to, const target &asked, const station::message &answer)
{
    to.result["answer"] = to_json(answer, true);
    to.result["result"] = answer.result() ? json(*answer.result()) : json(nullptr);
    to.result["pre_response"] = asked.handset.was_announced();
    to.result["ms"] = in_ms(asked.handset.took());
    to.text = to_text(answer, true);
    if (answer.result().value_or(0) != 0) {
        to.code = exit_code::refused;
        to.error = "the handset answered result " + std::to_string(*answer.result());
    }
}

static report ask_message(const target &asked, const station::message &request)
{
    report told;
    told.result["request"] = to_json(request, false);
    tell_answer(told, asked, asked.handset.ask(request));
    return told;
}

[[noreturn]] static void refuse_command(const std::string &name)
{
    std::string near;
    for (const station::command &each : station::commands()) {
        if (std::string_view(each.word).find(name) != std::string_view::npos) {
            near += (near.empty() ? "; there is " : ", ") + std::string(each.word);
        }
    }
    throw std::invalid_argument("there is no command \"" + name + "\"" + near +
                                "; \"amt-station list commands\" shows all, and any number from 0 to 255 will do");
}

// A number that the catalogue does not know is sent as well: the handset hands it to the modem.
static station::message request_of(const std::string &name, const std::vector<std::string> &items)
{
    const station::command *what = station::find_command(name);
    if (what != nullptr) {
        return station::make_request(*what, items);
    }
    std::istringstream text(name);
    unsigned number = 0;
    const bool is_number = static_cast<bool>(text >> (name.compare(0, 2, "0x") == 0 ? std::hex : std::dec) >> number);
    if (!is_number || !text.eof() || number > 0xFF || name[0] < '0' || name[0] > '9') {
        refuse_command(name);
    }
    return station::make_request(static_cast<std::uint8_t>(number), items);
}

static std::vector<std::string> behind_first(const std::vector<std::string> &words)
{
    return {words.begin() + 1, words.end()};
}

void check_command(const settings &given)
{
    (void)request_of(given.words[0], behind_first(given.words)).envelope();
}

report send_command(const target &asked, const settings &given)
{
    const station::message request = request_of(given.words[0], behind_first(given.words));
    return ask_message(asked, request);
}

static const station::device_test &test_of(const std::string &name)
{
    const station::device_test *found = station::find_device_test(name);
    if (found == nullptr) {
        std::string names;
        for (const station::device_test &each : station::device_tests()) {
            names += (names.empty() ? "" : ", ") + std::string(each.name);
        }
        throw std::invalid_argument("there is no test \"" + name + "\": there are " + names);
    }
    return *found;
}

// What the handset does not serve on a port it hands to the modem or refuses, which would tell nothing of the device.
static void require_served(const target &asked, const station::device_test &test, const station::command &what)
{
    using station::answered_on;
    const bool is_bare = asked.where.framing == station::framing::bare;
    if (what.answered_on == (is_bare ? answered_on::station : answered_on::application)) {
        throw std::invalid_argument(std::string(test.name) + " is answered on the port of " +
                                    (is_bare ? "a station only: use handset:NAME"
                                             : "an application only: use handset:NAME/application, in mode normal"));
    }
}

// The test's own items, and those of the caller, which go before them.
static std::vector<std::string> items_of_test(const station::device_test &test, const std::vector<std::string> &given)
{
    std::vector<std::string> items = given;
    std::istringstream presets(test.settings);
    for (std::string preset; presets >> preset;) {
        const std::string name = preset.substr(0, preset.find('=') + 1);
        const auto is_same = [&](const std::string &item) { return item.compare(0, name.size(), name) == 0; };
        if (std::none_of(given.begin(), given.end(), is_same)) {
            items.push_back(preset);
        }
    }
    return items;
}

static station::message request_of(const station::device_test &test, const settings &given)
{
    return station::make_request(*station::command_of_request(test.command),
                                 items_of_test(test, behind_first(given.words)));
}

void check_test(const settings &given)
{
    (void)request_of(test_of(given.words[0]), given).envelope();
}

report run_test(const target &asked, const settings &given)
{
    const station::device_test &test = test_of(given.words[0]);
    require_served(asked, test, *station::command_of_request(test.command));
    report told = ask_message(asked, request_of(test, given));
    told.result["test"] = test.name;
    return told;
}

// --- lines and bytes

static void tell_line(report &to, const std::string &text)
{
    const std::string final = station::final_result(text);
    json lines = json::array();
    for (const std::string &line : station::lines_before_final_result(text)) {
        lines.push_back(as_printable(line));
        say(to, as_printable(line));
    }
    if (!final.empty()) {
        say(to, as_printable(final));
    }
    to.result["lines"] = lines;
    to.result["final"] = final;
    if (final != "OK") {
        to.code = exit_code::refused;
        to.error = "the answer is " + (final.empty() ? station::quoted(text) : final);
    }
}

void check_line(const settings &given)
{
    if (joined(given.words).find_first_of("\r\n") != std::string::npos) {
        throw std::invalid_argument("one line at a time: leave line ends out");
    }
}

report send_line(const target &asked, const settings &given)
{
    if (asked.where.framing == station::framing::bare) {
        throw std::invalid_argument("an application's port takes no AT lines: use a station's");
    }
    const std::string line = joined(given.words);
    report told;
    told.result["line"] = line;
    tell_line(told, asked.handset.ask_line(line));
    told.result["ms"] = in_ms(asked.handset.took());
    return told;
}

void check_bytes(const settings &given)
{
    if (station::from_hex(joined(given.words)).empty()) {
        throw std::invalid_argument("there are no bytes to send: write them as AA BB 0D");
    }
}

report send_bytes(const target &asked, const settings &given)
{
    const std::string bytes = station::from_hex(joined(given.words));
    report told;
    told.result["bytes"] = station::in_hex(bytes);
    const station::answer come = asked.handset.ask_raw(bytes);
    told.result["answered"] = station::in_hex(come.bytes);
    if (come.message) {
        tell_answer(told, asked, *come.message);
    } else {
        tell_line(told, come.bytes);
        told.result["ms"] = in_ms(asked.handset.took());
    }
    return told;
}

// --- power-off

report power_off(const target &asked, const settings &)
{
    const station::command &what = *station::find_command("power-off");
    if (asked.where.framing == station::framing::bare) {
        throw std::invalid_argument("power-off is for a station's port: use handset:NAME");
    }
    report told = ask_message(asked, station::message(what.id));
    if (told.code == exit_code::done) {
        say(told, "the handset switches off in two seconds");
    }
    return told;
}

} // namespace station_tool
