// Reading and writing what a handset is known by, as the catalogue tells each of them. One thread.
//
// Besides what dialogue throws: refused when the handset answered failure, malformed when its answer holds no value,
// and std::invalid_argument when the catalogue knows no way.
#pragma once

#include "station/catalogue.h"
#include "station/dialogue.h"

#include <string>

namespace station {

// The value as the handset tells it now.
std::string read_value(dialogue &handset, const identity &what);

// Throws std::invalid_argument, with one line, for an identity that cannot be written, or not with this value.
void check_value(const identity &what, const std::string &value);

// Has the handset keep a value; whether it does is to be read back. Throws what check_value
// throws.
void write_value(dialogue &handset, const identity &what, const std::string &value);

} // namespace station
