// Requests that carry a station's verdict, and their answers in hex, written out byte by byte.
#pragma once

#include <stdint.h>

#include <string>

#include "amt/wire/amt-message.h"
#include "tests/unit/amt/links.h"

inline amt_buffer begin_request()
{
    amt_buffer request = {};
    amt_message_init(request.m_data_a, 0x5B); // no handler looks at its own id
    request.m_length = AMT_COMMAND_HEADER_SIZE;
    return request;
}

inline void add_int(amt_buffer *request, uint8_t atom_id, uint32_t value)
{
    (void)amt_message_append_int(request->m_data_a, atom_id, value);
    request->m_length = amt_message_get_total_length(request->m_data_a);
}

inline amt_buffer station_request(uint32_t station)
{
    amt_buffer request = begin_request();
    add_int(&request, 39, station);
    return request;
}

inline amt_buffer verdict_request(uint32_t station, uint32_t verdict)
{
    amt_buffer request = station_request(station);
    add_int(&request, 36, verdict);
    return request;
}

inline amt_buffer verdict_request(uint32_t station, uint32_t verdict, const std::string &text)
{
    amt_buffer request = verdict_request(station, verdict);
    (void)amt_message_append_string(request.m_data_a, 37, text.c_str());
    request.m_length = amt_message_get_total_length(request.m_data_a);
    return request;
}

// Little-endian.
inline std::string hex_u16(size_t value)
{
    return to_hex({static_cast<uint8_t>(value), static_cast<uint8_t>(value >> 8)});
}

inline std::string hex_atom(uint8_t atom_id, uint32_t value)
{
    return "ee" + to_hex({atom_id}) + "010400" + hex_u16(value & 0xFFFF) + hex_u16(value >> 16);
}

inline std::string hex_atom(uint8_t atom_id, const std::string &text)
{
    return "ee" + to_hex({atom_id}) + "02" + hex_u16(text.size()) + hex_of(text);
}

inline std::string hex_message(uint8_t command_id, const std::string &atoms)
{
    const size_t length = atoms.size() / 2;
    return hex_u16(length + 6) + "bb" + to_hex({command_id}) + hex_u16(length) + atoms;
}

// The answer that holds nothing but its result.
inline std::string hex_result(uint8_t command_id, uint32_t result)
{
    return hex_message(command_id, hex_atom(1, result));
}
