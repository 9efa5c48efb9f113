#include "amt/at-local/at-fields.h"

#include <stdlib.h>
#include <string.h>

at_fields::at_fields(const char *text)
    : m_start(m_text_a)
    , m_rest(nullptr)
{
    const size_t length = strnlen(text, AMT_MESSAGE_SIZE);
    memcpy(m_text_a, text, length);
    m_text_a[length] = '\0';
}

const char *at_fields::next()
{
    const char *field = strtok_r(m_start, ",", &m_rest);
    m_start = nullptr;
    return field;
}

int32_t amt_get_field_number(const char *field)
{
    return static_cast<int32_t>(strtoll(field, nullptr, 10));
}
