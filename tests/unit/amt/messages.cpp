#include "tests/unit/amt/messages.h"

#include <cstdio>

#include "tests/unit/amt/links.h"

namespace {

std::string hex(uint64_t value, int bytes)
{
    std::string text;
    char pair[3];
    for (int i = 0; i < bytes; i++) {
        (void)snprintf(pair, sizeof(pair), "%02x", static_cast<unsigned>(value >> (8 * i) & 0xFF));
        text += pair;
    }
    return text;
}

std::string atom(uint8_t id, uint8_t type, const std::string &value_hex)
{
    std::string text = "ee";
    text += hex(id, 1);
    text += hex(type, 1);
    text += hex(value_hex.size() / 2, 2);
    text += value_hex;
    return text;
}

} // namespace

std::string int_atom(uint8_t id, uint32_t value)
{
    return atom(id, 1, hex(value, 4));
}

std::string text_atom(uint8_t id, const std::string &text)
{
    return atom(id, 2, hex_of(text));
}

std::string bytes_atom(uint8_t id, const std::string &bytes)
{
    return atom(id, 3, hex_of(bytes));
}

std::string bool_atom(uint8_t id, uint8_t value)
{
    return atom(id, 4, hex(value, 1));
}

std::string message_of(uint8_t id, const std::string &atoms)
{
    std::string text = hex(6 + atoms.size() / 2, 2);
    text += "bb";
    text += hex(id, 1);
    text += hex(atoms.size() / 2, 2);
    text += atoms;
    return text;
}

std::string message_with(uint8_t id, const std::vector<atom_number> &numbers)
{
    std::string atoms;
    for (const auto &[atom_id, number] : numbers) {
        atoms += int_atom(atom_id, number);
    }
    return message_of(id, atoms);
}

std::string result_of(uint8_t id, uint32_t code)
{
    return message_of(id, int_atom(1, code));
}
