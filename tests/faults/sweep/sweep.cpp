// Recording and playing, see sweep.h.

#include "tests/faults/sweep/sweep.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <exception>
#include <stdexcept>
#include <thread>

namespace faults {

namespace {

constexpr unsigned k_patient = 3; // how much longer a case that went wrong is given from the second time on
constexpr unsigned k_more = 3;    // how often it has to be right then

std::vector<const scenario *> chosen(const options &what)
{
    std::vector<const scenario *> result;
    for (const scenario &row : scenarios()) {
        const auto begins = [&row](const std::string &with) { return row.name.compare(0, with.size(), with) == 0; };
        if (what.scenarios.empty() || std::any_of(what.scenarios.begin(), what.scenarios.end(), begins)) {
            result.push_back(&row);
        }
    }
    if (result.empty()) {
        throw std::runtime_error("no scenario is called so");
    }
    return result;
}

void list(const scenario &of, const std::vector<place> &places)
{
    for (const place &where : places) {
        (void)printf("%s %llx %s(%s) %u times, from%s\n", of.name.c_str(), static_cast<unsigned long long>(where.key),
                     k_fault_functions[static_cast<std::uint32_t>(where.function)], where.target.c_str(), where.count,
                     where.frames.c_str());
    }
}

std::vector<fault_case> make_cases(const options &what, report &seen)
{
    player recorder;
    recorder.set_slack(what.slack);
    std::vector<fault_case> result;
    for (const scenario *of : chosen(what)) {
        const std::vector<place> places = recorder.record(*of);
        if (!what.only.empty()) {
            result.push_back(case_from(*of, places, what.only));
            continue;
        }
        std::size_t calls = 0;
        for (const place &where : places) {
            calls += where.count;
        }
        seen.add_scenario(of->name, places.size(), calls);
        if (what.is_list) {
            list(*of, places);
        }
        const std::vector<fault_case> cases = cases_for(*of, places, what.is_thorough);
        result.insert(result.end(), cases.begin(), cases.end());
    }
    return result;
}

// Every so many-th, so that about as many as wanted are left.
std::vector<fault_case> sampled(std::vector<fault_case> cases, unsigned wanted)
{
    if (wanted == 0 || cases.size() <= wanted) {
        return cases;
    }
    std::vector<fault_case> result;
    for (std::size_t i = 0; i < wanted; i++) {
        result.push_back(cases[i * cases.size() / wanted]);
    }
    return result;
}

played play_once(const fault_case &what, player &on)
{
    try {
        return on.play(what);
    } catch (const std::runtime_error &error) { // of the handset, not of the service
        played result;
        result.mistakes.emplace_back(error.what());
        return result;
    }
}

// A machine that is busy may be late: what goes wrong is played again, more patiently. It counts as unsteady then, and
// as wrong unless it is right every time.
void play_one(const fault_case &what, player &on, unsigned slack, report &seen)
{
    on.set_slack(slack);
    played result = play_once(what, on);
    const std::vector<std::string> before = result.mistakes;
    on.set_slack(slack * k_patient);
    for (unsigned i = 0; i < k_more && !before.empty() && (i == 0 || result.mistakes.empty()); i++) {
        result = play_once(what, on);
    }
    seen.add(what, result, before);
}

void work(const std::vector<fault_case> &cases, std::atomic<std::size_t> &next, player &on, unsigned slack,
          report &seen)
{
    for (std::size_t i = next++; i < cases.size(); i = next++) {
        play_one(cases[i], on, slack, seen);
    }
}

} // namespace

void sweep(const options &what, report &seen)
{
    check_verdicts();
    const std::vector<fault_case> cases = sampled(make_cases(what, seen), what.sample);
    std::atomic<std::size_t> next{0};
    if (what.is_list) {
        return;
    }
    (void)printf("%zu cases\n", cases.size());
    (void)fflush(stdout);
    const std::size_t jobs = std::min<std::size_t>(what.jobs, cases.size());
    std::vector<player> players(jobs); // made before any thread: what one installs another's child may hold open
    std::vector<std::exception_ptr> errors(jobs);
    std::vector<std::thread> workers;
    for (std::size_t i = 0; i < jobs; i++) {
        workers.emplace_back([&, i] {
            try {
                work(cases, next, players[i], what.slack, seen);
            } catch (const std::exception &) {
                errors[i] = std::current_exception();
            }
        });
    }
    for (std::thread &worker : workers) {
        worker.join();
    }
    for (const std::exception_ptr &error : errors) {
        if (error) {
            std::rethrow_exception(error);
        }
    }
}

} // namespace faults
