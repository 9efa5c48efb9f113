// Reading the command line. Main thread.
#pragma once

#include "station/tool/settings.h"

#include <optional>
#include <string>
#include <vector>

namespace station_tool {

// What the words ask for, the tool's name not among them. Nothing when they ask for help or the version, which has been
// printed. Throws std::invalid_argument, with one line, for what makes no sense.
std::optional<settings> read_command_line(const std::vector<std::string> &words);

// The same for a line of the tool's shell, in which the options and ports of `base` hold unless the line changes them.
std::optional<settings> read_shell_line(const std::vector<std::string> &words, const settings &base);

struct option_name {
    std::string name; // with its dashes
    bool takes_value; // the next word is its value
};

std::vector<option_name> option_names();

// The words that are neither options nor their values: the verb and what belongs to it.
std::vector<std::string> plain_words(const std::vector<std::string> &words);

} // namespace station_tool
