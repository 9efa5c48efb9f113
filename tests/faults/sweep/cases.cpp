// Making and naming the cases, see cases.h.

#include "tests/faults/sweep/cases.h"

#include <algorithm>
#include <cerrno>
#include <limits>
#include <sstream>
#include <stdexcept>

namespace faults {

namespace {

constexpr std::uint32_t k_first_calls = 3;
constexpr std::uint32_t k_interruptions = 100; // no kernel interrupts without end

std::vector<std::uint32_t> ordinals_of(const place &where)
{
    std::vector<std::uint32_t> result;
    const std::uint32_t first = is_telling(where.target) ? 1 : k_first_calls;
    for (std::uint32_t i = 1; i <= std::min(where.count, first); i++) {
        result.push_back(i);
    }
    if (where.count > first && first > 1) {
        result.push_back(where.count);
    }
    return result;
}

std::string in_hexadecimal(std::uint64_t number)
{
    std::ostringstream text;
    text << std::hex << number;
    return text.str();
}

} // namespace

std::vector<place> places_in(const fault_block &block)
{
    std::vector<place> result;
    for (const fault_site &site : block.sites) {
        if (site.key == 0) {
            continue;
        }
        std::string frames;
        for (const std::uint32_t offset : site.frames) {
            frames += offset != 0 ? " " + in_hexadecimal(offset) : "";
        }
        result.push_back({site.key, site.count, site.order, site.function, site.target, frames});
    }
    std::sort(result.begin(), result.end(), [](const place &a, const place &b) { return a.order < b.order; });
    return result;
}

std::vector<fault_case> cases_for(const scenario &of, const std::vector<place> &places, bool thorough)
{
    std::vector<fault_case> result;
    std::size_t deal = 0;
    for (const place &where : places) {
        const std::vector<const kind *> kinds = kinds_for(where.function, where.target);
        const bool is_dealt = is_telling(where.target) && !thorough && !kinds.empty();
        deal += is_dealt ? 1 : 0;
        for (const std::uint32_t ordinal : ordinals_of(where)) {
            for (const kind *how : kinds) {
                for (const bool lasts : {false, true}) {
                    if (!is_dealt || (how == kinds[deal % kinds.size()] && lasts == (deal / kinds.size() % 2 == 1))) {
                        result.push_back({&of, where, ordinal, how, lasts});
                    }
                }
            }
        }
    }
    return result;
}

fault_plan plan_for(const fault_case &what)
{
    const bool is_interruption = what.how->error == EINTR;
    fault_plan plan = {};
    plan.key = what.where.key;
    plan.ordinal = what.ordinal;
    plan.repeat = !what.lasts ? 1 : is_interruption ? k_interruptions : std::numeric_limits<std::uint32_t>::max();
    plan.error = what.how->error;
    plan.effect = what.how->effect;
    plan.reach = !what.lasts                     ? fault_reach::place
                 : is_telling(what.where.target) ? fault_reach::target // the disk's own cases are those of its files
                                                 : what.how->reach;
    return plan;
}

std::string arguments_for(const fault_case &what)
{
    return what.of->name + " --case " + in_hexadecimal(what.where.key) + ":" + std::to_string(what.ordinal) + ":" +
           what.how->name + ":" + (what.lasts ? "lasting" : "once");
}

std::string describe(const fault_case &what)
{
    const std::string function = k_fault_functions[static_cast<std::uint32_t>(what.where.function)];
    return what.of->name + ": " + function + "(" + what.where.target + ") call " + std::to_string(what.ordinal) + ", " +
           what.how->name + (what.lasts ? " lasting" : " once") + ", from" + what.where.frames;
}

fault_case case_from(const scenario &of, const std::vector<place> &places, const std::string &text)
{
    fault_case result;
    result.of = &of;
    std::istringstream parts(text);
    std::string key;
    std::string ordinal;
    std::string how;
    std::string duration;
    if (!std::getline(parts, key, ':') || !std::getline(parts, ordinal, ':') || !std::getline(parts, how, ':') ||
        !std::getline(parts, duration)) {
        throw std::runtime_error("a case is KEY:CALL:FAULT:once or KEY:CALL:FAULT:lasting");
    }
    const std::uint64_t number = std::stoull(key, nullptr, 16);
    const auto found = std::find_if(places.begin(), places.end(), [&](const place &p) { return p.key == number; });
    if (found == places.end()) {
        throw std::runtime_error(of.name + " does not come by " + key);
    }
    result.where = *found;
    result.ordinal = static_cast<std::uint32_t>(std::stoul(ordinal));
    result.how = kind_named(how);
    result.lasts = duration == "lasting";
    return result;
}

} // namespace faults
