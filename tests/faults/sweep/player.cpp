// Playing, see player.h.

#include "tests/faults/sweep/player.h"

#include "station/text.h"
#include "tests/faults/sweep/torn.h"

#include <signal.h>

#include <algorithm>
#include <stdexcept>
#include <thread>

namespace faults {

namespace {

constexpr auto k_answer_time = 10s; // a modem's port that is opened again takes some seconds
constexpr auto k_silence = 1500ms;  // where silence is expected
constexpr auto k_start_time = 20s;
constexpr auto k_end_time = 5s;

bool has_ended(outcome what)
{
    return what == outcome::ended || what == outcome::failed_start;
}

// Whether it may have ended in this way; of an ending, only with 0.
bool is_allowed_end(const fault_case &what, const allowance &may, const emulator::exit_status &status)
{
    const bool may_succeed = what.of->when == phase::ending || may.has(outcome::ended) || may.has(aftermath::has_ended);
    return (may_succeed && status == emulator::exited(0)) ||
           (may.has(outcome::failed_start) && status == emulator::exited(may.status));
}

} // namespace

outcome player::run_start(const scenario &what, patience limit)
{
    m_bench.start(what.how);
    if (!wait_started(m_bench, wait_for(k_start_time))) {
        return outcome::silent;
    }
    return what.play(m_bench, limit);
}

outcome player::run_ending(patience limit)
{
    (void)m_bench.service().signal(SIGTERM);
    try {
        (void)m_bench.service().wait(limit.longest);
    } catch (const std::runtime_error &) {
        return outcome::silent;
    }
    return m_bench.service().wait() == emulator::exited(0) ? outcome::answered : outcome::failed_start;
}

outcome player::run(const scenario &what, patience limit)
{
    switch (what.when) {
    case phase::start:
        return run_start(what, limit);
    case phase::running:
        return what.play(m_bench, limit);
    case phase::ending:
        return run_ending(wait_for(k_end_time));
    }
    return outcome::silent;
}

// Until the fault: a service that runs, files as before, nothing on its way.
void player::make_ready(const scenario &what)
{
    m_bench.let_go();
    m_bench.lay_out(what.files);
    if (what.when == phase::start) {
        m_bench.end();
        m_bench.lay_out(what.files); // the last one may have written to the end
    } else if (!m_bench.is_running(what.how)) {
        m_bench.start(what.how);
        if (!wait_started(m_bench, wait_for(k_start_time)) || !is_well(m_bench, wait_for(k_answer_time))) {
            throw std::runtime_error(what.name + ": the service does not start even without a fault: " +
                                     m_bench.service().out() + m_bench.service().err());
        }
    }
    if (what.when != phase::start) {
        m_bench.hear_out(2ms);
        m_open_before = m_bench.descriptors();
    }
    if (what.prepare) {
        what.prepare(m_bench);
    }
}

std::vector<place> player::record(const scenario &what)
{
    make_ready(what);
    m_bench.arm(nullptr);
    const outcome seen = run(what, wait_for(k_answer_time));
    m_bench.let_go();
    if (seen != outcome::answered) {
        throw std::runtime_error(what.name + ": " + name_of(seen) + " even without a fault");
    }
    played result;
    judge_files(what, {}, "without a fault", result);
    if (!result.mistakes.empty()) {
        throw std::runtime_error(what.name + ": " + result.mistakes.front());
    }
    if (what.when == phase::start) {
        (void)is_well(m_bench, wait_for(k_answer_time));
        m_descriptors[what.name] = m_bench.descriptors();
    }
    return places_in(m_bench.block());
}

played player::play(const fault_case &what)
{
    const scenario &of = *what.of;
    if (of.when == phase::start && m_descriptors.count(of.name) == 0) {
        (void)record(of);
    }
    make_ready(of);
    const fault_plan plan = plan_for(what);
    const allowance may = allowed(what);
    m_bench.arm(&plan);
    played result;
    result.row = may.row;
    result.seen = run(of, wait_for(may.has(outcome::silent) ? k_silence : k_answer_time));
    result.was_reached = m_bench.block().hits > 0;
    if (result.was_reached && !may.has(result.seen)) {
        result.mistakes.push_back(std::string("what came of it is not allowed: ") + name_of(result.seen) + ", " +
                                  station::quoted(m_bench.heard));
    }
    if (of.when == phase::ending || has_ended(result.seen) || !m_bench.is_running()) {
        judge_end(what, may, result);
    } else {
        judge_running(what, may, result);
    }
    return result;
}

void player::judge_end(const fault_case &what, const allowance &may, played &result)
{
    m_bench.let_go();
    if (m_bench.is_running()) {
        result.mistakes.emplace_back("SIGTERM does not end it in time");
        m_bench.end();
    }
    const emulator::exit_status status = m_bench.service().wait();
    if (!is_allowed_end(what, may, status)) {
        result.mistakes.push_back("it has ended by itself: " + to_string(status) + ": " + m_bench.service().err());
    }
    judge_files(*what.of, may, "at the end", result);
    start_afresh(what.of->how, result);
}

// Behind what may be lost with the fault, everything is answered again.
bool player::is_well_again(const allowance &may, played &result)
{
    if (is_well(m_bench, wait_for(may.after == 0 ? k_answer_time : k_silence))) {
        return true;
    }
    if (!may.has(aftermath::next_is_lost) || !m_bench.is_running()) {
        return false;
    }
    m_bench.modem->reset(); // of half a request, which it would complete with the next
    m_bench.at->reset();
    const bool is_well_now = is_well(m_bench, wait_for(k_answer_time));
    result.used_after |= is_well_now ? static_cast<unsigned>(aftermath::next_is_lost) : 0;
    return is_well_now;
}

void player::judge_running(const fault_case &what, const allowance &may, played &result)
{
    if (what.lasts) {
        judge_descriptors(*what.of, "while it lasts", result);
    }
    m_bench.let_go();
    const bool is_good = is_well_again(may, result);
    if (!m_bench.is_running() && may.has(aftermath::has_ended)) {
        result.used_after |= static_cast<unsigned>(aftermath::has_ended);
        judge_end(what, may, result);
        return;
    }
    if (!is_good && may.has(aftermath::is_deaf) && m_bench.is_running()) {
        result.used_after |= static_cast<unsigned>(aftermath::is_deaf);
    } else if (!is_good) {
        result.mistakes.push_back(std::string("the next request is not answered as it should be") +
                                  (m_bench.is_running() ? "" : ": the service has ended"));
    }
    judge_descriptors(*what.of, "once it is over", result);
    judge_files(*what.of, may, "once it is over", result);
    if (what.lasts || what.of->when == phase::start || !result.mistakes.empty() || !is_good) {
        (void)end_by_signal(result);
    }
    if (what.lasts) {
        start_afresh(what.of->how, result);
    }
}

// Old or new, and whole; cut only where one write is all that a file is made by.
void player::judge_files(const scenario &what, const allowance &may, const char *when, played &result)
{
    for (const watched_file &file : what.files) {
        const std::string content = m_bench.content(file.path);
        if (content == file.before || content == file.after) {
            continue;
        }
        if (may.has(aftermath::is_torn) && is_torn_as_allowed(file, content)) {
            result.used_after |= static_cast<unsigned>(aftermath::is_torn);
        } else {
            result.mistakes.push_back(file.path + " holds " + station::quoted(content) + " " + when);
        }
    }
}

bool player::end_by_signal(played &result)
{
    if (m_bench.is_running()) {
        (void)m_bench.service().signal(SIGTERM);
    }
    try {
        const emulator::exit_status status = m_bench.service().wait(wait_for(k_end_time).longest);
        if (status == emulator::exited(0)) {
            return true;
        }
        result.mistakes.push_back(to_string(status) + " when it was ended: " + m_bench.service().err());
    } catch (const std::runtime_error &) {
        result.mistakes.emplace_back("SIGTERM does not end it in time");
        (void)m_bench.service().signal(SIGKILL);
        (void)m_bench.service().wait();
    }
    return false;
}

void player::start_afresh(arrangement how, played &result)
{
    m_bench.start(how);
    if (!wait_started(m_bench, wait_for(k_start_time)) || !m_bench.is_running()) {
        result.mistakes.emplace_back("it does not start again");
    } else if (!is_well(m_bench, wait_for(k_answer_time))) {
        result.mistakes.emplace_back("started again, it does not answer as it should");
    }
}

void player::judge_descriptors(const scenario &of, const char *when, played &result)
{
    const std::size_t at_most = of.when == phase::start ? m_descriptors[of.name] : m_open_before;
    const emulator::deadline until(wait_for(1s).longest);
    std::size_t open = 0;
    while (m_bench.is_running()) { // a worker may just be about to close its own, or the service about to end
        try {
            open = m_bench.descriptors();
        } catch (const std::exception &) {
            return;
        }
        if (open <= at_most) {
            return;
        }
        if (until.passed()) {
            result.mistakes.push_back("descriptors are left open " + std::string(when) + ": " + std::to_string(open) +
                                      " in place of " + std::to_string(at_most));
            return;
        }
        std::this_thread::sleep_for(5ms);
    }
}

} // namespace faults
