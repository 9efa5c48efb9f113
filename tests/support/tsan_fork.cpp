// A copy of a program as the thread sanitizer needs it, in every program that is built with it.
//
// Behind a fork of several threads the sanitizer watches the child no longer, and no longer hands a signal to the
// handler that it keeps for the child. So the child has the system itself run the handlers that were set before.
#include <pthread.h>
#include <signal.h>

#include <array>

// The C library's own, which the sanitizer does not stand before.
extern "C" int __sigaction(int, const struct sigaction *, struct sigaction *); // NOLINT(bugprone-reserved-identifier)

namespace {

constexpr int k_signals_a[] = {SIGTERM, SIGUSR1, SIGUSR2};
std::array<struct sigaction, 3> g_actions;

// In the parent, where the sanitizer still knows the handlers.
void note_handlers()
{
    for (size_t i = 0; i < g_actions.size(); i++) {
        (void)sigaction(k_signals_a[i], nullptr, &g_actions[i]);
    }
}

void set_handlers_in_child()
{
    for (size_t i = 0; i < g_actions.size(); i++) {
        (void)__sigaction(k_signals_a[i], &g_actions[i], nullptr);
    }
}

__attribute__((constructor)) void prepare_for_forks()
{
    (void)pthread_atfork(note_handlers, nullptr, set_handlers_in_child);
}

} // namespace
