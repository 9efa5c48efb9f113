#include "amt/channels/copies.h"

#include <pthread.h>

#include "amt/channels/release.h"
#include "amt/channels/timers.h"
#include "amt/core/context.h"
#include "pub/util/util.h"

namespace {

// In each child, also in those that become the shell at once, to which it does not matter.
void find_itself_alone()
{
    amt_context_forget_threads();
    pub_util_keep_own_thread();
    amt_forget_timers();
    amt_handle_forget_deinit();
    pub_util_admit_ending_signals(ending_signals::main_thread);
}

} // namespace

void amt_prepare_copies()
{
    static bool is_prepared = false;
    if (!is_prepared) {
        is_prepared = pthread_atfork(nullptr, nullptr, find_itself_alone) == 0;
    }
}
