// Requests from what people type, and messages as people read them, by the catalogue. Pure; any thread.
#pragma once

#include "station/catalogue.h"
#include "station/message.h"

#include <string>
#include <vector>

namespace station {

// A request for a command with ITEM=VALUE texts. An item is one of the command's by name, with its value as a number, a
// text, hexadecimal bytes or a value's name; or any atom at all by its id, with type and value: "9=int:77",
// "9=string:112", "9=bytes:0D0A", "9=bool:1". The command's items are in its order, the others behind. Throws
// std::invalid_argument, naming what there is, for anything else and for a required item that is missing.
message make_request(const command &what, const std::vector<std::string> &settings);

// The same for an id that the catalogue does not know.
message make_request(std::uint8_t id, const std::vector<std::string> &settings);

// One atom as people read it.
struct told_item {
    std::string name;    // of the item; "atom 9" where it has none
    const item *known;   // null where it has none
    station::atom atom;  // as it came
    item_form form;      // of the value
    std::string value;   // a number, a text, hexadecimal bytes
    std::string meaning; // the name of the value, or its unit; empty: none
};

// What a message holds, in its order. An id that is both a request and an answer is told as the request's unless
// `is_answer`.
std::vector<told_item> items_of(const message &what, bool is_answer);

// The name of a message, "AMT_VERSION_RSPCMD (0x2E)"; of one that has none "download-flag, answer (0xF5)".
std::string heading_of(const message &what, bool is_answer);

// The same in one line: "AMT_VERSION_RSPCMD (0x2E): module=16 (software), version=KV-2.0, result=0 (done)".
std::string told(const message &what, bool is_answer);

// The row of the command that a message is a request or an answer of, or null.
const command *command_of(const message &what, bool is_answer);

// The number in an atom of eight bytes at most, little-endian; the second takes the highest bit for the sign.
std::uint64_t number_in(const atom &what);
std::int64_t signed_number_in(const atom &what);

} // namespace station
