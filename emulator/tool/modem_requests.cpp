// What the modem behind a handset is told and tells, for one of its ports or both.

#include "emulator/tool/requests.h"

#include "emulator/tool/escapes.h"
#include "tool/failure.h"

#include <stdexcept>

namespace handset_tool {

using emulator::modem_control;

// What is shown of what it has heard: the end.
constexpr std::size_t k_shown_bytes = 300;

static std::string end_of(const std::string &bytes)
{
    return in_quotes(bytes.substr(bytes.size() - std::min(bytes.size(), k_shown_bytes)));
}

static json port_shown(bench &of, const std::string &port)
{
    const emulator::modem &modem = of.modem(port);
    const modem_control how = modem.control();
    return {{"there", of.is_modem_there(port)},
            {"silent", how.silent},
            {"refuses", how.refusal.empty() ? "" : in_quotes(how.refusal)},
            {"result", how.result},
            {"delay_ms", how.delay_ms},
            {"split", how.split},
            {"keeps", modem.memory()},
            {"heard", end_of(modem.received())}};
}

namespace {

struct modem_act {
    const char *name;
    void (*carry_out)(bench &of, const std::string &port, const json &request);
};

} // namespace

template <typename change_type>
static void change(bench &of, const std::string &port, const change_type &how)
{
    modem_control control = of.modem(port).control();
    how(control);
    of.modem(port).control(control);
}

static std::string text_of(const json &request)
{
    try {
        return emulator::unescaped(request.value("text", ""));
    } catch (const std::runtime_error &error) {
        throw std::invalid_argument(error.what() + std::string(": escapes are \\r \\n \\t \\\" \\\\ \\{ and \\xHH"));
    }
}

static void silence(bench &of, const std::string &port, const json &request)
{
    change(of, port, [&](modem_control &how) { how.silent = request.value("value", 1L) != 0; });
}

static void refuse(bench &of, const std::string &port, const json &request)
{
    const std::string text = text_of(request);
    change(of, port, [&](modem_control &how) { how.refusal = text; });
}

static void delay(bench &of, const std::string &port, const json &request)
{
    change(of, port, [&](modem_control &how) { how.delay_ms = request.value("value", 0); });
}

static void split(bench &of, const std::string &port, const json &request)
{
    change(of, port, [&](modem_control &how) { how.split = request.value("value", std::size_t{0}); });
}

static void result(bench &of, const std::string &port, const json &request)
{
    change(of, port, [&](modem_control &how) { how.result = request.value("value", std::uint32_t{0}); });
}

static void teach(bench &of, const std::string &port, const json &request)
{
    try {
        of.modem(port).teach(request.value("text", ""));
    } catch (const std::runtime_error &error) {
        throw std::invalid_argument(error.what() + std::string(": a rule is 'COMMAND => ANSWER'"));
    }
}

// clang-format off
constexpr modem_act k_acts[] = {
    {"show",    [](bench &, const std::string &, const json &) {}},
    {"silence", silence},
    {"refuse",  refuse},
    {"delay",   delay},
    {"split",   split},
    {"result",  result},
    {"rule",    teach},
    {"reset",   [](bench &of, const std::string &port, const json &) { of.modem(port).reset(); }},
    {"say",     [](bench &of, const std::string &port, const json &r) { of.modem(port).say(text_of(r)); }},
    {"hang-up", [](bench &of, const std::string &port, const json &) { of.hang_up_modem(port); }},
    {"return",  [](bench &of, const std::string &port, const json &) { of.return_modem(port); }},
};
// clang-format on

json modem_request(bench &of, const json &request)
{
    const std::string act = request.value("act", "show");
    json answer;
    for (const std::string &port : request.value("ports", std::vector<std::string>{"data", "at"})) {
        for (const modem_act &row : k_acts) {
            if (act == row.name) {
                row.carry_out(of, port, request);
            }
        }
        answer[port] = port_shown(of, port);
    }
    return answer;
}

} // namespace handset_tool
