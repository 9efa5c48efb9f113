// The service's configuration: one record, read once at the start from a file of "name = value" lines, and only read
// from then on, by any thread.
#pragma once

#include <stdint.h>

struct amt_cfg {
    char m_tty_pc_a[28];     // the station's serial tty
    char m_tty_app_a[28];    // where the application finds its pseudo-terminal
    char m_tty_modem_a[28];  // the modem's data tty
    char m_tty_at_mux_a[28]; // the modem's AT port
    char m_audio_file_a[48];
    int32_t m_audio_sample_rate; // the three settings go to the player as they are
    int32_t m_audio_format;
    int32_t m_audio_frame_count;
    char m_mode_file_a[28];
    int32_t m_modem_uart_at_baudrate;  // baud, 115200 unless set
    int32_t m_modem_uart_amt_baudrate; // baud, 115200 unless set
};

extern amt_cfg amt_cfg_st;

// Resets the record and reads the file into it. Unusable lines are skipped, values that are too long are cut.
// ERR_INVALID_PARAM for a null path, ERR_C_FUNCTION when the file cannot be opened or read to its end. Main thread,
// before all others.
[[nodiscard]] int32_t amt_cfg_init(const char *path);
