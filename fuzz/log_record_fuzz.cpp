// Any record, with any texts, bytes, lengths and circumstances, as a line of the log: never longer than a line may be,
// ended by one line feed, and what a formatter of the fuzzer's own makes of it: the whole text first, the cut then.
//
// Input: the level, the kind of dump and the other numbers, the four texts (each up to a zero byte), the bytes.
#include <string.h>

#include <algorithm>
#include <string>

#include "fuzz/pure_input.h"
#include "pub/log/errors.h"
#include "pub/log/log_record.h"

namespace {

constexpr size_t k_longest = 1022;
constexpr size_t k_text_max = 1200;
constexpr const char *k_levels_a[] = {"info",      "func",    "func param", "warning", "error", "fatal error",
                                      "sys error", "IPC msg", "user msg",   "at cmd",  "data"};
constexpr const char *k_labels_a[] = {"",           "",           "Receive",    "Send",       "MUX -> ATA",
                                      "ATA -> MUX", "USR -> ATA", "ATA -> USR", "receive   ", "send      "};
constexpr const char *k_ports_a[] = {"", "MUX idx", "PTM idx", "PTS idx"};
enum level : size_t { error = 4, fatal_error = 5, sys_error = 6, ipc_msg = 7, at_cmd = 9, data = 10, none = 11 };

struct record_texts {
    std::string m_function;
    std::string m_name;
    std::string m_info;
    bool m_has_name;
    bool m_has_info;
};

size_t level_of(uint32_t bits)
{
    size_t index = 0;
    while (index < none && (bits >> index & 1) == 0) {
        index++;
    }
    return index;
}

std::string padded(const std::string &text, size_t width)
{
    return text + std::string(text.size() < width ? width - text.size() : 0, ' ');
}

std::string filled(long number, size_t width, char fill)
{
    const std::string digits = std::to_string(number);
    return std::string(digits.size() < width ? width - digits.size() : 0, fill) + digits;
}

std::string hexadecimal(uint8_t byte)
{
    const char *digits = "0123456789ABCDEF";
    return {digits[byte / 16], digits[byte % 16]};
}

std::string spelled(uint8_t byte)
{
    if (byte == 0x0D || byte == 0x0A || byte == 0x1B) {
        return byte == 0x0D ? "<CR>" : byte == 0x0A ? "<LF>" : "<ESC>";
    }
    return byte < 0x20 || byte > 0x7E ? "\\x" + hexadecimal(byte) : std::string(1, static_cast<char>(byte));
}

std::string columns(const sfw_log_record &record, const sfw_log_circumstances &now, const std::string &function)
{
    const size_t level = level_of(record.m_level);
    return filled(now.m_hour, 2, '0') + ":" + filled(now.m_minute, 2, '0') + ":" + filled(now.m_second, 2, '0') + ":" +
           filled(now.m_millisecond, 3, '0') + " | " +
           (now.m_thread_id < 0 ? "  (main)" : " " + filled(now.m_thread_id, 7, ' ')) + " | " + padded(function, 34) +
           " | " + " " + filled(record.m_site.m_line, 5, ' ') + " | " +
           padded(level == none ? "" : k_levels_a[level], 12) + " | ";
}

std::string text_of_level(const sfw_log_record &record, const sfw_log_circumstances &now, const record_texts &texts)
{
    const size_t level = level_of(record.m_level);
    std::string text;
    if (level == error || level == fatal_error) {
        text = std::to_string(record.m_code) + " - " + error_text(record.m_code).c_str();
    } else if (level == sys_error) {
        text = (texts.m_has_name ? texts.m_name + ": " : "") + std::to_string(now.m_errno) + " - " +
               error_text(now.m_errno).c_str();
    }
    return text + (texts.m_has_info ? (level == error ? " | " : "") + texts.m_info : "");
}

// What stands in front of the dump's bytes, or in their place when `has_bytes` is false.
std::string head_of_dump(const sfw_log_record &record, const record_texts &texts, bool &has_bytes)
{
    const size_t level = level_of(record.m_level);
    const auto kind = static_cast<size_t>(record.m_dump_kind);
    const size_t level_of_kind = kind == 1 ? data : kind == 2 || kind == 3 ? ipc_msg : at_cmd;
    const bool is_unmatched = record.m_data == nullptr && record.m_length != 0;
    const std::string length = std::to_string(record.m_length);
    has_bytes = false;
    if (level != data && level != ipc_msg && level != at_cmd) {
        return kind == 0 ? "" : "(sfw log error: level not support)";
    }
    if (kind == 0 || kind > 9 || level_of_kind != level || static_cast<size_t>(record.m_port) > 3) {
        return "(sfw log error: invalid param)";
    }
    if (level == ipc_msg && (!texts.m_has_name || texts.m_name.empty())) {
        return "(sfw log error: invalid msg name)";
    }
    if (is_unmatched) {
        const char *what = level == data ? "data" : level == ipc_msg ? "msg data" : "at data";
        return "(sfw log error: " + std::string(what) + " len unmatched)";
    }
    if (level == at_cmd && record.m_length == 0) {
        return "(sfw log error: empty at)";
    }
    has_bytes = true;
    if (level == data) {
        return "(data len = " + length + ") ";
    }
    if (level == ipc_msg) {
        return "(" + std::string(k_labels_a[kind]) + ")msg name = " + texts.m_name + ", msg data len = " + length +
               ", msg data: ";
    }
    const auto port = static_cast<size_t>(record.m_port);
    return k_labels_a[kind] +
           (port == 0 ? "" : "(" + std::string(k_ports_a[port]) + " = " + std::to_string(record.m_port_index) + "): ");
}

// The bytes behind the head. Bytes are whole, or not there: when they do not all fit, as many as leave room for the
// mark of the cut.
std::string with_dump(const std::string &head, const sfw_log_record &record)
{
    const auto *bytes = static_cast<const uint8_t *>(record.m_data);
    const auto spell = level_of(record.m_level) == at_cmd ? spelled : hexadecimal;
    std::string line = head.substr(0, k_longest);
    std::string cut = line.substr(0, k_longest - 3);
    for (size_t i = 0; i < record.m_length; i++) {
        line += spell(bytes[i]);
        if (line.size() > k_longest) {
            return cut + "...";
        }
        cut = line.size() <= k_longest - 3 ? line : cut;
    }
    return line;
}

std::string expect_line(const sfw_log_record &record, const sfw_log_circumstances &now, const record_texts &texts)
{
    bool has_bytes = false;
    const std::string dump = head_of_dump(record, texts, has_bytes);
    const std::string head = columns(record, now, texts.m_function) + text_of_level(record, now, texts) + dump;
    return (has_bytes ? with_dump(head, record) : head.substr(0, k_longest)) + "\n";
}

std::string take_text(fuzz_input &input)
{
    return std::string(input.take_text().substr(0, k_text_max));
}

sfw_log_record take_record(fuzz_input &input, const record_texts &texts, uint8_t choices)
{
    sfw_log_record record = {};
    record.m_site = {"fuzz", texts.m_function.c_str(), static_cast<int32_t>(input.take_u32() >> 1)};
    record.m_level = (choices & 4) != 0 ? input.take_u32() : 1U << input.take_u8() % 12;
    record.m_code = static_cast<int32_t>(input.take_u32());
    record.m_code = (choices & 8) != 0 ? record.m_code : -(record.m_code & 127);
    record.m_dump_kind = static_cast<sfw_log_dump>(input.take_u8() % 12);
    record.m_name = texts.m_has_name ? texts.m_name.c_str() : nullptr;
    record.m_port = static_cast<sfw_log_port>(input.take_u8() % 5);
    record.m_port_index = static_cast<int32_t>(input.take_u32());
    const std::string_view bytes = input.take_rest();
    record.m_data = (choices & 16) != 0 ? nullptr : bytes.data();
    record.m_length = bytes.size();
    return record;
}

sfw_log_circumstances take_circumstances(fuzz_input &input, const record_texts &texts)
{
    const uint32_t time = input.take_u32();
    const auto thread_id = static_cast<int32_t>(input.take_u32());
    const int error_number = input.take_u8();
    const char *info = texts.m_has_info ? texts.m_info.c_str() : nullptr;
    return {static_cast<int>(time % 24),
            static_cast<int>(time / 24 % 60),
            static_cast<int>(time / 1440 % 62), // with a leap second
            static_cast<long>(time / 89280 % 1000),
            thread_id,
            error_number,
            info};
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *bytes, size_t size)
{
    fuzz_input input(bytes, size);
    const uint8_t choices = input.take_u8();
    record_texts texts = {take_text(input), take_text(input), take_text(input), (choices & 1) == 0, (choices & 2) == 0};
    const sfw_log_circumstances now = take_circumstances(input, texts);
    const sfw_log_record record = take_record(input, texts, choices);

    static guarded_bytes<SFW_LOG_LINE_SIZE> place;
    auto &line = *reinterpret_cast<char(*)[SFW_LOG_LINE_SIZE]>(place.of(SFW_LOG_LINE_SIZE));
    const size_t length = sfw_log_format_record(record, now, line);
    const std::string expected = expect_line(record, now, texts);
    fuzz_check(place.is_guarded() && length <= k_longest + 1 && strlen(line) == length);
    fuzz_check(std::string_view(line, length) == expected);
    return 0;
}
