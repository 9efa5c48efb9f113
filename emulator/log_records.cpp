// Reading the service's log file, see log_records.h. The content is cut into lines, the lines are gathered into records
// in the order of the file, and the records are turned round the seam of the ring.

#include "emulator/log_records.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <iterator>
#include <ostream>

namespace emulator {

constexpr std::string_view k_rule_text = "====================";
constexpr std::string_view k_footer_text = " log  end ";
constexpr std::string_view k_separator = " | ";
constexpr long k_day_ms = 24L * 60 * 60 * 1000;

// Where the time column steps back at several places, a step up to this long is the seam only if something torn lies
// there as well: two threads may be a moment out of order.
constexpr long k_clear_step_back_ms = 1000;

namespace {

// A record as it lies in the file. `lines` are those behind the head; where a footer follows the record, what comes
// behind that is torn for certain and is not among them.
struct raw_record {
    log_record record;
    std::vector<std::string_view> lines;
    bool ends_log = false; // a footer follows
    long time_ms = 0;
};

} // namespace

static std::string_view trimmed(std::string_view text)
{
    const std::size_t first = text.find_first_not_of(' ');
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(' ') - first + 1);
}

// "hh:mm:ss:mmm" in milliseconds since midnight; -1 when it is something else.
static long time_of_day_ms(std::string_view text)
{
    constexpr std::string_view shape = "00:00:00:000";
    if (text.size() != shape.size()) {
        return -1;
    }
    for (std::size_t i = 0; i < shape.size(); ++i) {
        const bool digit = std::isdigit(static_cast<unsigned char>(text[i])) != 0;
        if (shape[i] == '0' ? !digit : text[i] != shape[i]) {
            return -1;
        }
    }
    const auto number = [&](std::size_t at, std::size_t count) {
        return std::strtol(std::string(text.substr(at, count)).c_str(), nullptr, 10);
    };
    return ((number(0, 2) * 60 + number(3, 2)) * 60 + number(6, 2)) * 1000 + number(9, 3);
}

static bool parse_number(std::string_view column, long &number)
{
    const std::string digits(trimmed(column));
    char *end = nullptr;
    number = std::strtol(digits.c_str(), &end, 10);
    return !digits.empty() && *end == '\0';
}

// Takes the text up to the next separator off the line.
static bool take_column(std::string_view &line, std::string_view &column)
{
    const std::size_t at = line.find(k_separator);
    if (at == std::string_view::npos) {
        return false;
    }
    column = line.substr(0, at);
    line.remove_prefix(at + k_separator.size());
    return true;
}

// The first line of a record; false when the line is none.
static bool parse_head(std::string_view line, raw_record &parsed)
{
    std::string_view time;
    std::string_view thread;
    std::string_view function;
    std::string_view number;
    std::string_view level;
    if (!take_column(line, time) || (parsed.time_ms = time_of_day_ms(time)) < 0 || !take_column(line, thread) ||
        !take_column(line, function) || !take_column(line, number) || !take_column(line, level)) {
        return false;
    }
    log_record &record = parsed.record;
    if (trimmed(thread) == "(main)") {
        record.thread_id = -1;
    } else if (!parse_number(thread, record.thread_id)) {
        return false;
    }
    record.time = time;
    record.function = trimmed(function);
    record.level = trimmed(level);
    parsed.lines = {line};
    return parse_number(number, record.line);
}

// The lines that are ended by a line feed; what follows the last of them is still being written.
static std::vector<std::string_view> whole_lines(std::string_view content)
{
    std::vector<std::string_view> lines;
    for (std::size_t end = 0; (end = content.find('\n')) != std::string_view::npos;) {
        lines.push_back(content.substr(0, end));
        content.remove_prefix(end + 1);
    }
    return lines;
}

static bool is_rule(std::string_view line)
{
    return line.substr(0, k_rule_text.size()) == k_rule_text;
}

static bool is_footer(std::string_view line)
{
    return is_rule(line) && line.find(k_footer_text) != std::string_view::npos;
}

// Where the records begin: behind the header's second rule, or at the beginning if there is no header.
static std::size_t header_lines(const std::vector<std::string_view> &lines)
{
    constexpr std::size_t in_header = 5; // date, empty, rule, titles, rule
    return lines.size() >= in_header && is_rule(lines[2]) && is_rule(lines[4]) ? in_header : 0;
}

static std::vector<raw_record> gather(const std::vector<std::string_view> &lines)
{
    std::vector<raw_record> records;
    for (std::size_t at = header_lines(lines); at < lines.size(); ++at) {
        raw_record fresh;
        if (parse_head(lines[at], fresh)) {
            records.push_back(std::move(fresh));
        } else if (records.empty() || records.back().ends_log) {
            continue; // torn
        } else if (is_footer(lines[at])) {
            raw_record &last = records.back();
            last.ends_log = true;
            if (last.lines.size() > 1 && last.lines.back().empty()) {
                last.lines.pop_back(); // the empty line belongs to the footer
            }
        } else {
            records.back().lines.push_back(lines[at]);
        }
    }
    return records;
}

// How long after `from` comes `to` on a clock that only runs forward, in milliseconds below a day.
static long forward_ms(const raw_record &from, const raw_record &to)
{
    return (to.time_ms - from.time_ms + k_day_ms) % k_day_ms;
}

