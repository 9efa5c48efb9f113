#include "amt/channels/release.h"

#include <stdlib.h>

#include <atomic>
#include <initializer_list>

#include "amt/channels/failure-exit.h"
#include "amt/channels/timers.h"
#include "amt/core/context.h"
#include "amt/run-mode.h"
#include "pub/base/wait.h"
#include "pub/log/log_client.h"

#define LOG_MODULE "amt/amt-handle"
#include "pub/log/log.h"

namespace {

std::atomic<int32_t> g_is_deinitialised{0};

void end_workers()
{
    handle_context &context = handle_context_st;
    for (pub_util_thread *worker :
         {&context.m_thread_modem, &context.m_thread_pc, &context.m_thread_usb, &context.m_thread_app}) {
        if (worker->load() != 0) {
            (void)pub_util_kill_thread(worker); // one that could not be ended does not keep the rest from its release
        }
    }
}

void close_channel(const char *name, amt_channel_fd *channel)
{
    if (amt_channel_is_open(*channel)) {
        log_info("close %s[%d]", name, channel->load());
    }
    amt_channel_close(channel);
}

} // namespace

bool amt_handle_claim_deinit()
{
    return g_is_deinitialised.exchange(1) == 0;
}

void amt_handle_forget_deinit()
{
    g_is_deinitialised = 0;
}

int32_t amt_handle_deinit()
{
    log_func();
    end_workers();
    amt_release_timer_order(); // no worker is left that might set one meanwhile
    const int32_t result = pub_pty_close(&handle_context_st.m_pty);
    close_channel("m_fd_pc", &handle_context_st.m_fd_pc);
    close_channel("m_fd_at", &handle_context_st.m_fd_at);
    close_channel("m_fd_modem", &handle_context_st.m_fd_modem);
    deleteTimer(&g_usbEnumTimer);
    deleteTimer(&g_handShakeTimer);
    if (g_usb_activate != 0) {
        amt_record_failure_exit();
    }
    return result;
}

void amt_handle_end_service(pub_util_thread *own_handle)
{
    pub_util_clear_own_thread(own_handle);
    if (!amt_handle_claim_deinit()) {
        pub_util_park();
    }
    (void)amt_handle_deinit();
    sfw_log_stop(nullptr);
    exit(0); // NOLINT(concurrency-mt-unsafe): the only thread that ends the process
}
