// What the command line asks of the tool. A plain value.
#pragma once

#include <chrono>
#include <string>
#include <vector>

namespace station_tool {

struct settings {
    std::vector<std::string> ports; // as given; none: the one that is there
    bool bare = false;              // the ports speak bare messages
    bool json = false;
    bool verbose = false;
    bool wait = false; // for a port that is not there yet
    bool yes = false;  // nothing is asked
    std::string trace; // a file, "-" for standard error; empty: none
    std::chrono::milliseconds timeout{30000};
    std::string verb;
    std::vector<std::string> words; // behind the verb
};

} // namespace station_tool
