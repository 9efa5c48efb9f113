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

// Has the handset keep a value; whether it does is to be read back. Throws std::invalid_argument for one that no
// request can carry.
void write_value(dialogue &handset, const identity &what, const std::string &value);

} // namespace station
