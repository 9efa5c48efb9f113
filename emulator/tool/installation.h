// Where the service, its libraries and the emulation's own programs are: beside this program in a build tree, or in a
// folder of their own where it is installed. Any thread.
#pragma once

#include <filesystem>

namespace handset_tool {

// Paths of this machine.
struct installation {
    std::filesystem::path programs;  // kv-zep-amt, amt-audio, handset-init
    std::filesystem::path libraries; // the handset's, and libhandset-preload.so
};

// Throws tool::failure when there is no service in either place.
installation find_installation();

} // namespace handset_tool
