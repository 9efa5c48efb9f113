// What can be asked of a handset, by name: every command with its request and its answer. From this one catalogue come
// what the tool sends, tells and offers, and the tables of docs/wire-format.md. The names of the commands are the
// service's own. Everything here is constant, and valid for ever; any thread.
#pragma once

#include "amt/wire/amt-message.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace station {

// A view of a constant table.
template <typename T>
struct rows {
    const T *first = nullptr;
    std::size_t count = 0;

    constexpr rows() = default;
    template <std::size_t n>
    constexpr rows(const T (&table)[n]) // NOLINT(google-explicit-constructor): a table is its view
        : first(table)
        , count(n)
    {
    }
    constexpr const T *begin() const { return first; }
    constexpr const T *end() const { return first + count; }
    constexpr bool empty() const { return count == 0; }
};

// How people write the value of an item.
enum class item_form : std::uint8_t {
    number,        // decimal or 0x; in an atom of bytes little-endian, `size` of them
    signed_number, // the same, in two's complement: below zero with a minus sign
    text,          // printable characters as they are
    bytes,         // hexadecimal digits
    flag,          // 0 or 1
};

struct named_value {
    std::uint32_t value;
    const char *name; // a word: "read"
    const char *meaning;
};

struct item {
    const char *name; // a word, dashes between its parts: "module"
    std::uint8_t atom;
    amt_value_type type; // on the wire
    item_form form;
    std::uint16_t size; // bytes of the value: exactly so many for a number, at most for text and bytes; 0: as the type
                        // has it, or any
    bool required;      // in a request: refused, or of no use, without; in an answer: always there on success
    const char *unit;   // "ms"; empty: none
    const char *meaning;
    rows<named_value> values; // those that have a name
};

// Who answers a command.
enum class answered_on : std::uint8_t {
    both,             // the handset, on the station's tty and on the application's
    station,          // the handset, on the station's tty; an application is refused or gets the modem's answer
    application,      // the handset, on the application's tty; from a station it goes to the modem
    modem,            // the modem, to which it is handed on from either
    modem_of_station, // the modem, to which it is handed on from a station; an application is refused
};

enum class family : std::uint8_t { device_test, identity, version, result, mode, modem };

struct command {
    std::uint8_t id;
    std::uint8_t response_id; // 0: no answer belongs to it; its own id: it is what the modem says unasked
    const char *word;         // what people call it, dashes between its parts: "bluetooth-address"
    station::family family;
    station::answered_on answered_on;
    bool pre_response; // a station is told at once that the request has arrived
    const char *meaning;
    rows<item> request;                // in the order of sending
    rows<item> answer;                 // but for the result, int atom 1, which every answer has
    std::uint8_t acknowledgements = 1; // answers to a request that goes well; a refusal is the last one
};

// All, by ascending id.
rows<command> commands();

// The command that people mean: by its word, by the service's name with or without "AMT_" and "_CMD" and in any case,
// or by its number, decimal or 0x. Null when there is none.
const command *find_command(std::string_view name);

// By the id of the request, and by that of the answer. Null when there is none. A request that is refused, result 1, is
// answered with the id behind its own, whatever its answer is otherwise: that id finds it, too.
const command *command_of_request(std::uint8_t id);
const command *command_of_response(std::uint8_t id);

// The item of that name, or null.
const item *find_item(rows<item> items, std::string_view name);

// The item that belongs to an atom id, or null.
const item *item_of_atom(rows<item> items, std::uint8_t atom);

const char *to_word(family which);      // "device test"
const char *to_word(answered_on which); // "station and application"
const char *to_word(item_form which);   // "number"

// A test of one device: a command with some of its items set.
struct device_test {
    const char *name;     // a word: "bluetooth-check"
    const char *meaning;  // what is tested, and what an operator has to see or hear
    std::uint8_t command; // its id
    const char *settings; // ITEM=VALUE texts parted by blanks; the caller adds the items that are left
};

rows<device_test> device_tests();
const device_test *find_device_test(std::string_view name);

// What a value has to look like, to be written.
enum class value_form : std::uint8_t {
    any,     // a text; the handset and the modem have their own limits
    imei,    // 15 digits
    address, // six bytes in hexadecimal, a colon between them
};

// An identity or another property of the handset that a station reads, and may write.
struct identity {
    const char *name;    // a word: "imei"
    const char *meaning; // what it is, and what it looks like
    bool in_information; // belongs to what the handset is introduced with
    // An AT line, "AT^DGSN?", with {} where the value goes and {#} where the count of its characters does; or
    // "COMMAND ITEM=VALUE..." as for messages. Empty: cannot be read, cannot be written.
    const char *read;
    const char *write;
    // Where the value stands: of a line, what its line begins with ("^DGSN:"), or nothing when it is all of the first
    // line; of a message, the name of the item.
    const char *value;
    value_form form = value_form::any;
};

rows<identity> identities();
const identity *find_identity(std::string_view name);

// A `read` or a `write`, or a word of it, with the value in its places.
std::string filled(std::string_view pattern, std::string_view value);

// The value in the answer to a line, without the blanks and the quotes around it. Nothing when it is not there.
std::optional<std::string> value_in_line(const identity &what, std::string_view answer);

// The tables of all commands as Markdown, for docs/wire-format.md.
std::string catalogue_as_markdown();

} // namespace station
