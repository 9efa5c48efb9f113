// Opening, asking and printing, see workplace.h.

#include "station/tool/workplace.h"

#include "station/text.h"
#include "tool/failure.h"
#include "tool/program.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <future>
#include <iostream>
#include <stdexcept>

namespace station_tool {

using tool::exit_code;

constexpr int k_look_ms = 50; // for a port that is not there yet

// --- how what was thrown is told

static report failed(exit_code code, const char *what)
{
    report told;
    told.code = code;
    told.error = what;
    return told;
}

static report ask_or_fail(const verb &what, const target &asked, const settings &given)
{
    try {
        return what.ask(asked, given);
    } catch (const tool::failure &error) {
        return failed(error.code(), error.what());
    } catch (const std::invalid_argument &error) {
        return failed(exit_code::usage, error.what());
    } catch (const station::refused &error) {
        return failed(exit_code::refused, error.what());
    } catch (const station::timeout &error) {
        return failed(exit_code::no_answer, error.what());
    } catch (const station::malformed &error) {
        return failed(exit_code::malformed, error.what());
    } catch (const station::lost &error) {
        return failed(exit_code::no_device, error.what());
    } catch (const station::stopped &error) {
        return failed(exit_code::interrupted, error.what());
    } catch (const std::exception &error) {
        return failed(exit_code::refused, error.what());
    }
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
        line["error"] = as_printable(told.error);
    }
    line["result"] = told.result;
    return line;
}

void print(const report &told, const settings &given, const std::string &port, bool several)
{
    if (given.json) {
        std::cout << in_envelope(told, given, port).dump() << '\n';
    } else {
        std::cout << (several ? port + ":\n" : "") << told.text;
    }
    std::cout << std::flush;
    if (!told.error.empty()) {
        const std::string line = "amt-station: " + (port.empty() ? "" : port + ": ") + told.error;
        std::cerr << tool::coloured(line, tool::colour::red, tool::in_colour(STDERR_FILENO)) << '\n';
    }
}

tool::exit_code tell(const verb &what, const settings &given)
{
    const report told = what.tell(given);
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

void workplace::open(const place &where, bool wait)
{
    while (true) {
        try {
            require_there(where);
            seat taken = {where, std::make_unique<station::port>(where.path), nullptr};
            taken.handset = std::make_unique<station::dialogue>(taken.port->fd(), where.framing);
            taken.handset->stop_at(tool::interrupt_fd());
            m_seats.push_back(std::move(taken));
            return;
        } catch (const station::no_port &error) {
            if (!wait || !error.is_missing()) {
                throw;
            }
        }
        wait_a_little();
    }
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

workplace::workplace(const settings &given)
{
    const std::vector<place> places = places_awaited(given);
    for (std::size_t i = 0; i < places.size(); i++) {
        const auto is_same = [&](const place &other) { return other.path == places[i].path; };
        if (std::any_of(places.begin(), places.begin() + static_cast<std::ptrdiff_t>(i), is_same)) {
            throw std::invalid_argument(places[i].name + " is named twice: name each port once");
        }
    }
    for (const place &where : places) {
        open(where, given.wait);
    }
    if (!given.trace.empty()) {
        m_trace = std::make_unique<trace>(given.trace);
    }
}

// --- asking

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
    std::string answer;
    (void)std::getline(std::cin, answer);
    tool::check_interrupted();
    if (answer != "y" && answer != "Y" && answer != "yes") {
        throw tool::failure(exit_code::interrupted, "nothing was done");
    }
}

void workplace::watch(const settings &given)
{
    for (const seat &each : m_seats) {
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

tool::exit_code workplace::ask(const verb &what, const settings &given)
{
    if (what.question != nullptr && !given.yes) {
        confirm(what.question);
    }
    watch(given);
    std::vector<std::future<report>> reports;
    for (const seat &each : m_seats) {
        const auto asking = [&] { return ask_or_fail(what, {each.where, *each.handset}, given); };
        reports.push_back(std::async(m_seats.size() > 1 ? std::launch::async : std::launch::deferred, asking));
    }
    exit_code worst = exit_code::done;
    for (std::size_t i = 0; i < reports.size(); i++) {
        const report told = reports[i].get();
        print(told, given, m_seats[i].where.name, m_seats.size() > 1);
        worst = std::max(worst, told.code);
    }
    return worst;
}

} // namespace station_tool