// Whether the seam may lie between the two even though the column steps back elsewhere, too.
static bool may_be_seam(const raw_record &newest, const raw_record &oldest)
{
    const long back_ms = k_day_ms - forward_ms(newest, oldest);
    return back_ms >= k_clear_step_back_ms || newest.lines.size() > 1;
}

static long once_round_ms(const std::vector<raw_record> &records)
{
    long sum_ms = forward_ms(records.back(), records.front());
    for (std::size_t i = 0; i + 1 < records.size(); ++i) {
        sum_ms += forward_ms(records[i], records[i + 1]);
    }
    return sum_ms;
}

static std::size_t first_torn(const std::vector<raw_record> &records)
{
    const auto torn =
        std::find_if(records.begin(), records.end() - 1, [](const auto &raw) { return raw.lines.size() > 1; });
    return static_cast<std::size_t>(torn - records.begin());
}

// The index of the newest record of a full file, in which the records of the start come first and then the ring. Behind
// the newest the clock steps back to the oldest of the ring, which looks as if more than half a day had passed; where
// it does nowhere, or what is last in the file is newer, that is the newest. Where it does at several places, threads
// were a moment out of order; if the clock has not moved at all, the newest is what something torn follows.
static std::size_t newest_of(const std::vector<raw_record> &records)
{
    const auto ended = std::find_if(records.begin(), records.end(), [](const auto &raw) { return raw.ends_log; });
    if (ended != records.end()) {
        return static_cast<std::size_t>(ended - records.begin());
    }
    if (forward_ms(records.front(), records.back()) == 0 && once_round_ms(records) == 0) {
        return first_torn(records);
    }
    const auto steps_back = [&](std::size_t i) {
        const bool is_last_older = forward_ms(records.back(), records[i]) < k_day_ms / 2;
        return is_last_older && forward_ms(records[i], records[i + 1]) > k_day_ms / 2;
    };
    std::size_t steps = 0;
    for (std::size_t i = 0; i + 1 < records.size(); ++i) {
        steps += steps_back(i) ? 1 : 0;
    }
    std::size_t newest = records.size() - 1;
    long longest_ms = 0;
    for (std::size_t i = 0; i + 1 < records.size(); ++i) {
        const long gap_ms = forward_ms(records[i], records[i + 1]);
        if (steps_back(i) && gap_ms > longest_ms && (steps == 1 || may_be_seam(records[i], records[i + 1]))) {
            newest = i;
            longest_ms = gap_ms;
        }
    }
    return newest;
}

// Where the ring begins, behind the records of the start: what has been written there since is not older than the last
// in the file, which was written just before.
static std::size_t begin_of_ring(const std::vector<raw_record> &records, std::size_t newest)
{
    const long last_ms = forward_ms(records.front(), records.back());
    if (last_ms > k_day_ms / 2) {
        return 0; // older than the first: the ring begins with the file
    }
    std::size_t begin = 0;
    while (begin < newest && forward_ms(records.front(), records[begin]) < last_ms) {
        ++begin;
    }
    return begin;
}

// Puts the records of a full file in order: behind those of the start come those that lie behind the newest, but for
// what is left there of the one that it was written over.
static void turn_round(std::vector<raw_record> &records)
{
    const std::size_t at = newest_of(records);
    raw_record &newest = records[at];
    if (!newest.ends_log && newest.lines.size() > 1) {
        newest.lines.pop_back();
    }
    const auto position = [&](std::size_t index) { return records.begin() + static_cast<std::ptrdiff_t>(index); };
    std::rotate(position(begin_of_ring(records, at)), position(at + 1), records.end());
}

// No record begins behind the size of the ring: there lie the ends of the last records of earlier rounds.
static void drop_earlier_rounds(std::string_view content, std::size_t ring_size, std::vector<std::string_view> &lines)
{
    const auto behind = [&](std::string_view line) {
        return static_cast<std::size_t>(line.data() - content.data()) > ring_size;
    };
    lines.erase(std::remove_if(lines.begin(), lines.end(), behind), lines.end());
}

static log_record finished(raw_record &raw)
{
    for (std::size_t i = 0; i < raw.lines.size(); ++i) {
        raw.record.text += (i == 0 ? "" : "\n") + std::string(raw.lines[i]);
    }
    return std::move(raw.record);
}

std::vector<log_record> parse_log(std::string_view content, std::size_t ring_size)
{
    std::vector<std::string_view> lines = whole_lines(content);
    drop_earlier_rounds(content, ring_size, lines);
    std::vector<raw_record> raw = gather(lines);
    if (!raw.empty() && content.size() > ring_size) {
        turn_round(raw);
    }
    std::vector<log_record> records;
    std::transform(raw.begin(), raw.end(), std::back_inserter(records), finished);
    return records;
}

const log_record *find_record(const std::vector<log_record> &records, std::string_view text)
{
    const auto contains = [&](const log_record &record) { return record.text.find(text) != std::string::npos; };
    const auto at = std::find_if(records.begin(), records.end(), contains);
    return at == records.end() ? nullptr : &*at;
}

std::ostream &operator<<(std::ostream &stream, const log_record &record)
{
    return stream << record.time << ' ' << record.thread_id << ' ' << record.function << ':' << record.line << ' '
                  << record.level << ": " << record.text;
}

} // namespace emulator
