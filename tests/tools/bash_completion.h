// What bash offers to complete a command line, by a file of completions as it is installed.
#pragma once

#include "tests/tools/tool_runner.h"

#include <string>
#include <vector>

// The offers, one a word, for a whole line that is being typed; the options that the function asks for (compopt) stand
// before them. The function is the one that the file registers, and is called as bash calls it.
std::vector<std::string> offered_by_bash(const tool_runner &tools, const std::string &file, const std::string &function,
                                         const std::string &line);
