// What a handset is and what was found of it on the line: info, get, set, results.

#include "station/property.h"
#include "station/text.h"
#include "station/tool/verbs.h"

#include <algorithm>
#include <stdexcept>

namespace station_tool {

using tool::exit_code;

constexpr unsigned k_test_stations = 20;

[[noreturn]] static void refuse_name(const std::string &name)
{
    std::string names;
    for (const station::identity &each : station::identities()) {
        names += (names.empty() ? "" : ", ") + std::string(each.name);
    }
    throw std::invalid_argument("there is no item \"" + name + "\": there are " + names);
}

static const station::identity &property_of(const std::string &name)
{
    const station::identity *found = station::find_identity(name);
    if (found == nullptr) {
        refuse_name(name);
    }
    return *found;
}

static void require_station_port(const target &asked, const char *verb)
{
    if (asked.where.framing == station::framing::bare) {
        throw std::invalid_argument(std::string(verb) + " is for a station's port; " + asked.where.name +
                                    " is an application's: use send there, see \"amt-station list commands\"");
    }
}

// Does it for each, as far as the link lets it: what has been done before it failed is told all the same.
template <typename things, typename body>
static void for_each_told(report &told, const things &all, const body &what)
{
    try {
        for (const auto &each : all) {
            what(each);
        }
    } catch (const std::exception &) {
        told.failure = std::current_exception();
    }
}

// One handset may have no such thing and still have the next: only a failure of the link ends it all.
static bool read_into(report &to, const target &asked, const station::identity &what,
                      std::vector<std::vector<std::string>> &rows)
{
    try {
        const std::string value = station::read_value(asked.handset, what);
        to.result["items"][what.name] = as_printable(value);
        rows.push_back({what.name, as_shown(value)});
        return true;
    } catch (const station::refused &error) {
        to.result["items"][what.name] = nullptr;
        rows.push_back({what.name, "-", error.what()});
        return false;
    }
}

report ask_information(const target &asked, const settings &)
{
    require_station_port(asked, "info");
    report told;
    told.result["items"] = json::object();
    std::vector<std::vector<std::string>> rows;
    bool any = false;
    for_each_told(told, station::identities(), [&](const station::identity &each) {
        if (each.in_information) {
            any = read_into(told, asked, each, rows) || any;
        }
    });
    for (std::vector<std::string> &row : rows) {
        row.resize(2); // why the handset has no such thing is for "get" to say
    }
    told.text = in_columns(rows);
    if (!any && !told.failure) {
        told.code = exit_code::refused;
        told.error = "the handset tells nothing of itself: see with --trace - what it answers";
    }
    return told;
}

void check_properties(const settings &given)
{
    for (const std::string &name : given.words) {
        (void)property_of(name);
    }
}

report ask_properties(const target &asked, const settings &given)
{
    require_station_port(asked, "get");
    report told;
    told.result["items"] = json::object();
    std::vector<std::vector<std::string>> rows;
    for_each_told(told, given.words, [&](const std::string &name) {
        if (!read_into(told, asked, property_of(name), rows)) {
            told.code = exit_code::refused;
            told.error += (told.error.empty() ? "" : "; ") + name + ": " + rows.back().back();
            rows.pop_back();
        }
    });
    told.text = given.words.size() == 1 && rows.size() == 1 ? rows[0][1] + '\n' : in_columns(rows);
    return told;
}

namespace {

struct wanted {
    const station::identity *what;
    std::string value;
};

} // namespace

static std::vector<wanted> wanted_of(const settings &given)
{
    std::vector<wanted> all;
    for (const std::string &word : given.words) {
        const std::size_t at = word.find('=');
        if (at == std::string::npos) {
            throw std::invalid_argument("\"" + word + "\" sets nothing: write ITEM=VALUE");
        }
        const station::identity &what = property_of(word.substr(0, at));
        station::check_value(what, word.substr(at + 1));
        all.push_back({&what, word.substr(at + 1)});
    }
    return all;
}

// What is not as wanted afterwards has not been written, whatever the handset said.
static void write_and_read_back(report &to, const target &asked, const wanted &each,
                                std::vector<std::vector<std::string>> &rows)
{
    station::write_value(asked.handset, *each.what, each.value);
    if (*each.what->read == '\0') {
        rows.push_back({each.what->name, as_printable(each.value), "written; it cannot be read back"});
        to.result["items"][each.what->name] = as_printable(each.value);
        return;
    }
    const std::string now = station::read_value(asked.handset, *each.what);
    to.result["items"][each.what->name] = as_printable(now);
    if (now != each.value) {
        throw station::refused("written as " + station::quoted(each.value) + ", it reads " + station::quoted(now));
    }
    rows.push_back({each.what->name, as_shown(now), "read back"});
}

void check_settings_of_properties(const settings &given)
{
    (void)wanted_of(given);
}

// A refusal ends it, and is told with the item's name.
static void try_to_write(report &to, const target &asked, const wanted &each,
                         std::vector<std::vector<std::string>> &rows)
{
    try {
        write_and_read_back(to, asked, each, rows);
    } catch (const station::refused &error) {
        to.code = exit_code::refused;
        to.error =
            std::string(each.what->name) + ": " + error.what() + (rows.empty() ? "" : "; those before it were written");
    }
}

report set_properties(const target &asked, const settings &given)
{
    require_station_port(asked, "set");
    report told;
    told.result["items"] = json::object();
    std::vector<std::vector<std::string>> rows;
    for_each_told(told, wanted_of(given), [&](const wanted &each) {
        if (told.code == exit_code::done) {
            try_to_write(told, asked, each, rows);
        }
    });
    if (told.failure && !rows.empty()) {
        told.error = "those before it were written";
    }
    told.text = in_columns(rows);
    return told;
}

static const char *word_of_verdict(std::uint64_t verdict)
{
    return verdict == 1 ? "passed" : verdict == 2 ? "failed" : "not tested";
}

namespace {

struct verdict {
    std::uint64_t number;
    std::string remark;
};

} // namespace

// By the modem's line, "^DATOMR: 3,1,all well"; an application has a message for it.
static verdict read_verdict(const target &asked, unsigned test_station)
{
    constexpr std::string_view k_prefix = "^DATOMR: ";
    if (asked.where.framing == station::framing::bare) {
        const station::message answer =
            asked.handset.ask_for_success(station::message(0x59).with_int(39, test_station));
        return {answer.get_int(36).value_or(0), answer.get_string(37).value_or("")};
    }
    const std::string text = asked.handset.ask_line_for_success("AT^DATOMR=1," + std::to_string(test_station));
    for (const std::string &line : station::lines_before_final_result(text)) {
        const std::size_t first = line.find(',');
        if (line.compare(0, k_prefix.size(), k_prefix) != 0 || first == std::string::npos) {
            continue;
        }
        const std::size_t second = std::min(line.find(',', first + 1), line.size());
        const std::string number = line.substr(first + 1, second - first - 1);
        return {number == "1" || number == "2" ? static_cast<std::uint64_t>(number[0] - '0') : 0,
                second < line.size() ? line.substr(second + 1) : ""};
    }
    throw station::malformed("no verdict in " + station::quoted(text));
}

static std::vector<unsigned> stations_of(const settings &given)
{
    std::vector<unsigned> stations;
    for (const std::string &word : given.words) {
        if (word.empty() || word.size() > 2 || word.find_first_not_of("0123456789") != std::string::npos ||
            std::stoul(word) >= k_test_stations) {
            throw std::invalid_argument("\"" + word + "\" is no test station: they are 0 to " +
                                        std::to_string(k_test_stations - 1));
        }
        stations.push_back(static_cast<unsigned>(std::stoul(word)));
    }
    for (unsigned i = 0; given.words.empty() && i < k_test_stations; i++) {
        stations.push_back(i);
    }
    return stations;
}

void check_results(const settings &given)
{
    (void)stations_of(given);
}

report ask_results(const target &asked, const settings &given)
{
    report told;
    told.result["stations"] = json::array();
    std::vector<std::vector<std::string>> rows;
    for_each_told(told, stations_of(given), [&](unsigned test_station) {
        const verdict found = read_verdict(asked, test_station);
        told.result["stations"].push_back({{"station", test_station},
                                           {"verdict", word_of_verdict(found.number)},
                                           {"text", as_printable(found.remark)}});
        if (found.number != 0 || !given.words.empty()) {
            rows.push_back(
                {"station " + std::to_string(test_station), word_of_verdict(found.number), as_printable(found.remark)});
        }
    });
    told.text = rows.empty() && told.failure ? ""
                : rows.empty()               ? "  no test station has left a verdict\n"
                                             : in_columns(rows);
    return told;
}

} // namespace station_tool
