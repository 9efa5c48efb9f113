#include "pub/log/log_record.h"

#include <stdarg.h>
#include <stdio.h>
#include <string.h>

#include "pub/log/errors.h"

namespace {

struct level_row {
    int32_t value;
    const char *name;
};

// clang-format off
constexpr level_row k_levels_a[] = {
    {SFW_LOG_INFO,        "info"},
    {SFW_LOG_FUNC,        "func"},
    {SFW_LOG_FUNC_PARAM,  "func param"},
    {SFW_LOG_WARNING,     "warning"},
    {SFW_LOG_ERROR,       "error"},
    {SFW_LOG_FATAL_ERROR, "fatal error"},
    {SFW_LOG_SYS_ERROR,   "sys error"},
    {SFW_LOG_IPC_MSG,     "IPC msg"},
    {SFW_LOG_USER_MSG,    "user msg"},
    {SFW_LOG_AT_CMD,      "at cmd"},
    {SFW_LOG_DATA,        "data"},
    {-1,                  ""}, // every other level
};

struct dump_row {
    sfw_log_dump kind;
    uint32_t level;
    const char *label;
};

constexpr dump_row k_dumps_a[] = {
    {sfw_log_dump::bytes,         SFW_LOG_DATA,    ""},
    {sfw_log_dump::ipc_receive,   SFW_LOG_IPC_MSG, "Receive"},
    {sfw_log_dump::ipc_send,      SFW_LOG_IPC_MSG, "Send"},
    {sfw_log_dump::at_mux_to_ata, SFW_LOG_AT_CMD,  "MUX -> ATA"},
    {sfw_log_dump::at_ata_to_mux, SFW_LOG_AT_CMD,  "ATA -> MUX"},
    {sfw_log_dump::at_usr_to_ata, SFW_LOG_AT_CMD,  "USR -> ATA"},
    {sfw_log_dump::at_ata_to_usr, SFW_LOG_AT_CMD,  "ATA -> USR"},
    {sfw_log_dump::at_receive,    SFW_LOG_AT_CMD,  "receive   "},
    {sfw_log_dump::at_send,       SFW_LOG_AT_CMD,  "send      "},
};
// clang-format on

constexpr const char *k_ports_a[] = {"", "MUX idx", "PTM idx", "PTS idx"}; // by sfw_log_port
constexpr char k_hex_a[] = "0123456789ABCDEF";
constexpr char k_cut[] = "...";
constexpr size_t k_cut_length = sizeof(k_cut) - 1;

// A line under construction. What does not fit is cut.
struct line_text {
    char *m_text;
    size_t m_length;
};

void append(line_text &line, const char *text, size_t count)
{
    const size_t room = SFW_LOG_LINE_LENGTH - line.m_length;
    const size_t fits = count < room ? count : room;
    memcpy(line.m_text + line.m_length, text, fits);
    line.m_length += fits;
}

void append(line_text &line, const char *text)
{
    append(line, text, strlen(text));
}

__attribute__((format(printf, 2, 3))) void append_format(line_text &line, const char *format, ...)
{
    const size_t room = SFW_LOG_LINE_LENGTH - line.m_length;
    va_list arguments;
    va_start(arguments, format);
    const int length = vsnprintf(line.m_text + line.m_length, room + 1, format, arguments);
    va_end(arguments);
    if (length > 0) {
        line.m_length += static_cast<size_t>(length) < room ? static_cast<size_t>(length) : room;
    }
}

const level_row &row_of(uint32_t level)
{
    const level_row *row = k_levels_a;
    while (row->value != -1 && (static_cast<uint32_t>(row->value) & level) == 0) {
        row++;
    }
    return *row;
}

// How one byte stands in a dump: at most 5 characters ("<ESC>"). Returns their number.
using byte_writer = size_t (*)(uint8_t byte, char (&text)[8]);

size_t write_hex(uint8_t byte, char (&text)[8])
{
    text[0] = k_hex_a[byte >> 4];
    text[1] = k_hex_a[byte & 0x0F];
    return 2;
}

size_t write_named(const char *name, char (&text)[8])
{
    const size_t length = strlen(name);
    memcpy(text, name, length);
    return length;
}

size_t write_at_text(uint8_t byte, char (&text)[8])
{
    switch (byte) {
    case '\r':
        return write_named("<CR>", text);
    case '\n':
        return write_named("<LF>", text);
    case 0x1B:
        return write_named("<ESC>", text);
    default:
        break;
    }
    if (byte >= 0x20 && byte < 0x7F) {
        text[0] = static_cast<char>(byte);
        return 1;
    }
    text[0] = '\\';
    text[1] = 'x';
    text[2] = k_hex_a[byte >> 4];
    text[3] = k_hex_a[byte & 0x0F];
    return 4;
}

// Whole bytes only. `safe` is the last length behind which the cut mark still fits.
void append_dump(line_text &line, const void *data, size_t count, byte_writer write_byte)
{
    const uint8_t *bytes = static_cast<const uint8_t *>(data);
    size_t safe = line.m_length;
    for (size_t i = 0; i < count; i++) {
        char text[8];
        const size_t length = write_byte(bytes[i], text);
        if (length > SFW_LOG_LINE_LENGTH - line.m_length) {
            line.m_length = safe < SFW_LOG_LINE_LENGTH - k_cut_length ? safe : SFW_LOG_LINE_LENGTH - k_cut_length;
            append(line, k_cut, k_cut_length);
            return;
        }
        append(line, text, length);
        if (line.m_length <= SFW_LOG_LINE_LENGTH - k_cut_length) {
            safe = line.m_length;
        }
    }
}

const dump_row *dump_of(sfw_log_dump kind)
{
    for (const dump_row &row : k_dumps_a) {
        if (row.kind == kind) {
            return &row;
        }
    }
    return nullptr;
}

// A length without bytes: the caller's mistake, told in place of the dump.
bool is_unmatched(const sfw_log_record &record)
{
    return record.m_data == nullptr && record.m_length != 0;
}

void append_data(line_text &line, const sfw_log_record &record)
{
    if (is_unmatched(record)) {
        append(line, "(sfw log error: data len unmatched)");
        return;
    }
    append_format(line, "(data len = %ld) ", static_cast<long>(record.m_length));
    append_dump(line, record.m_data, record.m_length, write_hex);
}

void append_ipc_message(line_text &line, const sfw_log_record &record, const char *label)
{
    if (record.m_name == nullptr || record.m_name[0] == '\0') {
        append(line, "(sfw log error: invalid msg name)");
        return;
    }
    if (is_unmatched(record)) {
        append(line, "(sfw log error: msg data len unmatched)");
        return;
    }
    append_format(line, "(%s)msg name = %s, msg data len = %ld, msg data: ", label, record.m_name,
                  static_cast<long>(record.m_length));
    append_dump(line, record.m_data, record.m_length, write_hex);
}

void append_at_command(line_text &line, const sfw_log_record &record, const char *label)
{
    if (is_unmatched(record)) {
        append(line, "(sfw log error: at data len unmatched)");
        return;
    }
    if (record.m_length == 0) {
        append(line, "(sfw log error: empty at)");
        return;
    }
    if (record.m_port == sfw_log_port::none) {
        append(line, label);
    } else {
        append_format(line, "%s(%s = %d): ", label, k_ports_a[static_cast<size_t>(record.m_port)], record.m_port_index);
    }
    append_dump(line, record.m_data, record.m_length, write_at_text);
}

bool carries_dump(uint32_t level)
{
    return level == SFW_LOG_DATA || level == SFW_LOG_IPC_MSG || level == SFW_LOG_AT_CMD;
}

void append_dump_of_level(line_text &line, const sfw_log_record &record, uint32_t level)
{
    const dump_row *row = dump_of(record.m_dump_kind);
    if (row == nullptr || row->level != level || record.m_port > sfw_log_port::pts) {
        append(line, "(sfw log error: invalid param)");
    } else if (level == SFW_LOG_DATA) {
        append_data(line, record);
    } else if (level == SFW_LOG_IPC_MSG) {
        append_ipc_message(line, record, row->label);
    } else {
        append_at_command(line, record, row->label);
    }
}

// The columns are most of what a record costs, so their numbers and blanks are written by hand.

void append_fill(line_text &line, char fill, size_t count)
{
    const size_t room = SFW_LOG_LINE_LENGTH - line.m_length;
    const size_t fits = count < room ? count : room;
    memset(line.m_text + line.m_length, fill, fits);
    line.m_length += fits;
}

// A number of 0 or more, with `fill` in front up to `width` characters.
void append_number(line_text &line, long number, size_t width, char fill)
{
    char digits[24];
    size_t at = sizeof(digits);
    auto rest = static_cast<unsigned long>(number);
    do {
        digits[--at] = static_cast<char>('0' + rest % 10);
        rest /= 10;
    } while (rest != 0);
    const size_t count = sizeof(digits) - at;
    append_fill(line, fill, count < width ? width - count : 0);
    append(line, digits + at, count);
}

void append_padded(line_text &line, const char *text, size_t width)
{
    const size_t length = strlen(text);
    append(line, text, length);
    append_fill(line, ' ', length < width ? width - length : 0);
}

void append_columns(line_text &line, const sfw_log_record &record, const sfw_log_circumstances &now, const char *level)
{
    append_number(line, now.m_hour, 2, '0');
    append(line, ":", 1);
    append_number(line, now.m_minute, 2, '0');
    append(line, ":", 1);
    append_number(line, now.m_second, 2, '0');
    append(line, ":", 1);
    append_number(line, now.m_millisecond, 3, '0');
    append(line, " | ", 3);
    if (now.m_thread_id < 0) {
        append(line, "  (main)");
    } else {
        append(line, " ", 1); // the sign's place
        append_number(line, now.m_thread_id, 7, ' ');
    }
    append(line, " | ", 3);
    append_padded(line, record.m_site.m_function, 34);
    append(line, " |  ", 4); // and the sign's place
    append_number(line, record.m_site.m_line, 5, ' ');
    append(line, " | ", 3);
    append_padded(line, level, 12);
    append(line, " | ", 3);
}

void append_level_text(line_text &line, const sfw_log_record &record, uint32_t level, int saved_errno)
{
    if (level == SFW_LOG_ERROR || level == SFW_LOG_FATAL_ERROR) {
        append_format(line, "%ld - %s", static_cast<long>(record.m_code), error_text(record.m_code).c_str());
    } else if (level == SFW_LOG_SYS_ERROR) {
        if (record.m_name != nullptr) {
            append_format(line, "%s: ", record.m_name);
        }
        append_format(line, "%ld - %s", static_cast<long>(saved_errno), error_text(saved_errno).c_str());
    }
}

} // namespace

size_t sfw_log_format_record(const sfw_log_record &record, const sfw_log_circumstances &circumstances,
                             char (&line)[SFW_LOG_LINE_SIZE])
{
    line_text text = {line, 0};
    const level_row &row = row_of(record.m_level);
    const uint32_t level = row.value < 0 ? 0 : static_cast<uint32_t>(row.value);
    append_columns(text, record, circumstances, row.name);

    // The caller's text heads a dump and follows everything else.
    const char *info = circumstances.m_extended_info;
    append_level_text(text, record, level, circumstances.m_errno);
    if (info != nullptr) {
        append(text, level == SFW_LOG_ERROR ? " | " : "");
        append(text, info);
    }
    if (carries_dump(level)) {
        append_dump_of_level(text, record, level);
    } else if (record.m_dump_kind != sfw_log_dump::none) {
        append(text, "(sfw log error: level not support)");
    }
    line[text.m_length] = '\n';
    line[text.m_length + 1] = '\0';
    return text.m_length + 1;
}
