// The catalogue as tables, see catalogue.h: of each family first its commands, then what each of them carries.

#include "station/catalogue.h"
#include "station/message.h"

#include "amt/core/command-names.h"
#include "station/text.h"

namespace station {

namespace {

struct chapter {
    station::family family;
    const char *heading;
    const char *meaning;
};

// clang-format off
constexpr chapter k_chapters[] = {
    {family::device_test, "Device tests", "What lights, sounds, shakes, measures, sends and receives."},
    {family::identity,    "Identities",   "What makes a handset this one and no other."},
    {family::version,     "Versions",     "Which software it runs."},
    {family::result,      "Verdicts",     "What the test stations found."},
    {family::mode,        "Modes",        "What the handset and its modem are to be."},
    {family::modem,       "The modem's own", "What is sent with these the modem alone knows; what is not told here of "
                                             "their answers, too."},
};
// clang-format on

} // namespace

static bool is_numeric(item_form form)
{
    return form == item_form::number || form == item_form::signed_number || form == item_form::flag;
}

static std::string size_of(const item &what)
{
    if (what.size == 0) {
        return "any";
    }
    return (is_numeric(what.form) ? "" : "up to ") + std::to_string(what.size);
}

// A row of a table, of cells that hold no bar.
static std::string row_of(std::initializer_list<std::string> cells)
{
    std::string line = "|";
    for (const std::string &cell : cells) {
        line += cell.empty() ? " |" : " " + cell + " |";
    }
    return line + "\n";
}

static std::string shown_name_of(std::uint8_t id)
{
    const std::string name = amt_get_command_name(id);
    return name.front() == '(' ? "" : name; // "(undefined)"
}

// --- commands

static std::string answer_of(const command &what)
{
    if (what.response_id == 0) {
        return "none";
    }
    return what.response_id == what.id ? "unasked" : hex_byte(what.response_id);
}

static std::string commands_of(family wanted)
{
    std::string text = row_of({"Id", "Answer", "Word", "Name", "Answered by", "Pre-response", "Meaning"}) +
                       "|---|---|---|---|---|---|---|\n";
    for (const command &each : commands()) {
        if (each.family == wanted) {
            text +=
                row_of({hex_byte(each.id), answer_of(each), "`" + std::string(each.word) + "`", shown_name_of(each.id),
                        to_word(each.answered_on), each.pre_response ? "yes" : "", each.meaning});
        }
    }
    return text;
}

// --- what they carry

static std::string meaning_of(const item &what)
{
    std::string text = what.meaning;
    for (const named_value &value : what.values) {
        text += "<br>" + std::to_string(value.value) + " `" + value.name + "`: " + value.meaning;
    }
    return text;
}

static std::string table_of(rows<item> items, const char *certain)
{
    std::string text = row_of({"Atom", "Item", "Type", "Size", certain, "Written as", "Unit", "Meaning"}) +
                       "|---|---|---|---|---|---|---|---|\n";
    for (const item &each : items) {
        text += row_of({std::to_string(each.atom), "`" + std::string(each.name) + "`", type_name(each.type),
                        size_of(each), each.required ? "yes" : "", to_word(each.form), each.unit, meaning_of(each)});
    }
    return text;
}

static std::string tables_of(const command &what)
{
    const std::string word = "`" + std::string(what.word) + "`, " + hex_byte(what.id);
    std::string text;
    if (!what.request.empty()) {
        text += "\n" + word + ", is sent with\n\n" + table_of(what.request, "Needed");
    }
    if (!what.answer.empty()) {
        text += "\n" + word + ", is answered with\n\n" + table_of(what.answer, "Always");
    }
    return text;
}

std::string catalogue_as_markdown()
{
    std::string text;
    for (const chapter &each : k_chapters) {
        text += (text.empty() ? "### " : "\n### ") + std::string(each.heading) + "\n\n" + each.meaning + "\n\n" +
                commands_of(each.family);
        for (const command &row : commands()) {
            text += row.family == each.family ? tables_of(row) : "";
        }
    }
    return text;
}

} // namespace station
