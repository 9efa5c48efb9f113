// The cases of the sweep: for every call that a scenario makes, every way to fail that suits it, once and lasting.
#pragma once

#include "tests/faults/sweep/kinds.h"
#include "tests/faults/sweep/scenarios.h"

#include <cstdint>
#include <string>
#include <vector>

namespace faults {

// A place of the service's that makes a call, as counted without faults.
struct place {
    std::uint64_t key = 0;
    std::uint32_t count = 0;
    std::uint32_t order = 0;
    fault_function function = fault_function::access;
    std::string target;
    std::string frames; // offsets in the service's program, innermost first
};

struct fault_case {
    const scenario *of = nullptr;
    place where;
    std::uint32_t ordinal = 1;
    const kind *how = nullptr;
    bool lasts = false;
};

// The places in the block, in the order of their first calls.
std::vector<place> places_in(const fault_block &block);

// Of a place that only tells, each kind counts once; a place that calls many times is taken at its first three calls
// and the last. Unless `thorough`, the kinds are dealt out over the places of the log, one for each.
std::vector<fault_case> cases_for(const scenario &of, const std::vector<place> &places, bool thorough);

fault_plan plan_for(const fault_case &what);

// "start/station --case 1f2e...:1:ENOSPC:once", what plays it again; and what it is, for people.
std::string arguments_for(const fault_case &what);
std::string describe(const fault_case &what);

// Of the text behind --case; throws std::runtime_error when it is none of the scenario's.
fault_case case_from(const scenario &of, const std::vector<place> &places, const std::string &text);

} // namespace faults
