// Programs that a keeper runs in the handset for somebody who waits for their end: with the descriptors of that one, or
// at a tty of their own, whose far end that one gets.

#include "emulator/tool/keeper_loop.h"

#include "tool/failure.h"

#include <poll.h>

namespace handset_tool {

using emulator::descriptor;
using tool::exit_code;
using tool::failure;

// The handset has few tools of its own; this machine's stand behind them.
static emulator::program shell_program(const json &request)
{
    emulator::program what;
    what.path = "/system/bin/sh";
    what.environment = {"PATH=/system/bin:/usr/bin:/usr/sbin", "HOME=/data/local/tmp",
                        "TERM=" + request.value("term", "dumb"),
                        "PS1=" + request.value("prompt", "handset") + ":$PWD $ "};
    return what;
}

// One word is a line for the shell; more are a program with its arguments, which the shell only looks for. Their bytes
// come as digits.
static std::vector<std::string> shell_arguments(const json &request)
{
    std::vector<std::string> words;
    for (const std::string &digits : request.value("words", std::vector<std::string>())) {
        words.push_back(from_digits(digits));
    }
    if (words.empty()) {
        return {"-s"};
    }
    std::vector<std::string> arguments = {"-c", words.size() == 1 ? words[0] : "\"$@\""};
    if (words.size() > 1) {
        arguments.emplace_back("sh"); // how its messages call it
        arguments.insert(arguments.end(), words.begin(), words.end());
    }
    return arguments;
}

// A status as a shell tells it.
static int status_number(const emulator::exit_status &end)
{
    constexpr int k_by_signal = 128;
    return end.how == emulator::exit_status::kind::exited ? end.number : k_by_signal + end.number;
}

// A session of its own at a new tty.
void keeper_loop::start_at_tty(const json &request, descriptor &connection)
{
    const std::string device = "/dev/ttySHELL" + std::to_string(m_shell_count++);
    emulator::tty port = m_bench->handset.open_tty(device, emulator::tty_mode::as_created);
    emulator::program what = shell_program(request);
    what.arguments = {"-c", "exec /usr/bin/setsid -c -w /system/bin/sh -i <" + device + " >" + device + " 2>&1"};
    emulator::process program = m_bench->handset.start(what);
    (void)send_line(connection.get(), {{"tty", device}}, {port.fd()});
    m_shells.push_back({std::move(connection), program, device});
}

// False when it cannot be, which is then told like for any other verb.
bool keeper_loop::start_shell(received_line &request, descriptor &connection)
{
    if (!m_bench->is_on()) {
        throw failure(exit_code::no_device, "the handset is off: handset up switches it on");
    }
    if (request.content.value("tty", false)) {
        start_at_tty(request.content, connection);
        return true;
    }
    if (request.descriptors.size() != 3) {
        return false;
    }
    emulator::program what = shell_program(request.content);
    what.arguments = shell_arguments(request.content);
    what.in = request.descriptors[0].get();
    what.out = request.descriptors[1].get();
    what.err = request.descriptors[2].get();
    m_shells.push_back({std::move(connection), m_bench->handset.start(what), ""});
    return true;
}

// Nobody waits for it any more: it and what it has started are told, then ended.
void keeper_loop::end_shell(shell &ended)
{
    const std::string group = std::to_string(ended.program.pid());
    ended.told_to_end = true;
    emulator::program what;
    what.path = "/system/bin/sh";
    what.environment = {"PATH=/usr/bin"};
    what.arguments = {"-c", "kill -HUP -" + group + "; sleep 1; kill -KILL -" + group};
    (void)m_bench->handset.start(what);
}

void keeper_loop::look_after_shells()
{
    for (auto each = m_shells.begin(); each != m_shells.end();) {
        if (each->program.running()) {
            pollfd end = {each->connection.get(), POLLIN, 0};
            if (!each->told_to_end && poll(&end, 1, 0) > 0) {
                end_shell(*each);
            }
            ++each;
            continue;
        }
        if (!each->device.empty() && m_bench->is_on()) {
            m_bench->handset.remove_device(each->device);
        }
        (void)send_line(each->connection.get(), {{"exit", status_number(each->program.wait())}});
        each = m_shells.erase(each);
    }
}

} // namespace handset_tool
