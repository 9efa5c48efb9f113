// Nearest names, see nearest.h.

#include "emulator/tool/nearest.h"

#include <algorithm>
#include <numeric>
#include <utility>

namespace handset_tool {

// How many letters have to be changed, added or left out.
static std::size_t distance(const std::string &from, const std::string &to)
{
    std::vector<std::size_t> row(to.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 0; i < from.size(); i++) {
        std::size_t corner = std::exchange(row[0], i + 1);
        for (std::size_t j = 0; j < to.size(); j++) {
            const std::size_t changed = corner + (from[i] == to[j] ? 0 : 1);
            corner = row[j + 1];
            row[j + 1] = std::min({row[j] + 1, corner + 1, changed});
        }
    }
    return row.back();
}

std::string nearest(const std::string &typed, const std::vector<std::string> &names)
{
    std::vector<std::pair<std::size_t, std::string>> near;
    for (const std::string &name : names) {
        const bool holds = typed.size() > 2 && name.find(typed) != std::string::npos;
        const std::size_t far = holds ? 0 : distance(typed, name);
        if (far <= std::max<std::size_t>(2, typed.size() / 3)) {
            near.emplace_back(far, name);
        }
    }
    std::stable_sort(near.begin(), near.end(), [](const auto &a, const auto &b) { return a.first < b.first; });
    near.resize(std::min<std::size_t>(near.size(), 3));
    std::string text;
    for (std::size_t i = 0; i < near.size(); i++) {
        text += (i == 0 ? "" : i + 1 == near.size() ? " or " : ", ") + near[i].second;
    }
    return text;
}

} // namespace handset_tool
