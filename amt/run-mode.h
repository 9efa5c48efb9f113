// How the process was started: its options, its run mode, and the paths that follow from it. Main thread, once.
#pragma once

#include <stdint.h>

// The name in paths, pid files and console lines, whatever the executable is called.
constexpr char AMT_PROCESS_NAME[] = "kv-zep-amt";

// 1 when started with -u, on the insertion of a USB cable: a station must then answer within the handshake. Written
// before any other thread exists.
extern int32_t g_usb_activate;

struct amt_run_mode {
    char m_config_file_a[59]; // a longer path is cut
    char m_pid_file_a[59];    // the one that is checked; the one that is written is always in /tmp
    const char *m_text;       // for the log
    uint32_t m_platform_flag; // 1: started by the platform at boot, in normal mode
};

// Prints the usage text. Returns the exit status: 0, or -1 when there is no program name to print.
int prompt_usage(const char *program);

// Reads the options into g_usb_activate. Returns false when the process is to end at once, with *exit_status: every
// option but -u asks for the usage text.
[[nodiscard]] bool amt_parse_options(int argc, char *argv[], int *exit_status);

// Decides the run mode from g_usb_activate and the folder of the executable, tells it on standard output, and moves the
// log below that folder in simplified mode. Before the log starts.
void amt_choose_run_mode(amt_run_mode *mode);
