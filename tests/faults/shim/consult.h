// Whether a call of the service's is to fail. Runs inside its system calls, perhaps in a signal handler or in a child
// of fork: no heap, no stdio, no lock; errno is left as it was.
#pragma once

#include "tests/faults/shim/block.h"

#include <sys/types.h>

struct fault_call {
    bool fails;
    fault_effect effect;
    int error;
};

// Counts the call and decides. `caller` is the return address of the intercepted function: calls that do not come from
// the service's own program are none of ours.
fault_call fault_consult(fault_function function, const char *target, const void *caller);

// The same for a call on a descriptor.
fault_call fault_consult(fault_function function, int fd, const void *caller);

// What a descriptor has been opened as. Only the service's own calls need tell it.
void fault_note_open(int fd, const char *path);
void fault_note_close(int fd);

// What a sleep is divided by; 1 when it is not.
unsigned fault_sleep_divisor(const void *caller);
