// The whole sweep: records, makes the cases, and has several handsets play them.
#pragma once

#include "tests/faults/sweep/options.h"
#include "tests/faults/sweep/report.h"

namespace faults {

// Throws std::runtime_error when a scenario goes wrong without a fault.
void sweep(const options &what, report &seen);

} // namespace faults
