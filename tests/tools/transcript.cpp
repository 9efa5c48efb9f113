// Reading and comparing transcripts, see transcript.h.
#include "tests/tools/transcript.h"

#include <algorithm>
#include <sstream>

namespace {

constexpr char k_any[] = "...";

using line_place = std::vector<std::string>::const_iterator;

bool is_any_lines(const std::string &line)
{
    const std::size_t begin = line.find_first_not_of(' ');
    return begin != std::string::npos && line.substr(begin) == k_any;
}

// With "..." for any text.
bool line_fits(const std::string &expected, const std::string &came)
{
    std::size_t at = 0;
    std::size_t from = 0;
    for (bool is_first = true; from <= expected.size(); is_first = false) {
        const std::size_t end = std::min(expected.find(k_any, from), expected.size());
        const std::string part = expected.substr(from, end - from);
        const bool is_last = end == expected.size();
        const std::size_t found =
            is_last && !is_first && came.size() >= at + part.size() ? came.size() - part.size() : came.find(part, at);
        if (found == std::string::npos || (is_first && found != 0) || came.compare(found, part.size(), part) != 0) {
            return false;
        }
        at = found + part.size();
        if (is_last) {
            return at == came.size();
        }
        from = end + sizeof(k_any) - 1;
    }
    return at == came.size();
}

bool lines_fit(line_place expected, line_place expected_end, line_place came, line_place came_end)
{
    for (; expected != expected_end; ++expected, ++came) {
        if (is_any_lines(*expected)) {
            for (line_place rest = came;; ++rest) {
                if (lines_fit(expected + 1, expected_end, rest, came_end)) {
                    return true;
                }
                if (rest == came_end) {
                    return false;
                }
            }
        }
        if (came == came_end || !line_fits(*expected, *came)) {
            return false;
        }
    }
    return came == came_end;
}

} // namespace

std::vector<std::string> lines_of(const std::string &text)
{
    std::istringstream stream(text);
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);) {
        line.erase(line.find_last_not_of('\r') + 1);
        lines.push_back(line);
    }
    return lines;
}

std::vector<typed_command> transcript_of(const std::string &document)
{
    std::vector<typed_command> all;
    bool is_inside = false;
    for (const std::string &line : lines_of(document)) {
        if (line.compare(0, 3, "```") == 0) {
            is_inside = line == "```console";
        } else if (is_inside && line.compare(0, 2, "$ ") == 0) {
            all.push_back({line.substr(2), {}});
        } else if (is_inside && !all.empty()) {
            all.back().expected.push_back(line);
        }
    }
    return all;
}

bool is_as_told(const std::vector<std::string> &expected, const std::vector<std::string> &came)
{
    return lines_fit(expected.begin(), expected.end(), came.begin(), came.end());
}
