// Integers in bytes of the wire, at any alignment and whatever the byte order of the processor. The caller has made
// sure that the bytes are there. Nothing else in the service turns bytes into integers or back.
#pragma once

#include <stdint.h>

inline uint16_t load_u16_le(const uint8_t *bytes)
{
    return static_cast<uint16_t>(bytes[0] | bytes[1] << 8);
}

inline uint16_t load_u16_be(const uint8_t *bytes)
{
    return static_cast<uint16_t>(bytes[0] << 8 | bytes[1]);
}

inline uint32_t load_u32_le(const uint8_t *bytes)
{
    return load_u16_le(bytes) | static_cast<uint32_t>(load_u16_le(bytes + 2)) << 16;
}

inline uint32_t load_u32_be(const uint8_t *bytes)
{
    return static_cast<uint32_t>(load_u16_be(bytes)) << 16 | load_u16_be(bytes + 2);
}

inline void store_u16_le(uint8_t *bytes, uint16_t value)
{
    bytes[0] = static_cast<uint8_t>(value);
    bytes[1] = static_cast<uint8_t>(value >> 8);
}

inline void store_u32_le(uint8_t *bytes, uint32_t value)
{
    store_u16_le(bytes, static_cast<uint16_t>(value));
    store_u16_le(bytes + 2, static_cast<uint16_t>(value >> 16));
}
