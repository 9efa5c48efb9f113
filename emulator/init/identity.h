// Who programs inside are: 1000:1001, in a user namespace of their own below that of process 1, with one capability
// there: the modes of the handset's files do not bind them, as they do not bind a service that runs as root. Process 1
// itself stays root of the sandbox's namespaces, which is what makes the terminals, mounts and device events its own.
// Used by handset-init alone, which has one thread.

#pragma once

#include "emulator/descriptor.h"

namespace emulator {

// Makes the programs' user namespace. Returns its handle, or none with errno set.
descriptor make_identity();

// For process 1: keeps the capability for mounts and device events and gives every other one up. False with errno set.
[[nodiscard]] bool keep_one_capability();

// For a child about to execute a program: becomes 1000:1001 with CAP_DAC_OVERRIDE and no way to get another, no
// real-time priority and no core dump. False with errno set.
[[nodiscard]] bool take_identity(const descriptor &identity);

} // namespace emulator
