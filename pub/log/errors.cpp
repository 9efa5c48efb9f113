#include "pub/log/errors.h"

#include <errno.h>
#include <stdio.h>
#include <string.h>

namespace {

struct error_row {
    int32_t code;
    const char *text;
};

// clang-format off
constexpr error_row k_errors_a[] = {
    {ERR_NONE,                "No error"},
    {ERR_UNKNOWN,             "Unknown error"},
    {ERR_INVALID_PARAM,       "Invalid parameter"},
    {ERR_NULL_POINTER,        "Parameter pointer is null"},
    {ERR_INVALID_VALUE,       "Invalid parameter value"},
    {ERR_NOT_FOUND,           "Not found"},
    {ERR_NOT_READY,           "Not ready"},
    {ERR_TIMEOUT,             "Timeout"},
    {ERR_UNKNOWN_OPERATION,   "Unknown operation"},
    {ERR_EXCEED_MAX_SIZE,     "Exceed max size"},
    {ERR_C_FUNCTION,          "Call C function unsuccessfully"},
    {ERR_WRITE_NOT_COMPLETED, "Write() not completedly"},
    {ERR_AT_ERROR,            R"(for "\r\nERROR\r\n")"}, // the escapes stay: a record is one line
    {ERR_MUX_INIT,            "can not initialize mux"},
    {ERR_MUX_DEINIT,          "can not de-initialize mux"},
    {ERR_MUX_OPEN,            "can not open mux port"},
    {ERR_MUX_CLOSE,           "can not close mux port"},
    {ERR_MUX_NO_IDLE_PORT,    "No idle mux port"},
    {ERR_MUX_TIMEOUT,         "mux response timeout"},
};
// clang-format on
static_assert(sizeof(k_errors_a) / sizeof(k_errors_a[0]) == 19, "a code without its row would print an empty text");

// strerror_r comes in two forms; which one is there decides which of these is called.
__attribute__((unused)) const char *system_text(int result, const char *buffer)
{
    return result == 0 ? buffer : "";
}
__attribute__((unused)) const char *system_text(const char *result, const char * /*buffer*/)
{
    return result;
}

} // namespace

error_text::error_text(int32_t code)
{
    const int saved = errno;
    const char *text = "";
    char buffer[sizeof(m_text)] = "";
    if (code > 0) {
        text = system_text(strerror_r(code, buffer, sizeof(buffer)), buffer);
    } else {
        for (const error_row &row : k_errors_a) {
            if (row.code == code) {
                text = row.text;
                break;
            }
        }
    }
    (void)snprintf(m_text, sizeof(m_text), "%s", text);
    errno = saved;
}
