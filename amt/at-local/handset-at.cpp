#include "amt/at-local/handset-at.h"

#include <string.h>

#include "amt/at-local/at-fields.h"
#include "amt/at-local/at-line.h"
#include "amt/core/context.h"
#include "amt/device/handset-state.h"
#include "amt/identity/handshake-permit.h"
#include "amt/identity/serial-number.h"
#include "amt/platform-library.h"
#include "pub/base/number.h"

#define LOG_MODULE "amt/amt-handle"
#include "pub/log/log.h"

namespace {

constexpr int32_t k_read_pcba_sn = 1;
constexpr int32_t k_write_pcba_sn = 2;

constexpr int32_t k_read_flag = 2;

// Up to the end of its line: another line may follow.
size_t line_length(const char *text)
{
    return strcspn(text, "\r\n");
}

int32_t read_pcba_sn()
{
    char number[AMT_PCBA_SN_SIZE];
    if (amt_read_pcba_sn(number) != ERR_NONE) {
        (void)log_error(ERR_UNKNOWN, "read error.");
        return amt_reply_error();
    }
    log_info("readed pcba-sn: %s.", number);
    return amt_reply_to_line("\r\n^DPCBACTRL: %s\r\n\r\nOK\r\n", number);
}

int32_t write_pcba_sn(const char *number)
{
    if (number == nullptr) {
        return amt_tell_missing_field("pcba-sn", LOG_HERE);
    }
    if (amt_write_pcba_sn(number, AMT_PCBA_SN_FILE) != ERR_NONE) {
        (void)log_error(ERR_UNKNOWN, "write error.");
        return amt_reply_error();
    }
    log_info("Writed pcba-sn: %s.", number);
    return amt_reply_ok();
}

} // namespace

int32_t handle_amt_power_off_at()
{
    log_func();
    const int32_t result = amt_reply_ok();
    amt_power_off_behind_answer();
    return result;
}

int32_t handle_amt_pcba_sn_at()
{
    log_func();
    const char *text = amt_behind(AT_PCBA_SN);
    at_fields fields(text, line_length(text));
    const char *type = fields.next();
    if (type == nullptr) {
        return amt_tell_missing_field("type", LOG_HERE);
    }
    const int32_t operation = pub_util_get_number(type);
    switch (operation) {
    case k_read_pcba_sn:
        return read_pcba_sn();
    case k_write_pcba_sn:
        return write_pcba_sn(fields.next());
    default:
        (void)log_error(ERR_INVALID_PARAM, "unknown operation type: %u", static_cast<uint32_t>(operation));
        return amt_reply_error();
    }
}

int32_t handle_amt_not_permit_handshake_at()
{
    log_func();
    log_info("handle_amt_not_permit_handshake_at. start.");
    const char *text = amt_behind(AT_NOT_PERMIT);
    at_fields fields(text, line_length(text));
    const char *type = fields.next();
    if (type == nullptr) {
        return amt_tell_missing_field("type", LOG_HERE);
    }
    const int32_t operation = pub_util_get_number(type);
    int32_t flag = 0;
    const int32_t result = handle_amt_damt1_operation(operation, &flag);
    if (result == ERR_NONE && operation == k_read_flag) {
        return amt_reply_to_line("\r\n^DAMT1: %d\r\n\r\nOK\r\n", flag);
    }
    return amt_reply_result(result);
}

int32_t handle_amt_enter_idle_at()
{
    log_func();
    return amt_reply_result(amt_make_ue_enter_idle());
}

int32_t handle_amt_boot_dl_fin_read_at()
{
    log_func();
    log_info("handle_amt_boot_dl_fin_read_at. at:%s.",
             reinterpret_cast<const char *>(handle_context_st.m_request.m_data_a));
    uint32_t flag = 0;
    if (amt_read_boot_dl_flag(&flag, LOG_HERE) != ERR_NONE) {
        return amt_reply_error();
    }
    return amt_reply_to_line("\r\n^DBOOTDLFIN: %d\r\n\r\nOK\r\n", static_cast<int>(flag));
}
