#include "amt/identity/wifi-address.h"

#include <string.h>

#include "amt/identity/identity-files.h"

#define LOG_MODULE "amt/amt-handle"
#include "pub/log/log.h"

int32_t amt_read_wifi_address(char *address, uint32_t size)
{
    log_func();
    address[0] = '\0';
    char line[AMT_FILE_TEXT_SIZE];
    const file_reading reading = amt_read_line(AMT_WIFI_ADDRESS_FILE, line);
    if (reading == file_reading::not_opened) {
        return log_error(ERR_UNKNOWN, "open %s fail", AMT_WIFI_ADDRESS_FILE);
    }
    if (reading == file_reading::nothing_read) {
        return log_error(ERR_UNKNOWN, "read fail");
    }
    size_t length = strlen(line);
    log_info("wifi_addr_len: %d", static_cast<int>(length));
    length -= length > 0 ? 1 : 0;
    length = length < size ? length : size - 1;
    memcpy(address, line, length);
    address[length] = '\0';
    return ERR_NONE;
}

int32_t amt_write_wifi_address(const char *address)
{
    log_func();
    const bool is_empty = address != nullptr && address[0] == '\0';
    if (address == nullptr || is_empty) {
        return log_error(ERR_INVALID_PARAM, "%d, %d", address == nullptr, is_empty);
    }
    const int fd = amt_open_anew(AMT_WIFI_ADDRESS_FILE);
    if (fd < 0) {
        (void)log_sys_error("open");
        return ERR_UNKNOWN;
    }
    const int32_t result = amt_write_line_and_close(fd, address) ? ERR_NONE : log_sys_error("fputs");
    amt_sync_files();
    if (result == ERR_NONE) {
        log_info("write BT address: %s", address); // looked for under this name, keep
    }
    return result;
}
