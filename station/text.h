// Bytes of the link as people read them, and as amt/wire takes them. Pure functions; any thread.

#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace station {

// "\r\nOK\r\n": in double quotes, with the escapes of C for everything but printable ASCII.
std::string quoted(std::string_view bytes);

// "AA BB 0D"; empty for no bytes.
std::string in_hex(std::string_view bytes);

// The same for a line of an error: the first 48 bytes, and how many more there are: "AA BB 0D ... (1999 more)".
std::string shortened(std::string_view bytes);

// The bytes of hexadecimal digits in pairs, with blanks, commas, colons, line ends and "0x" between them or not. Throws
// std::invalid_argument with one line when it is anything else.
std::string from_hex(std::string_view digits);

// "0x2D", for a byte.
std::string hex_byte(std::uint8_t byte);

inline const std::uint8_t *as_wire(std::string_view bytes)
{
    return reinterpret_cast<const std::uint8_t *>(bytes.data());
}

} // namespace station
