// What a file may hold when the one write that makes it has been cut. Pure.
#pragma once

#include "tests/faults/sweep/bench.h"

#include <string>

namespace faults {

// Of a file of verdicts: all of its items but for one as they were, or as in one just made; or a beginning of one just
// made. Of another that the request writes: a beginning of the new content, and be it none, or what it may hold
// besides.
bool is_torn_as_allowed(const watched_file &file, const std::string &content);

} // namespace faults
