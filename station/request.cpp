// Reading and telling items, see request.h.

#include "station/request.h"

#include "station/text.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <optional>
#include <stdexcept>

namespace station {

constexpr char k_no_name[] = "(undefined)"; // of the service's, in place of a name

namespace {

struct setting {
    std::string name;
    std::string value;
};

} // namespace

static setting split(const std::string &text)
{
    const std::size_t at = text.find('=');
    if (at == std::string::npos || at == 0) {
        throw std::invalid_argument("\"" + text + "\" is no item: write ITEM=VALUE");
    }
    return {text.substr(0, at), text.substr(at + 1)};
}

// Decimal, or hexadecimal behind 0x; nothing for anything else or too large.
static std::optional<std::uint64_t> number_of(const std::string &text, std::uint64_t most)
{
    const bool is_hex = text.compare(0, 2, "0x") == 0;
    const std::string digits = is_hex ? text.substr(2) : text;
    std::uint64_t value = 0;
    const char *end = digits.data() + digits.size();
    const std::from_chars_result read = std::from_chars(digits.data(), end, value, is_hex ? 16 : 10);
    const bool is_number = read.ec == std::errc() && read.ptr == end;
    return is_number && value <= most ? std::optional(value) : std::nullopt;
}

static std::string little_endian(std::uint64_t value, std::size_t size)
{
    std::string bytes;
    for (std::size_t i = 0; i < size; i++) {
        bytes += static_cast<char>(value >> (8 * i) & 0xFF);
    }
    return bytes;
}

static std::size_t size_of_number(const item &what)
{
    switch (what.type) {
    case AMT_VALUE_INT:
        return AMT_INT_LENGTH;
    case AMT_VALUE_BOOL:
        return AMT_BOOL_LENGTH;
    case AMT_VALUE_STRING:
    case AMT_VALUE_BYTES:
        break;
    }
    return what.size;
}

[[noreturn]] static void refuse_value(const item &what, const std::string &value)
{
    std::string allowed;
    for (const named_value &each : what.values) {
        allowed += (allowed.empty() ? "" : ", ") + std::string(each.name) + " (" + std::to_string(each.value) + ")";
    }
    if (allowed.empty()) {
        allowed = what.form == item_form::flag ? "0 or 1" : std::string("a ") + to_word(what.form);
    }
    const std::string size =
        what.size == 0 || !what.values.empty() ? "" : ", of " + std::to_string(what.size) + " bytes at most";
    throw std::invalid_argument(std::string(what.name) + "=" + value + " is not possible: " + what.name + " takes " +
                                allowed + size);
}

static std::string signed_bytes(const item &what, const std::string &value, std::size_t size)
{
    const bool is_negative = value.compare(0, 1, "-") == 0;
    const std::uint64_t half = std::uint64_t{1} << (8 * size - 1);
    const std::optional<std::uint64_t> number =
        number_of(value.substr(is_negative ? 1 : 0), is_negative ? half : half - 1);
    if (!number) {
        refuse_value(what, value);
    }
    return little_endian(is_negative ? 0 - *number : *number, size);
}

static std::string number_bytes(const item &what, const std::string &value)
{
    for (const named_value &each : what.values) {
        if (value == each.name) {
            return little_endian(each.value, size_of_number(what));
        }
    }
    const std::size_t size = size_of_number(what);
    if (what.form == item_form::signed_number) {
        return signed_bytes(what, value, size);
    }
    const std::uint64_t most = what.form == item_form::flag ? 1
                               : size < 8                   ? (std::uint64_t{1} << (8 * size)) - 1
                                                            : std::numeric_limits<std::uint64_t>::max();
    const std::optional<std::uint64_t> number = number_of(value, most);
    if (!number) {
        refuse_value(what, value);
    }
    return little_endian(*number, size);
}

static atom atom_of(const item &what, const std::string &value)
{
    std::string bytes;
    switch (what.form) {
    case item_form::number:
    case item_form::signed_number:
    case item_form::flag:
        bytes = number_bytes(what, value);
        break;
    case item_form::text:
        bytes = value;
        break;
    case item_form::bytes:
        bytes = from_hex(value);
        break;
    }
    if (what.size != 0 && bytes.size() > what.size) {
        refuse_value(what, value);
    }
    return {what.atom, what.type, bytes};
}

[[noreturn]] static void refuse_raw(const setting &given)
{
    throw std::invalid_argument("\"" + given.name + "=" + given.value + "\" is no atom: write ID=TYPE:VALUE, such as " +
                                "9=int:77, 9=string:112, 9=bytes:0D0A or 9=bool:1");
}

static atom raw_atom(const setting &given, std::uint8_t id)
{
    const std::size_t colon = given.value.find(':');
    const std::string type = given.value.substr(0, colon);
    const std::string value = colon == std::string::npos ? "" : given.value.substr(colon + 1);
    const bool is_flag = type == "bool";
    if (is_flag || type == "int") {
        const std::optional<std::uint64_t> number = number_of(value, is_flag ? 0xFF : 0xFFFFFFFF);
        if (!number) {
            refuse_raw(given);
        }
        return {id, is_flag ? AMT_VALUE_BOOL : AMT_VALUE_INT,
                little_endian(*number, is_flag ? AMT_BOOL_LENGTH : AMT_INT_LENGTH)};
    }
    if (colon == std::string::npos || (type != "string" && type != "bytes")) {
        refuse_raw(given);
    }
    const bool is_text = type == "string";
    return {id, is_text ? AMT_VALUE_STRING : AMT_VALUE_BYTES, is_text ? value : from_hex(value)};
}

static std::string names_of(rows<item> items)
{
    std::string names;
    for (const item &each : items) {
        names += (names.empty() ? "" : ", ") + std::string(each.name);
    }
    return names.empty() ? "it has none" : "it has " + names;
}

static std::optional<atom> raw_atom(const setting &given)
{
    const std::optional<std::uint64_t> id = number_of(given.name, 0xFF);
    return id ? std::optional(raw_atom(given, static_cast<std::uint8_t>(*id))) : std::nullopt;
}

// Whether the atom of an item is among those that are given by their ids.
static bool has_raw(const std::vector<setting> &given, std::uint8_t atom_id)
{
    return std::any_of(given.begin(), given.end(),
                       [&](const setting &one) { return number_of(one.name, 0xFF) == std::uint64_t{atom_id}; });
}

[[noreturn]] static void refuse_item(const char *word, const setting &given, rows<item> items)
{
    const std::string what =
        find_item(items, given.name) != nullptr ? " has one item " + given.name : " has no item " + given.name;
    throw std::invalid_argument(word + what + ": " + names_of(items));
}

// The items in their order, each taken from what is given.
static std::vector<atom> take_items(const char *word, rows<item> items, std::vector<setting> &given)
{
    std::vector<atom> atoms;
    const item *missing = nullptr;
    for (const item &each : items) {
        const auto found =
            std::find_if(given.begin(), given.end(), [&](const setting &one) { return one.name == each.name; });
        if (found != given.end()) {
            atoms.push_back(atom_of(each, found->value));
            given.erase(found);
        } else if (each.required && !has_raw(given, each.atom) && missing == nullptr) {
            missing = &each;
        }
    }
    for (const setting &rest : given) {
        if (!number_of(rest.name, 0xFF)) {
            refuse_item(word, rest, items); // what is misspelt is not missing
        }
    }
    if (missing != nullptr) {
        throw std::invalid_argument(std::string(word) + " needs " + missing->name + ": " + missing->meaning);
    }
    return atoms;
}

static message with_items(message request, const char *word, rows<item> items, std::vector<setting> given)
{
    std::vector<atom> atoms = take_items(word, items, given);
    for (const setting &rest : given) {
        atoms.push_back(raw_atom(rest).value());
    }
    for (atom &each : atoms) {
        request.with_atom(std::move(each));
    }
    return request;
}

static std::vector<setting> split_all(const std::vector<std::string> &texts)
{
    std::vector<setting> all;
    std::transform(texts.begin(), texts.end(), std::back_inserter(all), split);
    return all;
}

message make_request(const command &what, const std::vector<std::string> &settings)
{
    return with_items(message(what.id), what.word, what.request, split_all(settings));
}

message make_request(std::uint8_t id, const std::vector<std::string> &settings)
{
    return with_items(message(id), hex_byte(id).c_str(), {}, split_all(settings));
}

const command *command_of(const message &what, bool is_answer)
{
    const command *first = is_answer ? command_of_response(what.id()) : command_of_request(what.id());
    return first != nullptr ? first : is_answer ? command_of_request(what.id()) : command_of_response(what.id());
}

std::uint64_t number_in(const atom &what)
{
    std::uint64_t value = 0;
    for (std::size_t i = std::min<std::size_t>(what.value.size(), 8); i-- > 0;) {
        value = value << 8 | static_cast<std::uint8_t>(what.value[i]);
    }
    return value;
}

std::int64_t signed_number_in(const atom &what)
{
    const std::size_t unused = 64 - 8 * std::min<std::size_t>(what.value.size(), 8);
    return unused == 64 ? 0 : static_cast<std::int64_t>(number_in(what) << unused) >> unused;
}

// What every answer has.
constexpr named_value k_results[] = {
    {0, "done", ""},
    {1, "failed", "refused, or it failed without its handler telling"},
    {10, "failed in its handler", "the modem failed or refused, or a file could not be had"},
};
constexpr item k_result = {"result", 1, AMT_VALUE_INT, item_form::number, 0, true, "", "0 for success", k_results};

static const item *known_item(const command *owner, bool is_answer, std::uint8_t atom_id)
{
    const item *found = owner == nullptr ? nullptr : item_of_atom(is_answer ? owner->answer : owner->request, atom_id);
    return found == nullptr && is_answer && atom_id == k_result.atom ? &k_result : found;
}

static item_form form_of(const item *known, const atom &what)
{
    const bool has_number = what.type == AMT_VALUE_INT || what.type == AMT_VALUE_BOOL;
    if (has_number) {
        return known != nullptr && known->form == item_form::signed_number ? known->form : item_form::number;
    }
    return known != nullptr && known->type == what.type ? known->form
           : what.type == AMT_VALUE_STRING              ? item_form::text
                                                        : item_form::bytes;
}

// Of a number its name, where it has one, and its unit.
static std::string meaning_of(const item *known, item_form form, const atom &what)
{
    if (known == nullptr) {
        return "";
    }
    if (form == item_form::number || form == item_form::flag) {
        for (const named_value &each : known->values) {
            if (each.value == number_in(what)) {
                return each.name;
            }
        }
    }
    return known->unit;
}

static std::string value_of(item_form form, const atom &what)
{
    switch (form) {
    case item_form::number:
    case item_form::flag:
        return std::to_string(number_in(what));
    case item_form::signed_number:
        return std::to_string(signed_number_in(what));
    case item_form::text:
        return what.value;
    case item_form::bytes:
        break;
    }
    return in_hex(what.value);
}

std::vector<told_item> items_of(const message &what, bool is_answer)
{
    const command *owner = command_of(what, is_answer);
    const bool is_told_as_answer =
        owner == nullptr ? is_answer : what.id() != owner->id || owner->response_id == owner->id;
    std::vector<told_item> all;
    for (const atom &each : what.atoms()) {
        const item *known = known_item(owner, is_told_as_answer, each.id);
        const item_form form = form_of(known, each);
        all.push_back({known != nullptr ? known->name : "atom " + std::to_string(each.id), known, each, form,
                       value_of(form, each), meaning_of(known, form, each)});
    }
    return all;
}

static int owner_id(const command *owner)
{
    return owner != nullptr ? owner->id : -1;
}

std::string heading_of(const message &what, bool is_answer)
{
    const command *owner = command_of(what, is_answer);
    std::string name = name_of(what.id());
    const bool is_named = name.compare(0, sizeof(k_no_name) - 1, k_no_name) != 0;
    const bool is_requests = what.id() != owner_id(owner) && command_of_request(what.id()) != nullptr;
    if (owner == nullptr || (is_named && !(is_answer && is_requests))) { // a refusal may have the id of a request
        return name;
    }
    return owner->word + std::string(what.id() == owner->id ? "" : ", answer") + " (" + hex_byte(what.id()) + ")";
}

std::string told(const message &what, bool is_answer)
{
    std::string text = heading_of(what, is_answer);
    const char *separator = ": ";
    for (const told_item &each : items_of(what, is_answer)) {
        const bool is_plain = each.value.find_first_of(" ,\"()") == std::string::npos &&
                              quoted(each.value).size() == each.value.size() + 2;
        text += separator + each.name + "=" + (is_plain ? each.value : quoted(each.value));
        text += each.meaning.empty() ? "" : " (" + each.meaning + ")";
        separator = ", ";
    }
    return text;
}

} // namespace station
