// Telling, see report.h.

#include "tests/faults/sweep/report.h"

#include <cstdio>

namespace faults {

void report::add_scenario(const std::string &name, std::size_t places, std::size_t calls)
{
    const std::lock_guard lock(m_mutex);
    m_rows[name].places = places;
    m_rows[name].calls = calls;
}

static void tell(const char *heading, const fault_case &what, const std::vector<std::string> &mistakes)
{
    (void)printf("%s %s\n", heading, describe(what).c_str());
    for (const std::string &mistake : mistakes) {
        (void)printf("  %s\n", mistake.c_str());
    }
    (void)printf("  fault-sweep %s\n", arguments_for(what).c_str());
    (void)fflush(stdout);
}

void report::add(const fault_case &what, const played &seen, const std::vector<std::string> &before)
{
    const std::lock_guard lock(m_mutex);
    row &of = m_rows[what.of->name];
    of.cases++;
    of.unreached += seen.was_reached ? 0 : 1;
    of.outcomes[name_of(seen.seen)]++;
    if (!seen.mistakes.empty()) {
        of.wrong++;
        tell("WRONG", what, seen.mistakes);
    } else if (!before.empty()) {
        of.unsteady++;
        tell("UNSTEADY, wrong the first time:", what, before);
    }
    if (seen.row != k_no_row) {
        use &used = m_uses[seen.row];
        used.cases++;
        used.outcomes |= static_cast<unsigned>(seen.seen);
        used.after |= seen.used_after;
    }
}

// What is allowed and was not seen, as the table's words; some of it is a matter of timing.
static std::string unseen(const allowance &may, unsigned outcomes, unsigned after)
{
    std::string text;
    for (const outcome what :
         {outcome::answered, outcome::refused, outcome::cut, outcome::silent, outcome::ended, outcome::failed_start}) {
        const bool was_seen = (outcomes & static_cast<unsigned>(what)) != 0;
        text += may.has(what) && !was_seen ? std::string(" ") + name_of(what) : "";
    }
    for (const aftermath what :
         {aftermath::next_is_lost, aftermath::has_ended, aftermath::is_deaf, aftermath::is_torn}) {
        const bool was_seen = (after & static_cast<unsigned>(what)) != 0;
        text += may.has(what) && !was_seen ? std::string(" ") + name_of(what) : "";
    }
    return text;
}

bool report::tell_uses() const
{
    bool are_all_asked_for = true;
    const std::vector<verdict> table = verdicts();
    for (std::size_t i = 0; i < table.size(); i++) {
        const use &used = m_uses[i];
        const std::string in_vain = unseen(table[i].allowed, used.outcomes, used.after);
        if (used.cases == 0) {
            (void)printf("never asked for: %s\n", table[i].text.c_str());
            are_all_asked_for = false;
        } else if (!in_vain.empty()) {
            (void)printf("allowed and not seen:%s: %s\n", in_vain.c_str(), table[i].text.c_str());
        }
    }
    return are_all_asked_for;
}

bool report::finish(bool is_whole)
{
    const std::lock_guard lock(m_mutex);
    std::size_t cases = 0;
    std::size_t wrong = 0;
    std::size_t unsteady = 0;
    (void)printf("%-28s %6s %6s %6s %6s %8s %6s  %s\n", "scenario", "places", "calls", "cases", "wrong", "unsteady",
                 "unmet", "what came of them");
    for (const auto &[name, of] : m_rows) {
        std::string outcomes;
        for (const auto &[what, count] : of.outcomes) {
            outcomes += what + " " + std::to_string(count) + "  ";
        }
        (void)printf("%-28s %6zu %6zu %6zu %6zu %8zu %6zu  %s\n", name.c_str(), of.places, of.calls, of.cases, of.wrong,
                     of.unsteady, of.unreached, outcomes.c_str());
        cases += of.cases;
        wrong += of.wrong;
        unsteady += of.unsteady;
    }
    (void)printf("%zu cases, %zu wrong, %zu unsteady\n", cases, wrong, unsteady);
    const bool is_good = !is_whole || tell_uses();
    return is_good && cases > 0 && wrong == 0;
}

} // namespace faults
