// What is played with and without faults: one row each.
#pragma once

#include "tests/faults/sweep/bench.h"
#include "tests/faults/sweep/outcome.h"

#include <functional>
#include <string>
#include <vector>

namespace faults {

// When the calls that are made to fail are made.
enum class phase {
    start,   // from the first on, until a request has been answered
    running, // while requests are answered
    ending,  // from SIGTERM on
};

// How long somebody waits for an answer.
struct patience {
    std::chrono::milliseconds longest; // before it counts as none
};

struct scenario {
    std::string name;
    arrangement how;
    phase when;
    std::vector<watched_file> files;
    std::function<void(bench &)> prepare;                 // before the fault; may be empty
    std::function<outcome(bench &, patience limit)> play; // of a start: once it is over; of an ending: nothing
};

// All of them, in the order in which they are played.
const std::vector<scenario> &scenarios();

// Asks for something that is answered on the handset and for something of the modem's; true when both are right.
bool is_well(bench &on, patience limit);

// Blocks until the start is over or the service has ended; false when neither comes.
bool wait_started(bench &on, patience limit);

} // namespace faults
