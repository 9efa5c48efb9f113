#include "amt/core/context.h"

#include <gtest/gtest.h>
#include <string.h>

#include <algorithm>
#include <iterator>

#include "tests/support/in_child.h"

namespace {

int32_t any_handler(uint8_t, const amt_buffer *, amt_buffer *)
{
    return 0;
}

bool is_zero(const amt_buffer &buffer)
{
    const uint8_t *data = buffer.m_data_a;
    return buffer.m_length == 0 && std::all_of(data, data + AMT_MESSAGE_SIZE, [](uint8_t byte) { return byte == 0; });
}

TEST(Context, IsClearedWhole)
{
    in_child([] {
        handle_context &context = handle_context_st;
        pub_util_thread *const threads_a[] = {&context.m_thread_app, &context.m_thread_pc, &context.m_thread_modem,
                                              &context.m_thread_usb, &context.m_thread_image};
        amt_channel_fd *const channels_a[] = {&context.m_fd_pc, &context.m_fd_at, &context.m_fd_modem};
        amt_buffer *const buffers_a[] = {&context.m_request, &context.m_response, &context.m_dispatch,
                                         &context.m_modem_relay};
        for (pub_util_thread *thread : threads_a) {
            *thread = pthread_self();
        }
        for (amt_channel_fd *channel : channels_a) {
            *channel = 77;
        }
        for (amt_buffer *buffer : buffers_a) {
            buffer->m_length = 9;
            memset(buffer->m_data_a, 'x', sizeof(buffer->m_data_a));
        }
        context.m_pty.m_ptm_fd = 78;
        context.m_pty.m_pts_mapping_name_a[0] = 'x';
        std::fill(std::begin(context.m_handle_pc_func_a), std::end(context.m_handle_pc_func_a), any_handler);
        std::fill(std::begin(context.m_handle_app_func_a), std::end(context.m_handle_app_func_a), any_handler);

        amt_context_clear();

        EXPECT_TRUE(std::all_of(std::begin(threads_a), std::end(threads_a), [](auto *thread) { return *thread == 0; }));
        EXPECT_TRUE(
            std::all_of(std::begin(channels_a), std::end(channels_a), [](auto *channel) { return *channel == 0; }));
        EXPECT_TRUE(
            std::all_of(std::begin(buffers_a), std::end(buffers_a), [](auto *buffer) { return is_zero(*buffer); }));
        EXPECT_EQ(context.m_pty.m_ptm_fd, -1) << "a closed master is -1";
        EXPECT_EQ(context.m_pty.m_pts_mapping_name_a[0], '\0');
        EXPECT_EQ(std::count(std::begin(context.m_handle_pc_func_a), std::end(context.m_handle_pc_func_a), nullptr),
                  255);
        EXPECT_EQ(std::count(std::begin(context.m_handle_app_func_a), std::end(context.m_handle_app_func_a), nullptr),
                  255);
    });
}

TEST(Context, HasABufferClearedWithItsLength)
{
    amt_buffer buffer = {};
    buffer.m_length = AMT_MESSAGE_SIZE;
    memset(buffer.m_data_a, 0xFF, sizeof(buffer.m_data_a));
    amt_buffer_clear(&buffer);
    EXPECT_TRUE(is_zero(buffer));
}

TEST(Context, KeepsThePlatformModeThatItIsGiven)
{
    in_child([] {
        EXPECT_EQ(amt_get_platform_mode(), 0U);
        amt_set_platform_mode(1);
        EXPECT_EQ(amt_get_platform_mode(), 1U);
        amt_context_clear();
        EXPECT_EQ(amt_get_platform_mode(), 1U) << "how it was started does not change";
    });
}

TEST(Context, IsClearedInAStartThatIsUnderWay)
{
    in_child([] {
        g_init_state = AMT_INIT_RUNNING;
        g_usb_state = 1;
        amt_context_clear();
        EXPECT_EQ(g_init_state, AMT_INIT_RUNNING) << "which goes on";
        EXPECT_EQ(g_usb_state, 1) << "what is known of the cable is no part of it";
    });
}

TEST(Context, KnowsNothingOfModemAndCableBeforeTheStart)
{
    in_child([] {
        EXPECT_EQ(g_at_dev_not_opened, 0U);
        EXPECT_EQ(g_init_state, 0);
        EXPECT_EQ(g_is_usb_configured, 0);
        EXPECT_EQ(g_usb_state, AMT_USB_UNKNOWN);
    });
}

} // namespace
