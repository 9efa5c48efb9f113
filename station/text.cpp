// Bytes as people read them, see text.h.

#include "station/text.h"

#include <algorithm>
#include <cstdio>
#include <stdexcept>

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

std::string shortened(std::string_view bytes)
{
    constexpr std::size_t k_shown = 48;
    const std::size_t more = bytes.size() - std::min(bytes.size(), k_shown);
    return in_hex(bytes.substr(0, k_shown)) + (more == 0 ? "" : " ... (" + std::to_string(more) + " more)");
}

static int digit_of(char character)
{
    constexpr std::string_view k_digits = "0123456789abcdef";
    const bool is_upper = character >= 'A' && character <= 'F';
    const std::size_t at = k_digits.find(is_upper ? static_cast<char>(character - 'A' + 'a') : character);
    return at == std::string_view::npos ? -1 : static_cast<int>(at);
}

std::string from_hex(std::string_view digits)
{
    constexpr std::string_view k_between = " \t\r\n,:";
    std::string bytes;
    while (true) {
        digits.remove_prefix(std::min(digits.find_first_not_of(k_between), digits.size()));
        if (digits.empty()) {
            return bytes;
        }
        if (digits.substr(0, 2) == "0x") {
            digits.remove_prefix(2);
        }
        const int high = digits.size() < 2 ? -1 : digit_of(digits[0]);
        const int low = digits.size() < 2 ? -1 : digit_of(digits[1]);
        if (high < 0 || low < 0) {
            throw std::invalid_argument(quoted(digits.substr(0, 2)) +
                                        " is no byte in hexadecimal: write two digits a byte, such as AA BB 0D");
        }
        bytes += static_cast<char>(high * 16 + low);
        digits.remove_prefix(2);
    }
}

std::string hex_byte(std::uint8_t byte)
{
    return "0x" + two_digits(static_cast<char>(byte));
}

} // namespace station
