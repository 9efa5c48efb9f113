#include "amt/channels/release.h"

#include <atomic>

#define LOG_MODULE "amt/amt-handle"
#include "pub/log/log.h"

namespace {

std::atomic<int32_t> g_is_deinitialised{0};

} // namespace

bool amt_handle_claim_deinit()
{
    return g_is_deinitialised.exchange(1) == 0;
}

int32_t amt_handle_deinit()
{
    log_func();
    return ERR_NONE;
}
