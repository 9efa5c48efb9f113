// Offering words, see completion.h. Everything comes from the table of verbs and the catalogue.

#include "station/tool/completion.h"

#include "station/catalogue.h"
#include "station/tool/command_line.h"
#include "station/tool/verbs.h"

#include <algorithm>

namespace station_tool {

using words_offered = std::vector<std::string>;

template <typename rows>
static words_offered names_of(const rows &all, const std::string &behind)
{
    words_offered names;
    for (const auto &each : all) {
        names.push_back(each.name + behind);
    }
    return names;
}

// ITEM= while that is typed, ITEM=VALUE once there is a value to choose from.
static words_offered settings_of(station::rows<station::item> items, const std::string &typed)
{
    words_offered offered;
    for (const station::item &each : items) {
        const std::string beginning = std::string(each.name) + "=";
        if (typed.compare(0, beginning.size(), beginning) != 0 || each.values.empty()) {
            offered.push_back(beginning);
            continue;
        }
        for (const station::named_value &value : each.values) {
            offered.push_back(beginning + value.name);
        }
    }
    return offered;
}

static words_offered command_words()
{
    words_offered words;
    for (const station::command &each : station::commands()) {
        words.emplace_back(each.word);
    }
    return words;
}

static words_offered of_command(const words_offered &behind_verb, bool is_test)
{
    const station::command *what = nullptr;
    if (behind_verb.size() <= 1) {
        return is_test ? names_of(station::device_tests(), "") : command_words();
    }
    if (is_test) {
        const station::device_test *test = station::find_device_test(behind_verb[0]);
        what = test == nullptr ? nullptr : station::command_of_request(test->command);
    } else {
        what = station::find_command(behind_verb[0]);
    }
    return what == nullptr ? words_offered{} : settings_of(what->request, behind_verb.back());
}

static words_offered of_list(const words_offered &behind_verb)
{
    if (behind_verb.size() <= 1) {
        return {"ports", "items", "tests", "commands"};
    }
    return behind_verb[0] == "items"      ? names_of(station::identities(), "")
           : behind_verb[0] == "tests"    ? names_of(station::device_tests(), "")
           : behind_verb[0] == "commands" ? command_words()
                                          : words_offered{};
}

static words_offered names_of_writable()
{
    words_offered names;
    for (const station::identity &each : station::identities()) {
        if (*each.write != '\0') {
            names.push_back(std::string(each.name) + "=");
        }
    }
    return names;
}

static words_offered of_verb(const verb &what, const words_offered &behind_verb)
{
    switch (what.kind) {
    case word_kind::property:
        return names_of(station::identities(), "");
    case word_kind::setting_of_property:
        return names_of_writable();
    case word_kind::test:
        return of_command(behind_verb, true);
    case word_kind::command:
        return of_command(behind_verb, false);
    case word_kind::list:
        return of_list(behind_verb);
    case word_kind::file:
    case word_kind::none:
        break;
    }
    return {};
}

static words_offered port_names()
{
    words_offered names;
    for (const place &each : places_found()) {
        names.push_back(each.name);
    }
    return names;
}

static words_offered names_of_options(const std::vector<option_name> &options)
{
    words_offered names;
    for (const option_name &each : options) {
        names.push_back(each.name);
    }
    return names;
}

// What is typed is the last word, and what it may be is decided by the words before it.
static words_offered offered_for(const words_offered &before, const std::string &typed)
{
    const std::vector<option_name> options = option_names();
    const auto is_last = [&](const option_name &each) { return !before.empty() && each.name == before.back(); };
    const auto option = std::find_if(options.begin(), options.end(), is_last);
    if (option != options.end() && option->takes_value) {
        return option->name == "-p" || option->name == "--port" ? port_names() : words_offered{};
    }
    if (typed.compare(0, 1, "-") == 0) {
        return names_of_options(options);
    }
    words_offered plain = plain_words(before);
    if (plain.empty()) {
        return names_of(k_verbs, "");
    }
    const verb *what = find_verb(plain[0]);
    plain.push_back(typed);
    return what == nullptr ? words_offered{} : of_verb(*what, {plain.begin() + 1, plain.end()});
}

words_offered completions(const words_offered &words)
{
    const std::string typed = words.empty() ? "" : words.back();
    const words_offered before(words.begin(), words.empty() ? words.end() : words.end() - 1);
    words_offered offered = offered_for(before, typed);
    const auto is_another = [&](const std::string &each) { return each.compare(0, typed.size(), typed) != 0; };
    offered.erase(std::remove_if(offered.begin(), offered.end(), is_another), offered.end());
    return offered;
}

} // namespace station_tool
