// Opening, asking and printing, see workplace.h.

#include "station/tool/workplace.h"

#include "station/text.h"
#include "station/tool/shell.h"
#include "tool/failure.h"
#include "tool/program.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <functional>
#include <future>
#include <iostream>
#include <optional>
#include <stdexcept>

namespace station_tool {

namespace fs = std::filesystem;
using tool::exit_code;

constexpr int k_look_ms = 50; // for a port that is not there yet

// --- how what was thrown is told

static void end_with(report &told, exit_code code, const char *what)
{
    told.code = code;
    told.error = what + (told.error.empty() ? "" : "; " + told.error);
}

// The status and the line for what was thrown.
static void tell_failure(report &told, const std::exception_ptr &failure)
{
    try {
        std::rethrow_exception(failure);
    } catch (const tool::failure &error) {
        end_with(told, error.code(), error.what());
    } catch (const std::invalid_argument &error) {
        end_with(told, exit_code::usage, error.what());
    } catch (const station::no_port &error) {
        end_with(told, exit_code::no_device, error.what());
    } catch (const station::refused &error) {
        end_with(told, exit_code::refused, error.what());
    } catch (const station::timeout &error) {
        end_with(told, exit_code::no_answer, error.what());
    } catch (const station::malformed &error) {
        end_with(told, exit_code::malformed, error.what());
    } catch (const station::lost &error) {
        end_with(told, exit_code::no_device, error.what());
    } catch (const station::stopped &error) {
        end_with(told, exit_code::interrupted, error.what());
    } catch (const std::exception &error) {
        end_with(told, exit_code::refused, error.what());
    }
}

// What a body reports, or what it has thrown.
static report report_of(const std::function<report()> &body)
{
    report told;
    try {
        told = body();
    } catch (const std::exception &) {
        told.failure = std::current_exception();
    }
    if (told.failure) {
        tell_failure(told, told.failure);
    }
    return told;
}

static json in_envelope(const report &told, const settings &given, const std::string &port)
{
    json line = json::object();
    if (!port.empty()) {
        line["port"] = port;
    }
    line["verb"] = given.verb;
    line["code"] = static_cast<int>(told.code);
    if (!told.error.empty()) {
        line["error"] = told.error;
    }
    line["result"] = told.result;
    return line;
}

// The line of an error that says itself which port it is of needs no port in front.
static std::string line_of(const std::string &error, const std::string &port)
{
    return port.empty() || error.compare(0, port.size(), port) == 0 ? error : port + ": " + error;
}

static void print(const report &told, const settings &given, const std::string &port, bool several)
{
    if (given.json) {
        std::cout << in_envelope(told, given, port).dump(-1, ' ', false, json::error_handler_t::replace) << '\n';
    } else {
        std::cout << (several ? port + ":\n" : "") << told.text;
    }
    std::cout << std::flush;
    if (!told.error.empty()) {
        tool::say_error("amt-station: " + line_of(told.error, port));
    }
}

static exit_code print(const report &told, const settings &given)
{
    print(told, given, "", false);
    return told.code;
}

// --- the ports

static void wait_a_little()
{
    pollfd stop = {tool::interrupt_fd(), POLLIN, 0};
    (void)poll(&stop, 1, k_look_ms);
    tool::check_interrupted();
}

static std::unique_ptr<station::port> open_port(const place &where, bool wait)
{
    while (true) {
        try {
            require_there(where);
            return std::make_unique<station::port>(where.path, where.name);
        } catch (const station::no_port &error) {
            if (!wait || !error.is_missing()) {
                throw;
            }
        }
        wait_a_little();
    }
}

workplace::seat workplace::open(const place &where, bool wait)
{
    seat taken;
    taken.where = where;
    taken.fault = report_of([&] {
        taken.port = open_port(where, wait);
        taken.handset = std::make_unique<station::dialogue>(taken.port->fd(), where.framing);
        taken.handset->stop_at(tool::interrupt_fd());
        return report();
    });
    return taken;
}

static std::vector<place> places_awaited(const settings &given)
{
    while (true) {
        try {
            return places_of(given);
        } catch (const station::no_port &error) {
            if (!given.wait || !error.is_missing()) {
                throw;
            }
        }
        wait_a_little();
    }
}

// One tty has several paths, an emulated handset's above all.
static void require_different(const std::vector<place> &places)
{
    std::vector<fs::path> seen;
    for (const place &each : places) {
        const fs::path path = fs::weakly_canonical(each.path);
        if (std::find(seen.begin(), seen.end(), path) != seen.end()) {
            throw std::invalid_argument(each.name + " is named twice: name each port once");
        }
        seen.push_back(path);
    }
}

workplace::workplace(const settings &given)
{
    const std::vector<place> places = places_awaited(given);
    require_different(places);
    trace_to(given.trace);
    for (const place &where : places) {
        m_seats.push_back(open(where, given.wait));
    }
}

const report *workplace::fault() const
{
    const auto found =
        std::find_if(m_seats.begin(), m_seats.end(), [](const seat &each) { return each.handset == nullptr; });
    return found == m_seats.end() ? nullptr : &found->fault;
}

// A line of the shell may have a trace of its own.
void workplace::trace_to(const std::string &path)
{
    if (path != m_trace_path) {
        m_trace = path.empty() ? nullptr : std::make_unique<trace>(path);
        m_trace_path = path;
    }
}

// --- asking

// A signal that came before a read would not end it.
static void await_input()
{
    pollfd either[] = {{STDIN_FILENO, POLLIN, 0}, {tool::interrupt_fd(), POLLIN, 0}};
    while (poll(either, 2, -1) < 0 && errno == EINTR) {
        tool::check_interrupted();
    }
    tool::check_interrupted();
}

void workplace::confirm(const char *question) const
{
    if (isatty(STDIN_FILENO) == 0) {
        throw std::invalid_argument("this asks first, and standard input is no terminal: add --yes");
    }
    std::cerr << question;
    for (const seat &each : m_seats) {
        std::cerr << ' ' << each.where.name;
    }
    std::cerr << "? [y/N] " << std::flush;
    await_input();
    std::string answer;
    std::clearerr(stdin); // at a terminal an end of the input is that of one answer
    std::cin.clear();
    (void)std::getline(std::cin, answer);
    tool::check_interrupted();
    if (answer != "y" && answer != "Y" && answer != "yes") {
        throw tool::failure(exit_code::interrupted, "nothing was done");
    }
}

void workplace::watch(const settings &given)
{
    trace_to(given.trace);
    for (const seat &each : m_seats) {
        if (each.handset == nullptr) {
            continue;
        }
        each.handset->limit(given.timeout);
        each.handset->watch([this, verbose = given.verbose, name = each.where.name](const station::passing &what) {
            if (m_trace) {
                m_trace->write(name, what);
            }
            if (verbose) {
                std::cerr << (name + (what.to_handset ? " -> " : " <- ") + what.meaning + '\n') << std::flush;
            }
        });
    }
}

report workplace::ask(const seat &of, const verb &what, const settings &given)
{
    if (of.handset == nullptr) {
        return of.fault;
    }
    report told = report_of([&] { return what.ask({of.where, *of.handset}, given); });
    if (told.code == exit_code::no_answer && is_emulated(of.where)) {
        told.error += "; \"handset status --name " + of.where.path.parent_path().filename().string() +
                      "\" tells whether its service runs";
    }
    return told;
}

tool::exit_code workplace::ask(const verb &what, const settings &given)
{
    if (what.question != nullptr && !given.yes) {
        confirm(what.question);
    }
    watch(given);
    const bool several = m_seats.size() > 1;
    std::vector<std::future<report>> reports;
    for (const seat &each : m_seats) {
        reports.push_back(
            std::async(several ? std::launch::async : std::launch::deferred, [&] { return ask(each, what, given); }));
    }
    exit_code worst = exit_code::done;
    for (std::size_t i = 0; i < reports.size(); i++) {
        const report told = reports[i].get();
        print(told, given, m_seats[i].where.name, several);
        worst = std::max(worst, told.code);
    }
    return worst;
}

exit_code run_verb(const settings &given)
{
    const verb &what = *find_verb(given.verb);
    if (what.tell != nullptr) {
        return print(report_of([&] { return what.tell(given); }), given);
    }
    std::optional<workplace> handsets;
    const report opened = report_of([&] {
        handsets.emplace(given);
        return report();
    });
    if (opened.code != exit_code::done) {
        return print(opened, given);
    }
    if (what.ask != nullptr) {
        return handsets->ask(what, given);
    }
    return handsets->fault() != nullptr ? print(*handsets->fault(), given) : run_shell(*handsets, given);
}

} // namespace station_tool
