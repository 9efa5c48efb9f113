// What came of a scenario: what the one who asks got, or how the service ended.
#pragma once

#include "emulator/process.h"

#include <string>

namespace faults {

enum class outcome : unsigned {
    answered = 1,     // the right answer
    refused = 2,      // an answer that tells of the failure
    cut = 4,          // something else, or a part
    silent = 8,       // nothing in time
    ended = 16,       // the service ended by itself, status 0
    failed_start = 32 // the start ended with the code of its failure
};

constexpr unsigned operator|(outcome a, outcome b)
{
    return static_cast<unsigned>(a) | static_cast<unsigned>(b);
}

constexpr unsigned operator|(unsigned a, outcome b)
{
    return a | static_cast<unsigned>(b);
}

constexpr const char *name_of(outcome what)
{
    switch (what) {
    case outcome::answered:
        return "answered";
    case outcome::refused:
        return "refused";
    case outcome::cut:
        return "cut";
    case outcome::silent:
        return "silent";
    case outcome::ended:
        return "ended";
    case outcome::failed_start:
        return "failed start";
    }
    return "";
}

} // namespace faults
