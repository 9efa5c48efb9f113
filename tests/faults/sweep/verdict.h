// What may come of a fault: the right answer, and a service as before, unless a row of the table says otherwise. Pure.
#pragma once

#include "tests/faults/sweep/cases.h"
#include "tests/faults/sweep/outcome.h"

#include <cstdint>
#include <string>
#include <vector>

namespace faults {

// What may be besides, once the fault is over.
enum class aftermath : unsigned {
    none = 0,
    next_is_lost = 1, // a request more is lost, or answered together with what was left of the one before
    has_ended = 2,    // the service has ended with status 0
    is_deaf = 4,      // the service runs on, but does not hear this one who asks
    is_torn = 8,      // a file holds neither the old nor the new: the one write that it is made by was cut
};

constexpr unsigned operator|(aftermath a, aftermath b)
{
    return static_cast<unsigned>(a) | static_cast<unsigned>(b);
}

constexpr unsigned operator|(unsigned a, aftermath b)
{
    return a | static_cast<unsigned>(b);
}

constexpr const char *name_of(aftermath what)
{
    switch (what) {
    case aftermath::none:
        return "none";
    case aftermath::next_is_lost:
        return "next is lost";
    case aftermath::has_ended:
        return "has ended";
    case aftermath::is_deaf:
        return "is deaf";
    case aftermath::is_torn:
        return "is torn";
    }
    return "";
}

constexpr std::size_t k_no_row = SIZE_MAX; // everything as usual

struct allowance {
    unsigned outcomes = static_cast<unsigned>(outcome::answered); // a set
    unsigned after = 0;                                           // a set
    int status = 0;                                               // of a failed start
    std::size_t row = k_no_row;                                   // of the table

    bool has(outcome what) const { return (outcomes & static_cast<unsigned>(what)) != 0; }
    bool has(aftermath what) const { return (after & static_cast<unsigned>(what)) != 0; }
};

allowance allowed(const fault_case &what);

// A row of the table as it is written there.
struct verdict {
    std::string text;
    allowance allowed;
};
std::vector<verdict> verdicts();

// Throws std::logic_error when a row can never count, because one before it matches all that it does.
void check_verdicts();

} // namespace faults
