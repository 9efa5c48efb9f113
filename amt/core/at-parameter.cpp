#include "amt/core/at-parameter.h"

#include <string.h>

#define LOG_MODULE "amt/amt-handle"
#include "pub/log/log.h"

namespace {

const char *text_of(const amt_buffer *request)
{
    return reinterpret_cast<const char *>(request->m_data_a);
}

} // namespace

const char *amt_find_in_request(const amt_buffer *request, const char *text)
{
    return strstr(text_of(request), text); // what stands behind the request's end is zero
}

int32_t handle_amt_get_at_para(const char *prefix, char *output, uint32_t *length)
{
    log_func();
    const amt_buffer *request = &handle_context_st.m_request;
    if (prefix == nullptr || output == nullptr || length == nullptr || request->m_length == 0) {
        return log_error(ERR_INVALID_PARAM, "%d, %d, %d, %d", prefix == nullptr, output == nullptr, length == nullptr,
                         request->m_length == 0);
    }
    const char *at = amt_find_in_request(request, prefix);
    if (at == nullptr) {
        return log_error(ERR_UNKNOWN, "at cmd[%s] do not include (%s).", text_of(request), prefix);
    }
    at += strlen(prefix);
    at += strspn(at, " ");
    const size_t found = strcspn(at, "\r"); // one in front of the prefix is the end of an older line
    *length = found < AMT_AT_PARAMETER_MAX ? static_cast<uint32_t>(found) : AMT_AT_PARAMETER_MAX;
    memcpy(output, at, *length);
    return ERR_NONE;
}

int32_t amt_fetch_at_para(const char *prefix, char *output)
{
    uint32_t length = 0;
    const int32_t result = handle_amt_get_at_para(prefix, output, &length);
    log_info("getted parameter:%s. prefix:%s; rtn:%d.", output, prefix, result);
    return result;
}
