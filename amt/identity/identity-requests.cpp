#include "amt/identity/identity-requests.h"

#include "amt/core/request.h"
#include "amt/core/response.h"
#include "amt/identity/identity-files.h"
#include "amt/identity/serial-number.h"

#define LOG_MODULE "amt/amt-handle"
#include "pub/log/log.h"

namespace {

// --- the board's

constexpr uint8_t k_pcba_response_id = 194;
constexpr uint8_t k_pcba_operation_atom = 190;
constexpr uint8_t k_pcba_sn_atom = 191;

constexpr uint8_t k_read_pcba_sn = 1;
constexpr uint8_t k_write_pcba_sn = 2;

int32_t read_pcba_sn(amt_buffer *response)
{
    char number[AMT_PCBA_SN_SIZE];
    if (amt_read_pcba_sn(number) != ERR_NONE) {
        return log_error(ERR_UNKNOWN, "read error.");
    }
    log_info("readed pcba-sn: %s.", number);
    return amt_message_append_string(response->m_data_a, k_pcba_sn_atom, number);
}

int32_t write_pcba_sn(const amt_buffer *request)
{
    char number[AMT_PCBA_SN_SIZE + 1] = ""; // one of exactly AMT_PCBA_SN_SIZE has no terminator
    (void)amt_message_get_string(request->m_data_a, k_pcba_sn_atom, number, AMT_PCBA_SN_SIZE);
    log_info("getted pcba-sn: %s.", number);
    if (amt_write_pcba_sn(number, AMT_PCBA_SN_FILE) != ERR_NONE) {
        return log_error(ERR_UNKNOWN, "write error.");
    }
    log_info("Writed to file success.pcba-sn: %s.", number);
    return ERR_NONE;
}

int32_t control_pcba_sn(uint8_t operation, const amt_buffer *request, amt_buffer *response)
{
    switch (operation) {
    case k_read_pcba_sn:
        return read_pcba_sn(response);
    case k_write_pcba_sn:
        return write_pcba_sn(request);
    default:
        return log_error(ERR_INVALID_PARAM, "unknown operation type: %u", operation);
    }
}

// --- adb's

constexpr char k_adb_file[] = "/amt/usb_serial";

constexpr uint8_t k_adb_response_id = 192;
constexpr uint8_t k_adb_operation_atom = 160;
constexpr uint8_t k_adb_number_atom = 161;
constexpr uint8_t k_adb_length_atom = 162;

constexpr uint32_t k_read_adb_number = 0;
constexpr uint32_t k_write_adb_number = 1;

constexpr uint32_t k_adb_number_max = 99;
static_assert(k_adb_number_max < AMT_FILE_TEXT_SIZE, "the first word of a file holds a number");

int32_t write_adb_file(const char *number)
{
    const int fd = amt_open_anew(k_adb_file);
    if (fd < 0) {
        return log_error(ERR_UNKNOWN, "fopen error");
    }
    log_info("open file \"%s\" ok", k_adb_file);
    int32_t result = ERR_NONE;
    if (amt_write_and_close(fd, number)) {
        log_info("write adb serial no.[%s] ok", number);
    } else {
        result = log_error(ERR_UNKNOWN, "fprintf error");
    }
    amt_sync_files();
    return result;
}

int32_t write_adb_number(const amt_buffer *request)
{
    const uint32_t length = amt_message_get_int(request->m_data_a, k_adb_length_atom);
    if (length == 0 || length > k_adb_number_max) {
        return log_error(ERR_UNKNOWN, "Invalid adb serial number length!");
    }
    char number[k_adb_number_max + 1] = "";
    (void)amt_message_get_string(request->m_data_a, k_adb_number_atom, number, length + 1);
    number[length] = '\0';
    return write_adb_file(number);
}

int32_t read_adb_number(amt_buffer *response)
{
    char number[AMT_FILE_TEXT_SIZE];
    const file_reading reading = amt_read_word(k_adb_file, number);
    if (reading == file_reading::not_opened) {
        return log_error(ERR_UNKNOWN, "fopen error");
    }
    if (reading == file_reading::nothing_read) {
        return log_error(ERR_UNKNOWN, "fscanf error");
    }
    log_info("read adb serial no. ok, it is : %s", number);
    return amt_message_append_string(response->m_data_a, k_adb_number_atom, number);
}

int32_t control_adb_number(uint32_t operation, const amt_buffer *request, amt_buffer *response)
{
    switch (operation) {
    case k_read_adb_number:
        return read_adb_number(response);
    case k_write_adb_number:
        return write_adb_number(request);
    default:
        return log_error(ERR_INVALID_PARAM, "unknown operation: %d", static_cast<int32_t>(operation));
    }
}

// --- both

int32_t answer(int32_t result, uint8_t channel, amt_buffer *response)
{
    if (result != ERR_NONE) {
        return result;
    }
    amt_handle_append_result(response, 0);
    return amt_handle_wrap_and_send_rsp(channel, response);
}

} // namespace

int32_t amt_handle_board_pcba_ctrl(uint8_t channel, const amt_buffer *request, amt_buffer *response)
{
    log_func();
    const int32_t result = amt_handle_check_request(channel, request, response, LOG_HERE);
    if (result != ERR_NONE) {
        return result;
    }
    amt_handle_begin_rsp(response, k_pcba_response_id);
    uint8_t operation = 0;
    (void)amt_message_get_bytes(request->m_data_a, k_pcba_operation_atom, &operation, sizeof(operation));
    log_info("pcba op-type: %d.", operation);
    return answer(control_pcba_sn(operation, request, response), channel, response);
}

int32_t amt_handle_adb_serial_no(uint8_t channel, const amt_buffer *request, amt_buffer *response)
{
    log_func();
    const int32_t result = amt_handle_check_request(channel, request, response, LOG_HERE);
    if (result != ERR_NONE) {
        return result;
    }
    amt_handle_begin_rsp(response, k_adb_response_id);
    const uint32_t operation = amt_message_get_int(request->m_data_a, k_adb_operation_atom);
    return answer(control_adb_number(operation, request, response), channel, response);
}
