// The picture behind a handshake that is done.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include <vector>

#include "amt/channels/handshake.h"
#include "amt/core/context.h"
#include "tests/support/in_child.h"
#include "tests/unit/amt/handshake_fakes.h"

namespace {

using ::testing::Each;
using ::testing::ElementsAre;

TEST(HandshakePicture, IsDrawnWhenTheStationHasHadTimeToSeeTheAnswer)
{
    for (const int update_result : {0, -1}) {
        in_child([update_result] {
            const cable cable;
            g_fake.update_result = update_result;
            handle_context_st.m_thread_image = pthread_self();
            std::vector<pthread_t> handles;
            g_fake.on_event = [&handles](const std::string &) { handles.push_back(handle_context_st.m_thread_image); };
            amt_handle_load_image_for_handshake();
            EXPECT_THAT(g_fake.events, ElementsAre("prepare the screen", "sleep 3 s", "draw"));
            EXPECT_THAT(handles, Each(pthread_self())) << "its own until it has drawn";
            EXPECT_EQ(handle_context_st.m_thread_image, 0U);
            EXPECT_THAT(cable.told(), ElementsAre("func | "));
        });
    }
}

TEST(HandshakePicture, IsNotDrawnWithoutAScreen)
{
    in_child([] {
        const cable cable;
        g_fake.screen_result = -1;
        handle_context_st.m_thread_image = pthread_self();
        amt_handle_load_image_for_handshake();
        EXPECT_THAT(g_fake.events, ElementsAre("prepare the screen"));
        EXPECT_EQ(handle_context_st.m_thread_image, 0U);
        EXPECT_THAT(cable.told(), ElementsAre("func | ", k_failed + "screen_init return error, not update screen."));
    });
}

} // namespace
