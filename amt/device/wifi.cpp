#include "amt/device/wifi.h"

#include "amt/core/request.h"
#include "amt/core/response.h"
#include "amt/device/command.h"
#include "amt/device/radio.h"
#include "amt/identity/identity-files.h"
#include "amt/identity/wifi-address.h"
#include "amt/wire/bytes.h"
#include "pub/base/shell.h"

#define LOG_MODULE "amt/amt-device"
#include "pub/log/log.h"

namespace {

constexpr char k_folder[] = "/amt/WIFI";
#define TRACE_FILE "/data/local/wifi/wifi_dbg_file.txt"

constexpr uint8_t k_address_response_id = 186;
constexpr uint8_t k_operation_atom = 152;
constexpr uint8_t k_address_atom = 153;

constexpr uint8_t k_rtx_response_id = 188;
constexpr uint8_t k_command_atom = 154;
constexpr uint8_t k_channel_atom = 155;
constexpr uint8_t k_rate_atom = 156;
constexpr uint8_t k_power_atom = 157;
constexpr uint8_t k_count_atom = 158;

constexpr uint32_t k_address_max = 59;
using address_text = char[k_address_max + 1];

// --- the address

int32_t read_wifi_address(const amt_buffer *, amt_buffer *response)
{
    address_text address = "";
    if (amt_read_wifi_address(address, sizeof(address)) != ERR_NONE) {
        return log_error(ERR_UNKNOWN, "read error");
    }
    log_info("read WIFI address: %s", address);
    return amt_message_append_string(response->m_data_a, k_address_atom, address);
}

int32_t write_wifi_address(const amt_buffer *request, amt_buffer *)
{
    address_text address = "";
    (void)amt_message_get_string(request->m_data_a, k_address_atom, address, k_address_max);
    if (amt_write_wifi_address(address) != ERR_NONE) {
        return log_error(ERR_UNKNOWN, "write error");
    }
    log_info("Write WIFI address: %s", address);
    amt_protect_folder(k_folder);
    return ERR_NONE;
}

int32_t check_connectivity(const amt_buffer *, amt_buffer *)
{
    return amt_radio_run(AMT_WIFI_CHECK, LOG_HERE);
}

using address_operation = int32_t (*)(const amt_buffer *request, amt_buffer *response);

constexpr address_operation k_operations_a[] = {read_wifi_address, write_wifi_address, check_connectivity};
constexpr uint32_t k_operation_count = sizeof(k_operations_a) / sizeof(k_operations_a[0]);

// --- sending and receiving

bool g_is_running = false;                             // by these requests; what lines switch is not seen here: keep
uint8_t g_receive_channel = AMT_WIFI_FIRST_RX_CHANNEL; // of the last start by a message

void trace_command(uint8_t command)
{
    device_command text;
    amt_device_format_command(text, " echo the cmd value received from pc is : %u >> " TRACE_FILE, command);
    (void)pub_util_run_shell(text); // a handset without the folder is tested all the same
}

int32_t switch_on(const uint8_t *, uint8_t *)
{
    if (g_is_running) {
        return ERR_NONE;
    }
    const int32_t result = amt_radio_run(AMT_WIFI_START, LOG_HERE);
    g_is_running = result == ERR_NONE;
    return result;
}

int32_t switch_off(const uint8_t *, uint8_t *)
{
    if (!g_is_running) {
        return ERR_NONE;
    }
    const int32_t result = amt_radio_run(AMT_WIFI_STOP, LOG_HERE);
    g_is_running = result != ERR_NONE;
    return result;
}

// The numbers of a test are as wide as their atoms; of a longer atom they are the first bytes. False without the atom.
bool get_u8(const uint8_t *message, uint8_t atom_id, uint8_t *number)
{
    return amt_message_get_bytes(message, atom_id, number, sizeof(*number)) > 0;
}

bool get_u16(const uint8_t *message, uint8_t atom_id, uint16_t *number)
{
    uint8_t bytes_a[2];
    const bool is_there = amt_message_get_bytes(message, atom_id, bytes_a, sizeof(bytes_a)) > 0;
    *number = load_u16_le(bytes_a);
    return is_there;
}

int32_t start_sending(const uint8_t *message, uint8_t *)
{
    uint8_t channel = 0;
    uint16_t rate = 0;
    uint16_t power = 0;
    if (!get_u8(message, k_channel_atom, &channel)) {
        return log_error(ERR_UNKNOWN, "Tx get channel error");
    }
    if (!get_u16(message, k_rate_atom, &rate)) {
        return log_error(ERR_UNKNOWN, "Tx get rate error");
    }
    if (!get_u16(message, k_power_atom, &power)) {
        return log_error(ERR_UNKNOWN, "Tx get power error");
    }
    return amt_wifi_start_tx(channel, rate, static_cast<int16_t>(power), "", LOG_HERE);
}

int32_t stop_sending(const uint8_t *, uint8_t *)
{
    return amt_wifi_stop_tx(LOG_HERE);
}

int32_t start_receiving(const uint8_t *message, uint8_t *)
{
    uint8_t channel = 0;
    uint16_t rate = 0;
    if (!get_u8(message, k_channel_atom, &channel)) {
        return log_error(ERR_UNKNOWN, "Rx get channel error");
    }
    if (!get_u16(message, k_rate_atom, &rate)) {
        return log_error(ERR_UNKNOWN, "Rx get rate error");
    }
    const int32_t result = amt_wifi_start_rx(channel, rate, "", LOG_HERE);
    if (result == ERR_NONE) {
        g_receive_channel = channel;
    }
    return result;
}

int32_t stop_receiving(const uint8_t *, uint8_t *answer)
{
    int count = 0;
    const int32_t result = amt_wifi_stop_rx(g_receive_channel, &count, LOG_HERE);
    return result != ERR_NONE ? result : amt_message_append_int(answer, k_count_atom, static_cast<uint32_t>(count));
}

struct command_row {
    bool m_needs_running;
    int32_t (*m_carry_out)(const uint8_t *message, uint8_t *answer); // appends what it answers with
};

// By their numbers, from 1 on.
// clang-format off
constexpr command_row k_commands_a[] = {
    {false, switch_on},
    {false, switch_off},
    {true,  start_sending},
    {true,  stop_sending},
    {true,  start_receiving},
    {true,  stop_receiving},
};
// clang-format on
constexpr uint32_t k_command_count = sizeof(k_commands_a) / sizeof(k_commands_a[0]);

int32_t carry_out_wifi_test(uint8_t command, const uint8_t *message, uint8_t *answer)
{
    if (command == 0 || command > k_command_count) {
        (void)log_error(ERR_INVALID_PARAM, "unknown operation: %u", command);
        (void)pub_util_run_shell("echo the subcmd is invalid >> " TRACE_FILE);
        return ERR_INVALID_PARAM;
    }
    const command_row &row = k_commands_a[command - 1];
    if (row.m_needs_running && !g_is_running) {
        return log_error(ERR_UNKNOWN, "WIFI is not running");
    }
    return row.m_carry_out(message, answer);
}

} // namespace

