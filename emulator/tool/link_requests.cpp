// The faults of the cable between the station and the handset.

#include "emulator/tool/requests.h"

#include "tool/failure.h"

namespace handset_tool {

using emulator::cable;
using emulator::cable_end;

static json way(const cable &of, cable_end to)
{
    const emulator::cable_faults faults = of.faults(to);
    return {{"flip", faults.flip},       {"drop", faults.drop}, {"split", faults.split},
            {"stalled", faults.stalled}, {"kept", of.kept(to)}, {"passed", of.passed(to)}};
}

static json shown(const bench &of)
{
    return {{"cut", of.is_cut()},
            {"handset_listens", of.cable.answers(cable_end::handset)},
            {"to_handset", way(of.cable, cable_end::handset)},
            {"to_station", way(of.cable, cable_end::station)}};
}

namespace {

struct link_act {
    const char *name;
    void (*carry_out)(bench &of, cable_end to, long value);
};

// clang-format off
constexpr link_act k_acts[] = {
    {"show",      [](bench &, cable_end, long) {}},
    {"flip",      [](bench &of, cable_end to, long n) { of.cable.flip(to, static_cast<std::size_t>(n)); }},
    {"drop",      [](bench &of, cable_end to, long n) { of.cable.drop(to, static_cast<std::size_t>(n)); }},
    {"split",     [](bench &of, cable_end to, long n) { of.cable.split(to, static_cast<std::size_t>(n)); }},
    {"stall",     [](bench &of, cable_end to, long on) { of.cable.stall(to, on != 0); }},
    {"stall-for", [](bench &of, cable_end to, long ms) { of.cable.stall_for(to, std::chrono::milliseconds(ms)); }},
    {"clear",     [](bench &of, cable_end, long) { of.cable.clear(); }},
    {"cut",       [](bench &of, cable_end, long) { of.cut(); }},
    {"mend",      [](bench &of, cable_end, long) { of.mend(); }},
};
// clang-format on

} // namespace

json link_request(bench &of, const json &request)
{
    const std::string act = request.value("act", "show");
    const cable_end to = request.value("to", "station") == "handset" ? cable_end::handset : cable_end::station;
    for (const link_act &row : k_acts) {
        if (act == row.name) {
            row.carry_out(of, to, request.value("value", 0L));
            return shown(of);
        }
    }
    throw tool::failure(tool::exit_code::usage, "a link cannot " + act);
}

} // namespace handset_tool
