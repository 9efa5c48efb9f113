// Any parameters of the WiFi driver and any address: the driver's new file holds every other line unchanged and exactly
// the lines of the address replaced, or one added, as a copier of the fuzzer's own makes it out of one text.
//
// Input: a byte of choices, the address' file up to a zero byte, the parameters.
#include <string>

#include "amt/identity/wifi-nvram.h"
#include "fuzz/pure_files.h"
#include "fuzz/pure_input.h"
#include "fuzz/pure_texts.h"
#include "pub/log/errors.h"

namespace {

constexpr char k_address_file[] = "/amt/WIFI/WIFI_nvram.txt";
constexpr char k_source[] = "/system/etc/wifi/nvram.txt";
constexpr char k_other_source[] = "/system/etc/wifi/bcmdhd.cal";
constexpr char k_target[] = "/data/misc/wifi/nvram.txt";
constexpr size_t k_piece_max = 98;
constexpr size_t k_address_max = 59;
constexpr int k_too_many_lines = 100;

bool is_address_line(std::string_view line)
{
    line.remove_prefix(std::min(line.find_first_not_of(' '), line.size()));
    return line.substr(0, 8) == "macaddr=";
}

// The driver's new file; false when its lines are too many, with those up to there.
bool expect_target(std::string_view parameters, std::string_view address, std::string &target)
{
    const std::string new_line = address.empty() ? "" : "macaddr=" + std::string(address);
    bool is_replaced = false;
    int copied = 0;
    target.clear();
    while (!parameters.empty()) {
        const std::string_view line = fuzz_text_of(fuzz_take_piece(parameters, k_piece_max));
        if (!address.empty() && is_address_line(line)) {
            target += new_line;
            is_replaced = true;
        } else {
            target += line;
            copied++;
        }
        if (copied == k_too_many_lines) {
            return false;
        }
    }
    target += is_replaced ? "" : new_line;
    return true;
}

void put(const char *path, bool is_there, std::string_view bytes)
{
    if (is_there) {
        fuzz_file_put(path, bytes);
    } else {
        fuzz_file_remove(path);
    }
}

} // namespace

// The choices: bit 0 no address' file, bits 1 and 2 no parameters in the first and the second place.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzz_input input(data, size);
    const uint8_t choices = input.take_u8();
    const bool has_address = (choices & 1) == 0;
    const bool has_source = (choices & 6) != 6;
    std::string_view address_file = input.take_text();
    const std::string_view parameters = input.take_rest();
    put(k_address_file, has_address, address_file);
    put(k_source, (choices & 2) == 0, parameters);
    put(k_other_source, (choices & 4) == 0, (choices & 2) == 0 ? "not=these\n" : parameters);
    fuzz_file_put(k_target, "what stood there\n");

    const std::string_view address = fuzz_take_piece(address_file, k_piece_max).substr(0, k_address_max);
    static std::string expected;
    const bool is_copied = expect_target(parameters, has_address ? address : "", expected);
    const bool is_well = has_source && is_copied && has_address && !address.empty();
    fuzz_check(amt_write_wifi_to_nvram_file() == (is_well ? ERR_NONE : ERR_UNKNOWN));
    fuzz_check(fuzz_file_content(k_target) == (has_source ? std::string_view(expected) : "what stood there\n"));
    fuzz_check(!has_address || fuzz_file_exists(k_address_file));
    return 0;
}