int32_t amt_device_wifi_address(uint8_t channel, const amt_buffer *request, amt_buffer *response)
{
    log_func();
    int32_t result = amt_handle_check_request(channel, request, response, LOG_HERE);
    if (result != ERR_NONE) {
        return result;
    }
    amt_handle_begin_rsp(response, k_address_response_id);
    const uint32_t operation = amt_message_get_int(request->m_data_a, k_operation_atom);
    log_info("amt_device_wifi_address op_type:%d", static_cast<int>(operation));
    if (operation >= k_operation_count) {
        return log_error(ERR_INVALID_PARAM, "unknown operation: %d", static_cast<int>(operation));
    }
    result = k_operations_a[operation](request, response);
    if (result != ERR_NONE) {
        return result;
    }
    amt_handle_append_result(response, 0);
    return amt_handle_wrap_and_send_rsp(channel, response);
}

int32_t amt_device_wifi_rtx_test(uint8_t channel, const amt_buffer *request, amt_buffer *response)
{
    log_func();
    int32_t result = amt_handle_check_request(channel, request, response, LOG_HERE);
    if (result != ERR_NONE) {
        return result;
    }
    amt_handle_begin_rsp(response, k_rtx_response_id);
    uint8_t command = 0; // without its atom
    (void)get_u8(request->m_data_a, k_command_atom, &command);
    trace_command(command);
    (void)amt_message_append_bytes(response->m_data_a, k_command_atom, &command, sizeof(command)); // it has room
    result = carry_out_wifi_test(command, request->m_data_a, response->m_data_a);
    if (result != ERR_NONE) {
        return result;
    }
    amt_handle_append_result(response, 0);
    return amt_handle_wrap_and_send_rsp(channel, response);
}
