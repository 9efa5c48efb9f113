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

// "0x2D", for a byte.
std::string hex_byte(std::uint8_t byte);

inline const std::uint8_t *as_wire(std::string_view bytes)
{
    return reinterpret_cast<const std::uint8_t *>(bytes.data());
}

} // namespace station
