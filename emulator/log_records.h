// Reads the service's log file. The file is a ring behind a header and the records of the start: once full, new records
// overwrite the oldest behind these, usually leaving the rest of a half-overwritten record behind the newest. Pure
// functions on texts; any thread.

#pragma once

#include <iosfwd>
#include <string>
#include <string_view>
#include <vector>

namespace emulator {

struct log_record {
    std::string time;     // "hh:mm:ss:mmm", local time
    long thread_id = 0;   // -1 where the log says "(main)"
    std::string function; // without padding
    long line = 0;
    std::string level; // without padding: "func", "info", "sys error", ...
    std::string text;  // several lines where the record has several, without the last line feed
};

std::ostream &operator<<(std::ostream &stream, const log_record &record);

// Before a record is written the service goes back to the beginning if the file is longer than this, in bytes.
constexpr std::size_t k_log_ring_size = 102400;

// The records of a log file's content, oldest first. The header, the footer, the remains of half-overwritten records
// and a last line that is still being written are left out. In a file longer than `ring_size` the seam of the ring is
// where the time steps back (passing midnight is told from it as long as the records span less than twelve hours), or,
// if all times are the same, where something torn lies. A record of several lines may lose one there, and those behind
// `ring_size`.
std::vector<log_record> parse_log(std::string_view content, std::size_t ring_size = k_log_ring_size);

// The first record whose text contains `text`; null when there is none. Valid as long as the records are.
const log_record *find_record(const std::vector<log_record> &records, std::string_view text);

} // namespace emulator
