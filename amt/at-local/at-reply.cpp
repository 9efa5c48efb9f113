#include "amt/at-local/at-reply.h"

#include <stdarg.h>
#include <stdio.h>
#include <string.h>

#include "amt/core/response.h"

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
