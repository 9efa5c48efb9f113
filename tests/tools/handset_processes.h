// The processes behind a handset, for a test that tells whether they are gone.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

struct seen_process {
    pid_t pid = 0;
    pid_t parent = 0;
    std::string name;
    std::string began; // with the pid, tells a process from a later one
};

// A process and all that it has started, and those have, and so on.
std::vector<seen_process> processes_under(pid_t top);

// Returns when none of them runs any more; std::runtime_error past the deadline.
void wait_until_gone(const std::vector<seen_process> &processes);

std::vector<std::string> names_of(const std::vector<seen_process> &processes);
