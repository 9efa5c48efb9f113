#include "amt/channels/copies.h"

#include <errno.h>
#include <pthread.h>
#include <semaphore.h>
#include <time.h>

#include "amt/channels/failure-exit.h"
#include "amt/channels/release.h"
#include "amt/channels/timers.h"
#include "amt/core/context.h"
#include "pub/base/shared_memory.h"
#include "pub/util/util.h"

namespace {

constexpr time_t k_longest_turn_seconds = 1;

// In memory that the copies have in common; null without it, when everybody goes ahead at once.
sem_t *g_turn = nullptr;

sem_t *make_turn()
{
    void *memory = pub_util_share_memory(sizeof(sem_t));
    if (memory == nullptr) {
        return nullptr;
    }
    auto *turn = static_cast<sem_t *>(memory);
    return sem_init(turn, 1, 1) == 0 ? turn : nullptr;
}

// In each child, also in those that become the shell at once, to which it does not matter.
void find_itself_alone()
{
    amt_context_forget_threads();
    pub_util_keep_own_thread();
    amt_forget_timers();
    amt_handle_forget_deinit();
    amt_leave_failure_to_original();
    pub_util_admit_ending_signals(ending_signals::main_thread);
}

} // namespace

void amt_prepare_copies()
{
    static bool is_prepared = false;
    if (!is_prepared) {
        is_prepared = pthread_atfork(nullptr, nullptr, find_itself_alone) == 0;
        g_turn = make_turn();
    }
}

shared_turn::shared_turn()
{
    timespec end = {};
    (void)clock_gettime(CLOCK_REALTIME, &end);
    end.tv_sec += k_longest_turn_seconds;
    while (g_turn != nullptr && sem_timedwait(g_turn, &end) != 0 && errno == EINTR) {
    }
}

// Gives a turn back also when it came by the end of the waiting: in place of the one that was lost.
shared_turn::~shared_turn()
{
    if (g_turn != nullptr) {
        (void)sem_post(g_turn); // fails on a count that is too high only
    }
}
