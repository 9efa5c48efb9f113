#include "amt/amt-cfg.h"

#include <stddef.h>
#include <stdlib.h>
#include <string.h>

#include "pub/base/number.h"
#include "pub/base/scoped.h"
#include "pub/cfg/cfg.h"

#define LOG_MODULE "amt/amt-cfg"
#include "pub/log/log.h"

amt_cfg amt_cfg_st;

namespace {

constexpr int32_t k_default_baudrate = 115200;
constexpr uint32_t k_line_size = 100;

// A key and its field in the record: a text of `size` bytes, or a number when that is 0.
struct key_row {
    const char *key;
    size_t offset;
    size_t size;
};

#define TEXT_FIELD(field) offsetof(amt_cfg, field), sizeof(amt_cfg::field)
#define NUMBER_FIELD(field) offsetof(amt_cfg, field), 0

// clang-format off
constexpr key_row k_keys_a[] = {
    {"kv.tty.pc",                          TEXT_FIELD(m_tty_pc_a)},
    {"kv.tty.app",                         TEXT_FIELD(m_tty_app_a)},
    {"kv.tty.modem",                       TEXT_FIELD(m_tty_modem_a)},
    {"kv.tty.at.mux",                      TEXT_FIELD(m_tty_at_mux_a)},
    {"kv.audio.file",                      TEXT_FIELD(m_audio_file_a)},
    {"kv.audio.sample.rate",               NUMBER_FIELD(m_audio_sample_rate)},
    {"kv.audio.format",                    NUMBER_FIELD(m_audio_format)},
    {"kv.audio.frame.count",               NUMBER_FIELD(m_audio_frame_count)},
    {"kv.mode.file",                       TEXT_FIELD(m_mode_file_a)},
    {"kv.modem.uart.at.default.baudrate",  NUMBER_FIELD(m_modem_uart_at_baudrate)},
    {"kv.modem.uart.amt.default.baudrate", NUMBER_FIELD(m_modem_uart_amt_baudrate)},
};
// clang-format on

void set_text(const key_row &row, const char *value)
{
    char *field = reinterpret_cast<char *>(&amt_cfg_st) + row.offset;
    memset(field, 0, row.size);
    memcpy(field, value, strnlen(value, row.size - 1));
    log_info("[cfg]%s = %s", row.key, field);
}

void set_number(const key_row &row, const char *value)
{
    const int32_t number = pub_util_get_number(value);
    memcpy(reinterpret_cast<char *>(&amt_cfg_st) + row.offset, &number, sizeof(number));
    log_info("[cfg]%s = %ld", row.key, static_cast<long>(number));
}

void parse_line(char *line)
{
    char *name = nullptr;
    char *value = nullptr;
    if (pub_cfg_get_param_and_value(line, &name, &value) != ERR_NONE || name[0] == '\0' || value[0] == '\0') {
        return;
    }
    for (const key_row &row : k_keys_a) {
        if (strcmp(row.key, name) == 0) {
            (row.size != 0 ? set_text : set_number)(row, value);
            return;
        }
    }
}

int32_t parse_amt_cfg(const char *path)
{
    log_func();
    const scoped_file file(pub_cfg_open(path));
    if (!file.is_open()) {
        (void)log_sys_error("fopen");
        return log_error(ERR_C_FUNCTION, "fail to open file: %s", path);
    }
    char line[k_line_size];
    uint32_t length = 0;
    int32_t end_of_file = 0;
    while (pub_cfg_get_line(file.get(), line, sizeof(line), &length, &end_of_file) == ERR_NONE && end_of_file == 0) {
        parse_line(line);
    }
    if (ferror(file.get()) != 0) { // half a configuration is none
        (void)log_sys_error("fgets");
        return log_error(ERR_C_FUNCTION, "fail to read file: %s", path);
    }
    return ERR_NONE;
}

} // namespace

int32_t amt_cfg_init(const char *path)
{
    amt_cfg_st = {};
    amt_cfg_st.m_modem_uart_at_baudrate = k_default_baudrate;
    amt_cfg_st.m_modem_uart_amt_baudrate = k_default_baudrate;
    log_func();
    if (path == nullptr) {
        return log_error(ERR_INVALID_PARAM, "%d", path == nullptr);
    }
    return parse_amt_cfg(path);
}
