// System calls of the log that fail on request, and the shell commands that it would have run. Reset by assignment:
// g_fake = {};
#pragma once

#include <string>
#include <vector>

struct log_fakes {
    bool calloc_fails = false;
    int mutex_init_result = 0;
    std::string open_fails_for;    // a part of the path
    std::string command_line_file; // stands in for the process's command line
    std::vector<std::string> commands;
};

extern log_fakes g_fake;
