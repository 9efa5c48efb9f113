// Which ways to fail suit which function. Pure.
#pragma once

#include "tests/faults/shim/block.h"

#include <string>
#include <string_view>
#include <vector>

namespace faults {

struct kind {
    const char *name; // "ENOSPC", "one-byte"
    fault_effect effect;
    int error;
    fault_reach reach; // when it lasts
};

// The ways in which a call of the function on the target may fail.
std::vector<const kind *> kinds_for(fault_function function, std::string_view target);

// By its name; throws std::runtime_error when there is none.
const kind *kind_named(std::string_view name);

// A file of the log, or the console: what is written there is told, not done.
bool is_telling(std::string_view target);

// A device or another file that is no file of the disk.
bool is_line(std::string_view target);

} // namespace faults
