#include "amt/at-local/at-fields.h"

#include <stdlib.h>
#include <string.h>

#define LOG_MODULE "amt/amt-handle"
#include "pub/log/log.h"

at_fields::at_fields(const char *text, size_t length)
    : m_start(m_text_a)
    , m_rest(nullptr)
{
    const size_t copied = length < AMT_MESSAGE_SIZE ? length : AMT_MESSAGE_SIZE;
    memcpy(m_text_a, text, copied);
    m_text_a[copied] = '\0';
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

int32_t amt_tell_missing_field(const char *name, log_caller caller)
{
    return log_error_of(caller, ERR_INVALID_PARAM, "%s is null!!!", name);
}
