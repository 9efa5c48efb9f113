#include "amt/identity/handshake-permit.h"

#include <stdio.h>

#include "amt/core/request.h"
#include "amt/core/response.h"
#include "amt/identity/identity-files.h"
#include "pub/base/number.h"

#define LOG_MODULE "amt/amt-handle"
#include "pub/log/log.h"

namespace {

constexpr char k_file[] = "/amt/power_usb_amt.txt";

constexpr uint8_t k_not_permit_response_id = 0xDC;

constexpr int32_t k_read = 2; // below it, the operation is the flag to be stored
constexpr int32_t k_forbidden = 0;
constexpr int32_t k_unreadable = 1; // the flag of a handset that has none

int32_t store_flag(int32_t flag)
{
    char text[12];
    (void)snprintf(text, sizeof(text), "%d", flag);
    if (amt_write_and_tell(k_file, text, "write content", LOG_HERE) != ERR_NONE) {
        return log_error(ERR_UNKNOWN, "write error to do-not-permit-handshake file.");
    }
    log_info("Writed to file(%s) success.flag: %s.", k_file, text);
    return ERR_NONE;
}

// Leaves *flag alone when it cannot be read.
bool read_flag(int32_t *flag)
{
    char text[AMT_FILE_TEXT_SIZE];
    if (amt_read_data_from_file(text, k_file) != ERR_NONE) {
        return false;
    }
    log_info("readed success from file(%s). flag: %s.", k_file, text);
    *flag = pub_util_get_number(text);
    return true;
}

} // namespace

int32_t handle_amt_damt1_operation(int32_t operation, int32_t *flag)
{
    log_func();
    log_info("handle_amt_damt1_operation op_type: %d.", operation);
    if (operation < 0 || operation > k_read) {
        return log_error(ERR_INVALID_PARAM, "unknown operation type: %u", static_cast<uint32_t>(operation));
    }
    if (operation == k_read) {
        *flag = k_unreadable;
        if (!read_flag(flag)) {
            log_info("readed failure from file(%s)..", k_file);
        }
        return ERR_NONE;
    }
    return store_flag(operation);
}

bool amt_is_handshake_permitted()
{
    int32_t flag = k_unreadable;
    (void)read_flag(&flag);
    return flag != k_forbidden;
}

int32_t amt_handle_not_permit_handshake(uint8_t channel, const amt_buffer *request, amt_buffer *response)
{
    log_func();
    int32_t result = amt_handle_check_request(channel, request, response, LOG_HERE);
    if (result != ERR_NONE) {
        return result;
    }
    int32_t unread = 0;
    result = handle_amt_damt1_operation(k_forbidden, &unread);
    return result == ERR_NONE ? amt_handle_send_rsp_ok(channel, response, k_not_permit_response_id) : result;
}
