#include "amt/at-local/at-line.h"

#include <stdarg.h>
#include <stdio.h>
#include <string.h>

#include "amt/core/at-parameter.h"
#include "amt/core/response.h"
#include "pub/log/errors.h"

namespace {

bool is_asked(const at_row &row)
{
    return amt_find_in_request(&handle_context_st.m_request, row.m_text) != nullptr;
}

} // namespace

int32_t amt_reply_to_line(const char *format, ...)
{
    amt_buffer *response = &handle_context_st.m_response;
    amt_buffer_clear(response);
    char *text = reinterpret_cast<char *>(response->m_data_a);
    va_list arguments;
    va_start(arguments, format);
    (void)vsnprintf(text, sizeof(response->m_data_a), format, arguments); // a longer answer is cut
    va_end(arguments);
    response->m_length = static_cast<uint32_t>(strlen(text));
    return amt_handle_send_rsp(AMT_CHANNEL_PC, response);
}

int32_t amt_reply_ok()
{
    return amt_reply_to_line("\r\nOK\r\n");
}

int32_t amt_reply_error()
{
    return amt_reply_to_line("\r\nERROR\r\n");
}

int32_t amt_reply_cme_error()
{
    return amt_reply_to_line("\r\n+CME ERROR: 100\r\n");
}

int32_t amt_reply_result(int32_t result)
{
    return result == ERR_NONE ? amt_reply_ok() : amt_reply_error();
}

const char *amt_behind(const char *text)
{
    return amt_find_in_request(&handle_context_st.m_request, text) + strlen(text);
}

const at_row *amt_find_row(const at_row *rows, size_t count)
{
    for (size_t i = 0; i < count; i++) {
        if (is_asked(rows[i])) {
            return &rows[i];
        }
    }
    return nullptr;
}

int32_t amt_answer_line(const at_row *rows, size_t count)
{
    for (size_t i = 0; i < count; i++) {
        const int32_t result = is_asked(rows[i]) ? rows[i].m_handler() : ERR_NOT_FOUND;
        if (result != ERR_NOT_FOUND) {
            return result;
        }
    }
    return ERR_NOT_FOUND;
}
