// fault-sweep: plays the scenarios with every call of theirs failing in turn.
//
//     fault-sweep [scenario...] [--jobs N] [--sample N] [--thorough] [--slack N] [--list] [--case CASE]
//
// A scenario is named by its beginning. Status 0 when all is as it should be, 1 when not, 2 for a wrong command line.

#include "tests/faults/sweep/options.h"
#include "tests/faults/sweep/report.h"
#include "tests/faults/sweep/sweep.h"

#include <cstdio>
#include <exception>

int main(int argc, char **argv)
{
    faults::options what;
    const std::string wrong = faults::read_options(argc, argv, what);
    if (!wrong.empty()) {
        (void)fprintf(stderr, "fault-sweep: %s\n", wrong.c_str());
        return 2;
    }
    try {
        faults::report seen;
        faults::sweep(what, seen);
        if (what.is_list) {
            return 0;
        }
        const bool is_whole = what.scenarios.empty() && what.sample == 0 && what.only.empty();
        return seen.finish(is_whole) ? 0 : 1;
    } catch (const std::exception &error) {
        (void)fprintf(stderr, "fault-sweep: %s\n", error.what());
        return 1;
    }
}
