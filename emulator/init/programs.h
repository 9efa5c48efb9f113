// Starting programs for the library, and reporting their ends. Used by handset-init alone, which has one thread.

#pragma once

#include "emulator/descriptor.h"
#include "emulator/messages.h"

#include <sys/types.h>

#include <map>
#include <string>
#include <vector>

namespace emulator {

// What a request came to: errno 0 and the value, or an errno and the step that failed.
struct outcome {
    int error = 0;
    std::string text;
    descriptor passed; // goes to the library
};

// The programs that were started and have not been reaped, with the tokens of the requests that started them.
using running_programs = std::map<pid_t, std::string>;

// A "start" request; on success the program has been executed, and `running` knows it.
outcome start_program(const message &request, const descriptor &identity, running_programs &running);

// Reaps whatever has ended, orphans included, and reports the programs among it on the line.
void report_ends(int line, running_programs &running);

} // namespace emulator
