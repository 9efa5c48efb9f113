// Telling cut files from spoilt ones, see torn.h.

#include "tests/faults/sweep/torn.h"

namespace faults {

namespace {

constexpr char k_untested[] = "0\n";
constexpr std::size_t k_item = sizeof(k_untested) - 1;

bool begins(const std::string &text, const std::string &beginning)
{
    return text.compare(0, beginning.size(), beginning) == 0;
}

std::string untested(std::size_t length)
{
    std::string text;
    while (text.size() < length) {
        text += k_untested;
    }
    return text;
}

bool is_of_verdicts(const std::string &content)
{
    return content.size() > k_item && content.size() % k_item == 0 && content[1] == '\n' && content[k_item + 1] == '\n';
}

// One item at most is another.
bool differs_in_one(const std::string &content, const std::string &from)
{
    if (content.size() != from.size()) {
        return false;
    }
    std::size_t changed = 0;
    for (std::size_t i = 0; i < content.size(); i++) {
        const bool is_verdict = i % k_item == 0 && content[i] >= '0' && content[i] <= '2';
        if (content[i] != from[i] && !is_verdict) {
            return false;
        }
        changed += content[i] != from[i] ? 1 : 0;
    }
    return changed <= 1;
}

} // namespace

bool is_torn_as_allowed(const watched_file &file, const std::string &content)
{
    if (!is_of_verdicts(file.after)) {
        return file.before != file.after && (begins(file.after, content) || content == file.besides);
    }
    const std::string made = untested(file.after.size());
    return begins(made, content) || differs_in_one(content, made) || differs_in_one(content, file.before);
}

} // namespace faults
