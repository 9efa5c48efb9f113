// What the tool can do: a table of verbs, each a function that asks one handset, or none, and reports.
#pragma once

#include "station/dialogue.h"
#include "station/tool/places.h"
#include "station/tool/report.h"
#include "station/tool/settings.h"

#include <string>
#include <vector>

namespace station_tool {

// A handset that is asked.
struct target {
    const place &where;
    station::dialogue &handset;
};

// What a verb's words may be, for the completion.
enum class word_kind { none, property, setting_of_property, test, command, list, file };

// A verb throws std::invalid_argument for words that make no sense, and what dialogue throws.
struct verb {
    const char *name;
    const char *words; // as the usage tells them: "ITEM..."
    const char *about;
    std::size_t least; // how many words
    std::size_t most;
    word_kind kind;
    const char *question;                 // asked before, about the handsets that are named behind it; null: none
    void (*check)(const settings &given); // the words, before any handset is looked for; null: none
    report (*ask)(const target &asked, const settings &given); // null for one that asks no handset
    report (*tell)(const settings &given);                     // null for one that does; both for the shell
};

extern const std::vector<verb> k_verbs;

// Null when there is none.
const verb *find_verb(const std::string &name);

report ask_information(const target &asked, const settings &given);
report ask_properties(const target &asked, const settings &given);
report set_properties(const target &asked, const settings &given);
report ask_results(const target &asked, const settings &given);
report run_test(const target &asked, const settings &given);
report send_line(const target &asked, const settings &given);
report send_command(const target &asked, const settings &given);
report send_bytes(const target &asked, const settings &given);
report power_off(const target &asked, const settings &given);
report decode(const settings &given);
report list(const settings &given);

// What is wrong with words is found before any handset is asked: these throw std::invalid_argument.
void check_properties(const settings &given);
void check_settings_of_properties(const settings &given);
void check_test(const settings &given);
void check_results(const settings &given);
void check_line(const settings &given);
void check_command(const settings &given);
void check_bytes(const settings &given);

// All of it for one verb: too few words, too many, wrong ones.
void check_words(const verb &what, const settings &given);

} // namespace station_tool
