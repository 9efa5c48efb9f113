#include "tests/storms/log_lines.h"

#include <algorithm>
#include <array>
#include <vector>

#include "pub/log/log_client.h"

namespace {

constexpr std::string_view k_footer =
    "========================================= log  end =========================================";
constexpr std::string_view k_separator = " | ";

constexpr std::array k_levels_a = {"info",      "func",    "func param", "warning", "error", "fatal error",
                                   "sys error", "IPC msg", "user msg",   "at cmd",  "data"};

// Whose records have several lines: what they tell has line ends.
constexpr std::array k_several_lines_a = {
    "start_log", "amt_open_modem_port", "read_at", "is_usb_enum_success", "disable_unsolicited_code", "amt_at_exchange",
    "try_once"};

// "00:00:00:000 | "
bool begins_like_record(std::string_view text)
{
    constexpr std::string_view shape = "00:00:00:000 | ";
    if (text.size() < shape.size()) {
        return false;
    }
    for (std::size_t i = 0; i < shape.size(); i++) {
        const bool digit = text[i] >= '0' && text[i] <= '9';
        if (shape[i] == '0' ? !digit : text[i] != shape[i]) {
            return false;
        }
    }
    return true;
}

std::string_view trimmed(std::string_view text)
{
    while (!text.empty() && text.front() == ' ') {
        text.remove_prefix(1);
    }
    while (!text.empty() && text.back() == ' ') {
        text.remove_suffix(1);
    }
    return text;
}

// The function of a line that is a record's first; empty when it is none.
std::string_view function_of(std::string_view line)
{
    if (!begins_like_record(line)) {
        return {};
    }
    std::array<std::string_view, 4> columns; // thread, function, line, level
    std::string_view rest = line.substr(15);
    for (std::string_view &column : columns) {
        const std::size_t end = rest.find(k_separator);
        if (end == std::string_view::npos) {
            return {};
        }
        column = rest.substr(0, end);
        rest.remove_prefix(end + k_separator.size());
    }
    const bool is_whole = columns[0].size() >= 8 && columns[1].size() >= 34 && columns[2].size() >= 6 &&
                          std::find(k_levels_a.begin(), k_levels_a.end(), trimmed(columns[3])) != k_levels_a.end();
    return is_whole ? trimmed(columns[1]) : std::string_view();
}

bool holds_record_inside(std::string_view line)
{
    for (std::size_t at = line.find(k_separator, 1); at != std::string_view::npos;
         at = line.find(k_separator, at + 1)) {
        if (at > 12 && begins_like_record(line.substr(at - 12))) {
            return true;
        }
    }
    return false;
}

bool has_several_lines(std::string_view function)
{
    return std::find(k_several_lines_a.begin(), k_several_lines_a.end(), function) != k_several_lines_a.end();
}

std::string quoted(std::string_view line)
{
    return "\"" + std::string(line.substr(0, 200)) + "\"";
}

std::vector<std::string_view> lines_of(std::string_view content)
{
    std::vector<std::string_view> lines;
    for (std::size_t end = 0; (end = content.find('\n')) != std::string_view::npos;) {
        lines.push_back(content.substr(0, end));
        content.remove_prefix(end + 1);
    }
    if (!content.empty()) {
        lines.push_back(content);
    }
    return lines;
}

// Walks through the lines behind the header.
class walk {
  public:
    walk(std::string_view content, const log_history &history)
        : m_history(history)
        , m_may_be_torn(content.size() > SFW_LOG_SIZE_LIMIT)
        , m_ends_whole(content.empty() || content.back() == '\n')
    {
    }

    // Behind the limit lie the ends of several rounds, each over the longer one of a round before.
    std::string take(std::string_view line, std::size_t offset, bool is_last)
    {
        const std::string_view function = function_of(line);
        if (holds_record_inside(line) && !tear()) {
            return "a record begins inside a line: " + quoted(line);
        }
        if (!function.empty()) {
            m_function = function;
            m_in_tear = false;
            return "";
        }
        if (line == k_footer) {
            m_footers++;
            m_function = "footer";
            return "";
        }
        const bool is_explained = line.empty() || has_several_lines(m_function) || m_in_tear ||
                                  offset > SFW_LOG_SIZE_LIMIT || (is_last && m_history.unfinished && !m_ends_whole);
        if (!is_explained && !tear()) {
            return "a line that is none, behind one of " + std::string(m_function) + ": " + quoted(line);
        }
        return "";
    }

    std::string end() const
    {
        if (m_history.footers >= 0 && m_footers != m_history.footers) {
            return std::to_string(m_footers) + " ends are told, not " + std::to_string(m_history.footers);
        }
        return m_ends_whole || m_history.unfinished || m_may_be_torn ? "" : "the last line is not whole";
    }

  private:
    // The one place at which something torn may lie; false when there was one before.
    bool tear()
    {
        if (m_in_tear) {
            return true;
        }
        m_in_tear = m_may_be_torn && !m_is_torn;
        m_is_torn = true;
        return m_in_tear;
    }

    const log_history m_history;
    const bool m_may_be_torn;
    const bool m_ends_whole;
    bool m_is_torn = false;
    bool m_in_tear = false;
    int m_footers = 0;
    std::string_view m_function = "the header";
};

} // namespace

std::string fault_of_log(std::string_view content, const log_history &history)
{
    std::vector<std::string_view> lines = lines_of(content);
    constexpr std::size_t k_header_lines = 5; // date, empty, rule, titles, rule
    const std::string rule(92, '=');
    if (history.header) {
        if (lines.size() < k_header_lines || lines[2] != rule || lines[4] != rule) {
            return "no header: " + quoted(content);
        }
        lines.erase(lines.begin(), lines.begin() + k_header_lines);
    }
    walk records(content, history);
    for (std::size_t i = 0; i < lines.size(); i++) {
        const std::string fault =
            records.take(lines[i], static_cast<std::size_t>(lines[i].data() - content.data()), i + 1 == lines.size());
        if (!fault.empty()) {
            return fault;
        }
    }
    return records.end();
}
