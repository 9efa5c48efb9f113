// Any bytes in the small files in which the handset keeps what a line gave it: each reader tells the text that a reader
// of the fuzzer's own finds, within its bounds, or that there is none; and what is written is what is read.
//
// Input: a byte of choices, one for the bounds, then a file (even) or what is to be written (odd).
#include <errno.h>

#include <iterator>
#include <string>

#include "amt/device/kernel-file.h"
#include "amt/identity/handshake-permit.h"
#include "amt/identity/identity-files.h"
#include "amt/identity/pending-identity.h"
#include "amt/identity/serial-number.h"
#include "amt/identity/wifi-address.h"
#include "fuzz/pure_files.h"
#include "fuzz/pure_input.h"
#include "fuzz/pure_number.h"
#include "fuzz/pure_texts.h"
#include "pub/log/errors.h"

namespace {

constexpr char k_flag_file[] = "/amt/power_usb_amt.txt";
constexpr char k_kernel_file[] = "/sys/class/leds/brightness";
constexpr size_t k_piece_max = 98;
constexpr size_t k_word_max = 99;
constexpr const char *k_white_space = " \t\n\v\f\r";

guarded_bytes<AMT_FILE_TEXT_SIZE> g_place;

auto &text_place()
{
    return *reinterpret_cast<char(*)[AMT_FILE_TEXT_SIZE]>(g_place.of(AMT_FILE_TEXT_SIZE));
}

std::string_view line_of(std::string_view content)
{
    return fuzz_text_of(fuzz_take_piece(content, k_piece_max));
}

std::string_view word_of(std::string_view content)
{
    content.remove_prefix(std::min(content.find_first_not_of(k_white_space), content.size()));
    return content.substr(0, std::min(content.find_first_of(k_white_space), k_word_max));
}

// --- reading

void check_texts(const char *path, std::string_view content)
{
    auto &line = text_place();
    const file_reading reading = amt_read_line(path, line);
    fuzz_check(reading == (content.empty() ? file_reading::nothing_read : file_reading::done));
    fuzz_check(g_place.is_guarded() && line == line_of(content) && (!content.empty() || errno == 0));

    auto &word = text_place();
    const bool is_empty = word_of(content).empty();
    fuzz_check(amt_read_word(path, word) == (is_empty ? file_reading::nothing_read : file_reading::done));
    fuzz_check(g_place.is_guarded() && word == fuzz_text_of(word_of(content)) && (!is_empty || errno == 0));

    auto &data = text_place();
    fuzz_check(amt_read_data_from_file(data, path) == (content.empty() ? ERR_C_FUNCTION : ERR_NONE));
    fuzz_check(g_place.is_guarded() && data == line_of(content));
}

void check_board_number(std::string_view content)
{
    auto &number = *reinterpret_cast<char(*)[AMT_PCBA_SN_SIZE]>(g_place.of(AMT_PCBA_SN_SIZE));
    fuzz_check(amt_read_pcba_sn(number) == (content.empty() ? ERR_C_FUNCTION : ERR_NONE));
    fuzz_check(g_place.is_guarded() && number == line_of(content).substr(0, AMT_PCBA_SN_SIZE - 1));
}

// The last character is the line end, and counts as one whatever it is.
void check_wifi_address(std::string_view content, uint32_t size)
{
    std::string_view line = line_of(content);
    line.remove_suffix(line.empty() ? 0 : 1);
    char *address = g_place.of(size);
    fuzz_check(amt_read_wifi_address(address, size) == (content.empty() ? ERR_UNKNOWN : ERR_NONE));
    fuzz_check(g_place.is_guarded() && address == line.substr(0, size - 1));
}

void check_flag(std::string_view content)
{
    const int32_t expected = content.empty() ? 1 : fuzz_nearest(fuzz_number_of(line_of(content)));
    int32_t flag = 77;
    fuzz_check(handle_amt_damt1_operation(2, &flag) == ERR_NONE && flag == expected);
    fuzz_check(amt_is_handshake_permitted() == (expected != 0));
    fuzz_check(fuzz_file_content(k_flag_file) == content);
}

// The driver's number is in the range of the processor's, or the lower half of it counts.
void check_kernel_number(std::string_view content)
{
    const fuzz_number expected = fuzz_number_of(fuzz_text_of(content));
    int32_t number = 77;
    const int32_t result = amt_device_read_number(k_kernel_file, &number, LOG_HERE);
    fuzz_check(result == (expected.m_is_there ? ERR_NONE : ERR_C_FUNCTION));
    const auto lower_half = static_cast<int32_t>(static_cast<uint64_t>(expected.m_value));
    fuzz_check(number == (expected.m_is_there ? lower_half : 77));
}

// One reader an execution: opening a file is most of what it costs.
void check_reader(std::string_view content, uint8_t which, uint8_t bound)
{
    static constexpr const char *k_paths_a[] = {AMT_PCBA_SN_FILE, AMT_PCBA_SN_FILE, AMT_WIFI_ADDRESS_FILE, k_flag_file,
                                                k_kernel_file};
    which %= std::size(k_paths_a);
    fuzz_file_put(k_paths_a[which], content);
    switch (which) {
    case 0:
        return check_texts(AMT_PCBA_SN_FILE, content);
    case 1:
        return check_board_number(content);
    case 2:
        return check_wifi_address(content, 1U + bound % AMT_FILE_TEXT_SIZE);
    case 3:
        return check_flag(content);
    default:
        return check_kernel_number(content);
    }
}

// --- writing

// The service may not have touched the file.
void check_untouched(const char *path)
{
    fuzz_check(!fuzz_file_exists(path));
}

void write_board_number(const std::string &text)
{
    fuzz_file_remove(AMT_PCBA_SN_FILE);
    const int32_t result = amt_write_pcba_sn(text.c_str(), AMT_PCBA_SN_FILE);
    fuzz_check(result == (text.empty() ? ERR_INVALID_PARAM : ERR_NONE));
    if (text.empty()) {
        return check_untouched(AMT_PCBA_SN_FILE);
    }
    fuzz_check(fuzz_file_content(AMT_PCBA_SN_FILE) == text);
    check_board_number(text);
}

// A line that is too long is cut with its line feed.
void write_wifi_address(const std::string &text, uint8_t bound)
{
    fuzz_file_remove(AMT_WIFI_ADDRESS_FILE);
    fuzz_check(amt_write_wifi_address(text.c_str()) == (text.empty() ? ERR_INVALID_PARAM : ERR_NONE));
    if (text.empty()) {
        return check_untouched(AMT_WIFI_ADDRESS_FILE);
    }
    const std::string line = (text + "\n").substr(0, AMT_FILE_TEXT_SIZE - 1);
    fuzz_check(fuzz_file_content(AMT_WIFI_ADDRESS_FILE) == line);
    check_wifi_address(line, 1U + bound % AMT_FILE_TEXT_SIZE);
}

void store_flag(int32_t operation)
{
    const bool is_flag = operation == 0 || operation == 1;
    int32_t unread = 77;
    fuzz_file_remove(k_flag_file);
    const int32_t result = handle_amt_damt1_operation(operation, &unread);
    fuzz_check(result == (is_flag || operation == 2 ? ERR_NONE : ERR_INVALID_PARAM));
    fuzz_check(unread == (operation == 2 ? 1 : 77));
    if (!is_flag) {
        return check_untouched(k_flag_file);
    }
    fuzz_check(fuzz_file_content(k_flag_file) == std::to_string(operation));
    fuzz_check(amt_is_handshake_permitted() == (operation == 1));
}

void note_identity(std::string_view text)
{
    pending_copy noted = {};
    text.copy(noted, AMT_PENDING_SIZE);
    pending_copy found;
    pending_imei().set(noted);
    pending_imei().get(found);
    fuzz_check(std::string_view(found, sizeof(found)) == std::string_view(noted, sizeof(noted)));
    fuzz_check(found[AMT_PENDING_SIZE] == '\0');
    pending_sn().get(found);
    fuzz_check(are_zero({found, sizeof(found)}));
}

void write_number(int32_t number)
{
    fuzz_file_remove(k_kernel_file);
    fuzz_check(amt_device_write_number(k_kernel_file, number, LOG_HERE) == ERR_NONE);
    fuzz_check(fuzz_file_content(k_kernel_file) == std::to_string(number));
}

void check_writer(std::string_view bytes, uint8_t which, uint8_t bound)
{
    const std::string text(fuzz_text_of(bytes));
    const auto number = static_cast<int32_t>(fuzz_input(bytes).take_u32());
    switch (which % 5) {
    case 0:
        return write_board_number(text);
    case 1:
        return write_wifi_address(text, bound);
    case 2:
        return note_identity(bytes);
    case 3:
        return store_flag(bound % 2 == 0 ? number : number & 3);
    default:
        return write_number(number);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzz_input input(data, size);
    const uint8_t choices = input.take_u8();
    const uint8_t bound = input.take_u8();
    (choices % 2 == 0 ? check_reader : check_writer)(input.take_rest(), choices / 2, bound);
    return 0;
}
