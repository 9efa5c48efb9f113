// The devices that process 1 makes and moves inside the handset: ttys, memory cards, device events. Each returns what
// the request came to. Used by handset-init alone, which has one thread.

#pragma once

#include "emulator/init/programs.h"

#include <string>
#include <vector>

namespace emulator {

// What of /proc is about this machine and not about a program inside can then be written by nobody inside: its owner
// may be who runs the emulation. False with errno set.
[[nodiscard]] bool make_proc_read_only();

// A pseudo-terminal whose slave is reached by a link at `path`; its master is passed out. `raw` sets the line
// discipline to pass every byte as it is, otherwise it stays as the kernel makes it.
outcome open_tty(const std::string &path, bool raw);

// Opens a path as open(2) does, and passes the descriptor out.
outcome open_path(const std::string &path, int flags);

outcome remove_path(const std::string &path);

outcome mount_card(const std::string &folder, const std::string &size_kib);
outcome unmount_card(const std::string &folder);

// Has the kernel broadcast the event to every listener in the sandbox. texts: "ACTION@DEVPATH", then "KEY=VALUE".
outcome send_uevent(const std::vector<std::string> &texts);

} // namespace emulator
