#include "amt/identity/handshake-permit.h"

#include <stdio.h>

#include "amt/identity/identity-files.h"
#include "pub/base/number.h"

#define LOG_MODULE "amt/amt-handle"
#include "pub/log/log.h"

namespace {

constexpr char k_file[] = "/amt/power_usb_amt.txt";

constexpr int32_t k_read = 2;       // below it, the operation is the flag to be stored
constexpr int32_t k_unreadable = 1; // the flag of a handset that has none

int32_t store_flag(int32_t flag)
{
    char text[12];
    (void)snprintf(text, sizeof(text), "%d", flag);
    if (amt_write_and_tell(k_file, text, "write content") != ERR_NONE) {
        return log_error(ERR_UNKNOWN, "write error to do-not-permit-handshake file.");
    }
    log_info("Writed to file(%s) success.flag: %s.", k_file, text);
    return ERR_NONE;
}

int32_t read_flag()
{
    char text[AMT_FILE_TEXT_SIZE];
    if (amt_read_data_from_file(text, k_file) != ERR_NONE) {
        log_info("readed failure from file(%s)..", k_file);
        return k_unreadable;
    }
    log_info("readed success from file(%s). flag: %s.", k_file, text);
    return pub_util_get_number(text);
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
        *flag = read_flag();
        return ERR_NONE;
    }
    return store_flag(operation);
}
