// The faults of the cable between the station and the handset.

#include "emulator/tool/requests.h"

#include "tool/failure.h"

namespace handset_tool {

using emulator::cable;
using emulator::cable_end;

static json way(const cable &of, cable_end to)
{
    const emulator::cable_faults faults = of.faults(to);
    return {{"flip", faults.flip},   {"flip_after", faults.flip_after},
            {"drop", faults.drop},   {"drop_after", faults.drop_after},
            {"split", faults.split}, {"stalled", faults.stalled},
            {"kept", of.kept(to)},   {"passed", of.passed(to)}};
}

static json shown(const bench &of)
{
    return {{"cut", of.is_cut()},
            {"handset_listens", of.cable.answers(cable_end::handset)},
            {"to_handset", way(of.cable, cable_end::handset)},
            {"to_station", way(of.cable, cable_end::station)}};
}

namespace {

// What an act is asked besides; which it looks at is its own affair.
struct link_values {
    long value;        // bytes, milliseconds, or 1 for on
    std::size_t after; // bytes
};

struct link_act {
    const char *name;
    void (*carry_out)(bench &of, cable_end to, link_values how);
};

std::size_t count_of(link_values how)
{
    return static_cast<std::size_t>(how.value);
}

// clang-format off
constexpr link_act k_acts[] = {
    {"show",      [](bench &, cable_end, link_values) {}},
    {"flip",      [](bench &of, cable_end to, link_values how) { of.cable.flip(to, count_of(how), how.after); }},
    {"drop",      [](bench &of, cable_end to, link_values how) { of.cable.drop(to, count_of(how), how.after); }},
    {"split",     [](bench &of, cable_end to, link_values how) { of.cable.split(to, count_of(how)); }},
    {"stall",     [](bench &of, cable_end to, link_values how) { of.cable.stall(to, how.value != 0); }},
    {"stall-for", [](bench &of, cable_end to, link_values how)
                  { of.cable.stall_for(to, std::chrono::milliseconds(how.value)); }},
    {"clear",     [](bench &of, cable_end, link_values) { of.cable.clear(); }},
    {"cut",       [](bench &of, cable_end, link_values) { of.cut(); }},
    {"mend",      [](bench &of, cable_end, link_values) { of.mend(); }},
};
// clang-format on

} // namespace

json link_request(bench &of, const json &request)
{
    const std::string act = request.value("act", "show");
    const cable_end to = request.value("to", "station") == "handset" ? cable_end::handset : cable_end::station;
    for (const link_act &row : k_acts) {
        if (act == row.name) {
            row.carry_out(of, to, {request.value("value", 0L), request.value("after", std::size_t{0})});
            return shown(of);
        }
    }
    throw tool::failure(tool::exit_code::usage, "a link cannot " + act);
}

} // namespace handset_tool
