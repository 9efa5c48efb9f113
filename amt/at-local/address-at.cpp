#include "amt/at-local/address-at.h"

#include <string.h>

#include "amt/at-local/at-line.h"
#include "amt/identity/bt-address.h"
#include "amt/identity/identity-files.h"
#include "amt/identity/wifi-address.h"

#define LOG_MODULE "amt/amt-handle"
#include "pub/log/log.h"

namespace {

constexpr size_t k_address_max = 19;
using address_text = char[k_address_max + 1];

constexpr char k_bt_write[] = "AT^DBTADDR=\"";
constexpr char k_wifi_write[] = "AT^DWIFIADDR=\"";

void store(address_text &address, const char *text, size_t length)
{
    const size_t stored = length < k_address_max ? length : k_address_max;
    memcpy(address, text, stored);
    address[stored] = '\0';
}

// The value behind a prefix and its opening quote, up to the closing one: without that whatever follows, cut like a
// value that is too long.
void get_quoted(const char *prefix, address_text &address)
{
    const char *value = amt_behind(prefix);
    store(address, value, strcspn(value, "\""));
}

// --- Bluetooth

// False, told in the log, when there is no address.
bool read_bt_address(address_text &address)
{
    const char *path = get_bt_addr_file();
    if (path == nullptr) {
        return false;
    }
    char word[AMT_FILE_TEXT_SIZE];
    const file_reading reading = amt_read_word(path, word);
    if (reading == file_reading::not_opened) {
        (void)amt_tell_open_failure(ERR_C_FUNCTION, path, LOG_HERE);
        return false;
    }
    if (reading == file_reading::nothing_read) {
        (void)log_error(ERR_UNKNOWN, "read not completed");
        return false;
    }
    store(address, word, strlen(word));
    log_info("read BT address: %s", address);
    return true;
}

// False, told in the log, when the address is not with the disk.
bool write_bt_address(const address_text &address)
{
    if (address[0] == '\0') {
        (void)log_error(ERR_INVALID_PARAM, "%d", address[0] == '\0');
        return false;
    }
    const char *path = get_bt_addr_file();
    if (path == nullptr) {
        return false;
    }
    const int fd = amt_open_anew(path);
    if (fd < 0) {
        (void)amt_tell_open_failure(ERR_C_FUNCTION, path, LOG_HERE);
        return false;
    }
    const bool is_written = amt_write_line_and_close(fd, address);
    if (is_written) {
        log_info("write BT address: %s", address);
    } else {
        (void)log_sys_error("fputs");
    }
    amt_sync_files();
    return is_written;
}

int32_t bt_addr_read()
{
    log_func();
    address_text address;
    return read_bt_address(address) ? amt_reply_to_line("\r\n^DBTADDR: \"%s\"\r\n\r\nOK\r\n", address)
                                    : amt_reply_cme_error();
}

int32_t bt_addr_write()
{
    log_func();
    address_text address;
    get_quoted(k_bt_write, address);
    return write_bt_address(address) ? amt_reply_ok() : amt_reply_cme_error();
}

// --- WiFi

int32_t wifi_addr_read()
{
    address_text address;
    return amt_read_wifi_address(address, sizeof(address)) == ERR_NONE
               ? amt_reply_to_line("\r\n^DWIFIADDR: \"%s\"\r\n\r\nOK\r\n", address)
               : amt_reply_cme_error();
}

int32_t wifi_addr_write()
{
    address_text address;
    get_quoted(k_wifi_write, address);
    return amt_write_wifi_address(address) == ERR_NONE ? amt_reply_ok() : amt_reply_cme_error();
}

// --- the lines

// In the order tried, which decides for a request that holds several of the texts.
// clang-format off
constexpr at_row k_bt_rows_a[] = {
    {"AT^DBTADDR?\r",  bt_addr_read},
    {"AT^DBTADDR=?\r", amt_reply_ok},
    {k_bt_write,       bt_addr_write},
};
constexpr at_row k_wifi_rows_a[] = {
    {"AT^DWIFIADDR?\r",  wifi_addr_read},
    {"AT^DWIFIADDR=?\r", amt_reply_ok},
    {k_wifi_write,       wifi_addr_write},
};
// clang-format on

} // namespace

int32_t handle_amt_pc_req_at()
{
    const at_row *row = amt_find_row(k_bt_rows_a);
    if (row == nullptr) {
        return ERR_NOT_FOUND; // and not a word of it: lines on their way to the modem come through here
    }
    log_func();
    return row->m_handler();
}

int32_t handle_amt_wifi_at()
{
    const at_row *row = amt_find_row(k_wifi_rows_a);
    if (row == nullptr) {
        return ERR_NOT_FOUND; // see above
    }
    log_func();
    return row->m_handler();
}
