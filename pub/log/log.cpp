#include "pub/log/log.h"

#include <stdarg.h>

#include "pub/log/log_client.h"

namespace {

sfw_log_record record_of(const sfw_log_site &site, uint32_t level)
{
    return {site, level, ERR_NONE, sfw_log_dump::none, nullptr, 0, nullptr, sfw_log_port::none, 0};
}

void write_record(const sfw_log_record &record)
{
    sfw_log_full(sfw_log_select_and_lock(nullptr), record);
}

__attribute__((format(printf, 2, 0))) void write_record(const sfw_log_record &record, const char *format,
                                                        va_list arguments)
{
    sfw_log_object *object = sfw_log_select_and_lock(nullptr);
    sfw_log_vbuild_extended_info(object, format, arguments);
    sfw_log_full(object, record);
}

} // namespace

void sfw_log_entry(const sfw_log_site &site)
{
    write_record(record_of(site, SFW_LOG_FUNC));
}

void sfw_log_text(const sfw_log_site &site, uint32_t level, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    write_record(record_of(site, level), format, arguments);
    va_end(arguments);
}

int32_t sfw_log_failure(const sfw_log_site &site, uint32_t level, int32_t code)
{
    sfw_log_record record = record_of(site, level);
    record.m_code = code;
    write_record(record);
    return code;
}

int32_t sfw_log_failure(const sfw_log_site &site, uint32_t level, int32_t code, const char *format, ...)
{
    sfw_log_record record = record_of(site, level);
    record.m_code = code;
    va_list arguments;
    va_start(arguments, format);
    write_record(record, format, arguments);
    va_end(arguments);
    return code;
}

int32_t sfw_log_failed_call(const sfw_log_site &site, const char *call)
{
    sfw_log_record record = record_of(site, SFW_LOG_SYS_ERROR);
    record.m_name = call;
    write_record(record);
    return ERR_C_FUNCTION;
}

void sfw_log_bytes(const sfw_log_site &site, const char *heading, const void *data, size_t length)
{
    sfw_log_record record = record_of(site, SFW_LOG_DATA);
    record.m_dump_kind = sfw_log_dump::bytes;
    record.m_data = data;
    record.m_length = length;
    sfw_log_object *object = sfw_log_select_and_lock(nullptr);
    sfw_log_build_extended_info(object, "%s", heading);
    sfw_log_full(object, record);
}

void sfw_log_at_text(const sfw_log_site &site, sfw_log_dump kind, const void *text, size_t length)
{
    sfw_log_record record = record_of(site, SFW_LOG_AT_CMD);
    record.m_dump_kind = kind;
    record.m_data = text;
    record.m_length = length;
    write_record(record);
}
