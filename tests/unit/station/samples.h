// What the tests of the station's link share: bytes written in hex, and frames made by hand.
#pragma once

#include <string>

#include "amt/wire/amt-convert.h"
#include "amt/wire/bytes.h"
#include "station/text.h"
#include "tests/support/hex_bytes.h"

namespace station_test {

inline std::string bytes(const std::string &hex)
{
    const byte_vector values = from_hex(hex);
    return {values.begin(), values.end()};
}

inline std::string u32(uint32_t value)
{
    uint8_t stored_a[4];
    store_u32_le(stored_a, value);
    return {stored_a, stored_a + sizeof(stored_a)};
}

// A frame around any content, none at all included, with the right length and checksum.
inline std::string frame_around(const std::string &content)
{
    const std::string head = bytes("AABBCCDD") + u32(static_cast<uint32_t>(content.size()) + 8) + bytes("02000000");
    const std::string checked = head + content;
    return checked + u32(amt_convert_crc(station::as_wire(checked), static_cast<uint32_t>(checked.size())));
}

// The bytes with one of them changed.
inline std::string broken(std::string whole, size_t offset, uint8_t byte)
{
    whole.at(offset) = static_cast<char>(byte);
    return whole;
}

} // namespace station_test
