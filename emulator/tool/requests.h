// What a keeper is asked, verb by verb: one table. Each takes its request's JSON object and returns the answer's. The
// keeper's one thread; failures throw.
#pragma once

#include "emulator/tool/bench.h"
#include "emulator/tool/control.h"

namespace handset_tool {

struct request_verb {
    const char *name;
    json (*carry_out)(bench &of, const json &request); // of a handset that is switched on
};

// The row of a verb; null when there is none.
const request_verb *find_request(const std::string &verb);

// Everything that can be told of a handset, see status.cpp.
json status_of(bench &of);

// The verbs of one family each, see there.
json modem_request(bench &of, const json &request);
json link_request(bench &of, const json &request);

} // namespace handset_tool
