// One request and what is heard of it.
#pragma once

#include "tests/faults/sweep/bench.h"
#include "tests/faults/sweep/outcome.h"
#include "tests/faults/sweep/scenarios.h"

#include <string>

namespace faults {

// Sends the bytes and listens until the expected ones have come, or a refusal, or the service has ended. Empty bytes
// only listen.
outcome ask(bench &on, const std::string &request, const std::string &expected, patience limit);

// How a service that has ended has done so.
outcome end_of(const emulator::process &service);

// What the service says before it answers a station's message.
extern const std::string k_pre_response;

} // namespace faults
