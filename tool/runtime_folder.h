// Where the emulated handsets that are up are found: each has a folder of its name in the user's runtime folder.
//
//     NAME/control       the socket that its keeper listens on
//     NAME/station       a link to the tty that a station opens
//     NAME/application   a link to the tty that an on-handset application would open; normal mode only
//     NAME/root          the handset's files
//
// Failures throw tool::failure. Any thread.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace tool {

constexpr char k_default_handset[] = "default";

// $XDG_RUNTIME_DIR/kv-zep-amt, or kv-zep-amt-UID in the folder for temporary files where that variable is not set. Made
// if need be, for this user alone; refused when it is someone else's.
std::filesystem::path runtime_folder();

// A handset's own folder; whether it is there or not. A name is 1 to 32 letters, digits, dashes and underscores, and
// anything else a failure of usage.
std::filesystem::path handset_folder(const std::string &name);

// Whether a handset of that name is kept: somebody listens on its socket. What a keeper that was killed has left leads
// nowhere, or to somebody else's tty.
bool is_kept(const std::string &name);

// The names of the handsets that are there, sorted. Whether their keepers still live is not looked at.
std::vector<std::string> handset_names();

} // namespace tool
