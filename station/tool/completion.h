// What may stand next on the command line, for the shell of the tool and for the user's own. Pure but for looking for
// ports; any thread.
#pragma once

#include <string>
#include <vector>

namespace station_tool {

// The words that may stand in place of the last one, which is what has been typed of it. The tool's name is not among
// the words.
std::vector<std::string> completions(const std::vector<std::string> &words);

} // namespace station_tool
