// Bytes as people read them, see text.h.

#include "station/text.h"

#include <cstdio>

namespace station {

static std::string two_digits(char byte)
{
    char text[3];
    (void)std::snprintf(text, sizeof(text), "%02X", static_cast<std::uint8_t>(byte));
    return text;
}

static std::string escaped(char character)
{
    switch (character) {
    case '\r':
        return "\\r";
    case '\n':
        return "\\n";
    case '\t':
        return "\\t";
    case '"':
        return "\\\"";
    case '\\':
        return "\\\\";
    default:
        return character >= ' ' && character <= '~' ? std::string(1, character) : "\\x" + two_digits(character);
    }
}

std::string quoted(std::string_view bytes)
{
    std::string text = "\"";
    for (const char character : bytes) {
        text += escaped(character);
    }
    return text + '"';
}

std::string in_hex(std::string_view bytes)
{
    std::string text;
    for (const char byte : bytes) {
        text += (text.empty() ? "" : " ") + two_digits(byte);
    }
    return text;
}

std::string hex_byte(std::uint8_t byte)
{
    return "0x" + two_digits(static_cast<char>(byte));
}

} // namespace station
