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
    return behind_verb[0] == "tests"      ? names_of(station::device_tests(), "")
           : behind_verb[0] == "commands" ? command_words()
                                          : words_offered{};
}

static words_offered of_verb(const verb &what, const words_offered &behind_verb)
{
    switch (what.kind) {
    case word_kind::property:
        return names_of(station::identities(), "");
    case word_kind::setting_of_property:
        return names_of(station::identities(), "=");
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

static words_offered verb_names()
{
    words_offered names = names_of(k_verbs, "");
    names.emplace_back("shell");
    return names;
}

static words_offered offered_for(const words_offered &words)
{
    const std::vector<option_name> options = option_names();
    const auto takes_value = [&](const std::string &word) {
        return std::any_of(options.begin(), options.end(),
                           [&](const option_name &each) { return each.takes_value && each.name == word; });
    };
    words_offered plain; // neither options nor their values
    for (std::size_t i = 0; i < words.size(); i++) {
        const bool is_last = i + 1 == words.size();
        const bool is_option = words[i].size() > (is_last ? 0 : 1) && words[i][0] == '-';
        if (is_option && is_last) {
            return names_of_options(options);
        }
        if (takes_value(words[i]) && i + 2 == words.size()) {
            return words[i] == "-p" || words[i] == "--port" ? port_names() : words_offered{};
        }
        if (is_option) {
            i += takes_value(words[i]) ? 1 : 0;
        } else {
            plain.push_back(words[i]);
        }
    }
    const verb *what = plain.size() < 2 ? nullptr : find_verb(plain[0]);
    return plain.size() < 2  ? verb_names()
           : what == nullptr ? words_offered{}
                             : of_verb(*what, {plain.begin() + 1, plain.end()});
}

words_offered completions(const words_offered &words)
{
    const std::string typed = words.empty() ? "" : words.back();
    words_offered offered = offered_for(words);
    const auto is_another = [&](const std::string &each) { return each.compare(0, typed.size(), typed) != 0; };
    offered.erase(std::remove_if(offered.begin(), offered.end(), is_another), offered.end());
    return offered;
}

} // namespace station_tool
