#include "tests/storms/logger_records.h"

#include <algorithm>
#include <cstdio>
#include <set>
#include <vector>

#include "pub/log/log_client.h"

namespace {

// Whether the text is a record's, with as many letters as it tells.
bool parse(const std::string &text, int writers, int &writer, long &number)
{
    int letters = -1;
    int begin = 0;
    if (std::sscanf(text.c_str(), "writer=%d number=%ld letters=%d %n", &writer, &number, &letters, &begin) != 3 ||
        writer < 0 || writer >= writers || letters != number % 97) {
        return false;
    }
    const std::string expected(static_cast<std::size_t>(letters), static_cast<char>('a' + writer));
    return text.compare(static_cast<std::size_t>(begin), std::string::npos, expected + ".") == 0;
}

} // namespace

std::string loss_in(std::string_view content, int writers, long records)
{
    struct kept {
        std::set<long> in_ring;
        std::set<long> behind; // the limit: of the last round, or of one before it
    };
    std::vector<kept> found(static_cast<std::size_t>(writers));
    for (std::size_t at = content.find("writer="); at != std::string_view::npos; at = content.find("writer=", at + 1)) {
        const std::string text(content.substr(at, content.find('\n', at) - at));
        int writer = 0;
        long number = 0;
        if (!parse(text, writers, writer, number)) {
            return "a damaged record: " + text;
        }
        kept &own = found[static_cast<std::size_t>(writer)];
        (at > SFW_LOG_SIZE_LIMIT ? own.behind : own.in_ring).insert(number);
    }
    const bool has_come_round = content.size() > SFW_LOG_SIZE_LIMIT;
    for (const kept &own : found) {
        const long oldest = own.in_ring.empty() ? records : *own.in_ring.begin();
        const long first = has_come_round ? oldest : 0;
        for (long number = first; number < records; number++) {
            if (own.in_ring.count(number) == 0 && own.behind.count(number) == 0) {
                return "of a writer's " + std::to_string(records) + " records " + std::to_string(number) +
                       " is not left";
            }
        }
    }
    return "";
}

std::string without_holes(std::string content)
{
    std::replace(content.begin(), content.end(), '\0', '\n');
    return content;
}
