// The process behind a handset that is up: it holds the emulated handset, has its folder, and does what the verbs ask.
#pragma once

#include "emulator/tool/bench.h"
#include "emulator/tool/control.h"

#include <filesystem>
#include <string>

namespace handset_tool {

struct up_order {
    std::string name;
    run_mode mode = run_mode::switched;
    bool plugged = true;
    std::filesystem::path root; // absolute; empty: in the handset's folder
};

// Makes the handset's folder and its keeper, a process of its own in a session of its own; returns the status when the
// handset is ready. Throws tool::failure, with nothing left behind. Main thread of a program with no other.
json start_keeper(const up_order &order);

// Removes what a keeper that was killed has left; false when there is nothing. The handset must not be up.
bool remove_remains(const std::string &name);

} // namespace handset_tool
