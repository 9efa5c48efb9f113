#include "amt/core/context.h"

#include <string.h>

#include <initializer_list>

namespace {

std::atomic<uint32_t> g_platform_mode{0};

} // namespace

handle_context handle_context_st;
std::atomic<uint32_t> g_at_dev_not_opened{0};
std::atomic<int32_t> g_init_state{0};
std::atomic<int32_t> g_is_usb_configured{0};
std::atomic<uint8_t> g_usb_state{AMT_USB_UNKNOWN};

void amt_context_forget_threads()
{
    handle_context &context = handle_context_st;
    for (pub_util_thread *thread : {&context.m_thread_app, &context.m_thread_pc, &context.m_thread_modem,
                                    &context.m_thread_usb, &context.m_thread_image}) {
        thread->store(0);
    }
}

void amt_context_clear()
{
    handle_context &context = handle_context_st;
    amt_context_forget_threads();
    context.m_pty = {};
    for (amt_channel_fd *channel : {&context.m_fd_pc, &context.m_fd_at, &context.m_fd_modem}) {
        channel->store(0);
    }
    for (amt_buffer *buffer : {&context.m_request, &context.m_response, &context.m_dispatch, &context.m_modem_relay}) {
        amt_buffer_clear(buffer);
    }
    memset(context.m_handle_pc_func_a, 0, sizeof(context.m_handle_pc_func_a));
    memset(context.m_handle_app_func_a, 0, sizeof(context.m_handle_app_func_a));
}

void amt_buffer_clear(amt_buffer *buffer)
{
    memset(buffer, 0, sizeof(*buffer));
}

uint32_t amt_get_platform_mode()
{
    return g_platform_mode;
}

void amt_set_platform_mode(uint32_t platform_flag)
{
    g_platform_mode = platform_flag;
}
