#include "amt/identity/wifi-nvram.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>

#include "amt/identity/identity-files.h"
#include "amt/identity/wifi-address.h"
#include "pub/base/file.h"
#include "pub/base/scoped.h"
#include "pub/cfg/cfg.h"

#define LOG_MODULE "amt/amt-handle"
#include "pub/log/log.h"

namespace {

constexpr char k_source[] = "/system/etc/wifi/nvram.txt";
constexpr char k_other_source[] = "/system/etc/wifi/bcmdhd.cal";
constexpr char k_target[] = "/data/misc/wifi/nvram.txt";

constexpr char k_parameter[] = "macaddr=";
constexpr size_t k_parameter_length = sizeof(k_parameter) - 1;

constexpr int k_max_lines = 99;
constexpr size_t k_address_max = 59;
using file_line = char[AMT_FILE_TEXT_SIZE]; // with its line end, if there is one

// Empty when there is none.
int32_t read_address(file_line &address)
{
    const file_reading reading = amt_read_line(AMT_WIFI_ADDRESS_FILE, address);
    if (reading != file_reading::done) {
        return log_error(ERR_UNKNOWN, reading == file_reading::not_opened ? "open  %s fail" : "read  %s fail",
                         AMT_WIFI_ADDRESS_FILE);
    }
    address[k_address_max] = '\0';
    log_info("wifi_addr_amt: %s", address);
    return ERR_NONE;
}

FILE *open_source()
{
    FILE *source = pub_cfg_open(k_source);
    if (source != nullptr) {
        return source;
    }
    log_info("File \"%s\" not exist, so we try to open file \"%s\"", k_source, k_other_source);
    source = pub_cfg_open(k_other_source);
    if (source == nullptr) {
        (void)log_error(ERR_UNKNOWN, "open  %s fail", k_other_source);
    }
    return source;
}

FILE *open_target()
{
    FILE *target = pub_util_open_stream(k_target, O_RDWR | O_CREAT | O_TRUNC, "w+");
    if (target == nullptr) {
        (void)log_error(ERR_UNKNOWN, "open  %s fail", k_target);
    }
    return target;
}

void put_address(FILE *target, const char *address)
{
    (void)(fputs(k_parameter, target) >= 0 && fputs(address, target) >= 0); // what becomes of it, the end tells
}

// The value of the address in the line; null when there is none. In a comment there is none.
const char *find_address(const char *line)
{
    const char *parameter = line + strspn(line, " ");
    return strncmp(parameter, k_parameter, k_parameter_length) == 0 ? parameter + k_parameter_length : nullptr;
}

// Copies line by line, up to one that the disk does not take; the pieces of a long line count as lines. ERR_UNKNOWN
// when there are too many, or when they cannot be read.
int32_t copy_lines(FILE *source, FILE *target, const char *address, bool *is_replaced)
{
    file_line line = "";
    int count = 0;
    while (count <= k_max_lines && ferror(target) == 0 && fgets(line, sizeof(line) - 1, source) != nullptr) {
        const char *old_address = address[0] != '\0' ? find_address(line) : nullptr;
        if (old_address != nullptr) {
            log_info("wifi_addr_nvram: %s", old_address);
            put_address(target, address);
            *is_replaced = true;
        } else {
            (void)fputs(line, target); // what becomes of it, the end tells
            count++;
        }
    }
    if (ferror(source) != 0) {
        (void)log_sys_error("fgets");
        return ERR_UNKNOWN;
    }
    return count <= k_max_lines ? ERR_NONE : log_error(ERR_UNKNOWN);
}

// Nothing is added to what is cut short.
int32_t fill(FILE *target, FILE *source, const char *address)
{
    bool is_replaced = false;
    const int32_t result = copy_lines(source, target, address, &is_replaced);
    if (result == ERR_NONE && !is_replaced && ferror(target) == 0 && address[0] != '\0') {
        log_info("new wifi_addr_nvram: %s", address);
        put_address(target, address);
    }
    return result;
}

int32_t close_target(FILE *target)
{
    const bool is_written = ferror(target) == 0 && fflush(target) == 0;
    const int error = errno; // of the write that failed: nothing has been called since
    if (fclose(target) == 0 && is_written) {
        return ERR_NONE;
    }
    errno = is_written ? errno : error;
    (void)log_sys_error("fputs");
    return ERR_UNKNOWN;
}

// The driver is not of our user.
void open_to_everybody()
{
    const scoped_fd target(pub_util_open_file(k_target, O_RDONLY));
    if (!target.is_open()) {
        (void)log_error(ERR_UNKNOWN, "open %s failed", k_target);
    } else if (fchmod(target.get(), 0666) != 0) {
        (void)log_sys_error("fchmod");
    } else {
        log_info("fchmod  %s successfully", k_target);
    }
}

} // namespace

int32_t amt_write_wifi_to_nvram_file()
{
    log_func();
    file_line address;
    const int32_t read_result = read_address(address); // the driver wants its parameters all the same
    const scoped_file source(open_source());
    FILE *target = source.is_open() ? open_target() : nullptr;
    if (target == nullptr) {
        return ERR_UNKNOWN;
    }
    const int32_t fill_result = fill(target, source.get(), address);
    const int32_t close_result = close_target(target);
    if (fill_result != ERR_NONE) {
        return fill_result;
    }
    amt_sync_files();
    open_to_everybody();
    return read_result != ERR_NONE ? read_result : close_result;
}
