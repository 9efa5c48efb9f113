#include "amt/device/bluetooth.h"

#include <string.h>
#include <unistd.h>

#include "amt/core/request.h"
#include "amt/core/response.h"
#include "amt/device/radio.h"
#include "amt/identity/identity-files.h"

#define LOG_MODULE "amt/amt-device"
#include "pub/log/log.h"

namespace {

constexpr char k_folder[] = "/amt/BT";
constexpr char k_file[] = "/amt/BT/BT_Address.txt";

constexpr uint8_t k_start_response_id = 171;
constexpr uint8_t k_address_response_id = 173;
constexpr uint8_t k_operation_atom = 110;
constexpr uint8_t k_address_atom = 111;

enum bt_operation : int32_t {
    READ_ADDRESS = 1,
    WRITE_ADDRESS = 2,
    CHECK_HARDWARE = 3,
    SWITCH_OFF = 10,
    SWITCH_ON = 11,
};

constexpr uint32_t k_address_max = 59;
static_assert(k_address_max < AMT_FILE_TEXT_SIZE, "the first word of a file holds an address");

int32_t start_in_copy(uint8_t channel, amt_buffer *response)
{
    if (amt_radio_run(AMT_BT_START, LOG_HERE) != ERR_NONE) {
        return log_error(ERR_C_FUNCTION, "error to exec: hciattach");
    }
    (void)amt_handle_send_rsp_ok(channel, response, k_start_response_id); // Bluetooth runs, whoever learns of it
    return ERR_NONE;
}

int32_t read_bt_address(amt_buffer *response)
{
    char address[AMT_FILE_TEXT_SIZE];
    const file_reading reading = amt_read_word(k_file, address);
    if (reading == file_reading::not_opened) {
        return amt_tell_open_failure(ERR_INVALID_PARAM, k_file, LOG_HERE);
    }
    if (reading == file_reading::nothing_read) {
        return log_error(ERR_UNKNOWN, "read not completed");
    }
    address[k_address_max] = '\0';
    log_info("read BT address: %s", address);
    return amt_message_append_string(response->m_data_a, k_address_atom, address);
}

int32_t write_bt_address_to(int fd, const amt_buffer *request)
{
    char address[k_address_max + 1] = "";
    const uint32_t length = amt_message_get_string(request->m_data_a, k_address_atom, address, k_address_max);
    if (length == 0 || length != strlen(address)) {
        return log_error(ERR_INVALID_PARAM, "unknown BT address");
    }
    if (!amt_write_line(fd, address)) {
        return log_error(ERR_C_FUNCTION, "fputs() fail");
    }
    log_info("write BT address: %s", address);
    amt_protect_folder(k_folder);
    return ERR_NONE;
}

int32_t write_bt_address(const amt_buffer *request)
{
    const int fd = amt_open_anew(k_file); // an old address is gone in any case
    if (fd < 0) {
        return amt_tell_open_failure(ERR_C_FUNCTION, k_file, LOG_HERE);
    }
    int32_t result = write_bt_address_to(fd, request);
    if (close(fd) != 0 && result == ERR_NONE) {
        result = log_error(ERR_C_FUNCTION, "fputs() fail"); // told only now
    }
    amt_sync_files();
    return result;
}

int32_t carry_out_bt_operation(int32_t operation, const amt_buffer *request, amt_buffer *response)
{
    switch (operation) {
    case READ_ADDRESS:
        return read_bt_address(response);
    case WRITE_ADDRESS:
        return write_bt_address(request);
    case CHECK_HARDWARE:
        return amt_radio_run(AMT_BT_CHECK, LOG_HERE);
    case SWITCH_OFF:
        return amt_radio_run(AMT_BT_CLOSE, LOG_HERE);
    case SWITCH_ON:
        return amt_radio_run(AMT_BT_OPEN, LOG_HERE);
    default:
        return log_error(ERR_INVALID_PARAM, "unknown operation: %d", operation);
    }
}

} // namespace

int32_t amt_device_bt(uint8_t channel, const amt_buffer *request, amt_buffer *response)
{
    log_func();
    const int32_t result = amt_handle_check_request(channel, request, response, LOG_HERE);
    if (result != ERR_NONE) {
        return result;
    }
    const pid_t copy = fork(); // it returns into the reader like ourselves, and nobody waits for it: keep
    if (copy > 0) {
        return amt_handle_send_rsp_ok(channel, response, k_start_response_id);
    }
    return copy == 0 ? start_in_copy(channel, response) : log_error(ERR_C_FUNCTION, "error to exec: hciattach");
}

int32_t amt_device_bt_address(uint8_t channel, const amt_buffer *request, amt_buffer *response)
{
    log_func();
    int32_t result = amt_handle_check_request(channel, request, response, LOG_HERE);
    if (result != ERR_NONE) {
        return result;
    }
    amt_handle_begin_rsp(response, k_address_response_id);
    const auto operation = static_cast<int32_t>(amt_message_get_int(request->m_data_a, k_operation_atom));
    log_info("amt_device_bt_address op_type:%d", operation);
    result = carry_out_bt_operation(operation, request, response);
    if (result != ERR_NONE) {
        return result;
    }
    amt_handle_append_result(response, 0);
    return amt_handle_wrap_and_send_rsp(channel, response);
}
