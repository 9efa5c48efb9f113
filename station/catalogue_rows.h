// The table behind the catalogue. Included by its sources alone.
#pragma once

#include "station/catalogue.h"

namespace station {

// By ascending id.
rows<command> command_rows();

// What a name of the service's is to people: small letters, dashes, and neither "AMT_" in front nor "_CMD" behind. What
// is that already stays as it is.
std::string word_of(std::string_view name);

} // namespace station
