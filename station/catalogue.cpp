// Looking things up in the catalogue, see catalogue.h.

#include "station/catalogue_rows.h"

#include <algorithm>
#include <charconv>

namespace station {

constexpr std::uint8_t k_no_answer = 0;

rows<command> commands()
{
    return command_rows();
}

template <typename T, typename predicate>
static const T *find_if(rows<T> table, predicate matches)
{
    const T *found = std::find_if(table.begin(), table.end(), matches);
    return found == table.end() ? nullptr : found;
}

// --- commands

static bool drop_suffix(std::string &text, std::string_view suffix)
{
    if (text.size() <= suffix.size() || text.compare(text.size() - suffix.size(), suffix.size(), suffix) != 0) {
        return false;
    }
    text.resize(text.size() - suffix.size());
    return true;
}

static char letter_of_word(char character)
{
    if (character == '_') {
        return '-';
    }
    return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a') : character;
}

std::string word_of(std::string_view name)
{
    constexpr std::string_view prefix = "amt-";
    std::string word(name);
    std::transform(word.begin(), word.end(), word.begin(), letter_of_word);
    if (word.compare(0, prefix.size(), prefix) == 0) {
        word.erase(0, prefix.size());
    }
    if (!drop_suffix(word, "-cmd")) {
        (void)drop_suffix(word, "cmd"); // of an indication's name
    }
    return word;
}

// The id that is meant by a decimal or, behind 0x, hexadecimal number; nothing for anything else.
static std::optional<std::uint8_t> id_in(std::string_view text)
{
    const bool is_hex = text.substr(0, 2) == "0x" || text.substr(0, 2) == "0X";
    text.remove_prefix(is_hex ? 2 : 0);
    std::uint8_t id = 0;
    const std::from_chars_result read = std::from_chars(text.data(), text.data() + text.size(), id, is_hex ? 16 : 10);
    const bool is_number = read.ec == std::errc() && read.ptr == text.data() + text.size();
    return is_number ? std::optional(id) : std::nullopt;
}

const command *find_command(std::string_view name)
{
    if (const std::optional<std::uint8_t> id = id_in(name)) {
        return command_of_request(*id);
    }
    return find_if(commands(), [word = word_of(name)](const command &row) { return row.word == word; });
}

const command *command_of_request(std::uint8_t id)
{
    return find_if(commands(), [id](const command &row) { return row.id == id; });
}

const command *command_of_response(std::uint8_t id)
{
    if (id == k_no_answer) {
        return nullptr;
    }
    const command *answered = find_if(commands(), [id](const command &row) { return row.response_id == id; });
    return answered != nullptr ? answered : command_of_request(static_cast<std::uint8_t>(id - 1));
}

// --- items

const item *find_item(rows<item> items, std::string_view name)
{
    return find_if(items, [name](const item &each) { return each.name == name; });
}

const item *item_of_atom(rows<item> items, std::uint8_t atom)
{
    return find_if(items, [atom](const item &each) { return each.atom == atom; });
}

// --- words

const char *to_word(family which)
{
    switch (which) {
    case family::device_test:
        return "device test";
    case family::identity:
        return "identity";
    case family::version:
        return "version";
    case family::result:
        return "result";
    case family::mode:
        return "mode";
    case family::modem:
        return "modem";
    }
    return "";
}

const char *to_word(answered_on which)
{
    switch (which) {
    case answered_on::both:
        return "station and application";
    case answered_on::station:
        return "station";
    case answered_on::application:
        return "application";
    case answered_on::modem:
        return "modem";
    case answered_on::modem_of_station:
        return "modem, of a station only";
    }
    return "";
}

const char *to_word(item_form which)
{
    switch (which) {
    case item_form::number:
        return "number";
    case item_form::signed_number:
        return "signed number";
    case item_form::text:
        return "text";
    case item_form::bytes:
        return "bytes";
    case item_form::flag:
        return "flag";
    }
    return "";
}

} // namespace station
