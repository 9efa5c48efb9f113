// Any bytes as the configuration's file: every field is a terminated text of no more than its size or a number, and
// what a reader of the fuzzer's own finds in the same file. And the same file line by line, at any size of the line.
//
// Input: a byte of choices (the size of a line, for the reader of lines), then the file.
#include <string.h>

#include <algorithm>
#include <iterator>

#include "amt/amt-cfg.h"
#include "fuzz/pure_files.h"
#include "fuzz/pure_input.h"
#include "fuzz/pure_number.h"
#include "fuzz/pure_texts.h"
#include "pub/cfg/cfg.h"
#include "pub/log/errors.h"

namespace {

constexpr char k_path[] = "/system/etc/kv-zep-amt.cfg";
constexpr size_t k_piece_max = 98;

std::string_view without_trailing(std::string_view text, const char *unwanted)
{
    const size_t last = text.find_last_not_of(unwanted);
    return text.substr(0, last == std::string_view::npos ? 0 : last + 1);
}

std::string_view without_blanks(std::string_view text)
{
    text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
    return text;
}

bool split(std::string_view line, std::string_view &name, std::string_view &value)
{
    line = without_blanks(line);
    const size_t equals = line.find('=');
    if (line.substr(0, 1) == "#" || equals == std::string_view::npos) {
        return false;
    }
    name = without_trailing(line.substr(0, equals), " ");
    value = without_trailing(without_blanks(line.substr(equals + 1)), " \r\n");
    return true;
}

constexpr const char *k_keys_a[] = {
    "kv.tty.pc",
    "kv.tty.app",
    "kv.tty.modem",
    "kv.tty.at.mux",
    "kv.audio.file",
    "kv.mode.file",
    "kv.audio.sample.rate",
    "kv.audio.format",
    "kv.audio.frame.count",
    "kv.modem.uart.at.default.baudrate",
    "kv.modem.uart.amt.default.baudrate",
};

// The last value of each key that is not empty; empty when there is none.
std::string_view g_values_a[std::size(k_keys_a)];

void find_values(std::string_view content)
{
    std::fill(std::begin(g_values_a), std::end(g_values_a), std::string_view());
    while (!content.empty()) {
        std::string_view name;
        std::string_view value;
        if (!split(fuzz_text_of(fuzz_take_piece(content, k_piece_max)), name, value) || value.empty()) {
            continue;
        }
        const auto *key = std::find(std::begin(k_keys_a), std::end(k_keys_a), name);
        if (key != std::end(k_keys_a)) {
            g_values_a[key - k_keys_a] = value;
        }
    }
}

template <size_t size>
void check_text(size_t key, const char (&field)[size])
{
    fuzz_check(memchr(field, '\0', size) != nullptr);
    fuzz_check(field == g_values_a[key].substr(0, size - 1));
}

void check_number(size_t key, int32_t field, int32_t unset)
{
    const std::string_view value = g_values_a[key];
    fuzz_check(field == (value.empty() ? unset : fuzz_nearest(fuzz_number_of(value))));
}

void check_record(std::string_view content)
{
    memset(&amt_cfg_st, 'x', sizeof(amt_cfg_st));
    fuzz_check(amt_cfg_init(k_path) == ERR_NONE);
    find_values(content);
    check_text(0, amt_cfg_st.m_tty_pc_a);
    check_text(1, amt_cfg_st.m_tty_app_a);
    check_text(2, amt_cfg_st.m_tty_modem_a);
    check_text(3, amt_cfg_st.m_tty_at_mux_a);
    check_text(4, amt_cfg_st.m_audio_file_a);
    check_text(5, amt_cfg_st.m_mode_file_a);
    check_number(6, amt_cfg_st.m_audio_sample_rate, 0);
    check_number(7, amt_cfg_st.m_audio_format, 0);
    check_number(8, amt_cfg_st.m_audio_frame_count, 0);
    check_number(9, amt_cfg_st.m_modem_uart_at_baudrate, 115200);
    check_number(10, amt_cfg_st.m_modem_uart_amt_baudrate, 115200);
}

void check_line(std::string_view text, char *line)
{
    std::string_view expected_name;
    std::string_view expected_value;
    char *name = nullptr;
    char *value = nullptr;
    const bool is_split = split(text, expected_name, expected_value);
    fuzz_check(pub_cfg_get_param_and_value(line, &name, &value) == (is_split ? ERR_NONE : ERR_NOT_FOUND));
    fuzz_check(!is_split || (name == expected_name && value == expected_value));
}

void check_lines(std::string_view content, uint32_t size)
{
    static guarded_bytes<300> place;
    FILE *file = pub_cfg_open(k_path);
    fuzz_check(file != nullptr);
    for (int32_t end_of_file = 0; end_of_file == 0;) {
        const bool is_at_end = content.empty();
        const std::string_view text = fuzz_text_of(fuzz_take_piece(content, size - 2));
        uint32_t length = 0;
        char *line = place.of(size);
        fuzz_check(pub_cfg_get_line(file, line, size, &length, &end_of_file) == ERR_NONE);
        fuzz_check(place.is_guarded() && (end_of_file != 0) == is_at_end);
        fuzz_check(line == text && length == text.size());
        check_line(text, line);
    }
    (void)fclose(file);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzz_input input(data, size);
    const uint8_t choices = input.take_u8();
    const std::string_view content = input.take_rest();
    fuzz_file_put(k_path, content);
    check_record(content);
    check_lines(content, 3U + choices);
    return 0;
}
