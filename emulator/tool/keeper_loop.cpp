// The keeper's requests, see keeper_loop.h. While one is being carried out, what only asks is answered as well.

#include "emulator/tool/keeper_loop.h"

#include "emulator/tool/requests.h"
#include "tool/failure.h"

#include <poll.h>
#include <sys/signalfd.h>

#include <algorithm>
#include <csignal>
#include <iostream>

namespace handset_tool {

using namespace std::chrono_literals;
using emulator::descriptor;
using tool::exit_code;
using tool::failure;

constexpr int k_look_ms = 100;      // between looks after the handset
constexpr int k_shell_look_ms = 10; // while somebody waits for a program's end
constexpr auto k_request_wait = 5s; // for the rest of a request that has begun

static descriptor hold_signals()
{
    sigset_t ending;
    sigemptyset(&ending);
    for (const int number : {SIGTERM, SIGINT, SIGHUP}) {
        sigaddset(&ending, number);
    }
    (void)pthread_sigmask(SIG_BLOCK, &ending, nullptr);
    return descriptor(signalfd(-1, &ending, SFD_CLOEXEC | SFD_NONBLOCK));
}

keeper_loop::keeper_loop(const bench_options &options, int listener)
    : m_listener(listener)
    , m_signals(hold_signals())
    , m_bench(std::make_unique<bench>(options, [this] { idle(); }))
{
}

keeper_loop::~keeper_loop() = default;

keeper_loop::busy::busy(keeper_loop &loop, const std::string &verb, int caller)
    : m_loop(loop)
{
    m_loop.m_doing = verb;
    m_loop.m_caller = caller;
}

keeper_loop::busy::~busy()
{
    m_loop.m_doing.clear();
    m_loop.m_caller = -1;
}

static bool is_readable(int fd)
{
    pollfd end = {fd, POLLIN, 0};
    return poll(&end, 1, 0) > 0;
}

bool keeper_loop::is_told_to_end() const
{
    return m_ending || is_readable(m_signals.get());
}

// Called while the bench waits: gives up when nobody wants it any more.
void keeper_loop::idle()
{
    if (is_told_to_end()) {
        throw failure(exit_code::no_device, "the handset goes down");
    }
    if (m_caller >= 0 && is_readable(m_caller)) { // it has said all that it has to say
        throw failure(exit_code::interrupted, "interrupted");
    }
    serve_all(true);
}

void keeper_loop::power_on(int caller)
{
    const busy now(*this, "up", caller);
    m_bench->power_on(m_bench->mode(), m_bench->is_plugged());
}

json keeper_loop::status()
{
    json status = status_of(*m_bench);
    if (!m_doing.empty()) {
        status["doing"] = m_doing;
    }
    return status;
}

// Until something is asked, or it is time to look after the handset.
void keeper_loop::pause() const
{
    std::vector<pollfd> ends = {{m_listener, POLLIN, 0}, {m_signals.get(), POLLIN, 0}};
    for (const descriptor &each : m_connected) {
        ends.push_back({each.get(), POLLIN, 0});
    }
    (void)poll(ends.data(), ends.size(), m_shells.empty() ? k_look_ms : k_shell_look_ms);
}

void keeper_loop::run()
{
    while (!is_told_to_end()) {
        serve_all(false);
        try {
            m_bench->look_after();
        } catch (const std::exception &error) {
            std::cerr << "handset-keeper: " << error.what() << '\n';
        }
        look_after_shells();
        pause();
    }
    end_in_order();
}

void keeper_loop::end_in_order()
{
    m_ending = false; // so that the service has its time; whoever tells us again does not leave it that
    signalfd_siginfo taken = {};
    while (read(m_signals.get(), &taken, sizeof(taken)) > 0) {
    }
    try {
        m_bench->stop_service();
    } catch (const std::exception &error) {
        std::cerr << "handset-keeper: " << error.what() << '\n';
    }
    m_bench->power_off();
    look_after_shells();
}

// Those who have connected are served when they have said something.
void keeper_loop::serve_all(bool in_between)
{
    while (descriptor connection = accept_from(m_listener)) {
        m_connected.push_back(std::move(connection));
    }
    for (std::size_t i = 0; i < m_connected.size();) {
        if (!is_readable(m_connected[i].get())) {
            i++;
            continue;
        }
        descriptor connection = std::move(m_connected[i]); // what it asks may bring us here again
        m_connected.erase(m_connected.begin() + static_cast<std::ptrdiff_t>(i));
        try {
            serve(std::move(connection), in_between);
        } catch (const std::exception &error) {
            std::cerr << "handset-keeper: " << error.what() << '\n';
        }
    }
}

void keeper_loop::serve(descriptor connection, bool in_between)
{
    std::optional<received_line> request = receive_line(connection.get(), k_request_wait);
    if (!request) {
        return; // somebody has looked whether we live
    }
    json answer;
    try {
        const std::string verb = request->content.value("verb", "");
        if (verb == "down") {
            m_ending = true;
            m_last_answer = std::move(connection); // closed when all has ended
            return;
        }
        if (verb == "shell" && !in_between && start_shell(*request, connection)) {
            return;
        }
        answer = carry_out(request->content, connection.get(), in_between);
    } catch (const std::exception &error) {
        answer = failure_answer(error);
    }
    (void)send_line(connection.get(), answer);
}

json keeper_loop::switch_on(const json &request)
{
    if (m_bench->is_on()) {
        throw failure(exit_code::no_device, "the handset is up already");
    }
    const run_mode mode = request.contains("mode") ? run_mode_of(request.value("mode", "")) : m_bench->mode();
    m_bench->power_on(mode, request.value("plugged", true));
    return status();
}

json keeper_loop::carry_out(const json &request, int connection, bool in_between)
{
    const std::string verb = request.value("verb", "");
    if (verb == "status") {
        return status();
    }
    if (in_between) {
        throw failure(exit_code::no_device, "the handset is busy with \"" + m_doing + "\": try again");
    }
    const busy now(*this, verb, connection);
    if (verb == "up") {
        return switch_on(request);
    }
    const request_verb *row = find_request(verb);
    if (row == nullptr) {
        throw failure(exit_code::usage, "the keeper knows no verb \"" + verb + "\": it is of another version");
    }
    if (!m_bench->is_on()) {
        throw failure(exit_code::no_device, "the handset is off: handset up switches it on");
    }
    return row->carry_out(*m_bench, request);
}

} // namespace handset_tool
