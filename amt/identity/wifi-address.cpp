#include "amt/identity/wifi-address.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include "amt/identity/identity-files.h"
#include "pub/base/file.h"
#include "pub/base/scoped.h"
#include "pub/cfg/cfg.h"

#define LOG_MODULE "amt/amt-handle"
#include "pub/log/log.h"

namespace {

constexpr char k_file[] = "/amt/WIFI/WIFI_nvram.txt";
constexpr int k_line_size = 99; // a longer line is cut

bool write_address(int fd, const char *address)
{
    if (amt_write_line(fd, address)) {
        return true;
    }
    const int error = errno; // 0 when the file took only a part
    (void)log_error(ERR_C_FUNCTION, "fputs fail: %d - %s", error, error_text(error).c_str());
    return false;
}

} // namespace

int32_t amt_read_wifi_address(char *address, uint32_t size)
{
    log_func();
    address[0] = '\0';
    const scoped_file file(pub_cfg_open(k_file));
    if (!file.is_open()) {
        return log_error(ERR_UNKNOWN, "open %s fail", k_file);
    }
    char line[k_line_size] = "";
    if (fgets(line, sizeof(line), file.get()) == nullptr) {
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
    const int fd = pub_util_open_file(k_file, O_RDWR | O_CREAT | O_TRUNC);
    if (fd < 0) {
        return log_error(ERR_UNKNOWN, "open %s fail", k_file);
    }
    const bool is_written = write_address(fd, address);
    (void)close(fd); // what was written tells by itself
    amt_sync_files();
    if (!is_written) {
        return ERR_C_FUNCTION;
    }
    log_info("write BT address: %s", address); // looked for under this name, keep
    return ERR_NONE;
}
