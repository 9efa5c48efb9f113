// One log record as a line of text: the columns, the text that goes with the level, and the dump of bytes. Pure: no
// clock, no file, no lock. Used by the log client, on any thread.
#pragma once

#include <stddef.h>
#include <stdint.h>

// Levels are bits; a record is of the first level of this order that shares a bit with its own.
constexpr uint32_t SFW_LOG_INFO = 1;
constexpr uint32_t SFW_LOG_FUNC = 2;
constexpr uint32_t SFW_LOG_FUNC_PARAM = 4;
constexpr uint32_t SFW_LOG_WARNING = 8;
constexpr uint32_t SFW_LOG_ERROR = 16;
constexpr uint32_t SFW_LOG_FATAL_ERROR = 32;
constexpr uint32_t SFW_LOG_SYS_ERROR = 64;
constexpr uint32_t SFW_LOG_IPC_MSG = 128;
constexpr uint32_t SFW_LOG_USER_MSG = 256;
constexpr uint32_t SFW_LOG_AT_CMD = 512;
constexpr uint32_t SFW_LOG_DATA = 1024;

// What the bytes of a record are. Each level that carries a dump takes its own kinds only.
enum class sfw_log_dump : uint8_t {
    none,
    bytes,         // level "data"
    ipc_receive,   // level "IPC msg", with the message's name
    ipc_send,      //
    at_mux_to_ata, // level "at cmd"
    at_ata_to_mux, //
    at_usr_to_ata, //
    at_ata_to_usr, //
    at_receive,    //
    at_send,       //
};

// The port that an AT dump may name behind its direction.
enum class sfw_log_port : uint8_t { none, mux, ptm, pts };

// Where a record comes from. All three are constants of the call site.
struct sfw_log_site {
    const char *m_module; // the source, for example "amt/main"; seen in the internal log only
    const char *m_function;
    int32_t m_line;
};

// One record. Pointers are borrowed for the call; what a level does not use is ignored.
struct sfw_log_record {
    sfw_log_site m_site;
    uint32_t m_level;
    int32_t m_code;           // "error" and "fatal error"
    sfw_log_dump m_dump_kind; //
    const void *m_data;       // the dumped bytes; may be null when there are none
    size_t m_length;          //
    const char *m_name;       // the failed call of a "sys error" (may be null), the message of an "IPC msg"
    sfw_log_port m_port;      // AT dumps
    int32_t m_port_index;     //
};

// What the log client adds: when, on which thread, with which errno, and the caller's own text (null when none).
struct sfw_log_circumstances {
    int m_hour, m_minute, m_second;
    long m_millisecond;
    long m_thread_id; // negative: the main thread, when the system has no number for it
    int m_errno;
    const char *m_extended_info;
};

constexpr size_t SFW_LOG_LINE_LENGTH = 1022;                  // the longest line, without its line feed
constexpr size_t SFW_LOG_LINE_SIZE = SFW_LOG_LINE_LENGTH + 2; // with line feed and terminator

// Writes the line, ended by one line feed and a NUL, and returns its length (line feed included). A line that is too
// long is cut; a dump that is too long ends in "...".
size_t sfw_log_format_record(const sfw_log_record &record, const sfw_log_circumstances &circumstances,
                             char (&line)[SFW_LOG_LINE_SIZE]);
