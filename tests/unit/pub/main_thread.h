// What a test that becomes the main thread has in common: its signals end the process with a status of their own. Only
// in a child.
#pragma once

#include <signal.h>
#include <stdint.h>
#include <unistd.h>

#include "pub/base/wait.h"

constexpr int k_ended = 42;
constexpr uint32_t k_long = 1000; // seconds: nobody waits that long, the test ends by a signal

inline void end_process(int signal_number)
{
    _exit(signal_number == SIGTERM ? k_ended : k_ended + 1);
}

// As main does it: everything blocked, the handlers installed, then its own signals admitted.
inline void become_main_thread()
{
    pub_util_block_ending_signals();
    (void)signal(SIGTERM, end_process);
    (void)signal(SIGUSR2, end_process);
    pub_util_admit_ending_signals(ending_signals::main_thread);
}

inline bool is_pending(int signal_number)
{
    sigset_t pending;
    (void)sigpending(&pending);
    return sigismember(&pending, signal_number) == 1;
}
