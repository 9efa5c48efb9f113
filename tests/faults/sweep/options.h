// The command line of the sweep.
#pragma once

#include <string>
#include <vector>

namespace faults {

struct options {
    std::vector<std::string> scenarios; // beginnings of names; none: all
    unsigned jobs = 6;
    unsigned sample = 0; // so many cases, evenly spread; 0: all
    unsigned slack = 1;  // multiplies every wait
    bool is_thorough = false;
    bool is_list = false;
    std::string only; // a case
};

// What is wrong with it; empty when nothing is.
std::string read_options(int argc, char **argv, options &what);

} // namespace faults
