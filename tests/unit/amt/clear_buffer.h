// What a buffer must be before a request and behind an answer.
#pragma once

#include <string.h>

#include "amt/wire/amt-message.h"

// Whether nothing is left in the buffer, not even its length.
inline bool is_clear(const amt_buffer &buffer)
{
    const amt_buffer clear = {};
    return buffer.m_length == 0 && memcmp(buffer.m_data_a, clear.m_data_a, sizeof(clear.m_data_a)) == 0 &&
           buffer.m_end == 0;
}
